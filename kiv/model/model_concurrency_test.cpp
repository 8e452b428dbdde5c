#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kiv/model/model.hpp"

namespace kiv {
namespace {

constexpr int kThreads = 4;
constexpr int kModelsPerThread = 500;

class McItem : public KivModel {
  KIV_MODEL(McItem, KivModel)
  KIV_PROPERTY(std::int64_t, count, setCount)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(double, weight, setWeight)
};

template <class Body>
void runThreads(Body body) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      body(t);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Every thread describes the class at its own moment (thread 0 at once) while all of them set
// their own models of it. Until a thread has the descriptor, its setters may or may not record,
// but never mark another property's bit; from then on every set records.
TEST(ModelConcurrencyTest, ThreadsDescribeAClassOnceWhileSettingTheirOwnModels) {
  std::vector<const KivClassInfo*> seen(kThreads);
  std::atomic<int> wrong{0};
  runThreads([&](int t) {
    const std::string title = "t" + std::to_string(t);
    for (int i = 0; i < kModelsPerThread; ++i) {
      if (i == t * 10) seen[t] = &McItem::kiv_classInfo();
      auto model = makeRef<McItem>();
      model->setWeight(i);
      model->setCount(i);
      if (!seen[t]) {
        if ((model->kivFlag().flag1() & ~std::uint64_t{0b101}) != 0 || model->count() != i) ++wrong;
        continue;
      }
      // count, title, weight: merge indexes 0, 1, 2 in name order.
      const std::uint64_t bySetters = model->kivFlag().flag1();
      model->kiv_setValue(Value(title), *seen[t]->propDict().objectForKey("title"));
      const bool allSet = model->kivFlag().flag1() == 0b111u && model->title().view() == title;
      if (bySetters != 0b101u || !allSet) ++wrong;
    }
    // Look-ups by name and selectors are shared too.
    EXPECT_EQ(Class::named("McItem"), &McItem::kivClass());
    EXPECT_EQ(Selector::named("setCount:"), seen[t]->propDict().objectForKey("count")->setter());
  });
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(std::set<const KivClassInfo*>(seen.begin(), seen.end()).size(), 1u);
}

}  // namespace
}  // namespace kiv
