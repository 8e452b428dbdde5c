#include "kiv/foundation/internal/number_text.hpp"

#include <charconv>

namespace kiv {

void appendNumberText(const Value& number, std::string& out) {
  char buf[64];
  std::to_chars_result r{};
  switch (number.numberKind()) {
    case '\0': return;
    case 'C': case 'S': case 'I': case 'Q':
      r = std::to_chars(buf, buf + sizeof buf, number.unsignedLongLongValue());
      break;
    case 'f': r = std::to_chars(buf, buf + sizeof buf, number.floatValue()); break;
    case 'd': r = std::to_chars(buf, buf + sizeof buf, number.doubleValue()); break;
    default: r = std::to_chars(buf, buf + sizeof buf, number.longLongValue()); break;
  }
  out.append(buf, r.ptr);
}

}  // namespace kiv
