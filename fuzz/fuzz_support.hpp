// Helpers shared by the fuzz targets: reading an input as lines of text, and checks that stop the
// run (libFuzzer then keeps the input as a crash).
#ifndef KIV_FUZZ_FUZZ_SUPPORT_HPP_
#define KIV_FUZZ_FUZZ_SUPPORT_HPP_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace kiv::fuzz {

inline std::string_view inputText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Removes the first line from `text` and returns it, without its "\n".
inline std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

// Stops the run when a property that the library promises does not hold.
inline void require(bool holds, const char* what, std::string_view detail = {}) {
  if (holds) return;
  std::fprintf(stderr, "Broken: %s\n%.*s\n", what, static_cast<int>(detail.size()), detail.data());
  std::abort();
}

}  // namespace kiv::fuzz

#endif  // KIV_FUZZ_FUZZ_SUPPORT_HPP_
