#include "kiv/storage/context.hpp"

#include <gtest/gtest.h>

#include <future>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

constexpr std::int64_t kFeedType = TestMap::kFeedItemType;
constexpr std::int64_t kTagType = TestMap::kTagType;
constexpr std::int64_t kUnmappedType = 99;

class KivContextTest : public StorageTest {
 protected:
  // A context with the test class map and file, and the feed items' type registered.
  void registerAll() {
    context.registerMapper(&TestMap::kivClass());
    context.registerDbPath(path);
    context.registerClass({kFeedType});
  }

  KivContext context;
};

TEST_F(KivContextTest, ForwardsEveryOperationOfARegisteredType) {
  registerAll();
  const Ref<FeedItem> item = FeedItem::make(1, "one");
  context.saveModel(item);
  EXPECT_EQ(context.modelWith(1, kFeedType), item);
  // Only the first model of an array is checked; the rest go into its table whatever their class.
  context.saveModels({Value(FeedItem::make(2, "two")), Value(FeedItem::make<PinnedItem>(3, "three"))});
  context.quickSaveModels({Value(FeedItem::make(4, "four"))});
  context.waitUntilBackgroundWritesFinish();
  EXPECT_EQ(titles(context.allModels(kFeedType)), "one,two,three,four");
  EXPECT_EQ(titles(context.modelsWith({4, 2}, kFeedType)), "four,two");
  EXPECT_EQ(titles(context.modelsQuery("itemid >= 2", kFeedType)), "two,three,four");
  EXPECT_EQ(titles(context.modelsQuery("itemid >= 2", 1, kFeedType)), "two");

  std::promise<Ref<KivModel>> read;
  context.modelWith(3, kFeedType, [&](Ref<KivModel> model) { read.set_value(model); });
  EXPECT_EQ(static_cast<FeedItem&>(*read.get_future().get()).title().str(), "three");

  context.removeModelWith(1, kFeedType);
  context.removeModelWithCondition("itemid = 2", kFeedType);
  EXPECT_EQ(onDisk("SELECT itemid FROM kiv_feeditem_v1"), "3\n4");
  EXPECT_TRUE(context.clearOldDatas(kFeedType));
  context.removeAllWithType(kFeedType);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "0");

  TestMap::obsoleteTables = {"kiv_feeditem_v1"};
  context.clearOldTables();
  EXPECT_EQ(onDisk("SELECT count(*) FROM sqlite_master WHERE name='kiv_feeditem_v1'"), "0");
}

TEST_F(KivContextTest, RefusesUnregisteredTypesWithoutTouchingTheDatabase) {
  registerAll();
  context.storage().setDbModels({Value(Tag::make("stored", 1))}, Tag::kivClass());
  traceStatements(context.storage());
  bool called = false;
  for (const std::int64_t type : {kTagType, kUnmappedType}) {
    EXPECT_FALSE(context.mapType(type));
    EXPECT_TRUE(context.allModels(type).isAbsent());
    EXPECT_FALSE(context.modelWith("stored", type));
    EXPECT_TRUE(context.modelsWith({"stored"}, type).isAbsent());
    EXPECT_TRUE(context.modelsQuery("1", type).isAbsent());
    context.modelWith("stored", type, [&](Ref<KivModel>) { called = true; });
    context.removeModelWith("stored", type);
    context.removeModelWithCondition("1", type);
    context.removeAllWithType(type);
    EXPECT_FALSE(context.clearOldDatas(type));
  }
  context.saveModel(Tag::make("refused", 1));
  context.saveModels({Value(Tag::make("refused", 1)), Value(FeedItem::make(1, "after a refused first"))});
  context.saveModels(Array::emptyArray());
  context.quickSaveModels({Value(Tag::make("refused", 1))});
  // A subclass of a registered class is a class of its own.
  context.saveModel(FeedItem::make<PinnedItem>(5, "pinned"));
  context.waitUntilBackgroundWritesFinish();
  EXPECT_FALSE(called);
  EXPECT_EQ(sql(), "");
  EXPECT_TRUE(context.mapType(kFeedType));
}

TEST_F(KivContextTest, RegistrationWaitsForTheClassMapAndIgnoresOtherClasses) {
  context.registerDbPath(path);
  context.registerClass({kFeedType});
  EXPECT_FALSE(context.mapType(kFeedType));

  context.registerMapper(&FeedItem::kivClass());
  context.registerMapper(nullptr);
  context.registerClass({kFeedType});
  EXPECT_FALSE(context.mapType(kFeedType));

  context.registerMapper(&TestMap::kivClass());
  EXPECT_FALSE(context.mapType(kFeedType));
  context.registerClass(Array::emptyArray());
  context.registerClass({kFeedType, kUnmappedType});
  context.registerMapper(&FeedItem::kivClass());
  context.registerClass({kTagType});
  EXPECT_TRUE(context.mapType(kFeedType));
  EXPECT_TRUE(context.mapType(kTagType));
  EXPECT_EQ(context.storage().mapper(), &TestMap::kivClass());
  EXPECT_EQ(onDisk("SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"),
            "kiv_feeditem_v1\nkiv_tag_v1\nkv_version");
}

}  // namespace
}  // namespace kiv::testing
