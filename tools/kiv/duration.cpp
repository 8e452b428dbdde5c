#include "tools/kiv/duration.hpp"

#include <charconv>
#include <limits>
#include <system_error>

namespace kiv::cli {
namespace {

std::optional<std::int64_t> secondsPerUnit(char unit) {
  switch (unit) {
    case 'd': return 86400;
    case 'h': return 3600;
    case 'm': return 60;
    case 's': return 1;
    default: return std::nullopt;
  }
}

}  // namespace

std::optional<std::int64_t> parseDuration(std::string_view text) {
  if (text.size() < 2) return std::nullopt;
  const std::optional<std::int64_t> unit = secondsPerUnit(text.back());
  const std::string_view number = text.substr(0, text.size() - 1);
  if (!unit || number.front() < '0' || number.front() > '9') return std::nullopt;
  std::int64_t count = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), count);
  if (error != std::errc() || end != number.data() + number.size()) return std::nullopt;
  if (count > std::numeric_limits<std::int64_t>::max() / *unit) return std::nullopt;
  return count * *unit;
}

}  // namespace kiv::cli
