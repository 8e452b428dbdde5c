#include "kiv/foundation/date_formatter.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

namespace kiv {
namespace {

// 2001-02-03 04:05:06.789 UTC, a Saturday.
constexpr double kSample = 981173106.789;

TEST(DateFormatterTest, FormatsTheStoreablePatternInGMT) {
  DateFormatter f("yyyy-MM-dd HH:mm:ss");
  EXPECT_EQ(f.stringFromTimeInterval(kSample), "2001-02-03 04:05:06");
  EXPECT_EQ(f.stringFromTimeInterval(0), "1970-01-01 00:00:00");
  EXPECT_EQ(f.stringFromTimeInterval(-1), "1969-12-31 23:59:59");
  EXPECT_EQ(f.stringFromDate(Date::dateWithTimeIntervalSince1970(951782400)).view(), "2000-02-29 00:00:00");
  EXPECT_TRUE(f.stringFromDate(Date()).isAbsent());
}

TEST(DateFormatterTest, FormatsNamesFractionsZonesAndLiterals) {
  EXPECT_EQ(DateFormatter("EEE, d MMM yy h:mm a").stringFromTimeInterval(kSample), "Sat, 3 Feb 01 4:05 AM");
  EXPECT_EQ(DateFormatter("EEEE MMMM").stringFromTimeInterval(kSample), "Saturday February");
  EXPECT_EQ(DateFormatter("ss.SSS").stringFromTimeInterval(kSample), "06.789");
  EXPECT_EQ(DateFormatter("yyyy-MM-dd'T'HH:mm:ssZZZZZ").stringFromTimeInterval(kSample), "2001-02-03T04:05:06Z");
  EXPECT_EQ(DateFormatter("HH:mm Z z", 3600 + 1800).stringFromTimeInterval(kSample), "05:35 +0130 GMT+01:30");
  EXPECT_EQ(DateFormatter("hh 'o''clock' ''").stringFromTimeInterval(kSample + 12 * 3600), "04 o'clock '");
}

TEST(DateFormatterTest, ParsesWhatItFormats) {
  for (const char* pattern : {"yyyy-MM-dd HH:mm:ss", "yyyyMMddHHmmss", "d MMMM yyyy h:mm:ss a",
                              "EEE, dd MMM yyyy HH:mm:ss Z", "yyyy-MM-dd'T'HH:mm:ss.SSSz"}) {
    for (int offset : {0, -5 * 3600}) {
      DateFormatter f(pattern, offset);
      const std::string text = f.stringFromTimeInterval(kSample);
      const Date parsed = f.dateFromString(text);
      ASSERT_TRUE(parsed.isDate()) << pattern << " " << text;
      const double expected = std::string_view(pattern).find('S') == std::string_view::npos ? 981173106 : kSample;
      EXPECT_NEAR(parsed.timeIntervalSince1970(), expected, 1e-6) << pattern;
    }
  }
}

TEST(DateFormatterTest, ParsingHonoursZonesInTheText) {
  DateFormatter f("yyyy-MM-dd HH:mm Z");
  EXPECT_EQ(f.dateFromString("1970-01-01 01:00 +0100").timeIntervalSince1970(), 0);
  EXPECT_EQ(DateFormatter("HH:mm z").dateFromString("01:00 GMT+01:00").timeIntervalSince1970(), 0);
  EXPECT_EQ(DateFormatter("HH:mm", 3600).dateFromString("01:00").timeIntervalSince1970(), 0);
}

TEST(DateFormatterTest, RejectsTextThatDoesNotFit) {
  DateFormatter f("yyyy-MM-dd HH:mm:ss");
  for (const char* text : {"", "2001-02-03", "2001-02-03 04:05:06 trailing", "2001/02/03 04:05:06",
                           "2001-02-30 04:05:06", "2001-13-01 00:00:00", "2001-02-03 24:00:00",
                           "2001-02-03 04:60:00", "abcd-02-03 04:05:06"}) {
    EXPECT_TRUE(f.dateFromString(text).isAbsent()) << text;
  }
  // Numbers too large for their field are out of range, not cut to fit (2^32 + 1 is no month 1).
  for (const char* text : {"4294967297-01 00", "2001-4294967297 00", "2001-01 4294967296", "100000-01 00"}) {
    EXPECT_TRUE(DateFormatter("yyyy-MM HH").dateFromString(text).isAbsent()) << text;
  }
  EXPECT_EQ(DateFormatter("yyyy").stringFromDate(DateFormatter("yyyy").dateFromString("99999")).view(), "99999");
  // Fixed-width fields wider than 18 digits read all of theirs.
  const std::string twenty(20, 'S'), zeros(19, '0');
  EXPECT_EQ(DateFormatter(twenty + "HH").dateFromString("5" + zeros + "01").timeIntervalSince1970(), 3600.5);
  EXPECT_EQ(DateFormatter(std::string(20, 'd') + "MM").dateFromString(zeros + "501").timeIntervalSince1970(), 4 * 86400);
  EXPECT_TRUE(DateFormatter("h a").dateFromString("13 PM").isAbsent());
  EXPECT_TRUE(DateFormatter("MMM").dateFromString("Foo").isAbsent());
}

// Instants too far from 1970 for the calendar arithmetic, and ones that are no number, have no
// text; any zone offset formats.
TEST(DateFormatterTest, FormatsInstantsBeyondItsRangeAsEmptyText) {
  const DateFormatter f("yyyy-MM-dd HH:mm:ss.SSS");
  for (double seconds : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -4e12, 4e12}) {
    EXPECT_EQ(f.stringFromTimeInterval(seconds), "") << seconds;
  }
  const double last = f.dateFromString("99999-12-31 23:59:59.000").timeIntervalSince1970();
  EXPECT_EQ(f.stringFromTimeInterval(last), "99999-12-31 23:59:59.000");
  EXPECT_EQ(f.stringFromTimeInterval(last + 1), "");
  EXPECT_EQ(f.stringFromTimeInterval(-last).substr(0, 7), "-96060-");  // as far before 1970
  EXPECT_EQ(DateFormatter("Z", INT_MIN).stringFromTimeInterval(0), "-59652314");
}

TEST(DateFormatterTest, TwoDigitYearsFallWithinACenturyAroundNow) {
  const Date d = DateFormatter("yy-MM-dd").dateFromString("01-02-03");
  EXPECT_EQ(DateFormatter("yyyy").stringFromDate(d).view(), "2001");
}

}  // namespace
}  // namespace kiv
