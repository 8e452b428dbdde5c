// Rows as the command prints them: one JSON object per row.
#ifndef KIV_TOOLS_KIV_ROW_JSON_HPP_
#define KIV_TOOLS_KIV_ROW_JSON_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/dictionary.hpp"

namespace kiv::cli {

// The column that follows kiv_update_time with its ISO-8601 UTC date.
inline constexpr std::string_view kUpdateTimeUtcKey = "kiv_update_time_utc";

// Appends the row's JSON object and a newline to `out`: compact, or indented by two blanks per
// level. The columns keep their order and become:
//   - SQL NULL: null; a number: the number (an infinity, which JSON lacks: "Infinity" or
//     "-Infinity");
//   - text that spells a JSON array or object: that array or object; other text: a string, any
//     bytes that are not UTF-8 replaced by U+FFFD;
//   - a blob: the text X'<hex digits>', as SQL writes a blob.
// kiv_update_time is followed by kiv_update_time_utc, its date (null when it holds no time).
void appendJsonRow(const Dictionary& row, bool pretty, std::string& out);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_ROW_JSON_HPP_
