#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kiv/foundation/json.hpp"
#include "tools/kiv/command_test_support.hpp"

namespace kiv::cli::testing {
namespace {

using InfoTest = CommandTest;
using ::testing::HasSubstr;

TEST_F(InfoTest, DescribesTheVersionTheModelTablesAndTheJsonCache) {
  writeNotes(5);
  const KivRun run = runKiv({"info", path});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("\nversion      3\n"));
  EXPECT_THAT(run.out, HasSubstr("\nkiv_note_v3\n  class      note, version 3\n  rows       5, updated 2"));
  EXPECT_THAT(run.out, HasSubstr("\n  key        noteid, unique index idx_kiv_note_v3\n"));
  EXPECT_THAT(run.out, HasSubstr("\n  columns    noteid INTEGER, text VARCHAR(50), tags VARCHAR(50), score DOUBLE,\n"
                                 "             kiv_update_time TIMESTAMP\n"));
  EXPECT_THAT(run.out, HasSubstr("\njson cache   kiv_cache_Note: 1 entry, 10 bytes\n"));
  EXPECT_THAT(run.out, HasSubstr("\nother tables none\n"));
}

TEST_F(InfoTest, PrintsTheSameAsOneJsonDocument) {
  writeNotes(5);
  const KivRun run = runKiv({"info", "--json", path});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Dictionary info = parseJSON(run.out).asDictionary();
  ASSERT_TRUE(info.isPresent()) << run.out;
  EXPECT_EQ(info["schema_version"].longLongValue(), 3);
  EXPECT_EQ(info["file_size"].longLongValue(), static_cast<std::int64_t>(std::filesystem::file_size(path)));
  EXPECT_EQ(info["page_size"].longLongValue() * info["page_count"].longLongValue(), info["file_size"].longLongValue());
  const Dictionary table = info["model_tables"].asArray()[0].asDictionary();
  EXPECT_EQ(table["name"].description(), kNoteTable);
  EXPECT_EQ(table["key"].description(), "noteid");
  EXPECT_TRUE(table["unique_index"].boolValue());
  EXPECT_EQ(table["rows"].longLongValue(), 5);
  EXPECT_TRUE(table["newest_update"].hasSuffix("Z"));
  EXPECT_EQ(info["cache"].asArray()[0].asDictionary()["entries"].longLongValue(), 1);
}

TEST_F(InfoTest, TellsTablesLeftOverFromAnotherVersionAndTablesThatAreNotKivs) {
  writeNotes(1);
  runSql("CREATE TABLE kiv_note_v2 (noteid INTEGER, kiv_update_time TIMESTAMP)");
  runSql("CREATE TABLE \"odd\"\"name'\" (x)");
  const KivRun run = runKiv({"info", path});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\nkiv_note_v2\n  class      note, version 2\n  standing   left over from version 2; "
                                 "the file is at version 3 (the next version change drops it)\n  rows       0\n"
                                 "  key        none, no unique index idx_kiv_note_v2\n"));
  EXPECT_THAT(run.out, HasSubstr("\nother tables odd\"name'\n"));
}

TEST_F(InfoTest, TellsTablesThatTheNextRegistrationWouldChange) {
  writeNotes(1);
  runSql("ALTER TABLE kiv_note_v3 DROP COLUMN kiv_update_time");
  KivRun run = runKiv({"info", path});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\nkiv_note_v3\n  class      note, version 3\n  standing   stale (no kiv_update_time "
                                 "column): the next registration of its class creates it afresh, its rows lost, or "
                                 "changes it keeping them where the class map keeps data on schema changes\n"));
  run = runKiv({"info", "--json", path});
  const Dictionary table = parseJSON(run.out).asDictionary()["model_tables"].asArray()[0].asDictionary();
  EXPECT_EQ(table["standing"].description(), "stale");
  EXPECT_EQ(table["standing_reason"].description(), "no kiv_update_time column");
}

}  // namespace
}  // namespace kiv::cli::testing
