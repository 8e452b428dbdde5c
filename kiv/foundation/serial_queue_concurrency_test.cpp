#include "kiv/foundation/serial_queue.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace kiv {
namespace {

// Blocks from many threads never overlap: a plain counter and a "someone is inside" flag
// stay consistent (ThreadSanitizer checks that the queue orders the accesses).
TEST(SerialQueueConcurrencyTest, BlocksFromManyThreadsRunOneAtATime) {
  SerialQueue queue("counter");
  int counter = 0;
  bool inside = false;
  bool overlapped = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        queue.sync([&] {
          if (inside) overlapped = true;
          inside = true;
          ++counter;
          inside = false;
        });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(counter, 8000);
}

// The marker is per thread: another thread's block does not make the queue "running" here.
TEST(SerialQueueConcurrencyTest, RunningMarkerIsPerThread) {
  SerialQueue queue;
  bool seenFromOtherThread = true;
  queue.sync([&] {
    std::thread other([&] { seenFromOtherThread = queue.isRunningOnThisThread(); });
    other.join();
  });
  EXPECT_FALSE(seenFromOtherThread);
}

}  // namespace
}  // namespace kiv
