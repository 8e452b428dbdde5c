#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tools/kiv/command_test_support.hpp"

namespace kiv::cli::testing {
namespace {

using ::testing::HasSubstr;

class ExpireTest : public CommandTest {
 protected:
  // Six notes: 1 and 2 written 40 days ago, 3 ten days ago, the others now.
  void SetUp() override {
    writeNotes(6);
    runSql("UPDATE kiv_note_v3 SET kiv_update_time = kiv_update_time - 40 * 86400 WHERE noteid <= 2");
    runSql("UPDATE kiv_note_v3 SET kiv_update_time = kiv_update_time - 10 * 86400 WHERE noteid = 3");
  }
  std::string remaining() { return queryText("SELECT group_concat(noteid) FROM kiv_note_v3"); }
};

TEST_F(ExpireTest, DeletesTheRowsOlderThanTheDurationOrCountsThemInADryRun) {
  KivRun run = runKiv({"expire", path, "--older-than", "30d", "--dry-run"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "kiv_note_v3: 2 rows would be removed\n");
  EXPECT_EQ(remaining(), "1,2,3,4,5,6");

  run = runKiv({"expire", path, "--older-than", "7d", "--table", std::string(kNoteTable)});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "kiv_note_v3: 3 rows removed\n");
  EXPECT_EQ(remaining(), "4,5,6");
  EXPECT_EQ(run.err, "");
}

TEST_F(ExpireTest, RefusesABadDurationAndTablesItCannotExpire) {
  for (const char* duration : {"30", "30x", "-1d"}) {
    const KivRun run = runKiv({"expire", path, "--older-than", duration});
    EXPECT_EQ(run.exitCode, 1) << duration;
    EXPECT_THAT(run.err, HasSubstr("--older-than"));
  }
  EXPECT_EQ(runKiv({"expire", path}).exitCode, 1);
  EXPECT_EQ(runKiv({"expire", path, "--older-than", "1d", "--table", "nosuch"}).exitCode, 3);
  runSql("CREATE TABLE plain (a)");
  const KivRun run = runKiv({"expire", path, "--older-than", "1d", "--table", "plain"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("plain has no kiv_update_time column"));
  EXPECT_EQ(remaining(), "1,2,3,4,5,6");
}

TEST_F(ExpireTest, LeavesAReadOnlyFileAsItIs) {
  std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
  KivRun run = runKiv({"expire", path, "--older-than", "1d"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("the file is read-only"));
  run = runKiv({"expire", path, "--older-than", "1d", "--dry-run"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(remaining(), "1,2,3,4,5,6");
}

TEST_F(ExpireTest, DeletesInRunsOverTheWholeRangeOfRowIdsWithProgressOnATerminal) {
  runSql("CREATE TABLE kiv_wide_v3 (id INTEGER PRIMARY KEY, kiv_update_time TIMESTAMP)");
  runSql("INSERT INTO kiv_wide_v3 VALUES (-9223372036854775808, 0), (9223372036854775807, 0), (0, 1e12)");
  runSql("WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < 25000) "
         "INSERT INTO kiv_wide_v3 SELECT x * 7, 0 FROM n");
  const KivRun run = runKiv({"expire", path, "--older-than", "1d"}, /*stderrOnTerminal=*/true);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "kiv_note_v3: 3 rows removed\nkiv_wide_v3: 25002 rows removed\n");
  EXPECT_THAT(run.err, HasSubstr("expire kiv_wide_v3: 0 of 25002 (0%)"));
  EXPECT_EQ(queryText("SELECT group_concat(id) FROM kiv_wide_v3"), "0");
}

}  // namespace
}  // namespace kiv::cli::testing
