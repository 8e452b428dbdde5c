#include "tools/kiv/duration.hpp"

#include <gtest/gtest.h>

namespace kiv::cli {
namespace {

TEST(ParseDurationTest, ReadsAWholeNumberOfDaysHoursMinutesOrSeconds) {
  EXPECT_EQ(parseDuration("30d"), 2592000);
  EXPECT_EQ(parseDuration("12h"), 43200);
  EXPECT_EQ(parseDuration("90m"), 5400);
  EXPECT_EQ(parseDuration("3600s"), 3600);
  EXPECT_EQ(parseDuration("0s"), 0);
}

TEST(ParseDurationTest, RefusesEverythingElse) {
  for (const char* text : {"", "d", "30", "30w", "30D", "-1d", "+1d", " 1d", "1d ", "1.5h", "1e3s", "1 d", "0x10s"}) {
    EXPECT_EQ(parseDuration(text), std::nullopt) << text;
  }
}

TEST(ParseDurationTest, RefusesMoreSecondsThan64BitsHold) {
  EXPECT_EQ(parseDuration("106751991167300d"), 106751991167300 * 86400);
  EXPECT_EQ(parseDuration("106751991167301d"), std::nullopt);
  EXPECT_EQ(parseDuration("9223372036854775808s"), std::nullopt);
}

}  // namespace
}  // namespace kiv::cli
