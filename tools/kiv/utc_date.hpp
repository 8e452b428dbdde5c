// Times as kiv_update_time holds them (seconds since 1970) written as ISO-8601 UTC dates.
#ifndef KIV_TOOLS_KIV_UTC_DATE_HPP_
#define KIV_TOOLS_KIV_UTC_DATE_HPP_

#include <optional>
#include <string>

#include "kiv/foundation/value.hpp"

namespace kiv::cli {

// "2024-06-01T10:00:00.250Z" (milliseconds truncated); nothing for a time that is not finite or
// falls outside the years 1 to 9999.
std::optional<std::string> utcDateText(double secondsSince1970);

// The same for a column's value: nothing unless it is a number.
std::optional<std::string> utcDateText(const Value& column);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_UTC_DATE_HPP_
