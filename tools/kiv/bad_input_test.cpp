// Bad files and bad command lines: a message and an exit code, never a crash, a hang or a new file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "tools/kiv/command_test_support.hpp"

namespace kiv::cli::testing {
namespace {

using ::testing::HasSubstr;

class BadInputTest : public CommandTest {
 protected:
  // Every command on the file.
  static std::vector<std::vector<std::string>> everyCommand(const std::string& file) {
    return {{"info", file},
            {"rows", file, std::string(kNoteTable)},
            {"get", file, std::string(kNoteTable), "1"},
            {"check", file},
            {"expire", file, "--older-than", "1d"}};
  }
  void expectEveryCommandFails(const std::string& file, int exitCode, const std::string& message) {
    for (const std::vector<std::string>& command : everyCommand(file)) {
      const KivRun run = runKiv(command);
      EXPECT_EQ(run.exitCode, exitCode) << command[0] << ": " << run.err;
      EXPECT_EQ(run.out, "") << command[0];
      EXPECT_THAT(run.err, HasSubstr("kiv: " + file + ": " + message)) << command[0];
    }
  }
};

TEST_F(BadInputTest, PathsThatAreNoDatabaseFile) {
  expectEveryCommandFails(dir.file("missing.db"), 2, "no such file");
  EXPECT_FALSE(std::filesystem::exists(dir.file("missing.db")));
  expectEveryCommandFails(dir.path().string(), 2, "is a directory");
  ASSERT_EQ(::mkfifo(dir.file("pipe").c_str(), 0600), 0);  // SQLite would wait for a writer
  expectEveryCommandFails(dir.file("pipe"), 2, "is not a regular file");
}

TEST_F(BadInputTest, FilesThatAreNoSqliteDatabase) {
  std::string noise(8192, '\0');
  std::mt19937 random(7);
  for (char& byte : noise) byte = static_cast<char>(random());
  std::ofstream(path, std::ios::binary) << noise;
  expectEveryCommandFails(path, 2, "file is not a database");
}

TEST_F(BadInputTest, ATruncatedDatabaseIsDamaged) {
  writeNotes(500);
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  for (const std::vector<std::string>& command : everyCommand(path)) {
    const KivRun run = runKiv(command);
    // check reports the damage as its finding; the others cannot read the file.
    EXPECT_EQ(run.exitCode, command[0] == "check" ? 5 : 2) << command[0] << ": " << run.err;
    EXPECT_THAT(run.out + run.err, HasSubstr("database disk image is malformed")) << command[0];
  }
}

TEST_F(BadInputTest, CommandLinesThatAreWrongAreUsageErrors) {
  writeNotes(1);
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {}, {"nosuch", path}, {"info"}, {"info", path, "--nosuch"}, {"rows", path}, {"get", path, "t"},
           {"rows", path, std::string(kNoteTable), "--limit", "-1"}, {"rows", path, "t", "--limit", "x"}}) {
    const KivRun run = runKiv(arguments);
    EXPECT_EQ(run.exitCode, 1) << ::testing::PrintToString(arguments);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err, "");
  }
  for (const char* command : {"info", "rows", "get", "check", "expire"}) {
    const KivRun run = runKiv({command, "--help"});
    EXPECT_EQ(run.exitCode, 0) << command;
    EXPECT_THAT(run.out, HasSubstr("Usage: kiv " + std::string(command))) << command;
  }
}

}  // namespace
}  // namespace kiv::cli::testing
