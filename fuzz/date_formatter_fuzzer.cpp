// The date formatter on arbitrary patterns and texts.
//
// Input lines: a pattern; a text to parse; a time interval to format (as strtod reads it, so
// "nan", "inf" and "1e300" too); a zone offset in seconds. A formatter with that offset formats
// the interval and parses the text. Check, with the offset cut to whole minutes within a day (the
// offsets that zone fields can write): text that the formatter wrote, of the interval or of the
// date parsed from the text, parses to a date that formats as the same text.
//
// Some patterns write text that need not come back, and are not checked:
// - a weekday ("E") is not read, so without the full date the date read back has another one;
// - "a" is read without changing an hour read by "H", and "h" and "H" both set the hour;
// - a field that appears twice is read twice, and the last reading wins (a two-digit year, or
//   fewer fraction digits, may differ from the first);
// - a number field directly followed by another one reads exactly as many digits as it has
//   letters, fewer than it may write ("Hm" writes 10:05 as "105", read as 1:05);
// - a number field followed by literal digits reads them as its own.
// Letters are looked for anywhere in the pattern, quoted text included. Dates are checked in the
// years 1 to 9999, whose years the four-letter field writes in four digits.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.hpp"
#include "kiv/foundation/date_formatter.hpp"
#include "kiv/foundation/internal/lenient_number.hpp"

namespace kiv::fuzz {
namespace {

struct Run {
  char letter;
  std::size_t count;
};

std::vector<Run> runsOf(std::string_view pattern) {
  std::vector<Run> runs;
  for (const char c : pattern) {
    if (!runs.empty() && runs.back().letter == c) {
      ++runs.back().count;
    } else {
      runs.push_back({c, 1});
    }
  }
  return runs;
}

bool isNumberField(const Run& run) {
  return std::string_view("ydHhmsS").find(run.letter) != std::string_view::npos || (run.letter == 'M' && run.count <= 2);
}

// The most digits that the field writes for a year from 1 to 9999.
std::size_t widestText(const Run& run) {
  if (run.letter == 'S') return run.count;
  return std::max<std::size_t>(run.count, run.letter == 'y' && run.count != 2 ? 4 : 2);
}

bool writesTextThatNeedNotComeBack(std::string_view pattern) {
  const std::vector<Run> runs = runsOf(pattern);
  std::string fields;  // the letters met so far, "h" as "H"
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const Run& run = runs[i];
    if (run.letter == 'E' || run.letter == 'a') return true;
    const char field = run.letter == 'h' ? 'H' : run.letter;
    if (std::isalpha(static_cast<unsigned char>(field))) {
      if (fields.find(field) != std::string::npos) return true;
      fields.push_back(field);
    }
    if (i + 1 < runs.size() && isNumberField(run)) {
      const Run& next = runs[i + 1];
      if (isNumberField(next) && widestText(run) > run.count) return true;
      if (std::isdigit(static_cast<unsigned char>(next.letter))) return true;
    }
  }
  return false;
}

// Seconds since 1970 of the start of the year 1 and of the year 10000, a day inside.
constexpr double kFirstChecked = -62135596800.0 + 86400;
constexpr double kLastChecked = 253402300800.0 - 86400;

// The date's text, in the years checked, reads back as a date that formats as the same text.
void requireTextComesBack(const DateFormatter& formatter, double secondsSince1970) {
  if (!(secondsSince1970 >= kFirstChecked && secondsSince1970 <= kLastChecked)) return;
  const std::string text = formatter.stringFromTimeInterval(secondsSince1970);
  const Date date = formatter.dateFromString(text);
  require(!date || formatter.stringFromDate(date).stringView() == text, "the formatter's text reads back as itself", text);
}

void run(std::string_view input) {
  const std::string_view pattern = takeLine(input);
  const std::string_view text = takeLine(input);
  const double interval = std::strtod(std::string(takeLine(input)).c_str(), nullptr);
  const int offset = lenient::scanInt(takeLine(input));

  const DateFormatter any(pattern, offset);
  (void)any.stringFromTimeInterval(interval);
  (void)any.dateFromString(text);

  if (writesTextThatNeedNotComeBack(pattern)) return;
  const DateFormatter formatter(pattern, offset % (24 * 60) * 60);
  requireTextComesBack(formatter, interval);
  if (const Date parsed = formatter.dateFromString(text)) requireTextComesBack(formatter, parsed.timeIntervalSince1970());
}

}  // namespace
}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kiv::fuzz::run(kiv::fuzz::inputText(data, size));
  return 0;
}
