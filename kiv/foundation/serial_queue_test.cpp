#include "kiv/foundation/serial_queue.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace kiv {
namespace {

TEST(SerialQueueTest, KnowsWhenItRunsOnThisThreadThroughNestedQueues) {
  SerialQueue a("a"), b("b");
  EXPECT_FALSE(a.isRunningOnThisThread());
  const auto caller = std::this_thread::get_id();
  const int result = a.sync([&] {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_TRUE(a.isRunningOnThisThread());
    EXPECT_FALSE(b.isRunningOnThisThread());
    b.sync([&] { EXPECT_TRUE(a.isRunningOnThisThread() && b.isRunningOnThisThread()); });
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_FALSE(a.isRunningOnThisThread());
}

TEST(SerialQueueTest, AnExceptionFreesTheQueue) {
  SerialQueue queue;
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("boom"); }), std::runtime_error);
  EXPECT_FALSE(queue.isRunningOnThisThread());
  EXPECT_EQ(queue.sync([] { return 1; }), 1);
}

TEST(SerialQueueDeathTest, ReenteringStopsInsteadOfHanging) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  SerialQueue a, b;
  EXPECT_DEATH(a.sync([&] { a.sync([] {}); }), "already running on this thread");
  EXPECT_DEATH(a.sync([&] { b.sync([&] { a.sync([] {}); }); }), "would lead to a deadlock");
}

}  // namespace
}  // namespace kiv
