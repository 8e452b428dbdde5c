#include "kiv/storage/cache.hpp"

#include <gtest/gtest.h>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

const ModelClass& kFeed = FeedItem::kivClass();

class KivCacheTest : public StorageTest {
 protected:
  Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
};

TEST_F(KivCacheTest, CreatesItsTableOnceWithTheExactText) {
  KivCache cache;
  cache.switchDatabase(db);
  cache.switchDatabase(db);
  EXPECT_EQ(onDisk("SELECT sql FROM sqlite_master WHERE name='kiv_cache_table'"),
            "CREATE TABLE kiv_cache_table (cache_key VARCHAR(20),                         cache_context VARCHAR(50))");
  EXPECT_EQ(cache.matchKey(kFeed).str(), "kiv_cache_FeedItem");
}

TEST_F(KivCacheTest, AppendsEverySaveAndReadsTheFirst) {
  KivCache cache;
  EXPECT_TRUE(cache.localJsonCacheForClass(kFeed).isAbsent());
  EXPECT_FALSE(cache.saveJsonCache("[1]", kFeed));
  cache.switchDatabase(db);
  EXPECT_TRUE(cache.localJsonCacheForClass(kFeed).isAbsent());

  EXPECT_TRUE(cache.saveJsonCache("[1]", kFeed));
  EXPECT_TRUE(cache.saveJsonCache("{\"it's\": 2}", kFeed));
  EXPECT_TRUE(cache.clearCacheForClass(kFeed));
  EXPECT_EQ(cache.localJsonCacheForClass(kFeed).str(), "[1]");
  EXPECT_TRUE(cache.localJsonCacheForClass(Tag::kivClass()).isAbsent());
  EXPECT_EQ(onDisk("SELECT cache_key, cache_context FROM kiv_cache_table"),
            "kiv_cache_FeedItem|[1]\nkiv_cache_FeedItem|{\"it's\": 2}\nkiv_cache_FeedItem|");

  cache.saveCache(Value(FeedItem::make(1, "object")), kFeed);
  EXPECT_TRUE(cache.localCacheForClass(kFeed).isAbsent());
}

}  // namespace
}  // namespace kiv::testing
