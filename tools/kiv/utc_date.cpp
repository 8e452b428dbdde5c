#include "tools/kiv/utc_date.hpp"

#include <cmath>

#include "kiv/foundation/date_formatter.hpp"

namespace kiv::cli {
namespace {

// 0001-01-01T00:00:00Z and the first second after 9999-12-31T23:59:59Z.
constexpr double kFirstSecond = -62135596800.0;
constexpr double kEndSecond = 253402300800.0;

}  // namespace

std::optional<std::string> utcDateText(double secondsSince1970) {
  if (!std::isfinite(secondsSince1970) || secondsSince1970 < kFirstSecond || secondsSince1970 >= kEndSecond) {
    return std::nullopt;
  }
  static const DateFormatter kFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
  return kFormatter.stringFromTimeInterval(secondsSince1970);
}

std::optional<std::string> utcDateText(const Value& column) {
  if (!column.isNumber()) return std::nullopt;
  return utcDateText(column.doubleValue());
}

}  // namespace kiv::cli
