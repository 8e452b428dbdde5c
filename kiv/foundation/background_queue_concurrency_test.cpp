#include "kiv/foundation/background_queue.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

TEST(BackgroundQueueTest, TasksOfOneQueueRunInOrderAndNeverOverlap) {
  BackgroundQueue queue("ordered");
  std::vector<int> seen;  // touched only by the queue's tasks, one at a time
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::vector<std::thread> submitters;
  std::mutex submitMutex;
  int next = 0;
  for (int t = 0; t < 4; ++t) {
    submitters.emplace_back([&] {
      for (int i = 0; i < 250; ++i) {
        std::lock_guard<std::mutex> lock(submitMutex);  // fixes the submission order
        const int n = next++;
        queue.async([&, n] {
          if (running.fetch_add(1) != 0) overlapped = true;
          seen.push_back(n);
          running.fetch_sub(1);
        });
      }
    });
  }
  for (auto& t : submitters) t.join();
  queue.waitUntilIdle();
  ASSERT_EQ(seen.size(), 1000u);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(seen[static_cast<std::size_t>(i)], i);
  EXPECT_FALSE(overlapped.load());
}

TEST(BackgroundQueueTest, DestructionWaitsForEverySubmittedTask) {
  std::atomic<int> done{0};
  {
    BackgroundQueue queue;
    for (int i = 0; i < 50; ++i) {
      queue.async([&] {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        ++done;
      });
    }
  }
  EXPECT_EQ(done.load(), 50);
}

TEST(BackgroundQueueTest, QueuesRunSideBySideAndSurviveFailingTasks) {
  testing::LogCapture logs;
  BackgroundQueue a("a"), b("b");
  std::atomic<int> count{0};
  a.async([] { throw std::runtime_error("boom"); });
  for (int i = 0; i < 100; ++i) {
    a.async([&] { ++count; });
    b.async([&] { ++count; });
  }
  // Waiting from inside the queue's own task returns at once instead of deadlocking.
  a.async([&] { a.waitUntilIdle(); });
  a.waitUntilIdle();
  b.waitUntilIdle();
  EXPECT_EQ(count.load(), 200);
  EXPECT_TRUE(logs.has("Background task on a failed: boom"));

  std::atomic<bool> detached{false};
  BackgroundQueue::runDetached([&] { detached = true; });
  for (int i = 0; i < 2000 && !detached; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_TRUE(detached.load());
}

}  // namespace
}  // namespace kiv
