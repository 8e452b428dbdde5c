#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "kiv/foundation/json.hpp"
#include "tools/kiv/command_test_support.hpp"

namespace kiv::cli::testing {
namespace {

using ::testing::HasSubstr;

class RowsTest : public CommandTest {
 protected:
  // The rows printed, one dictionary per line.
  static std::vector<Dictionary> lines(const std::string& out) {
    std::vector<Dictionary> rows;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) rows.push_back(parseJSON(line).asDictionary());
    return rows;
  }
  static std::string ids(const std::string& out) {
    std::string text;
    for (const Dictionary& row : lines(out)) text += (text.empty() ? "" : ",") + row["noteid"].description();
    return text;
  }
};

TEST_F(RowsTest, PrintsOneJsonObjectPerRowWithJsonTextDecodedAndTheUpdateTimeAsDate) {
  writeNotes(2);
  const KivRun run = runKiv({"rows", path, std::string(kNoteTable)});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const std::vector<Dictionary> rows = lines(run.out);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_TRUE(rows[0]["tags"].isNull());
  EXPECT_EQ(rows[1]["tags"].asArray().count(), 2u);
  EXPECT_EQ(rows[1]["text"].description(), "note 2");
  EXPECT_TRUE(rows[1]["kiv_update_time_utc"].hasSuffix("Z"));
}

TEST_F(RowsTest, FiltersOrdersAndLimitsBySqlFragments) {
  writeNotes(5);
  const KivRun run = runKiv({"rows", path, std::string(kNoteTable), "--where", "score >= 1", "--order", "noteid DESC",
                          "--limit", "2"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(ids(run.out), "5,4");
  EXPECT_EQ(ids(runKiv({"rows", path, std::string(kNoteTable), "--limit", "0"}).out), "");
}

TEST_F(RowsTest, AFragmentThatDoesNotCompileIsAUsageErrorWithSqlitesMessage) {
  writeNotes(2);
  const std::string table(kNoteTable);
  KivRun run = runKiv({"rows", path, table, "--where", "noteid ="});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("kiv: --where does not compile: "));
  EXPECT_THAT(run.err, HasSubstr("syntax error"));
  // A fragment may not end the statement (the rest would be ignored, and the file is read-only).
  EXPECT_EQ(runKiv({"rows", path, table, "--where", "1; DELETE FROM kiv_note_v3"}).exitCode, 1);
  EXPECT_EQ(runKiv({"rows", path, table, "--order", "noteid; DELETE FROM kiv_note_v3"}).exitCode, 1);
  EXPECT_EQ(queryText("SELECT count(*) FROM kiv_note_v3"), "2");
  run = runKiv({"rows", path, table, "--order", "nosuchcolumn"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("kiv: --order does not compile: no such column: nosuchcolumn"));
  run = runKiv({"rows", path, table, "--where", "noteid = ?"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("parameters"));
}

TEST_F(RowsTest, TableNamesAreCheckedBoundAndQuotedNeverPasted) {
  writeNotes(1);
  const KivRun missing = runKiv({"rows", path, "x' OR '1'='1"});
  EXPECT_EQ(missing.exitCode, 3);
  EXPECT_THAT(missing.err, HasSubstr("no such table: x' OR '1'='1"));
  const std::string odd = "kiv_o'brien\"s_v3";
  runSql("CREATE TABLE \"kiv_o'brien\"\"s_v3\" (id INTEGER PRIMARY KEY, kiv_update_time TIMESTAMP)");
  runSql("INSERT INTO \"kiv_o'brien\"\"s_v3\" VALUES (7, 0)");
  EXPECT_EQ(runKiv({"rows", path, odd}).out,
            R"({"id":7,"kiv_update_time":0,"kiv_update_time_utc":"1970-01-01T00:00:00.000Z"})"
            "\n");
  EXPECT_EQ(runKiv({"get", path, odd, "7"}).exitCode, 0);
  EXPECT_THAT(runKiv({"info", path}).out, HasSubstr("\nkiv_o'brien\"s_v3\n  class      o'brien\"s, version 3\n"
                                                    "  rows       1, updated 1970-01-01T00:00:00.000Z"));
}

TEST_F(RowsTest, ShowsProgressOnlyWhenStderrIsATerminal) {
  writeNotes(30);
  const std::vector<std::string> rows{"rows", path, std::string(kNoteTable)};
  const KivRun piped = runKiv(rows);
  const KivRun watched = runKiv(rows, /*stderrOnTerminal=*/true);
  EXPECT_EQ(piped.err, "");
  EXPECT_THAT(watched.err, HasSubstr("rows: 0 of 30 (0%)"));
  EXPECT_EQ(watched.out, piped.out);
}

TEST_F(RowsTest, GetFindsOneRowByItsKeyBoundNeverPasted) {
  writeNotes(3);
  const std::string table(kNoteTable);
  const KivRun found = runKiv({"get", path, table, "2"});
  EXPECT_EQ(found.exitCode, 0) << found.err;
  EXPECT_EQ(ids(found.out), "2");
  for (const char* key : {"2' OR '1'='1", "99"}) {
    const KivRun none = runKiv({"get", path, table, key});
    EXPECT_EQ(none.exitCode, 4);
    EXPECT_EQ(none.out, "");
    EXPECT_THAT(none.err, HasSubstr("kiv: no row with noteid = " + std::string(key)));
  }
  EXPECT_EQ(runKiv({"get", path, table, "--", "-2"}).exitCode, 4);

  runSql("CREATE TABLE plain (a)");
  const KivRun keyless = runKiv({"get", path, "plain", "1"});
  EXPECT_EQ(keyless.exitCode, 3);
  EXPECT_THAT(keyless.err, HasSubstr("plain has no key column"));
}

}  // namespace
}  // namespace kiv::cli::testing
