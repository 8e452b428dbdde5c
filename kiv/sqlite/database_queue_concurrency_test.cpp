#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kiv/sqlite/database_queue.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

constexpr int kThreads = 8;
constexpr int kRowsPerThread = 50;

// Eight threads share one queue: every write arrives, transactions stay whole, and the blocks
// never overlap (a plain counter touched inside them stays exact).
TEST(SqDatabaseQueueConcurrencyTest, EightThreadsShareOneConnection) {
  testing::TempDir dir;
  Ref<SqDatabaseQueue> queue = SqDatabaseQueue::databaseQueueWithPath(dir.file("shared.db"));
  ASSERT_NE(queue, nullptr);
  queue->inDatabase([](SqDatabase* db) {
    db->setShouldCacheStatements(true);
    ASSERT_TRUE(db->executeUpdate("create table t (thread, n)"));
  });

  int blocks = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int n = 0; n < kRowsPerThread; ++n) {
        if (n % 10 == 0) {
          // A pair written in one transaction; every other one is rolled back.
          queue->inTransaction([&](SqDatabase* db, bool* rollback) {
            ++blocks;
            EXPECT_TRUE(db->executeUpdate("insert into t values (?, ?)", t, -1));
            EXPECT_TRUE(db->executeUpdate("insert into t values (?, ?)", t, -1));
            *rollback = (n / 10) % 2 == 1;
          });
          continue;
        }
        queue->inDatabase([&](SqDatabase* db) {
          ++blocks;
          EXPECT_TRUE(db->executeUpdate("insert into t values (?, ?)", t, n));
          Ref<SqResultSet> rs = db->executeQuery("select count(*) from t where thread = ?", t);
          EXPECT_TRUE(rs && rs->next());
          rs->close();
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(blocks, kThreads * kRowsPerThread);
  queue->inDatabase([](SqDatabase* db) {
    // Per thread: 45 single rows and 3 committed pairs.
    EXPECT_EQ(db->intForQuery("select count(*) from t"), kThreads * (45 + 3 * 2));
    EXPECT_EQ(db->intForQuery("select count(distinct thread) from t"), kThreads);
  });
}

}  // namespace
}  // namespace kiv
