// The mapping layer's process-wide caches under many threads: first uses of a class racing each
// other, and the class cache growing while it is read.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "kiv/foundation/json.hpp"
#include "kiv/mapping/class_cache.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"

namespace kiv {
namespace {

constexpr int kThreads = 8;

class McTag : public KivModel {
  KIV_MODEL(McTag, KivModel)
  KIV_PROPERTY(String, text, setText)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
};

class McOwner : public KivModel {
  KIV_MODEL(McOwner, KivModel)
  KIV_PROPERTY(std::int64_t, ownerId, setOwnerId)
  KIV_PROPERTY(String, name, setName)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"ownerId", "id"}, {"name", "name"}}; }
  static Array kiv_dbStoreProperty() { return {"ownerId", "name"}; }
};

class McItem : public KivModel {
  KIV_MODEL(McItem, KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(Ref<McOwner>, owner, setOwner)
  KIV_PROPERTY(Array, tags, setTags)
  KIV_PROPERTY(Date, created, setCreated)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"itemId", "id"}, {"title", "meta.title"}, {"owner", "owner"}, {"tags", "tags"}, {"created", "created"}};
  }
  static Dictionary kiv_valueTransform() {
    return {{"tags", Value(makeRef<KivClassArrayTransformValue>(McTag::kivClass()))},
            {"created", Value(makeRef<KivDateTransformValue>())}};
  }
  static Array kiv_dbStoreProperty() { return {"itemId", "title", "owner", "tags", "created"}; }
};

const char* const kItem = R"({"id": 77, "meta": {"title": "shared"}, "owner": {"id": 5, "name": "o"},
    "tags": [{"text": "a"}, {"text": "b"}], "created": 1000.5})";

TEST(MappingConcurrencyTest, FirstUsesOfAClassRaceToOneMapping) {
  const Dictionary json = parseJSON(kItem).asDictionary();
  std::atomic<int> ready{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();  // start together, on cold caches
      for (int i = 0; i < 100; ++i) {
        const Ref<McItem> item = kiv_modelFromDictionary<McItem>(json);
        if (!item || item->owner()->ownerId() != 5 || item->tags().count() != 2) ++failures;
        if (!kiv_dictionaryFromModel(item).isEqual(json)) ++failures;
        const Ref<KivModel> stored = KivModelAdapter::modelFromDBDictionary(
            KivModelAdapter::DBDictionaryFromModel(item.get()), McItem::kivClass());
        if (!stored || static_cast<const McItem&>(*stored).title() != Value("shared")) ++failures;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(KivModelAdapter::propertyMappingFor(McItem::kivClass()).count(), 5u);
}

// An object that remembers which class it was made for.
class Tagged : public Object {
 public:
  explicit Tagged(int index) : index(index) {}
  const int index;
};

TEST(MappingConcurrencyTest, ClassCacheGrowsWhileItIsRead) {
  constexpr int kClasses = 300;
  // Records live for the process, as every class record does.
  static auto& classes = *new std::vector<const ModelClass*>();
  for (int i = 0; i < kClasses; ++i) {
    classes.push_back(new ModelClass("McDynamic", KivModel::kivClass(), {}, nullptr, ModelHooks{}));
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
