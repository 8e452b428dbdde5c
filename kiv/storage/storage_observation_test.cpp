// Change observation: which changes are told, to whom, when, and what observers may do.
#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

const ModelClass& kFeed = FeedItem::kivClass();
const ModelClass& kTag = Tag::kivClass();

// The changes an observer received, as text: "Class saved 1,2 deleted 3 unnamed".
class Recorder {
 public:
  KivChangeObserver observer() {
    return [this](const KivChange& change) {
      std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(text(change));
    };
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

  static std::string text(const KivChange& change) {
    std::string line = change.modelClass ? std::string(change.modelClass->name()) : "*";
    const auto keys = [&](const char* label, const std::vector<Value>& values) {
      if (values.empty()) return;
      line.append(" ").append(label).append(" ");
      for (std::size_t i = 0; i < values.size(); ++i) line.append(i ? "," : "").append(values[i].description());
    };
    keys("saved", change.savedKeys);
    keys("deleted", change.deletedKeys);
    if (change.unnamedRowsChanged) line += " unnamed";
    return line;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

using Lines = std::vector<std::string>;

TEST_F(StorageTest, EveryCommittedWriteTellsItsClassesObserversWhichKeysChanged) {
  const auto storage = openStorage();
  Recorder feeds;
  Recorder everything;
  const KivObservation feedObservation = storage->observe<FeedItem>(feeds.observer());
  const KivObservation allObservation = storage->observe(everything.observer());
  storage->setModel(FeedItem::make(1, "one"));
  storage->waitUntilBackgroundWritesFinish();
  storage->setModels({Value(FeedItem::make(2, "two")), Value(FeedItem::make(3, "three"))});
  storage->batchModels({Value(FeedItem::make(4, "four")), Value(Tag::make("news", 1))});
  storage->deleteWith(2, kFeed);
  storage->deleteWithCondition("itemid = 3", kFeed);
  EXPECT_TRUE(storage->clearOldDatas(kFeed));
  storage->deleteAllWithClass(kTag);
  storage->waitUntilBackgroundWritesFinish();
  EXPECT_EQ(feeds.lines(), (Lines{"FeedItem saved 1", "FeedItem saved 2,3", "FeedItem saved 4", "FeedItem deleted 2",
                                  "FeedItem unnamed", "FeedItem unnamed"}));
  ASSERT_EQ(everything.lines().size(), 8u);
  EXPECT_EQ(everything.lines()[3], "Tag saved news");
  EXPECT_EQ(everything.lines()[7], "Tag unnamed");
}

TEST_F(StorageTest, SingleSavesWrittenTogetherGiveOneChangePerClass) {
  const auto storage = openStorage();
  Recorder recorder;
  const KivObservation observation = storage->observe(recorder.observer());
  std::thread busy([&] {
    storage->database()->inDatabase([](SqDatabase&) { std::this_thread::sleep_for(std::chrono::milliseconds(300)); });
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  for (int id = 0; id < 100; ++id) storage->setModel(FeedItem::make(id, "queued"));
  busy.join();
  storage->waitUntilBackgroundWritesFinish();
  const Lines lines = recorder.lines();
  ASSERT_LE(lines.size(), 2u);
  std::string all;
  for (const std::string& line : lines) all += line.substr(line.find(" saved ") + 7) + ",";
  std::string expected;
  for (int id = 0; id < 100; ++id) expected += std::to_string(id) + ",";
  EXPECT_EQ(all, expected);
}

TEST_F(StorageTest, AWriteThatFailsTellsNothing) {
  const auto storage = openStorage();
  Recorder recorder;
  const KivObservation observation = storage->observe(recorder.observer());
  storage->database()->executeQuery("pragma max_page_count = " +
                                    storage->database()->executeQuery("pragma page_count").front()->dataDict()["page_count"].description());
  storage->setModels(feedItems(1, 20, std::string(2000, 'x')));
  storage->deleteWithCondition("no_such_column = 1", kFeed);
  storage->waitUntilBackgroundWritesFinish();
  EXPECT_TRUE(recorder.lines().empty());
}

TEST_F(StorageTest, ObserversMayUseTheStorageRemoveThemselvesAndFailAlone) {
  const auto storage = openStorage();
  Recorder survivor;
  KivObservation once;
  int onceCalls = 0;
  once = storage->observe<FeedItem>([&](const KivChange&) {
    ++onceCalls;
    once.reset();  // from inside its own call
  });
  const KivObservation thrower = storage->observe<FeedItem>([](const KivChange&) { throw std::runtime_error("boom"); });
  const KivObservation writer = storage->observe<FeedItem>([&](const KivChange& change) {
    if (change.savedKeys.size() == 1 && change.savedKeys[0] == Value(1)) {
      EXPECT_TRUE(storage->modelWith(1, kFeed));
      storage->setModels({Value(Tag::make("from an observer", 1))});
    }
  });
  const KivObservation all = storage->observe(survivor.observer());
  storage->setModels(feedItems(1, 1, "first"));
  storage->setModels(feedItems(2, 1, "second"));
  storage->waitUntilBackgroundWritesFinish();
  EXPECT_EQ(onceCalls, 1);
  EXPECT_EQ(survivor.lines(), (Lines{"FeedItem saved 1", "FeedItem saved 2", "Tag saved from an observer"}));
  EXPECT_EQ(log.count("Kiv: a change observer failed: boom"), 2u);
}

}  // namespace
}  // namespace kiv::testing
