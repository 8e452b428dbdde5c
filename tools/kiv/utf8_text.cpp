#include "tools/kiv/utf8_text.hpp"

#include <cstdint>

namespace kiv::cli {
namespace {

// The length of the valid UTF-8 sequence at the start of `text`, or 0.
std::size_t validSequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF ? 2 : (lead & 0xF0) == 0xE0 ? 3 : lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
  if (length == 0 || length > text.size()) return 0;
  std::uint32_t code = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3F);
  }
  const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return overlong || surrogate || code > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string repairedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = validSequenceLength(text);
    out.append(length ? text.substr(0, length) : "\xEF\xBF\xBD");
    text.remove_prefix(length ? length : 1);
  }
  return out;
}

}  // namespace kiv::cli
