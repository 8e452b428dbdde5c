// Date: a Value that is absent or an instant, held as seconds since 1970-01-01 00:00 UTC.
#ifndef KIV_FOUNDATION_DATE_HPP_
#define KIV_FOUNDATION_DATE_HPP_

#include "kiv/foundation/value.hpp"

namespace kiv {

class Date : public Value {
 public:
  // Absent.
  Date() = default;
  // The date `seconds` after 1970-01-01 00:00 UTC (before it when negative).
  static Date dateWithTimeIntervalSince1970(double seconds) {
    return Date(Unchecked{}, Value::date(seconds));
  }
  // The current time.
  static Date now();

 private:
  friend class Value;
  struct Unchecked {};
  Date(Unchecked, const Value& v) : Value(v) {}
};

inline Date Value::asDate() const { return isDate() ? Date(Date::Unchecked{}, *this) : Date(); }

// The current time in seconds since 1970, with sub-second precision.
double currentTimeIntervalSince1970();

}  // namespace kiv

#endif  // KIV_FOUNDATION_DATE_HPP_
