#include "kiv/mapping/model_adapter.hpp"

#include <gtest/gtest.h>

#include <cstdint>

#include "kiv/foundation/json.hpp"
#include "kiv/mapping/transform_value.hpp"

namespace kiv {
namespace {

class AdProfile : public KivModel {
  KIV_MODEL(AdProfile, KivModel)
  KIV_PROPERTY(String, city, setCity)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"city", "city"}}; }
};

// Upper-cases text on the way in and lower-cases it on the way out: an application's own
// transformer.
class ShoutTransform : public KivTransformValue {
 public:
  Value decodeValue(const Value& v) const override { return v.isString() ? Value(v.uppercaseString()) : Value(); }
  Value encodeValue(const Value& v) const override { return v.isString() ? Value(v.lowercaseString()) : Value(); }
};

class AdUser : public KivModel {
  KIV_MODEL(AdUser, KivModel)
  KIV_PROPERTY(std::int64_t, uid, setUid)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(std::int32_t, age, setAge)
  KIV_PROPERTY(bool, active, setActive)
  KIV_PROPERTY(Ref<AdProfile>, profile, setProfile)
  KIV_PROPERTY(Ref<AdProfile>, rawProfile, setRawProfile)
  KIV_PROPERTY(MutableArray, drafts, setDrafts)
  KIV_PROPERTY(Date, born, setBorn)
  KIV_PROPERTY(String, nick, setNick)
  KIV_PROPERTY(String, shout, setShout)
  KIV_PROPERTY(String, unmapped, setUnmapped)
 public:
  static inline int finished = 0;
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"uid", "id"},        {"name", "name"},      {"age", "age"},       {"active", "active"},
            {"profile", "profile"}, {"rawProfile", "raw"}, {"drafts", "drafts"}, {"born", "born"},
            {"nick", "names.nick"}, {"shout", "shout"}};
  }
  // rawProfile's transformer converts nothing, so it replaces the automatic model transformer.
  static Dictionary kiv_valueTransform() {
    return {{"born", Value(makeRef<KivDateTransformValue>())},
            {"shout", Value(makeRef<ShoutTransform>())},
            {"rawProfile", Value(makeRef<KivTransformValue>())}};
  }
  static void kiv_finishedModel(KivModel&, const Dictionary&) { ++finished; }
};

// A subclass that maps its own property, and one that inherits its superclass's key paths.
class AdAdmin : public AdUser {
  KIV_MODEL(AdAdmin, AdUser)
  KIV_PROPERTY(String, level, setLevel)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"level", "admin.level"}}; }
};
class AdGuest : public AdUser {
  KIV_MODEL(AdGuest, AdUser)
};

class AdNode : public KivModel {
  KIV_MODEL(AdNode, KivModel)
  KIV_PROPERTY(Ref<AdNode>, next, setNext)
  KIV_PROPERTY(String, label, setLabel)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"next", "next"}, {"label", "label"}, {"x", 3}}; }
};

Dictionary json(const char* text) { return parseJSON(text).asDictionary(); }

bool isSet(const KivModel& m, const KivClassInfo& info, const char* name) {
  return m.kivFlag().needMergeAt(info.propDict().objectForKey(name)->mergeIdx());
}

TEST(KivModelAdapterTest, FillsMappedPropertiesAndWritesBackOnlyWhatIsSet) {
  AdUser::finished = 0;
  const Dictionary in = json(R"({"id": 9007199254740993, "name": "Ada", "age": 36, "active": true,
      "profile": {"city": "London"}, "born": 1.5, "names": {"nick": "countess"}, "shout": "hi",
      "unmapped": "ignored", "extra": 1})");
  const Ref<AdUser> u = kiv_modelFromDictionary<AdUser>(in);
  ASSERT_TRUE(u);
  EXPECT_EQ(AdUser::finished, 1);
  EXPECT_EQ(u->uid(), 9007199254740993);
  EXPECT_EQ(u->profile()->city(), Value("London"));
  EXPECT_EQ(u->born(), Value::date(1.5));
  EXPECT_EQ(u->nick(), Value("countess"));
  EXPECT_EQ(u->shout(), Value("HI"));
  EXPECT_FALSE(isSet(*u, AdUser::kiv_classInfo(), "unmapped"));
  EXPECT_FALSE(isSet(*u, AdUser::kiv_classInfo(), "drafts"));

  u->setName(String());  // set to no value: written as the null
  EXPECT_EQ(kiv_dictionaryFromModel(u), json(R"({"id": 9007199254740993, "name": null, "age": 36,
      "active": true, "profile": {"city": "London"}, "born": 1.5, "names": {"nick": "countess"},
      "shout": "hi"})"));
  EXPECT_TRUE(kiv_dictionaryFromModel(u)["names"].isMutableDictionary());
  EXPECT_TRUE(kiv_dictionaryFromModel(nullptr).isAbsent());
}

TEST(KivModelAdapterTest, ConvertsScalarsLenientlyAndSkipsObjectsOfTheWrongClass) {
  const Ref<AdUser> u = kiv_modelFromDictionary<AdUser>(json(R"({"id": "42", "name": 7, "age": null,
      "active": "yes", "profile": "London", "raw": {"city": "Oslo"}, "drafts": ["immutable"],
      "names": {"nick": null}})"));
  ASSERT_TRUE(u);
  const KivClassInfo& info = AdUser::kiv_classInfo();
  EXPECT_EQ(u->uid(), 42);
  EXPECT_EQ(u->age(), 0);
  EXPECT_TRUE(isSet(*u, info, "age"));  // the null sets 0 and counts as set
  EXPECT_TRUE(u->active());
  for (const char* skipped : {"name", "profile", "rawProfile", "drafts", "nick"}) {
    EXPECT_FALSE(isSet(*u, info, skipped)) << skipped;
  }
}

TEST(KivModelAdapterTest, EmptyInputOrNoKeyPathsMapNothing) {
  AdUser::finished = 0;
  EXPECT_FALSE(kiv_modelFromDictionary<AdUser>(Dictionary::emptyDictionary()));
  EXPECT_FALSE(kiv_modelFromDictionary<AdUser>(Dictionary()));
  EXPECT_EQ(AdUser::finished, 0);  // no model, no hook

  const Ref<KivModel> bare = kiv_modelFromDictionary(KivModel::kivClass(), json(R"({"a": 1})"));
  ASSERT_TRUE(bare);
  EXPECT_EQ(kiv_dictionaryFromModel(bare).count(), 0u);
  EXPECT_EQ(KivModelAdapter::propertyMappingFor(AdNode::kivClass()).count(), 2u);  // 3 is no key path
}

TEST(KivModelAdapterTest, WalksEveryClassLevelWithItsOwnKeyPaths) {
  const Ref<AdAdmin> a = kiv_modelFromDictionary<AdAdmin>(json(R"({"id": 5, "admin": {"level": "root"}})"));
  EXPECT_EQ(a->uid(), 5);
  EXPECT_EQ(a->level(), Value("root"));
  EXPECT_EQ(kiv_dictionaryFromModel(a), json(R"({"admin": {"level": "root"}, "id": 5})"));

  // AdGuest inherits AdUser's key paths: its own level has records without descriptors, which
  // are skipped, and AdUser's level fills the properties.
  const Ref<AdGuest> g = kiv_modelFromDictionary<AdGuest>(json(R"({"id": 6, "name": "g"})"));
  EXPECT_EQ(g->name(), Value("g"));
  EXPECT_FALSE(KivModelAdapter::propertyMappingFor(AdGuest::kivClass()).objectForKey("id")->property());
  EXPECT_EQ(kiv_dictionaryFromModel(g), json(R"({"id": 6, "name": "g"})"));
  EXPECT_EQ(&KivModelAdapter::cachePropertyDict(AdGuest::kivClass()),
            &KivModelAdapter::propertyMappingFor(AdGuest::kivClass()));  // the first build stays
}

TEST(KivModelAdapterTest, CyclicModelsAndDictionariesEndTheWalk) {
  AdNode::kiv_classInfo();
  const auto node = makeRef<AdNode>();
  node->setLabel("loop");
  node->setNext(node);
  EXPECT_EQ(kiv_dictionaryFromModel(node)["label"], Value("loop"));
  node->setNext(nullptr);  // break the cycle so the node is freed

  const MutableDictionary self{{"label", "inner"}};
  self.setObject(self, "next");
  int depth = 0;
  for (Ref<AdNode> n = kiv_modelFromDictionary<AdNode>(self); n; n = n->next()) ++depth;
  EXPECT_EQ(depth, kMaxJSONDepth);
  self.removeObjectForKey("next");
}

}  // namespace
}  // namespace kiv
