// String: a Value that is absent or a string of UTF-8 text.
#ifndef KIV_FOUNDATION_STRING_HPP_
#define KIV_FOUNDATION_STRING_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/value.hpp"

namespace kiv {

class String : public Value {
 public:
  // Absent.
  String() = default;
  // A copy of the text, as Value makes strings; a null `const char*` gives absent.
  String(const char* text) : Value(text) {}
  String(std::string_view text) : Value(text) {}
  String(const std::string& text) : Value(std::string_view(text)) {}

  // The one shared empty string "".
  static const String& emptyString();

  // The text; empty when absent. The view lives as long as this String.
  std::string_view view() const noexcept { return stringView(); }
  // The text as a new std::string; empty when absent.
  std::string str() const { return std::string(stringView()); }
  // Size in bytes.
  std::size_t size() const noexcept { return stringView().size(); }

  // The value that this UTF-8 JSON text parses to, with arrays and dictionaries made mutable;
  // absent when the text is not valid UTF-8 or does not parse, or when its top level is not an
  // array or a dictionary.
  Value objectFromJSONString() const;

 private:
  friend class Value;
  struct Unchecked {};
  String(Unchecked, const Value& v) : Value(v) {}
};

inline String Value::asString() const { return isString() ? String(String::Unchecked{}, *this) : String(); }

// The value that the UTF-8 JSON text parses to (see String::objectFromJSONString).
Value objectFromJSONString(std::string_view text);

}  // namespace kiv

#endif  // KIV_FOUNDATION_STRING_HPP_
