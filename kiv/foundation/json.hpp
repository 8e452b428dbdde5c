// JSON text to Values and back.
//
// Reading accepts UTF-8 text whose top level is an array or an object, as the platform's JSON
// serialiser does without its fragments option, and builds the Values directly, with no second
// document tree: objects become dictionaries in the order of their keys (a repeated key keeps
// its first place and its last value), arrays arrays, both immutable unless mutable containers
// are asked for (empty immutable ones are all the same shared object), integers that fit 64 bits
// numbers of kind 'q' (or 'Q' above the signed range), other numbers (fractions, exponents,
// integers beyond 64 bits) the nearest double, true and false booleans. Nesting deeper than
// kMaxJSONDepth is an error, so hostile input cannot exhaust the stack.
//
// Writing accepts a valid JSON object: an array or dictionary at the top, and inside only
// strings, finite numbers, nulls, arrays and dictionaries. Anything else (dates, data, models,
// NaN or infinity, invalid UTF-8, nesting deeper than kMaxJSONDepth) makes the whole write fail.
// A floating-point number is written as the shortest text that reads back to the same double
// (fixed or with an exponent, whichever is shorter: "0.1", "1e+21", "123456789012345680.0"), with
// ".0" added when that text would read as an integer, so that it reads back as a floating-point
// number; -0.0 keeps its sign.
#ifndef KIV_FOUNDATION_JSON_HPP_
#define KIV_FOUNDATION_JSON_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/error.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

// The deepest nesting that reading and writing accept: this many arrays and dictionaries, one
// inside the other.
inline constexpr int kMaxJSONDepth = 1024;

// Whether parsing makes immutable arrays and dictionaries or mutable ones.
enum class JSONContainers { kImmutable, kMutable };

// The value that the text parses to, or absent. On failure, when `error` is given, it receives
// the domain "KivJSON", a code and a message that says what was wrong.
Value parseJSON(std::string_view text, JSONContainers containers = JSONContainers::kImmutable,
                Error* error = nullptr);

// Whether the value is a valid JSON object as described above.
bool isValidJSONObject(const Value& value);

// Appends the JSON text of a valid JSON object to `out`: compact, or indented by two blanks per
// level with " : " between key and value. Returns false, leaving `out` as it was, when the value
// is not a valid JSON object.
bool writeJSON(const Value& value, std::string& out, bool pretty);

}  // namespace kiv

#endif  // KIV_FOUNDATION_JSON_HPP_
