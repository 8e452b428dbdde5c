// Text from a database file made fit for JSON, which must be UTF-8.
#ifndef KIV_TOOLS_KIV_UTF8_TEXT_HPP_
#define KIV_TOOLS_KIV_UTF8_TEXT_HPP_

#include <string>
#include <string_view>

namespace kiv::cli {

// The text with every byte that does not belong to a valid UTF-8 sequence (a stray continuation
// byte, a truncated or overlong sequence, a surrogate, a code point above U+10FFFF) replaced by
// U+FFFD.
std::string repairedUtf8(std::string_view text);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_UTF8_TEXT_HPP_
