#include "kiv/foundation/memory_cache.hpp"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace kiv {
namespace {

TEST(MemoryCacheTest, EvictsTheLeastRecentlyUsedBeyondItsLimitAndTellsTheDelegate) {
  MemoryCache cache("Items", 3);
  std::vector<int> evicted;
  cache.setDelegate([&](MemoryCache& c, const Value& object) {
    evicted.push_back(object.intValue());
    c.count();  // the delegate may use the cache: it is called outside the lock
  });
  for (int i = 1; i <= 3; ++i) cache.setObject(i, Value(i));
  cache.objectForKey(Value(1));  // 1 is now the most recently used
  cache.setObject(4, Value(4));
  EXPECT_EQ(evicted, std::vector<int>{2});
  EXPECT_TRUE(cache.objectForKey(Value(2)).isAbsent());
  EXPECT_EQ(cache.count(), 3u);
  cache.trimToCount(1);
  EXPECT_EQ(cache.count(), 1u);
  EXPECT_EQ(cache.objectForKey(Value(4)).intValue(), 4);
  cache.removeObjectForKey(Value(4));  // explicit removal is not an eviction
  EXPECT_EQ(evicted.size(), 3u);
  EXPECT_EQ(cache.name(), "Items");
}

TEST(MemoryCacheTest, KeysCompareByValueAndKind) {
  MemoryCache cache;
  cache.setObject("number", Value(42));
  cache.setObject("text", Value("42"));
  EXPECT_EQ(cache.count(), 2u);
  EXPECT_EQ(cache.objectForKey(Value(42.0)).stringView(), "number");
  EXPECT_EQ(cache.objectForKey(Value("42")).stringView(), "text");
  cache.setObject(Value(), Value(1));
  cache.setObject(1, Value());
  EXPECT_EQ(cache.count(), 2u);
  cache.setCountLimit(1);
  EXPECT_EQ(cache.count(), 1u);
  cache.removeAllObjects();
  EXPECT_EQ(cache.count(), 0u);
}

// Many inserts, replacements and removals over a small key space, against a plain map: every
// entry stays findable however the index was rearranged by removals and growth.
TEST(MemoryCacheTest, AgreesWithAPlainMapThroughManyChanges) {
  MemoryCache cache;
  std::map<int, int> expected;
  std::mt19937 random(7);
  for (int step = 0; step < 20000; ++step) {
    const int key = static_cast<int>(random() % 300);
    if (random() % 3 == 0) {
      cache.removeObjectForKey(Value(key));
      expected.erase(key);
    } else {
      cache.setObject(Value(step), Value(key));
      expected[key] = step;
    }
  }
  ASSERT_EQ(cache.count(), expected.size());
  for (int key = 0; key < 300; ++key) {
    const auto found = expected.find(key);
    EXPECT_EQ(cache.objectForKey(Value(key)).intValue(), found == expected.end() ? 0 : found->second) << key;
  }
}

}  // namespace
}  // namespace kiv
