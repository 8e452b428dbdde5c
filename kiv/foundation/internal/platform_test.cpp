#include "kiv/foundation/internal/platform.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string_view>
#include <system_error>

namespace kiv::platform {
namespace {

struct Read {
  double value;
  std::size_t length;
  std::errc ec;
};

Read readDouble(std::string_view text, double initial = -7.0) {
  double value = initial;
  const std::from_chars_result r = fromChars(text.data(), text.data() + text.size(), value);
  return {value, static_cast<std::size_t>(r.ptr - text.data()), r.ec};
}

// The reader is the standard library's where it has one and a fallback elsewhere (libc++ 14);
// both must give these results.
TEST(PlatformTest, FromCharsReadsTheNearestValueOfTheLongestDecimalNumber) {
  EXPECT_EQ(readDouble("0.1").value, 0.1);
  EXPECT_EQ(readDouble("-2.5e3").value, -2500.0);
  EXPECT_EQ(readDouble("9007199254740993").value, 9007199254740992.0);  // ties to even
  EXPECT_EQ(readDouble("123456789012345678.5").value, 123456789012345678.5);
  EXPECT_EQ(readDouble("4.9e-324").value, std::numeric_limits<double>::denorm_min());

  const Read partial = readDouble("12.5e+xyz");
  EXPECT_EQ(partial.value, 12.5);
  EXPECT_EQ(partial.length, 4u);  // an exponent without digits is not part of the number
  EXPECT_EQ(readDouble("0x10").length, 1u);  // no hexadecimal

  for (const std::string_view bad : {"", "+1", " 1", "e5", ".", "-"}) {
    const Read r = readDouble(bad);
    EXPECT_EQ(r.ec, std::errc::invalid_argument) << bad;
    EXPECT_EQ(r.value, -7.0) << bad;
  }
  for (const std::string_view beyond : {"1e400", "-1e400", "1e-400"}) {
    const Read r = readDouble(beyond);
    EXPECT_EQ(r.ec, std::errc::result_out_of_range) << beyond;
    EXPECT_EQ(r.value, -7.0) << beyond;
    EXPECT_EQ(r.length, beyond.size()) << beyond;
  }

  float f = 0;
  const std::string_view text = "3.4028236e38";  // beyond the largest float
  EXPECT_EQ(fromChars(text.data(), text.data() + text.size(), f).ec, std::errc::result_out_of_range);
  const std::string_view third = "0.333333343";
  fromChars(third.data(), third.data() + third.size(), f);
  EXPECT_EQ(f, 1.0f / 3.0f);
}

TEST(PlatformTest, UtcTimeBreaksSecondsIntoCalendarFields) {
  std::tm tm{};
  ASSERT_TRUE(utcTime(-1, tm));
  EXPECT_EQ(tm.tm_year + 1900, 1969);
  EXPECT_EQ(tm.tm_mon + 1, 12);
  EXPECT_EQ(tm.tm_mday, 31);
  EXPECT_EQ(tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec, 86399);
}

}  // namespace
}  // namespace kiv::platform
