// The two ways a string reads as a number.
//
// The scanning readers take the longest numeric prefix after leading white space, as the
// platform's strings do for their own intValue, longLongValue, floatValue, doubleValue and
// boolValue. The whole-string parser accepts a string only when all of it is a number, as the
// platform's number formatter does; "." is always the decimal separator, whatever the locale.
#ifndef KIV_FOUNDATION_INTERNAL_LENIENT_NUMBER_HPP_
#define KIV_FOUNDATION_INTERNAL_LENIENT_NUMBER_HPP_

#include <cstdint>
#include <string_view>

#include "kiv/foundation/value.hpp"

namespace kiv::lenient {

// Optional sign and digits after leading white space; the nearest limit on overflow; 0 without
// digits. "12abc" gives 12, " 7" gives 7, "abc" gives 0.
std::int32_t scanInt(std::string_view text) noexcept;
std::int64_t scanLongLong(std::string_view text) noexcept;
// The longest decimal floating-point prefix after leading white space ("1.5e3x" gives 1500); 0.0
// without one. Hexadecimal, infinity and NaN spellings are not numbers here.
double scanDouble(std::string_view text) noexcept;
float scanFloat(std::string_view text) noexcept;
// True when the first non-blank character is Y, y, T, t or a digit 1 to 9.
bool scanBool(std::string_view text) noexcept;

// The number that the whole text spells, or absent: an optional sign, digits, an optional
// fraction and an optional exponent, nothing else (no blanks). Integers that fit 64 bits keep
// every digit (kind 'q', or 'Q' above the signed range); the rest are doubles (kind 'd').
Value parseWholeNumber(std::string_view text) noexcept;

// The machine conversion of a double to a 64-bit integer: truncation toward zero, saturating at
// the type's range, NaN as 0. (A plain cast is undefined out of range.)
std::int64_t doubleToInt64(double v) noexcept;
std::uint64_t doubleToUInt64(double v) noexcept;

}  // namespace kiv::lenient

#endif  // KIV_FOUNDATION_INTERNAL_LENIENT_NUMBER_HPP_
