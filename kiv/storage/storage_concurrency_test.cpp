// Eight threads save, read and delete models of three classes through one storage at once; every
// model that was saved and not deleted then reads back from a fresh storage on the same file.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kiv/storage/context.hpp"
#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

constexpr int kThreads = 8;
constexpr int kKeysPerThread = 120;

std::string titleOf(int key) { return "title " + std::to_string(key); }
// Some tag names hold a quote; those go only through the writes that address rows by condition
// (a quick save writes its values into the statement text, where a quote breaks it).
std::string tagName(int key) { return (key % 6 == 2 ? "it's tag " : "tag ") + std::to_string(key); }

// What a key's save did, by the key modulo 6: which class holds it, or that it was deleted again.
enum class Fate { kFeedItem, kTag, kPinnedItem, kDeleted };
constexpr Fate kFates[6] = {Fate::kFeedItem, Fate::kFeedItem, Fate::kTag, Fate::kTag, Fate::kPinnedItem, Fate::kDeleted};

// The thread's share of the work on its own keys; reads of the whole tables touch everyone's.
void work(KivStorage& storage, int thread) {
  const ModelClass& feed = FeedItem::kivClass();
  for (int i = 0; i < kKeysPerThread; ++i) {
    const int key = thread * 1000 + i;
    switch (key % 6) {
      case 0:
        storage.setModel(FeedItem::make(key, titleOf(key)));
        break;
      case 1:
        storage.setModels({Value(FeedItem::make(key, "first")), Value(FeedItem::make(key, titleOf(key)))});
        EXPECT_TRUE(storage.modelWith(key, feed));
        break;
      case 2:
        storage.setModel(Tag::make(tagName(key), key));
        break;
      case 3:
        storage.batchModels({Value(Tag::make(tagName(key), key))});
        break;
      case 4:
        storage.batchModels({Value(FeedItem::make<PinnedItem>(key, titleOf(key)))});
        break;
      default:
        storage.setModels({Value(FeedItem::make(key, "deleted"))});
        storage.deleteWith(key, feed);
        EXPECT_FALSE(storage.dbModel(key, feed));
        break;
    }
    if (i % 20 == 0) {
      storage.allModels(feed);
      storage.modelsQuery("uses > 0", 5, Tag::kivClass());
      storage.matchCache(feed).trimToCount(10);
    }
  }
}

TEST_F(StorageTest, EightThreadsSaveReadAndDeleteAtOnceAndEverySurvivingModelReadsBack) {
  {
    const auto storage = openStorage();
    storage->configDataBase({Value(&PinnedItem::kivClass())});
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back([&storage, t] { work(*storage, t); });
    for (std::thread& thread : threads) thread.join();
  }

  const auto storage = openStorage();
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kKeysPerThread; ++i) {
      const int key = t * 1000 + i;
      const Fate fate = kFates[key % 6];
      if (fate == Fate::kTag) {
        const Ref<KivModel> tag = storage->modelWith(Value(tagName(key)), Tag::kivClass());
        ASSERT_TRUE(tag) << key;
        EXPECT_EQ(static_cast<Tag&>(*tag).uses(), key);
      } else if (fate == Fate::kDeleted) {
        EXPECT_FALSE(storage->modelWith(key, FeedItem::kivClass())) << key;
      } else {
        const Ref<KivModel> item =
            storage->modelWith(key, fate == Fate::kFeedItem ? FeedItem::kivClass() : PinnedItem::kivClass());
        ASSERT_TRUE(item) << key;
        EXPECT_EQ(static_cast<FeedItem&>(*item).title().str(), titleOf(key));
      }
    }
  }
}

TEST_F(StorageTest, TheSharedContextIsOneForEveryThreadAndServesThemAllAfterRegistration) {
  KivContext& context = KivContext::shareInstance();
  context.registerMapper(&TestMap::kivClass());
  context.registerDbPath(path);
  context.registerClass({TestMap::kFeedItemType, TestMap::kTagType});
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&context, t] {
      EXPECT_EQ(&KivContext::shareInstance(), &context);
      for (int i = 0; i < 50; ++i) {
        const int key = t * 1000 + i;
        context.saveModel(FeedItem::make(key, titleOf(key)));
        context.quickSaveModels({Value(Tag::make("tag " + std::to_string(key), key))});
        EXPECT_TRUE(context.modelWith(key, TestMap::kFeedItemType));
        context.modelsQuery("itemid >= 0", 3, TestMap::kFeedItemType);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  context.waitUntilBackgroundWritesFinish();
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), std::to_string(kThreads * 50));
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_tag_v1"), std::to_string(kThreads * 50));
}

}  // namespace
}  // namespace kiv::testing
