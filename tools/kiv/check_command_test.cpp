#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tools/kiv/command_test_support.hpp"

namespace kiv::cli::testing {
namespace {

using CheckTest = CommandTest;
using ::testing::HasSubstr;

TEST_F(CheckTest, AFileAsKivWritesItIsClean) {
  writeNotes(3);
  const KivRun run = runKiv({"check", path});
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_EQ(run.out, "ok\n");
}

TEST_F(CheckTest, ListsEveryFindingOfKivsOwnConsistency) {
  writeNotes(3);
  runSql("DROP INDEX idx_kiv_note_v3");
  runSql("CREATE TABLE kiv_note_v2 (noteid INTEGER PRIMARY KEY)");
  KivRun run = runKiv({"check", path});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_EQ(run.out,
            "kiv_note_v2: left over from version 2; the file is at version 3 (the next version change drops it)\n"
            "kiv_note_v2: no unique index idx_kiv_note_v2 on its key column\n"
            "kiv_note_v2: no kiv_update_time column\n"
            "kiv_note_v3: no unique index idx_kiv_note_v3 on its key column\n");

  // Without the version row the tables are compared among themselves.
  runSql("DELETE FROM kv_version");
  run = runKiv({"check", path});
  EXPECT_THAT(run.out, HasSubstr("the version table kv_version has no row with id 1\n"
                                 "model tables of several versions: 2, 3\n"));
  runSql("DROP TABLE kv_version");
  EXPECT_THAT(runKiv({"check", path}).out, HasSubstr("no version table kv_version\n"));
}

TEST_F(CheckTest, ReportsTablesThatTheNextRegistrationWouldChange) {
  writeNotes(3);
  runSql("ALTER TABLE kiv_note_v3 RENAME COLUMN text TO Text");
  runSql("CREATE TABLE kiv_plain_v3 (id INTEGER PRIMARY KEY, body TEXT, kiv_update_time REAL)");
  runSql("CREATE UNIQUE INDEX idx_kiv_plain_v3 ON kiv_plain_v3(id)");
  runSql("CREATE TABLE kiv_bare_v3 (id INTEGER PRIMARY KEY)");
  runSql("CREATE UNIQUE INDEX idx_kiv_bare_v3 ON kiv_bare_v3(id)");
  const KivRun run = runKiv({"check", path});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_EQ(run.out,
            "kiv_bare_v3: stale (no kiv_update_time column): the next registration of its class creates it afresh, "
            "its rows lost, or changes it keeping them where the class map keeps data on schema changes\n"
            "kiv_note_v3: stale (column Text not in lower case): the next registration of its class creates it "
            "afresh, its rows lost, or changes it keeping them where the class map keeps data on schema changes\n"
            "kiv_plain_v3: column types that no stored property gets (body TEXT, kiv_update_time REAL): where the "
            "class map keeps data on schema changes, the next registration of its class rebuilds it with its "
            "class's types, keeping its rows; otherwise it stays as it is\n");
}

TEST_F(CheckTest, DamageThatSqliteFindsIsAFinding) {
  writeNotes(2000);
  // Zeroes over the middle of the file: pages of the table's tree are lost.
  const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(size / 2);
    const std::string zeros(8192, '\0');
    file.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
  }
  KivRun run = runKiv({"check", path});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.out, HasSubstr("integrity_check"));
  EXPECT_THAT(run.out, HasSubstr("quick_check"));

  std::filesystem::resize_file(path, 4096);  // the schema is left, its tables' pages are not
  run = runKiv({"check", path});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.out, HasSubstr("malformed"));
}

}  // namespace
}  // namespace kiv::cli::testing
