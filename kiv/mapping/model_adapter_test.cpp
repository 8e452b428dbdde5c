#include "kiv/mapping/model_adapter.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

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

class AdUser : public KivModel {
  KIV_MODEL(AdUser, KivModel)
  KIV_PROPERTY(std::int64_t, uid, setUid)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(std::int32_t, age, setAge)
  KIV_PROPERTY(bool, active, setActive)
  KIV_PROPERTY(double, score, setScore)
  KIV_PROPERTY(Ref<AdProfile>, profile, setProfile)
  KIV_PROPERTY(Array, tags, setTags)
  KIV_PROPERTY(MutableArray, drafts, setDrafts)
  KIV_PROPERTY(Date, born, setBorn)
  KIV_PROPERTY(String, nick, setNick)
  KIV_PROPERTY(String, unmapped, setUnmapped)
 public:
  static inline int finished = 0;
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"uid", "id"},       {"name", "name"},     {"age", "age"},   {"active", "active"},
            {"score", "score"},  {"profile", "profile"}, {"tags", "tags"}, {"drafts", "drafts"},
            {"born", "born"},    {"nick", "names.nick"}};
  }
  static Dictionary kiv_valueTransform() { return {{"born", Value(makeRef<KivDateTransformValue>())}}; }
  static void kiv_finishedModel(KivModel&, const Dictionary&) { ++finished; }
};

// Upper-cases text on the way in and lower-cases it on the way out: an application's own
// transformer.
class ShoutTransform : public KivTransformValue {
 public:
  Value decodeValue(const Value& v) const override { return v.isString() ? Value(v.uppercaseString()) : Value(); }
  Value encodeValue(const Value& v) const override { return v.isString() ? Value(v.lowercaseString()) : Value(); }
};

// The profile property takes a transformer of its own instead of the automatic model transformer.
class AdShouter : public KivModel {
  KIV_MODEL(AdShouter, KivModel)
  KIV_PROPERTY(String, word, setWord)
  KIV_PROPERTY(Ref<AdProfile>, profile, setProfile)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"word", "word"}, {"profile", "profile"}}; }
  static Dictionary kiv_valueTransform() {
    return {{"word", Value(makeRef<ShoutTransform>())}, {"profile", Value(makeRef<KivTransformValue>())}};
  }
};

class AdUnmapped : public KivModel {
  KIV_MODEL(AdUnmapped, KivModel)
  KIV_PROPERTY(String, name, setName)
};

// A subclass that maps its own property and one that inherits its superclass's key paths.
class AdAdmin : public AdUser {
  KIV_MODEL(AdAdmin, AdUser)
  KIV_PROPERTY(String, level, setLevel)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"level", "admin.level"}}; }
};
class AdGuest : public AdUser {
  KIV_MODEL(AdGuest, AdUser)
  KIV_PROPERTY(String, ticket, setTicket)
};

// Two names bound to one key path, and a key path that is not text.
class AdClash : public KivModel {
  KIV_MODEL(AdClash, KivModel)
  KIV_PROPERTY(String, first, setFirst)
  KIV_PROPERTY(String, second, setSecond)
  KIV_PROPERTY(String, third, setThird)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"first", "x"}, {"second", "x"}, {"third", 3}}; }
};

class AdNode : public KivModel {
  KIV_MODEL(AdNode, KivModel)
  KIV_PROPERTY(Ref<AdNode>, next, setNext)
  KIV_PROPERTY(String, label, setLabel)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"next", "next"}, {"label", "label"}}; }
};

Dictionary json(const char* text) { return parseJSON(text).asDictionary(); }

Ref<AdUser> user(const char* text) { return kiv_modelFromDictionary<AdUser>(json(text)); }

TEST(KivModelAdapterTest, FillsEveryMappedPropertyFromItsKeyPath) {
  AdUser::finished = 0;
  const Ref<AdUser> u = user(R"({"id": 9007199254740993, "name": "Ada", "age": 36, "active": true,
      "score": 2.5, "profile": {"city": "London"}, "tags": ["a", "b"], "born": 1.5,
      "names": {"nick": "countess"}, "unmapped": "ignored", "extra": 1})");
  ASSERT_TRUE(u);
  EXPECT_EQ(u->uid(), 9007199254740993);
  EXPECT_EQ(u->name(), Value("Ada"));
  EXPECT_EQ(u->age(), 36);
  EXPECT_TRUE(u->active());
  EXPECT_EQ(u->score(), 2.5);
  ASSERT_TRUE(u->profile());
  EXPECT_EQ(u->profile()->city(), Value("London"));
  EXPECT_EQ(u->tags(), (Array{"a", "b"}));
  EXPECT_EQ(u->born(), Value::date(1.5));
  EXPECT_EQ(u->nick(), Value("countess"));
  EXPECT_TRUE(u->unmapped().isAbsent());
  EXPECT_EQ(AdUser::finished, 1);

  const KivClassInfo& info = AdUser::kiv_classInfo();
  EXPECT_FALSE(u->kivFlag().needMergeAt(info.propDict().objectForKey("unmapped")->mergeIdx()));
  EXPECT_FALSE(u->kivFlag().needMergeAt(info.propDict().objectForKey("drafts")->mergeIdx()));
  EXPECT_TRUE(u->kivFlag().needMergeAt(info.propDict().objectForKey("nick")->mergeIdx()));
}

TEST(KivModelAdapterTest, ConvertsScalarsLenientlyAndSkipsObjectsOfTheWrongClass) {
  const Ref<AdUser> u = user(R"({"id": "42", "name": 7, "age": null, "active": "yes", "score": "1.25",
      "profile": "London", "tags": "a,b", "drafts": ["immutable"], "names": {"nick": null}})");
  ASSERT_TRUE(u);
  const PropertyDict& props = AdUser::kiv_classInfo().propDict();
  auto isSet = [&](const char* name) { return u->kivFlag().needMergeAt(props.objectForKey(name)->mergeIdx()); };
  EXPECT_EQ(u->uid(), 42);
  EXPECT_EQ(u->age(), 0);
  EXPECT_TRUE(isSet("age"));  // the null sets 0 and counts as set
  EXPECT_TRUE(u->active());
  EXPECT_EQ(u->score(), 1.25);
  for (const char* skipped : {"name", "profile", "tags", "drafts", "nick"}) {
    EXPECT_FALSE(isSet(skipped)) << skipped;
  }
  EXPECT_FALSE(u->profile());
}

TEST(KivModelAdapterTest, EmptyOrAbsentDictionaryMakesNoModel) {
  AdUser::finished = 0;
  EXPECT_FALSE(kiv_modelFromDictionary<AdUser>(Dictionary::emptyDictionary()));
  EXPECT_FALSE(kiv_modelFromDictionary<AdUser>(Dictionary()));
  EXPECT_FALSE(kiv_modelFromDictionary<AdUser>(parseJSON("[1]").asDictionary()));
  EXPECT_EQ(AdUser::finished, 0);

  // KivModel itself maps nothing, but still makes a bare model from a non-empty dictionary.
  const Ref<KivModel> bare = kiv_modelFromDictionary(KivModel::kivClass(), json(R"({"a": 1})"));
  ASSERT_TRUE(bare);
  EXPECT_EQ(kiv_dictionaryFromModel(bare).count(), 0u);
  EXPECT_TRUE(kiv_dictionaryFromModel(nullptr).isAbsent());
}

TEST(KivModelAdapterTest, ClassWithoutKeyPathsMapsNothing) {
  const Ref<AdUnmapped> m = kiv_modelFromDictionary<AdUnmapped>(json(R"({"name": "x"})"));
  ASSERT_TRUE(m);
  EXPECT_TRUE(m->name().isAbsent());
  m->setName("set anyway");
  EXPECT_EQ(kiv_dictionaryFromModel(m).count(), 0u);
  EXPECT_EQ(KivModelAdapter::propertyMappingFor(AdUnmapped::kivClass()).count(), 0u);
}

TEST(KivModelAdapterTest, WritesOnlyTheSetPropertiesBack) {
  const Ref<AdUser> u = user(R"({"id": 1, "profile": {"city": "Paris"}, "born": 86400,
      "names": {"nick": "n"}, "tags": []})");
  ASSERT_TRUE(u);
  u->setName(String());  // set to no value: written as the null
  const MutableDictionary out = kiv_dictionaryFromModel(u);
  EXPECT_EQ(out, json(R"({"id": 1, "profile": {"city": "Paris"}, "born": 86400.0,
      "names": {"nick": "n"}, "tags": [], "name": null})"));
  EXPECT_TRUE(out["age"].isAbsent());
  EXPECT_EQ(out["born"].numberKind(), 'd');
  EXPECT_TRUE(out["names"].isMutableDictionary());

  // A model made in code writes only what was set on it.
  const Ref<AdUser> fresh = makeRef<AdUser>();
  fresh->setAge(3);
  EXPECT_EQ(kiv_dictionaryFromModel(fresh), (Dictionary{{"age", 3}}));
}

TEST(KivModelAdapterTest, ValueTransformsReplaceTheAutomaticModelTransformer) {
  const Ref<AdShouter> s =
      kiv_modelFromDictionary<AdShouter>(json(R"({"word": "hello", "profile": {"city": "Oslo"}})"));
  ASSERT_TRUE(s);
  EXPECT_EQ(s->word(), Value("HELLO"));
  // The base transformer converts nothing, so the dictionary stays a dictionary: of the wrong
  // class for the profile property.
  EXPECT_FALSE(s->profile());
  EXPECT_EQ(kiv_dictionaryFromModel(s), (Dictionary{{"word", "hello"}}));

  const PropertyMapping& mapping = KivModelAdapter::propertyMappingFor(AdShouter::kivClass());
  const KivValue* profile = mapping.objectForKey("profile");
  ASSERT_TRUE(profile);
  EXPECT_TRUE(profile->transAble());
  EXPECT_EQ(typeid(*profile->transformValue()), typeid(KivTransformValue));
  const KivValue* nested = KivModelAdapter::propertyMappingFor(AdUser::kivClass()).objectForKey("profile");
  ASSERT_TRUE(nested);
  const auto* automatic = dynamic_cast<const KivClassTransformValue*>(nested->transformValue());
  ASSERT_TRUE(automatic);
  EXPECT_EQ(&automatic->modelClass(), &AdProfile::kivClass());
}

TEST(KivModelAdapterTest, WalksEveryClassLevelWithItsOwnKeyPaths) {
  const Ref<AdAdmin> a = kiv_modelFromDictionary<AdAdmin>(json(R"({"id": 5, "admin": {"level": "root"}})"));
  ASSERT_TRUE(a);
  EXPECT_EQ(a->uid(), 5);
  EXPECT_EQ(a->level(), Value("root"));
  EXPECT_EQ(kiv_dictionaryFromModel(a), json(R"({"admin": {"level": "root"}, "id": 5})"));

  // AdGuest inherits AdUser's key paths: its own level gets records without descriptors, which
  // are skipped; AdUser's level still fills the properties.
  const Ref<AdGuest> g = kiv_modelFromDictionary<AdGuest>(json(R"({"id": 6, "name": "g"})"));
  ASSERT_TRUE(g);
  EXPECT_EQ(g->uid(), 6);
  EXPECT_EQ(g->name(), Value("g"));
  const PropertyMapping& own = KivModelAdapter::propertyMappingFor(AdGuest::kivClass());
  ASSERT_TRUE(own.objectForKey("id"));
  EXPECT_FALSE(own.objectForKey("id")->property());
  EXPECT_EQ(kiv_dictionaryFromModel(g), json(R"({"id": 6, "name": "g"})"));
}

TEST(KivModelAdapterTest, MappingKeepsOneRecordPerKeyPathAndOnlyTextKeyPaths) {
  const PropertyMapping& mapping = KivModelAdapter::propertyMappingFor(AdClash::kivClass());
  ASSERT_EQ(mapping.count(), 1u);
  EXPECT_EQ(mapping.objectForKey("x")->property()->name(), Value("second"));
  EXPECT_EQ(&KivModelAdapter::propertyMappingFor(AdClash::kivClass()), &mapping);
  EXPECT_EQ(&KivModelAdapter::cachePropertyDict(AdClash::kivClass()), &mapping);  // the first build stays

  const Ref<AdClash> c = kiv_modelFromDictionary<AdClash>(json(R"({"x": "v", "3": "w"})"));
  EXPECT_TRUE(c->first().isAbsent());
  EXPECT_EQ(c->second(), Value("v"));
  EXPECT_TRUE(c->third().isAbsent());
}

TEST(KivModelAdapterTest, CyclicModelsAndDictionariesEndTheWalk) {
  AdNode::kiv_classInfo();
  const auto node = makeRef<AdNode>();
  node->setLabel("loop");
  node->setNext(node);
  const MutableDictionary out = kiv_dictionaryFromModel(node);
  EXPECT_EQ(out["label"], Value("loop"));
  EXPECT_TRUE(out.LxJSON2String().isAbsent());  // the innermost model stays a model
  node->setNext(nullptr);                       // break the cycle so the node is freed

  const MutableDictionary self = MutableDictionary::dictionary();
  self.setObject("inner", "label");
  self.setObject(self, "next");
  const Ref<AdNode> chain = kiv_modelFromDictionary<AdNode>(self);
  ASSERT_TRUE(chain);
  int depth = 0;
  for (Ref<AdNode> n = chain; n; n = n->next()) ++depth;
  EXPECT_EQ(depth, kMaxJSONDepth);
  self.removeObjectForKey("next");
}

}  // namespace
}  // namespace kiv
