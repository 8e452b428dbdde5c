#include "kiv/testing/test_support.hpp"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <random>
#include <sstream>

#include <unistd.h>

namespace kiv::testing {

LogCapture::LogCapture() {
  previous_ = setLogSink([this](std::string_view line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.emplace_back(line);
  });
}

LogCapture::~LogCapture() { setLogSink(std::move(previous_)); }

std::vector<std::string> LogCapture::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

bool LogCapture::has(std::string_view line) const { return count(line) > 0; }

bool LogCapture::contains(std::string_view part) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(),
                     [&](const std::string& l) { return l.find(part) != std::string::npos; });
}

std::size_t LogCapture::count(std::string_view line) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
}

void LogCapture::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  std::random_device random;
  const std::string name = "kiv-test-" + std::to_string(::getpid()) + "-" +
                           std::to_string(counter++) + "-" + std::to_string(random());
  path_ = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(std::string_view name) const { return (path_ / name).string(); }

std::optional<std::string> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

std::optional<std::filesystem::path> sharedDataFile(std::string_view name) {
  const std::filesystem::path path =
      std::filesystem::path(KIV_SOURCE_DIR) / ".." / "shared" / "data" / name;
  if (!std::filesystem::exists(path)) return std::nullopt;
  return path;
}

std::filesystem::path sampleDataFile(std::string_view name) {
  return std::filesystem::path(KIV_SOURCE_DIR) / "examples" / "data" / name;
}

}  // namespace kiv::testing
