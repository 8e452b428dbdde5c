#include "tools/kiv/utc_date.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kiv::cli {
namespace {

TEST(UtcDateTextTest, WritesIsoDatesInUtcToTheMillisecond) {
  EXPECT_EQ(utcDateText(0.0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(utcDateText(1717236000.25), "2024-06-01T10:00:00.250Z");
  EXPECT_EQ(utcDateText(-1.5), "1969-12-31T23:59:58.500Z");
  EXPECT_EQ(utcDateText(-62135596800.0), "0001-01-01T00:00:00.000Z");
  EXPECT_EQ(utcDateText(Value(1717236000)), "2024-06-01T10:00:00.000Z");
}

TEST(UtcDateTextTest, GivesNothingForWhatNoDateCanHold) {
  for (const double seconds : {std::nan(""), std::numeric_limits<double>::infinity(), 1e300, -1e300,
                               -62135596801.0, 253402300800.0}) {
    EXPECT_EQ(utcDateText(seconds), std::nullopt) << seconds;
  }
  EXPECT_EQ(utcDateText(Value("1717236000")), std::nullopt);
  EXPECT_EQ(utcDateText(Value::null()), std::nullopt);
}

}  // namespace
}  // namespace kiv::cli
