// Helpers shared by the tests of every subsystem: captured log lines, temporary directories,
// and the optional real-world data files beside the repository.
#ifndef KIV_TESTING_TEST_SUPPORT_HPP_
#define KIV_TESTING_TEST_SUPPORT_HPP_

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/foundation/log.hpp"

namespace kiv::testing {

// Captures every log line while it lives, instead of printing them.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines() const;
  // Whether some line equals `line`, or (contains) holds it as a part.
  bool has(std::string_view line) const;
  bool contains(std::string_view part) const;
  std::size_t count(std::string_view line) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  LogSink previous_;
};

// A fresh directory under the system's temporary directory, removed with its contents.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The path of a file named `name` inside the directory, as a string.
  std::string file(std::string_view name) const;

 private:
  std::filesystem::path path_;
};

// The whole content of a file, or nothing when it cannot be read.
std::optional<std::string> readFile(const std::filesystem::path& path);

// The path of a file in ../shared/data beside the repository, or nothing when it is missing (a
// user's clone has no ../shared). Tests skip themselves when this is nothing.
std::optional<std::filesystem::path> sharedDataFile(std::string_view name);

// The path of the sample data shipped with the project (examples/data).
std::filesystem::path sampleDataFile(std::string_view name);

}  // namespace kiv::testing

#endif  // KIV_TESTING_TEST_SUPPORT_HPP_
