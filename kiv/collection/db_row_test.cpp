#include "kiv/collection/db_row.hpp"

#include <gtest/gtest.h>

#include "kiv/foundation/date.hpp"

namespace kiv {
namespace {

TEST(OxDbRowTest, DateForKeyReadsDatesAndSecondsElseTheDefault) {
  const Value fallback = Value::date(1);
  const OxDbRow row(Dictionary{{"date", Value::date(5)}, {"seconds", 1449000000.5}, {"text", "2015"}});
  EXPECT_EQ(row.dateForKey("date", fallback), Value::date(5));
  EXPECT_EQ(row.dateForKey("seconds", fallback), Value::date(1449000000.5));
  EXPECT_EQ(row.dateForKey("text", fallback), fallback);
  EXPECT_EQ(row.dateForKey("missing", fallback), fallback);
  EXPECT_EQ(row.dateForKey("missing", 60), Value::date(60));  // a number default is read as seconds too
}

TEST(OxDbRowTest, ChangesStayInTheRow) {
  const MutableDictionary source{{"a", 1}};
  OxDbRow row(source);
  row.setObject(2, "a");
  row.setObject(Value(), "b");
  row.setObject(Value::null(), "c");
  EXPECT_EQ(row.dataDict(), Dictionary({{"a", 2}, {"c", Value::null()}}));
  EXPECT_EQ(source, Dictionary({{"a", 1}}));
  row.removeObjectForKey("a");
  EXPECT_TRUE(row.objectForKey("a").isAbsent());
  EXPECT_TRUE(OxDbRow(Dictionary()).dataDict().empty());  // an absent dictionary
}

}  // namespace
}  // namespace kiv
