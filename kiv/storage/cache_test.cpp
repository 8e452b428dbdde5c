#include "kiv/storage/cache.hpp"

#include <gtest/gtest.h>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

using KivCacheTest = DatabaseFixture;

TEST_F(KivCacheTest, CreatesItsTableOnceAppendsEverySaveAndReadsTheFirst) {
  const ModelClass& feed = FeedItem::kivClass();
  KivCache cache;
  EXPECT_TRUE(cache.localJsonCacheForClass(feed).isAbsent());
  EXPECT_FALSE(cache.saveJsonCache("[1]", feed));
  const Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
  cache.switchDatabase(db);
  cache.switchDatabase(db);
  EXPECT_EQ(onDisk("SELECT sql FROM sqlite_master WHERE name='kiv_cache_table'"),
            "CREATE TABLE kiv_cache_table (cache_key VARCHAR(20),                         cache_context VARCHAR(50))");
  EXPECT_TRUE(cache.localJsonCacheForClass(feed).isAbsent());

  EXPECT_TRUE(cache.saveJsonCache("[1]", feed));
  EXPECT_TRUE(cache.saveJsonCache("{\"it's\": 2}", feed));
  EXPECT_TRUE(cache.clearCacheForClass(feed));
  EXPECT_EQ(cache.localJsonCacheForClass(feed).str(), "[1]");
  EXPECT_TRUE(cache.localJsonCacheForClass(Tag::kivClass()).isAbsent());
  EXPECT_EQ(onDisk("SELECT cache_key, cache_context FROM kiv_cache_table"),
            "kiv_cache_FeedItem|[1]\nkiv_cache_FeedItem|{\"it's\": 2}\nkiv_cache_FeedItem|");

  cache.saveCache(Value(FeedItem::make(1, "object")), feed);
  EXPECT_TRUE(cache.localCacheForClass(feed).isAbsent());
}

}  // namespace
}  // namespace kiv::testing
