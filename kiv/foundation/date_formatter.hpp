// DateFormatter: turns dates into text and back by a fixed pattern such as "yyyy-MM-dd HH:mm:ss",
// in one time zone, with the month, weekday and AM/PM names of the en_US locale.
//
// Pattern letters (a run of one letter is one field; its length selects the form):
//   y     year; "yy" two digits (parsed into the 100 years from 80 years ago), else at least
//         as many digits as letters
//   M     month; "M"/"MM" number, "MMM" "Jan", "MMMM" "January"
//   d H m s      day of month, hour 0-23, minute, second: at least as many digits as letters
//   h     hour 1-12 (with "a": "AM"/"PM")
//   S     fraction of the second, as many digits as letters (truncated when formatting)
//   E     weekday; up to "EEE" "Mon", "EEEE" "Monday" (ignored when parsing)
//   Z     zone offset "+0000"; "ZZZZZ" "Z" or "+01:00"
//   z     zone name "GMT" or "GMT+01:00"
// Text between single quotes is literal ("''" is a quote); any other character is literal too.
//
// Parsing accepts exactly the whole text: literals must match, numbers must be in range (no
// 30 February), and a zone field in the text overrides the formatter's zone. Fields missing from
// the pattern default to 1970-01-01 00:00:00. A number field that is directly followed by another
// number field reads exactly its letter count of digits ("yyyyMMdd"); otherwise it reads all
// digits. Years run from 0 to 99999; a local time farther from 1970 than the start of the year
// 100000, or not finite, formats as empty text. A formatter is immutable and may be shared
// between threads.
#ifndef KIV_FOUNDATION_DATE_FORMATTER_HPP_
#define KIV_FOUNDATION_DATE_FORMATTER_HPP_

#include <string>
#include <string_view>
#include <vector>

#include "kiv/foundation/date.hpp"
#include "kiv/foundation/string.hpp"

namespace kiv {

class DateFormatter {
 public:
  // A formatter for the pattern in the zone `timeZoneOffset` seconds east of GMT (0: GMT).
  explicit DateFormatter(std::string_view dateFormat, int timeZoneOffset = 0);

  // The pattern and the zone offset given at construction.

  const std::string& dateFormat() const noexcept { return dateFormat_; }
  int timeZoneOffset() const noexcept { return timeZoneOffset_; }

  // The date's text; absent for an absent date.
  String stringFromDate(const Date& date) const;
  // The text of the date `secondsSince1970` after 1970; empty when it is out of range or not
  // finite.
  std::string stringFromTimeInterval(double secondsSince1970) const;
  // The date that the whole text spells, or absent.
  Date dateFromString(std::string_view text) const;

 private:
  struct Field {
    char letter;          // pattern letter, or 0 for literal text
    int count;            // length of the letter run
    std::string literal;  // the text of a literal
  };
  struct Parsed;

  static bool parseField(const Field& field, bool fixedWidth, std::string_view& text, Parsed& out);

  std::string dateFormat_;
  int timeZoneOffset_;
  std::vector<Field> fields_;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_DATE_FORMATTER_HPP_
