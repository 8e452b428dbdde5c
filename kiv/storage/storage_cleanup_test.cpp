#include <gtest/gtest.h>

#include <regex>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

const ModelClass& kFeed = FeedItem::kivClass();
constexpr double kDay = 86400;

class StorageCleanupTest : public StorageTest {
 protected:
  // Saves the item and makes its row look written `age` seconds ago.
  void saveAged(KivStorage& storage, std::int64_t id, double age) {
    storage.setDbModel(FeedItem::make(id, "aged"), kFeed);
    EXPECT_TRUE(storage.database()->executeUpdate("UPDATE kiv_feeditem_v1 SET kiv_update_time = " +
                                      std::to_string(currentTimeIntervalSince1970() - age) +
                                      " WHERE itemid = " + std::to_string(id)));
  }
};

TEST_F(StorageCleanupTest, DeletesRowsOlderThanTheIntervalWithASixDecimalCutOffButLeavesTheCache) {
  const auto storage = openStorage();
  saveAged(*storage, 31, 31 * kDay);
  saveAged(*storage, 29, 29 * kDay);
  storage->transactionModel(FeedItem::make(31, "cached"), kFeed);
  traceStatements(*storage);
  EXPECT_TRUE(storage->clearOldDatas(kFeed));
  EXPECT_TRUE(std::regex_match(sql(), std::regex(R"(DELETE FROM kiv_feeditem_v1 WHERE kiv_update_time < \d+\.\d{6})")));
  EXPECT_EQ(onDisk("SELECT itemid FROM kiv_feeditem_v1"), "29");
  EXPECT_TRUE(storage->modelWith(31, kFeed));

  // A zero interval deletes every row written before the call.
  TestMap::clearTimeInterval = 0;
  storage->setDbModel(FeedItem::make(1, "new"), kFeed);
  EXPECT_TRUE(storage->clearOldDatas(kFeed));
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "0");
}

TEST_F(StorageCleanupTest, DropsTheObsoleteTablesThatExistUntilTheirClassIsCheckedAgain) {
  const auto storage = openStorage();
  TestMap::obsoleteTables = {"kiv_feeditem_v1", "no_such_table", 3};
  storage->clearOldTables();
  EXPECT_EQ(onDisk("SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"), "kiv_tag_v1\nkv_version");
  EXPECT_FALSE(storage->clearOldDatas(kFeed));
  storage->ensureTable(kFeed);
  EXPECT_TRUE(storage->clearOldDatas(kFeed));
}

}  // namespace
}  // namespace kiv::testing
