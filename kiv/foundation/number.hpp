// Number: a Value that is absent or a number (signed, unsigned, floating point or boolean).
#ifndef KIV_FOUNDATION_NUMBER_HPP_
#define KIV_FOUNDATION_NUMBER_HPP_

#include <type_traits>

#include "kiv/foundation/value.hpp"

namespace kiv {

class Number : public Value {
 public:
  // Absent.
  Number() = default;
  // A number of the argument's C type (see Value's number constructors).
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  Number(T v) : Value(v) {}

 private:
  friend class Value;
  struct Unchecked {};
  Number(Unchecked, const Value& v) : Value(v) {}
};

inline Number Value::asNumber() const { return isNumber() ? Number(Number::Unchecked{}, *this) : Number(); }

}  // namespace kiv

#endif  // KIV_FOUNDATION_NUMBER_HPP_
