// The mapping layer's process-wide caches under many threads: first uses of a class racing each
// other, and the class cache growing while it is read.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "examples/timeline_models.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/internal/class_cache.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

constexpr int kThreads = 8;

using timeline::TimelineStatus;

// The sample feed's statuses written back as JSON and mapped again from their rows.
Array roundTrips(const Array& statuses) {
  const MutableArray out = MutableArray::array();
  for (const Value& json : statuses) {
    const Ref<TimelineStatus> status = kiv_modelFromDictionary<TimelineStatus>(json.asDictionary());
    const Ref<KivModel> stored = KivModelAdapter::modelFromDBDictionary(
        KivModelAdapter::DBDictionaryFromModel(status.get()), TimelineStatus::kivClass());
    out.addObject(Array{kiv_dictionaryFromModel(status), kiv_dictionaryFromModel(stored)});
  }
  return out;
}

TEST(MappingConcurrencyTest, FirstUsesOfAClassRaceToOneMapping) {
  const Array statuses =
      parseJSON(*testing::readFile(testing::sampleDataFile("timeline.json"))).asDictionary()["statuses"].asArray();
  std::atomic<int> ready{0};
  std::vector<Array> results(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();  // start together, on cold caches
      for (int i = 0; i < 50; ++i) results[t] = roundTrips(statuses);
    });
  }
  for (std::thread& t : threads) t.join();
  const Array expected = roundTrips(statuses);
  ASSERT_EQ(expected.count(), 5u);
  for (const Array& result : results) EXPECT_EQ(result, expected);
}

// An object that remembers which class it was made for.
class Tagged : public Object {
 public:
  explicit Tagged(int index) : index(index) {}
  const int index;
};

TEST(MappingConcurrencyTest, ClassCacheGrowsWhileItIsRead) {
  constexpr int kClasses = 300;
  // Records and their names live for the process, as every class record does.
  static auto& names = *new std::vector<std::string>(kClasses);
  static auto& classes = *new std::vector<const ModelClass*>();
  for (int i = 0; i < kClasses; ++i) {
    names[i] = "McDynamic" + std::to_string(i);
    classes.push_back(new ModelClass(names[i], names[i], KivModel::kivClass(), {}, nullptr, ModelHooks{}));
  }
  ClassCache<Tagged> cache;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kClasses; ++i) {
        const int mine = (i * 7 + t * 31) % kClasses;  // every thread inserts every class, in its own order
        if (cache.insert(*classes[mine], makeRef<Tagged>(mine)).index != mine) ++wrong;
        for (int j = 0; j < kClasses; j += 17) {
          const Tagged* found = cache.objectForKey(*classes[j]);
          if (found && found->index != j) ++wrong;
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(cache.count(), static_cast<std::size_t>(kClasses));
  for (int i = 0; i < kClasses; ++i) ASSERT_EQ(cache.objectForKey(*classes[i])->index, i);
}

}  // namespace
}  // namespace kiv
