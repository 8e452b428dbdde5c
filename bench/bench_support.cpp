#include "bench_support.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace kiv::bench {
namespace {

std::optional<std::string> read(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

}  // namespace

std::optional<std::string> sharedData(std::string_view name) {
  return read(std::filesystem::path(KIV_SOURCE_DIR) / ".." / "shared" / "data" / name);
}

std::string sampleData(std::string_view name) {
  return read(std::filesystem::path(KIV_SOURCE_DIR) / "examples" / "data" / name).value_or("");
}

bool requireData(benchmark::State& state, const std::optional<std::string>& data, std::string_view name) {
  if (data) return true;
  state.SkipWithError((std::string(name) + " not found in ../shared/data; skipped").c_str());
  return false;
}

}  // namespace kiv::bench
