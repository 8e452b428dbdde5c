// Durations on the command line: a whole number and one unit, "30d", "12h", "90m" or "3600s".
#ifndef KIV_TOOLS_KIV_DURATION_HPP_
#define KIV_TOOLS_KIV_DURATION_HPP_

#include <cstdint>
#include <optional>
#include <string_view>

namespace kiv::cli {

// The duration's seconds; nothing for any other text (no unit or another one, a sign, blanks, a
// fraction, or more seconds than 64 bits hold).
std::optional<std::int64_t> parseDuration(std::string_view text);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_DURATION_HPP_
