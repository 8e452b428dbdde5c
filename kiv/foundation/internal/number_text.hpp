// The plain text of a number, shared by its "%@" text, JSON text and SQL literals.
#ifndef KIV_FOUNDATION_INTERNAL_NUMBER_TEXT_HPP_
#define KIV_FOUNDATION_INTERNAL_NUMBER_TEXT_HPP_

#include <string>

#include "kiv/foundation/value.hpp"

namespace kiv {

// Appends the number's text: integers in decimal, booleans as 1 or 0, floating point in the
// shortest form that reads back to the same value ("1.5", "0.1", "1e+20"; integral values
// without a fraction, "3"; "nan", "inf" and "-inf" for the non-finite). Nothing for non-numbers.
void appendNumberText(const Value& number, std::string& out);

}  // namespace kiv

#endif  // KIV_FOUNDATION_INTERNAL_NUMBER_TEXT_HPP_
