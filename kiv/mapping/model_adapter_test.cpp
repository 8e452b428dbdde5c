#include "kiv/mapping/model_adapter.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "kiv/testing/mapping_models.hpp"

namespace kiv::testing {
namespace {

TEST(KivModelAdapterTest, FillsMappedPropertiesAndWritesBackOnlyWhatIsSet) {
  Record::finished = 0;
  const Ref<Record> r = kiv_modelFromDictionary<Record>(json(R"({"id": 9007199254740993, "name": "Ada",
      "age": 36, "active": true, "profile": {"name": "London"}, "born": 1.5, "names": {"nick": "countess"},
      "shout": "hi", "unmapped": "ignored", "other": 1})"));
  ASSERT_TRUE(r);
  EXPECT_EQ(Record::finished, 1);
  EXPECT_EQ(r->uid(), 9007199254740993);
  EXPECT_EQ(r->profile()->name(), Value("London"));
  EXPECT_EQ(r->born(), Value::date(1.5));
  EXPECT_EQ(r->nick(), Value("countess"));
  EXPECT_EQ(r->shout(), Value("HI"));
  EXPECT_FALSE(isSet(*r, "unmapped"));
  EXPECT_FALSE(isSet(*r, "drafts"));

  r->setName(String());  // set to no value: written as the null
  const MutableDictionary out = kiv_dictionaryFromModel(r);
  EXPECT_EQ(out, json(R"({"id": 9007199254740993, "name": null, "age": 36, "active": true,
      "profile": {"name": "London"}, "born": 1.5, "names": {"nick": "countess"}, "shout": "hi"})"));
  EXPECT_TRUE(out["names"].isMutableDictionary());
  EXPECT_TRUE(kiv_dictionaryFromModel(nullptr).isAbsent());
}

// An array of models and numbers that may be missing, declared as C++ types.
class Playlist : public KivModel {
  KIV_MODEL(Playlist, KivModel)
  KIV_PROPERTY(std::vector<Ref<Child>>, tracks, setTracks)
  KIV_PROPERTY(std::optional<std::int32_t>, rating, setRating)
  KIV_PROPERTY(std::optional<double>, weight, setWeight)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"tracks", "tracks"}, {"rating", "rating"}, {"weight", "weight"}};
  }
};

TEST(KivModelAdapterTest, ArraysOfModelsAndOptionalNumbersMapThemselves) {
  const Ref<Playlist> list =
      kiv_modelFromDictionary<Playlist>(json(R"({"tracks": [{"name": "a"}, 3, {"name": "b"}], "rating": "5"})"));
  ASSERT_TRUE(list);
  ASSERT_EQ(list->tracks().size(), 2u);
  EXPECT_EQ(list->tracks()[1]->name(), Value("b"));
  EXPECT_EQ(list->rating(), 5);
  EXPECT_EQ(list->weight(), std::nullopt);  // never set: missing, not 0
  EXPECT_EQ(kiv_dictionaryFromModel(list), json(R"({"tracks": [{"name": "a"}, {"name": "b"}], "rating": 5})"));
  list->setWeight(0.5);
  EXPECT_EQ(list->valueForKey("weight"), Value(0.5));
}

TEST(KivModelAdapterTest, ConvertsScalarsLenientlyAndSkipsObjectsOfTheWrongClass) {
  const Ref<Record> r = kiv_modelFromDictionary<Record>(json(R"({"id": "42", "name": 7, "age": null,
      "active": "yes", "profile": "London", "raw": {"name": "Oslo"}, "drafts": ["immutable"],
      "names": {"nick": null}})"));
  ASSERT_TRUE(r);
  EXPECT_EQ(r->uid(), 42);
  EXPECT_EQ(r->age(), 0);
  EXPECT_TRUE(isSet(*r, "age"));  // the null sets 0 and counts as set
  EXPECT_TRUE(r->active());
  for (const char* skipped : {"name", "profile", "rawProfile", "drafts", "nick"}) {
    EXPECT_FALSE(isSet(*r, skipped)) << skipped;
  }
}

TEST(KivModelAdapterTest, EmptyInputOrNoKeyPathsMapNothing) {
  Record::finished = 0;
  EXPECT_FALSE(kiv_modelFromDictionary<Record>(Dictionary::emptyDictionary()));
  EXPECT_FALSE(kiv_modelFromDictionary<Record>(Dictionary()));
  EXPECT_EQ(Record::finished, 0);  // no model, no hook

  const Ref<KivModel> bare = kiv_modelFromDictionary(KivModel::kivClass(), json(R"({"a": 1})"));
  ASSERT_TRUE(bare);
  EXPECT_EQ(kiv_dictionaryFromModel(bare).count(), 0u);
  EXPECT_EQ(KivModelAdapter::propertyMappingFor(Child::kivClass()).count(), 2u);  // 3 is no key path
}

TEST(KivModelAdapterTest, WalksEveryClassLevelWithItsOwnKeyPaths) {
  const Ref<SubRecord> s = kiv_modelFromDictionary<SubRecord>(json(R"({"id": 5, "admin": {"level": "root"}})"));
  EXPECT_EQ(s->uid(), 5);
  EXPECT_EQ(s->level(), Value("root"));
  EXPECT_EQ(kiv_dictionaryFromModel(s), json(R"({"admin": {"level": "root"}, "id": 5})"));

  // SubChild inherits Child's key paths: its own level has records without descriptors, which
  // are skipped, and Child's level fills the properties.
  const Ref<SubChild> c = kiv_modelFromDictionary<SubChild>(json(R"({"name": "g"})"));
  EXPECT_EQ(c->name(), Value("g"));
  EXPECT_FALSE(KivModelAdapter::propertyMappingFor(SubChild::kivClass()).objectForKey("name")->property());
  EXPECT_EQ(kiv_dictionaryFromModel(c), json(R"({"name": "g"})"));
  EXPECT_EQ(&KivModelAdapter::cachePropertyDict(SubChild::kivClass()),
            &KivModelAdapter::propertyMappingFor(SubChild::kivClass()));  // the first build stays
}

TEST(KivModelAdapterTest, CyclicModelsAndDictionariesEndTheWalk) {
  Child::kiv_classInfo();
  const auto node = makeRef<Child>();
  node->setName("loop");
  node->setNext(node);
  EXPECT_EQ(kiv_dictionaryFromModel(node)["name"], Value("loop"));
  node->setNext(nullptr);  // break the cycle so the node is freed

  const MutableDictionary self{{"name", "inner"}};
  self.setObject(self, "next");
  int depth = 0;
  for (Ref<Child> n = kiv_modelFromDictionary<Child>(self); n; n = n->next()) ++depth;
  EXPECT_EQ(depth, kMaxJSONDepth);
  self.removeObjectForKey("next");
}

}  // namespace
}  // namespace kiv::testing
