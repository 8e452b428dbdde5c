#include "kiv/foundation/internal/lenient_number.hpp"

#include <charconv>
#include <cmath>
#include <limits>

#include "kiv/foundation/internal/platform.hpp"

namespace kiv::lenient {
namespace {

bool isBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::size_t skipBlanks(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size() && isBlank(text[i])) ++i;
  return i;
}

// Reads an optional sign and digits from `i`, saturating at [lo, hi].
template <class Int>
Int scanInteger(std::string_view text) noexcept {
  std::size_t i = skipBlanks(text);
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  // Accumulate as a negative number so that the minimum is reachable.
  constexpr Int kMin = std::numeric_limits<Int>::min();
  Int acc = 0;
  bool overflow = false;
  for (; i < text.size() && isDigit(text[i]); ++i) {
    const Int digit = text[i] - '0';
    if (!overflow && (acc < (kMin + digit) / 10)) overflow = true;
    if (!overflow) acc = acc * 10 - digit;
  }
  if (overflow) return negative ? kMin : std::numeric_limits<Int>::max();
  if (negative) return acc;
  return acc == kMin ? std::numeric_limits<Int>::max() : -acc;
}

// The length of the decimal floating-point number at the start of `text` (sign included), or 0.
std::size_t floatPrefixLength(std::string_view text) noexcept {
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < text.size() && isDigit(text[i])) ++i, ++digits;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && isDigit(text[i])) ++i, ++digits;
  }
  if (digits == 0) return 0;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    std::size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
    if (j < text.size() && isDigit(text[j])) {
      while (j < text.size() && isDigit(text[j])) ++j;
      i = j;
    }
  }
  return i;
}

// Parses a complete decimal floating-point text with an optional leading sign.
template <class Float>
Float parseFloat(std::string_view number) noexcept {
  bool negative = false;
  if (!number.empty() && (number[0] == '+' || number[0] == '-')) {
    negative = number[0] == '-';
    number.remove_prefix(1);
  }
  Float v = 0;
  const auto [end, ec] = platform::fromChars(number.data(), number.data() + number.size(), v);
  if (ec == std::errc::result_out_of_range) {
    // from_chars leaves v alone on overflow and underflow; decide which by the exponent sign.
    const bool tiny = number.find("e-") != std::string_view::npos ||
                      number.find("E-") != std::string_view::npos;
    v = tiny ? Float(0) : std::numeric_limits<Float>::infinity();
  }
  (void)end;
  return negative ? -v : v;
}

}  // namespace

std::int32_t scanInt(std::string_view text) noexcept { return scanInteger<std::int32_t>(text); }

std::int64_t scanLongLong(std::string_view text) noexcept { return scanInteger<std::int64_t>(text); }

double scanDouble(std::string_view text) noexcept {
  text.remove_prefix(skipBlanks(text));
  return parseFloat<double>(text.substr(0, floatPrefixLength(text)));
}

float scanFloat(std::string_view text) noexcept {
  text.remove_prefix(skipBlanks(text));
  return parseFloat<float>(text.substr(0, floatPrefixLength(text)));
}

bool scanBool(std::string_view text) noexcept {
  const std::size_t i = skipBlanks(text);
  if (i == text.size()) return false;
  const char c = text[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

Value parseWholeNumber(std::string_view text) noexcept {
  if (text.empty() || floatPrefixLength(text) != text.size()) return Value();
  std::string_view digits = text;
  const bool negative = digits[0] == '-';
  if (digits[0] == '+' || digits[0] == '-') digits.remove_prefix(1);
  const bool integral = digits.find_first_not_of("0123456789") == std::string_view::npos;
  if (integral) {
    std::uint64_t magnitude = 0;
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
    if (ec == std::errc() && end == digits.data() + digits.size()) {
      constexpr std::uint64_t kMaxSigned = std::numeric_limits<std::int64_t>::max();
      if (!negative && magnitude > kMaxSigned) return Value(static_cast<unsigned long long>(magnitude));
      if (!negative) return Value(static_cast<long long>(magnitude));
      if (magnitude <= kMaxSigned + 1) return Value(static_cast<long long>(0 - magnitude));
    }
  }
  return Value(parseFloat<double>(text));
}

std::int64_t doubleToInt64(double v) noexcept {
  if (std::isnan(v)) return 0;
  if (v <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  if (v >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(v);
}

std::uint64_t doubleToUInt64(double v) noexcept {
  if (std::isnan(v)) return 0;
  if (v < 0) return static_cast<std::uint64_t>(doubleToInt64(v));
  if (v >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(v);
}

}  // namespace kiv::lenient
