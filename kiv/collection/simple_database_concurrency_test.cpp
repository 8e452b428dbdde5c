#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

constexpr int kThreads = 4;

// Runs body(thread index) on kThreads threads at once and waits for them.
template <class Body>
void onThreads(Body body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body, t);
  for (std::thread& thread : threads) thread.join();
}

// Threads share one database: they get one collection per name, and write and read through the
// one queue in begin/commit pairs that never leave a transaction open.
TEST(OxSimpleDatabaseConcurrencyTest, ThreadsShareCollectionsAndNestedTransactions) {
  testing::TempDir dir;
  Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(dir.file("c.db"));
  ASSERT_TRUE(db->executeUpdate("create table t (id INTEGER PRIMARY KEY, thread INTEGER)"));
  constexpr int kRows = 100;
  std::vector<std::vector<OxDbCollection*>> seen(kThreads);
  onThreads([&](int t) {
    for (int i = 0; i < kRows; ++i) {
      seen[t].push_back(db->collection("c" + std::to_string(i % 10)).get());
      Ref<OxDbCollection> rows = db->collection("t");
      db->beginTransaction();
      EXPECT_TRUE(rows->upsert({{"id", t * kRows + i}, {"thread", t}}));
      db->commit();
      EXPECT_GE(rows->findCount("thread=" + std::to_string(t), ""), i + 1);
    }
  });
  for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[t], seen[0]);
  EXPECT_EQ(std::set<OxDbCollection*>(seen[0].begin(), seen[0].end()).size(), 10u);
  EXPECT_EQ(db->transactionCounter(), 0);
  EXPECT_FALSE(db->inDatabase([](SqDatabase& connection) { return connection.inTransaction(); }));
  EXPECT_EQ(db->collection("t")->findCount("", ""), kThreads * kRows);
}

// A database released on one thread while another uses one of its collections goes only once the
// operation in progress is done; the collection's later operations find nothing.
TEST(OxSimpleDatabaseConcurrencyTest, ADatabaseReleasedWhileItsCollectionWorksWaitsForIt) {
  testing::TempDir dir;
  Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(dir.file("c.db"));
  ASSERT_TRUE(db->executeUpdate("create table t (v)"));
  const Ref<OxDbCollection> t = db->collection("t");
  std::atomic<int> written{0};
  std::thread user([&] {
    for (int i = 0; i < 100000 && t->upsert({{"v", i}}); ++i) ++written;
  });
  while (written.load() < 20) std::this_thread::yield();
  db = nullptr;
  user.join();
  EXPECT_EQ(t->database(), nullptr);
  EXPECT_FALSE(t->upsert({{"v", -1}}));
  EXPECT_TRUE(t->find().empty());
}

}  // namespace
}  // namespace kiv
