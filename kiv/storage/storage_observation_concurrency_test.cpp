// Eight threads write through one storage while two observers watch: every write is told to both,
// each thread's writes in the order it made them, and observers may read as they go.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

constexpr int kThreads = 8;
constexpr int kKeysPerThread = 60;

// The saved keys seen, by the thread that wrote them (key / 1000).
class KeysSeen {
 public:
  void add(const KivChange& change) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Value& key : change.savedKeys) byThread_[key.intValue() / 1000].push_back(key.intValue());
  }
  std::map<int, std::vector<int>> byThread() {
    std::lock_guard<std::mutex> lock(mutex_);
    return byThread_;
  }

 private:
  std::mutex mutex_;
  std::map<int, std::vector<int>> byThread_;
};

TEST_F(StorageTest, ConcurrentWritersAreToldToEveryObserverInTheOrderEachMadeThem) {
  const auto storage = openStorage();
  KeysSeen all;
  KeysSeen feeds;
  const KivObservation allObservation = storage->observe([&](const KivChange& change) { all.add(change); });
  const KivObservation feedObservation = storage->observe<FeedItem>([&](const KivChange& change) {
    feeds.add(change);
    if (!change.savedKeys.empty()) storage->modelWith(change.savedKeys.back(), FeedItem::kivClass());
  });

  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kKeysPerThread; ++i) {
        const int key = thread * 1000 + i;
        if (i % 3 == 0) {
          storage->setModels({Value(FeedItem::make(key, "sync"))});
        } else {
          storage->setModel(FeedItem::make(key, "background"));
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  storage->waitUntilBackgroundWritesFinish();

  for (KeysSeen* seen : {&all, &feeds}) {
    const std::map<int, std::vector<int>> byThread = seen->byThread();
    ASSERT_EQ(byThread.size(), static_cast<std::size_t>(kThreads));
    for (const auto& [thread, keys] : byThread) {
      std::vector<int> expected;
      for (int i = 0; i < kKeysPerThread; ++i) expected.push_back(thread * 1000 + i);
      EXPECT_EQ(keys, expected) << "thread " << thread;
    }
  }
}

}  // namespace
}  // namespace kiv::testing
