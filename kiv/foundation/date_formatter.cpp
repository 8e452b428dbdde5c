#include "kiv/foundation/date_formatter.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace kiv {
namespace {

constexpr const char* kMonthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                       "July",    "August",   "September", "October", "November", "December"};
constexpr const char* kWeekdayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                         "Thursday", "Friday", "Saturday"};
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kMicrosPerSecond = 1000000;

struct CivilDate {
  std::int64_t year;
  int month;  // 1-12
  int day;    // 1-31
};

constexpr std::int64_t floorDiv(std::int64_t a, std::int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Days since 1970-01-01 of a date in the proleptic Gregorian calendar.
constexpr std::int64_t daysFromCivil(CivilDate date) {
  const std::int64_t y = date.year - (date.month <= 2);
  const std::int64_t era = floorDiv(y, 400);
  const std::int64_t yearOfEra = y - era * 400;
  const std::int64_t dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

CivilDate civilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = floorDiv(days, 146097);
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t mp = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
  const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  return {yearOfEra + era * 400 + (month <= 2), month, day};
}

// Parsing reads years up to kMaxYear. Formatting takes local times less than kLocalSecondsLimit
// away from 1970 (the start of the year after kMaxYear), so that their microseconds fit 64 bits;
// farther ones, and those that are not finite, format as empty text.
constexpr std::int64_t kMaxYear = 99999;
constexpr double kLocalSecondsLimit = static_cast<double>(daysFromCivil({kMaxYear + 1, 1, 1}) * kSecondsPerDay);

// 0 for Sunday; 1970-01-01 was a Thursday.
std::int64_t weekday(std::int64_t days) { return days + 4 - floorDiv(days + 4, 7) * 7; }

int daysInMonth(std::int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

bool isNumberField(char letter, int count) {
  switch (letter) {
    case 'y': case 'd': case 'H': case 'h': case 'm': case 's': case 'S': return true;
    case 'M': return count <= 2;
    default: return false;
  }
}

bool isPatternLetter(char c) {
  switch (c) {
    case 'y': case 'M': case 'd': case 'H': case 'h': case 'm': case 's': case 'S':
    case 'a': case 'E': case 'Z': case 'z':
      return true;
    default:
      return false;
  }
}

void appendPadded(std::string& out, std::int64_t value, int width) {
  if (value < 0) {
    out.push_back('-');
    value = -value;
  }
  const std::string digits = std::to_string(value);
  if (static_cast<int>(digits.size()) < width) out.append(width - digits.size(), '0');
  out.append(digits);
}

// "+hh:mm" or "+hhmm" for an offset in seconds.
void appendOffset(std::string& out, int offset, bool withColon) {
  out.push_back(offset < 0 ? '-' : '+');
  const std::int64_t minutes = std::abs(static_cast<std::int64_t>(offset)) / 60;
  appendPadded(out, minutes / 60, 2);
  if (withColon) out.push_back(':');
  appendPadded(out, minutes % 60, 2);
}

// ASCII case and digits: the names are en_US and the digits ASCII, whatever the C locale says
// (and without a call into the C library per character).
char lowerASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool isDigitASCII(char c) { return c >= '0' && c <= '9'; }

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (lowerASCII(text[i]) != lowerASCII(prefix[i])) {
      return false;
    }
  }
  return true;
}

// The index of the name (full, or its first three letters) that the text starts with, consumed.
std::optional<int> readName(std::string_view& text, const char* const* names, int count, bool abbreviated) {
  for (int i = 0; i < count; ++i) {
    const std::string_view name = abbreviated ? std::string_view(names[i], 3) : std::string_view(names[i]);
    if (startsWithIgnoringCase(text, name)) {
      text.remove_prefix(name.size());
      return i;
    }
  }
  return std::nullopt;
}

// The next `width` digits, or when width is 0 all the digits there are (at least one, at most 18),
// consumed.
std::optional<std::string_view> readDigits(std::string_view& text, int width) {
  std::size_t n = 0;
  const std::size_t limit = width > 0 ? static_cast<std::size_t>(width) : 18;
  while (n < text.size() && n < limit && isDigitASCII(text[n])) ++n;
  if (n == 0 || (width > 0 && n != limit)) return std::nullopt;
  const std::string_view digits = text.substr(0, n);
  text.remove_prefix(n);
  return digits;
}

// The value of decimal digits; the largest int64, out of every field's range, when it is larger.
std::int64_t valueOf(std::string_view digits) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  std::int64_t value = 0;
  for (const char digit : digits) {
    if (value > (kMax - 9) / 10) return kMax;
    value = value * 10 + (digit - '0');
  }
  return value;
}

// "Z", or a sign, two digits of hours, an optional ":" and two digits of minutes.
std::optional<int> readOffset(std::string_view& text) {
  if (!text.empty() && text.front() == 'Z') {
    text.remove_prefix(1);
    return 0;
  }
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return std::nullopt;
  const int sign = text.front() == '-' ? -1 : 1;
  text.remove_prefix(1);
  const auto hours = readDigits(text, 2);
  if (!hours) return std::nullopt;
  if (!text.empty() && text.front() == ':') text.remove_prefix(1);
  const auto minutes = readDigits(text, 2);
  if (!minutes) return std::nullopt;
  const std::int64_t h = valueOf(*hours), m = valueOf(*minutes);
  if (h > 23 || m > 59) return std::nullopt;
  return sign * static_cast<int>(h * 3600 + m * 60);
}

// A two-digit year, placed in the hundred years that start 80 years before now.
std::int64_t expandTwoDigitYear(std::int64_t twoDigits) {
  const std::int64_t secondsNow = static_cast<std::int64_t>(currentTimeIntervalSince1970());
  const std::int64_t start = civilFromDays(floorDiv(secondsNow, kSecondsPerDay)).year - 80;
  std::int64_t year = start - start % 100 + twoDigits;
  if (year < start) year += 100;
  return year;
}

}  // namespace

struct DateFormatter::Parsed {
  std::int64_t year = 1970;
  int month = 1;
  int day = 1;
  int hour = 0;
  bool twelveHour = false;
  bool pm = false;
  int minute = 0;
  int second = 0;
  double fraction = 0;
  std::optional<int> zone;
};

DateFormatter::DateFormatter(std::string_view dateFormat, int timeZoneOffset)
    : dateFormat_(dateFormat), timeZoneOffset_(timeZoneOffset) {
  auto addLiteral = [&](std::string_view text) {
    if (fields_.empty() || fields_.back().letter != 0) fields_.push_back({0, 0, {}});
    fields_.back().literal.append(text);
  };
  std::size_t i = 0;
  while (i < dateFormat.size()) {
    const char c = dateFormat[i];
    if (c == '\'') {
      if (i + 1 < dateFormat.size() && dateFormat[i + 1] == '\'') {
        addLiteral("'");
        i += 2;
        continue;
      }
      // Quoted text up to the closing quote, in which "''" stands for one quote.
      for (++i; i < dateFormat.size(); ++i) {
        if (dateFormat[i] != '\'') {
          addLiteral(dateFormat.substr(i, 1));
        } else if (i + 1 < dateFormat.size() && dateFormat[i + 1] == '\'') {
          addLiteral("'");
          ++i;
        } else {
          break;
        }
      }
      ++i;
      continue;
    }
    std::size_t run = 1;
    while (i + run < dateFormat.size() && dateFormat[i + run] == c) ++run;
    if (isPatternLetter(c)) {
      fields_.push_back({c, static_cast<int>(run), {}});
    } else {
      addLiteral(dateFormat.substr(i, run));
    }
    i += run;
  }
}

String DateFormatter::stringFromDate(const Date& date) const {
  if (date.isAbsent()) return String();
  return String(stringFromTimeInterval(date.timeIntervalSince1970()));
}

std::string DateFormatter::stringFromTimeInterval(double secondsSince1970) const {
  const double localSeconds = secondsSince1970 + timeZoneOffset_;
  if (!(std::abs(localSeconds) < kLocalSecondsLimit)) return {};  // NaN too
  // Whole microseconds keep the fraction digits free of floating-point noise.
  const auto micros =
      static_cast<std::int64_t>(std::llround(localSeconds * static_cast<double>(kMicrosPerSecond)));
  const std::int64_t seconds = floorDiv(micros, kMicrosPerSecond);
  const std::int64_t fraction = micros - seconds * kMicrosPerSecond;
  const std::int64_t days = floorDiv(seconds, kSecondsPerDay);
  const std::int64_t secondOfDay = seconds - days * kSecondsPerDay;
  const CivilDate civil = civilFromDays(days);
  const int hour = static_cast<int>(secondOfDay / 3600);

  std::string out;
  for (const Field& f : fields_) {
    switch (f.letter) {
      case 0: out.append(f.literal); break;
      case 'y': appendPadded(out, f.count == 2 ? civil.year % 100 : civil.year, f.count); break;
      case 'M':
        if (f.count >= 3) {
          const std::string_view name = kMonthNames[civil.month - 1];
          out.append(f.count == 3 ? name.substr(0, 3) : name);
        } else {
          appendPadded(out, civil.month, f.count);
        }
        break;
      case 'd': appendPadded(out, civil.day, f.count); break;
      case 'H': appendPadded(out, hour, f.count); break;
      case 'h': appendPadded(out, hour % 12 == 0 ? 12 : hour % 12, f.count); break;
      case 'm': appendPadded(out, secondOfDay / 60 % 60, f.count); break;
      case 's': appendPadded(out, secondOfDay % 60, f.count); break;
      case 'S': {
        std::string digits;
        appendPadded(digits, fraction, 6);
        digits.resize(static_cast<std::size_t>(f.count), '0');
        out.append(digits);
        break;
      }
      case 'a': out.append(hour < 12 ? "AM" : "PM"); break;
      case 'E': {
        const std::string_view name = kWeekdayNames[weekday(days)];
        out.append(f.count == 4 ? name : name.substr(0, 3));
        break;
      }
      case 'Z':
        if (f.count == 5 && timeZoneOffset_ == 0) {
          out.push_back('Z');
        } else {
          appendOffset(out, timeZoneOffset_, f.count == 5);
        }
        break;
      case 'z':
        out.append("GMT");
        if (timeZoneOffset_ != 0) appendOffset(out, timeZoneOffset_, true);
        break;
    }
  }
  return out;
}

Date DateFormatter::dateFromString(std::string_view text) const {
  Parsed p;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const bool fixedWidth = isNumberField(fields_[i].letter, fields_[i].count) && i + 1 < fields_.size() &&
                            isNumberField(fields_[i + 1].letter, fields_[i + 1].count);
    if (!parseField(fields_[i], fixedWidth, text, p)) return Date();
  }
  if (!text.empty()) return Date();

  const int maxHour = p.twelveHour ? 12 : 23;
  if (p.year > kMaxYear || p.month < 1 || p.month > 12 || p.day < 1 || p.day > daysInMonth(p.year, p.month) ||
      p.hour > maxHour || (p.twelveHour && p.hour < 1) || p.minute > 59 || p.second > 59) {
    return Date();
  }
  int hour = p.hour;
  if (p.twelveHour) hour = hour % 12 + (p.pm ? 12 : 0);
  const std::int64_t seconds = daysFromCivil({p.year, p.month, p.day}) * kSecondsPerDay + hour * 3600 +
                               p.minute * 60 + p.second - p.zone.value_or(timeZoneOffset_);
  return Date::dateWithTimeIntervalSince1970(static_cast<double>(seconds) + p.fraction);
}

bool DateFormatter::parseField(const Field& f, bool fixedWidth, std::string_view& text, Parsed& p) {
  const int width = fixedWidth ? f.count : 0;
  // A value too large for the field's int is out of range as a whole, not cut to fit.
  auto number = [&](int& target) {
    const auto digits = readDigits(text, width);
    if (!digits || valueOf(*digits) > std::numeric_limits<int>::max()) return false;
    target = static_cast<int>(valueOf(*digits));
    return true;
  };
  switch (f.letter) {
    case 0:
      if (text.substr(0, f.literal.size()) != f.literal) return false;
      text.remove_prefix(f.literal.size());
      return true;
    case 'y': {
      const auto digits = readDigits(text, width);
      if (!digits) return false;
      p.year = f.count == 2 && digits->size() == 2 ? expandTwoDigitYear(valueOf(*digits)) : valueOf(*digits);
      return true;
    }
    case 'M':
      if (f.count >= 3) {
        const auto index = readName(text, kMonthNames, 12, f.count == 3);
        if (index) p.month = *index + 1;
        return index.has_value();
      }
      return number(p.month);
    case 'd': return number(p.day);
    case 'H': return number(p.hour);
    case 'h':
      p.twelveHour = true;
      return number(p.hour);
    case 'm': return number(p.minute);
    case 's': return number(p.second);
    case 'S': {
      // Digits beyond the 18th do not change a double's fraction of a second.
      const auto digits = readDigits(text, width);
      if (!digits) return false;
      const std::string_view significant = digits->substr(0, 18);
      p.fraction = static_cast<double>(valueOf(significant)) / std::pow(10.0, static_cast<double>(significant.size()));
      return true;
    }
    case 'a':
      if (startsWithIgnoringCase(text, "AM") || startsWithIgnoringCase(text, "PM")) {
        p.pm = lowerASCII(text.front()) == 'p';
        text.remove_prefix(2);
        return true;
      }
      return false;
    case 'E': return readName(text, kWeekdayNames, 7, f.count < 4).has_value();
    case 'Z': p.zone = readOffset(text); return p.zone.has_value();
    case 'z':
      if (!startsWithIgnoringCase(text, "GMT") && !startsWithIgnoringCase(text, "UTC")) return false;
      text.remove_prefix(3);
      p.zone = text.empty() || (text.front() != '+' && text.front() != '-') ? std::optional<int>(0)
                                                                             : readOffset(text);
      return p.zone.has_value();
  }
  return false;
}

}  // namespace kiv
