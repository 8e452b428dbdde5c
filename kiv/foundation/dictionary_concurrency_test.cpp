// Shared immutable values are read from many threads at once; the first lookups of a large
// dictionary race to build its index.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"

namespace kiv {
namespace {

TEST(DictionaryConcurrencyTest, FirstLookupsFromManyThreadsAgree) {
  for (int round = 0; round < 20; ++round) {
    const MutableDictionary source = MutableDictionary::dictionary();
    for (int i = 0; i < 100; ++i) source.setObject(i, "key" + std::to_string(i));
    const Dictionary shared = source.copy();  // no index yet
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 100; ++i) {
          const int k = (i * 7 + t) % 100;
          if (shared["key" + std::to_string(k)].intValue() != k) ++wrong;
          const Value copy = shared;  // reference counts change from every thread
        }
      });
    }
    for (auto& th : threads) th.join();
    ASSERT_EQ(wrong.load(), 0);
  }
}

TEST(DictionaryConcurrencyTest, ParsingAndWritingOnManyThreads) {
  const std::string text = R"({"users":[{"id":1,"name":"a name longer than fourteen"},{"id":2}],"n":null})";
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const Dictionary d = parseJSON(text).asDictionary();
        if (d.LxJSON2StringNilOptions().view() != text) ++wrong;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(wrong.load(), 0);
}

// Documents parsed on one thread are released on another, whose kept blocks then serve its own
// documents: every value still reads as it was parsed.
TEST(DictionaryConcurrencyTest, ValuesReleasedOnOtherThreads) {
  const std::string text = R"({"list":[1,[2,{"k":"a string longer than fourteen bytes"}]],"o":{"p":{}}})";
  constexpr int kRounds = 200;
  std::vector<Value> handedOver(kRounds);
  std::atomic<int> ready{0};
  std::atomic<int> wrong{0};
  std::thread producer([&] {
    for (int i = 0; i < kRounds; ++i) {
      handedOver[static_cast<std::size_t>(i)] = parseJSON(text);
      ready.store(i + 1, std::memory_order_release);
    }
  });
  std::thread consumer([&] {
    for (int i = 0; i < kRounds; ++i) {
      while (ready.load(std::memory_order_acquire) <= i) std::this_thread::yield();
      Value mine = parseJSON(text);
      if (mine.asDictionary().LxJSON2StringNilOptions().view() != text) ++wrong;
      handedOver[static_cast<std::size_t>(i)] = Value();  // freed here, reused by the next parse
    }
  });
  producer.join();
  consumer.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace kiv
