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

class McFirst : public KivModel {
  KIV_MODEL(McFirst, KivModel)
  KIV_PROPERTY(std::int64_t, count, setCount)
  KIV_PROPERTY(String, title, setTitle)
};

class McSecond : public KivModel {
  KIV_MODEL(McSecond, KivModel)
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

TEST(ModelConcurrencyTest, DescribingOnManyThreadsBuildsOneDescriptor) {
  std::vector<const KivClassInfo*> seen(kThreads);
  runThreads([&](int t) {
    seen[t] = &McFirst::kiv_classInfo();
    // Look-ups by name and selectors are shared too.
    EXPECT_EQ(Class::named("McFirst"), &McFirst::kivClass());
    EXPECT_EQ(Selector::named("setCount:"), seen[t]->propDict().objectForKey("count")->setter());
  });
  EXPECT_EQ(std::set<const KivClassInfo*>(seen.begin(), seen.end()).size(), 1u);

  // Described once: every thread's own models record every set.
  std::atomic<int> wrong{0};
  runThreads([&](int t) {
    for (int i = 0; i < kModelsPerThread; ++i) {
      auto model = makeRef<McFirst>();
      model->setCount(t * kModelsPerThread + i);
      model->kiv_setValue(Value("t" + std::to_string(t)),
                          *McFirst::kiv_classInfo().propDict().objectForKey("title"));
      if (model->kivFlag().flag1() != 3u || model->count() != t * kModelsPerThread + i ||
          model->title().view() != "t" + std::to_string(t)) {
        ++wrong;
      }
    }
  });
  EXPECT_EQ(wrong.load(), 0);
}

TEST(ModelConcurrencyTest, SettingWhileTheClassIsFirstDescribedNeverMarksAWrongBit) {
  std::atomic<int> wrong{0};
  runThreads([&](int t) {
    if (t == 0) McSecond::kiv_classInfo();
    for (int i = 0; i < kModelsPerThread; ++i) {
      auto model = makeRef<McSecond>();
      model->setWeight(i);
      model->setCount(i);
      // Until the descriptor exists a setter may not record; it never sets another bit.
      if ((model->kivFlag().flag1() & ~std::uint64_t{0b101}) != 0 || model->count() != i) ++wrong;
    }
  });
  EXPECT_EQ(wrong.load(), 0);

  auto model = makeRef<McSecond>();
  model->setWeight(1);
  EXPECT_EQ(model->kivFlag().flag1(), 0b100u);  // "weight" sorts last of count, title, weight
}

}  // namespace
}  // namespace kiv
