#include "kiv/model/model.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace kiv {
namespace {

class MtUser;

class MtItem : public KivModel {
  KIV_MODEL(MtItem, KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(Ref<MtUser>, author, setAuthor)
  KIV_PROPERTY(MutableArray, tags, setTags)
};

// Models may refer to each other.
class MtUser : public KivModel {
  KIV_MODEL(MtUser, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(Ref<MtItem>, pinned, setPinned)
};

class MtFeatured : public MtItem {
  KIV_MODEL(MtFeatured, MtItem)
  KIV_PROPERTY(double, rank, setRank)
};

class MtSponsored : public MtItem {
  KIV_MODEL(MtSponsored, MtItem)
  KIV_PROPERTY(String, sponsor, setSponsor)
};

enum class MtColor : std::int32_t { kRed, kGreen };

class MtScalars : public KivModel {
  KIV_MODEL(MtScalars, KivModel)
  KIV_PROPERTY(bool, flag, setFlag)
  KIV_PROPERTY(std::int8_t, i8, setI8)
  KIV_PROPERTY(std::uint8_t, u8, setU8)
  KIV_PROPERTY(std::int16_t, i16, setI16)
  KIV_PROPERTY(std::uint16_t, u16, setU16)
  KIV_PROPERTY(std::int32_t, i32, setI32)
  KIV_PROPERTY(std::uint32_t, u32, setU32)
  KIV_PROPERTY(std::int64_t, i64, setI64)
  KIV_PROPERTY(std::uint64_t, u64, setU64)
  KIV_PROPERTY(float, f, setF)
  KIV_PROPERTY(double, d, setD)
  KIV_PROPERTY(long double, ld, setLd)
  KIV_PROPERTY(MtColor, color, setColor)
};

class MtTitled : public Object {};
struct MtPoint {
  int x = 0, y = 0;
};

class MtObjects : public KivModel {
  KIV_MODEL(MtObjects, KivModel)
  KIV_PROPERTY(String, text, setText)
  KIV_PROPERTY(Number, number, setNumber)
  KIV_PROPERTY(Date, date, setDate)
  KIV_PROPERTY(Array, array, setArray)
  KIV_PROPERTY(MutableArray, list, setList)
  KIV_PROPERTY(Value, any, setAny)
  KIV_PROPERTY(Ref<MtTitled>, titled, setTitled)
  KIV_PROPERTY(const char*, cname, setCname)
  KIV_PROPERTY(MtPoint, point, setPoint)
  KIV_PROPERTY(std::function<int()>, block, setBlock)
  KIV_PROPERTY(const Class*, kind, setKind)
  KIV_PROPERTY(Selector, action, setAction)
};

const KivProPertyInfo& infoOf(const ModelClass& cls, std::string_view name) {
  const KivProPertyInfo* info = cls.kiv_classInfo().propDict().objectForKey(name);
  if (!info) throw std::logic_error("no property " + std::string(name));
  return *info;
}

// Sets through the descriptor and reads back through the descriptor.
Value roundTrip(const Value& input, std::string_view name) {
  auto model = makeRef<MtScalars>();
  const KivProPertyInfo& info = infoOf(MtScalars::kivClass(), name);
  model->kiv_setValue(input, info);
  return model->kiv_valueForInfo(info);
}

TEST(ModelTest, SetValueForInfoConvertsToTheDeclaredScalarLeniently) {
  EXPECT_EQ(roundTrip("yes", "flag"), Value(true));
  EXPECT_EQ(roundTrip(300, "i8"), Value(44));
  EXPECT_EQ(roundTrip(-1, "u8"), Value(255));
  EXPECT_EQ(roundTrip("12", "i16"), Value(12));
  EXPECT_EQ(roundTrip(70000, "u16"), Value(4464));
  EXPECT_EQ(roundTrip(Value::null(), "i32"), Value(0));
  EXPECT_EQ(roundTrip(-1, "i32"), Value(-1));
  EXPECT_EQ(roundTrip(-1, "u32"), Value(4294967295u));
  EXPECT_EQ(roundTrip(2.9, "i64"), Value(2));
  EXPECT_EQ(roundTrip(1, "color"), Value(1));
  EXPECT_EQ(roundTrip("1.5", "d"), Value(1.5));
  EXPECT_EQ(roundTrip(Value(), "d"), Value(0));
}

TEST(ModelTest, ThirtyTwoBitSignedPropertiesAreSetTwiceWithTheSameBits) {
  // The signed reading of "4294967295" stops at the 32-bit limit; the unsigned reading that
  // follows holds all of its bits, and it is the one that stays.
  EXPECT_EQ(roundTrip("4294967295", "i32"), Value(-1));
  EXPECT_EQ(roundTrip(4294967295LL, "i32"), Value(-1));
  EXPECT_EQ(roundTrip("-7", "i32"), Value(-7));
  EXPECT_EQ(roundTrip("12abc", "i32"), Value(0));  // no whole-string number: unsigned 0
  EXPECT_EQ(roundTrip("12abc", "i64"), Value(12));
  EXPECT_EQ(roundTrip(-1.5, "i32"), Value(-1));
}

TEST(ModelTest, SixtyFourBitPropertiesKeepEveryDigit) {
  const std::int64_t beyondDouble = 9007199254740993LL;  // 2^53 + 1
  EXPECT_EQ(roundTrip(beyondDouble, "i64").longLongValue(), beyondDouble);
  EXPECT_EQ(roundTrip("9007199254740993", "i64").longLongValue(), beyondDouble);
  EXPECT_EQ(roundTrip("18446744073709551615", "u64").unsignedLongLongValue(),
            std::numeric_limits<std::uint64_t>::max());
}

TEST(ModelTest, NonFiniteNumbersBecomeZero) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(roundTrip(std::nan(""), "f"), Value(0));
  EXPECT_EQ(roundTrip(inf, "f"), Value(0));
  EXPECT_EQ(roundTrip(1e39, "f"), Value(0));  // finite as a double, infinite as a float
  EXPECT_EQ(roundTrip(-inf, "d"), Value(0));
  EXPECT_EQ(roundTrip(std::nan(""), "ld"), Value(0));
  EXPECT_EQ(roundTrip(0.25, "ld"), Value(0.25));
}

TEST(ModelTest, ValueForInfoBoxesNumbersOfTheDeclaredKind) {
  MtScalars::kiv_classInfo();
  auto model = makeRef<MtScalars>();
  model->setFlag(true);
  model->setI8(-3);
  model->setU16(9);
  model->setF(0.5f);
  model->setLd(2.5L);
  model->setU64(7);
  const struct {
    const char* name;
    char kind;
  } cases[] = {{"flag", 'B'}, {"i8", 'c'}, {"u16", 'S'}, {"f", 'f'}, {"ld", 'd'}, {"u64", 'Q'}};
  for (const auto& c : cases) {
    EXPECT_EQ(model->kiv_valueForInfo(infoOf(MtScalars::kivClass(), c.name)).numberKind(), c.kind)
        << c.name;
  }
  EXPECT_EQ(model->kiv_valueForInfo(infoOf(MtScalars::kivClass(), "ld")), Value(2.5));
  EXPECT_TRUE(model->kiv_valueForInfo(infoOf(MtScalars::kivClass(), "i64")).isAbsent());
}

TEST(ModelTest, ObjectPropertiesAreSetOnlyWhenTheirClassIsKnown) {
  auto model = makeRef<MtObjects>();
  const ModelClass& cls = MtObjects::kivClass();
  auto set = [&](const Value& value, std::string_view name) {
    model->kiv_setValue(value, infoOf(cls, name));
    return model->kiv_valueForInfo(infoOf(cls, name));
  };
  EXPECT_EQ(set("abc", "text"), Value("abc"));
  EXPECT_TRUE(set(Value::null(), "text").isNull());  // set to nothing: reads as the null
  EXPECT_TRUE(model->text().isAbsent());
  EXPECT_TRUE(set(5, "text").isNull());  // no conversion: a number is no string
  EXPECT_EQ(set(Value::date(10), "date"), Value::date(10));
  EXPECT_TRUE(set(Array{1}, "list").isNull());  // an immutable array is no mutable array
  EXPECT_EQ(set(MutableArray{1}, "array"), Array{1});

  // Plain objects, interfaces and non-objects are never written through a descriptor.
  const Value user(makeRef<MtUser>());
  for (const char* name : {"any", "titled", "cname", "point", "block", "kind", "action"}) {
    EXPECT_TRUE(set(user, name).isAbsent()) << name;
  }
  EXPECT_TRUE(model->any().isAbsent());
}

TEST(ModelTest, ValueForInfoIsAbsentUntilSetThenReadsByKeyForOtherTypes) {
  auto model = makeRef<MtObjects>();
  const ModelClass& cls = MtObjects::kivClass();
  for (const auto& [name, info] : cls.kiv_classInfo().propDict()) {
    EXPECT_TRUE(model->kiv_valueForInfo(*info).isAbsent()) << name;
  }
  model->setAny(Value("free"));
  model->setPoint({1, 2});
  model->setKind(&MtUser::kivClass());
  EXPECT_EQ(model->kiv_valueForInfo(infoOf(cls, "any")), Value("free"));
  EXPECT_TRUE(model->kiv_valueForInfo(infoOf(cls, "point")).isNull());
  EXPECT_EQ(model->kiv_valueForInfo(infoOf(cls, "kind")), Value(&MtUser::kivClass()));
}

class MtLate : public KivModel {
  KIV_MODEL(MtLate, KivModel)
  KIV_PROPERTY(int, count, setCount)
};

class MtLateChild : public MtLate {
  KIV_MODEL(MtLateChild, MtLate)
  KIV_PROPERTY(int, extra, setExtra)
};

TEST(ModelTest, SettersRecordFromTheirClassesFirstDescriptorOn) {
  // Nothing in this program has described MtLate or MtLateChild yet.
  auto model = makeRef<MtLateChild>();
  model->setCount(1);
  model->setExtra(1);
  EXPECT_EQ(model->kivFlag().flag1(), 0u);

  const KivClassInfo& child = MtLateChild::kiv_classInfo();
  model->setCount(2);  // its class, MtLate, is still undescribed
  EXPECT_EQ(model->kivFlag().flag1(), 0u);
  model->setExtra(2);
  EXPECT_TRUE(model->kivFlag().needMergeAt(child.propDict().objectForKey("extra")->mergeIdx()));

  MtLate::kiv_classInfo();
  model->setCount(3);
  EXPECT_EQ(model->kivFlag().flag1(), 3u);
  EXPECT_EQ(model->count(), 3);
}

class MtAccessors : public KivModel {
  KIV_MODEL(MtAccessors, KivModel)
  KIV_PROPERTY_ACCESSORS(int, score, score, assignScore)
  KIV_PROPERTY_ACCESSORS(bool, on, isOn, setOn)
  KIV_READONLY_PROPERTY(std::int64_t, total)
 public:
  void addToTotal(std::int64_t n) { total_ += n; }
};

TEST(ModelTest, CustomSetterNamesAndReadonlyPropertiesNeverRecord) {
  const ModelClass& cls = MtAccessors::kivClass();
  cls.kiv_classInfo();
  auto model = makeRef<MtAccessors>();
  model->assignScore(4);
  model->kiv_setValue(5, infoOf(cls, "score"));
  EXPECT_EQ(model->score(), 5);
  model->addToTotal(2);
  model->setValue(9, "total");
  EXPECT_EQ(model->total(), 9);
  EXPECT_EQ(model->kivFlag().flag1(), 0u);
  EXPECT_TRUE(model->kiv_valueForInfo(infoOf(cls, "score")).isAbsent());

  model->setOn(true);  // a custom getter name does not matter
  EXPECT_TRUE(model->isOn());
  EXPECT_TRUE(model->kiv_valueForInfo(infoOf(cls, "on")).boolValue());
}

class MtNil : public MtItem {
  KIV_MODEL(MtNil, MtItem)
  KIV_PROPERTY(double, weight, setWeight)

 public:
  void setNilValueForKey(std::string_view key) override {
    nilKeys.emplace_back(key);
    KivModel::setNilValueForKey(key);
  }
  std::vector<std::string> nilKeys;
};

TEST(ModelTest, KeyValueAccessWalksTheClassChainThroughTheSetters) {
  MtNil::kiv_classInfo();
  MtItem::kiv_classInfo();
  auto model = makeRef<MtNil>();
  model->setValue("7", "itemId");  // inherited, read leniently
  model->setValue(1.5, "weight");
  model->setValue(Value("t"), "title");
  EXPECT_EQ(model->itemId(), 7);
  EXPECT_EQ(model->valueForKey("weight"), Value(1.5));
  EXPECT_EQ(model->valueForKey("title"), Value("t"));
  EXPECT_TRUE(model->valueForKey("noSuchKey").isAbsent());
  model->setValue(1, "noSuchKey");  // ignored

  model->setValue(Value(), "weight");
  EXPECT_EQ(model->nilKeys, std::vector<std::string>{"weight"});
  EXPECT_EQ(model->weight(), 0.0);
  model->setValue(Value(), "title");  // objects take absent as it is
  EXPECT_TRUE(model->title().isAbsent());
  EXPECT_EQ(model->nilKeys.size(), 1u);

  // Key-value writes go through the setters, so they record.
  const std::int64_t itemIdIdx = infoOf(MtItem::kivClass(), "itemId").mergeIdx();
  EXPECT_TRUE(model->kivFlag().needMergeAt(itemIdIdx));
}

TEST(ModelTest, MergeFromCopiesOnlyWhatIsSetOnTheOther) {
  MtItem::kiv_classInfo();
  auto receiver = makeRef<MtItem>();
  receiver->setItemId(1);
  receiver->setTitle("old");
  auto other = makeRef<MtItem>();
  other->setTitle("new");
  other->setTags(MutableArray{"a"});
  other->setTags(MutableArray());  // set to nothing: copied as nothing

  receiver->mergeFrom(*other);
  EXPECT_EQ(receiver->itemId(), 1);
  EXPECT_EQ(receiver->title(), Value("new"));
  EXPECT_TRUE(receiver->tags().isAbsent());
  const KivProPertyInfo& tags = infoOf(MtItem::kivClass(), "tags");
  EXPECT_TRUE(receiver->kivFlag().needMergeAt(tags.mergeIdx()));
  EXPECT_TRUE(receiver->kiv_valueForInfo(infoOf(MtItem::kivClass(), "author")).isAbsent());
}

TEST(ModelTest, MergeFromCoversTheClassLevelsBothModelsHave) {
  MtFeatured::kiv_classInfo();
  MtSponsored::kiv_classInfo();
  MtItem::kiv_classInfo();

  // A more derived receiver takes only the shared levels.
  auto featured = makeRef<MtFeatured>();
  auto base = makeRef<MtItem>();
  base->setTitle("base");
  featured->mergeFrom(*base);
  EXPECT_EQ(featured->title(), Value("base"));

  // A more derived source gives only the receiver's levels.
  auto source = makeRef<MtFeatured>();
  source->setRank(3);
  source->setItemId(8);
  base->mergeFrom(*source);
  EXPECT_EQ(base->itemId(), 8);

  // Siblings share the levels above them only; their own levels share merge indexes.
  auto sponsored = makeRef<MtSponsored>();
  sponsored->setSponsor("acme");
  featured->mergeFrom(*sponsored);
  EXPECT_EQ(featured->rank(), 0.0);
  EXPECT_FALSE(featured->kivFlag().needMergeAt(infoOf(MtFeatured::kivClass(), "rank").mergeIdx()));
}

TEST(ModelTest, DescriptionListsEveryPropertyAlongTheChain) {
  auto model = makeRef<MtFeatured>();
  model->setTitle("hello");
  const std::string text = model->description();
  char prefix[64];
  std::snprintf(prefix, sizeof prefix, "<MtFeatured: %p> {", static_cast<void*>(model.get()));
  EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
  for (const char* part : {"rank = 0;", "title = hello;", "itemId = 0;", "author = <null>;"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  }
}

TEST(ModelTest, HashCombinesEveryPropertyAlongTheChain) {
  auto empty = makeRef<MtUser>();
  EXPECT_EQ(empty->hash(), 0u);
  EXPECT_EQ(makeRef<KivModel>()->hash(), 0u);

  auto a = makeRef<MtFeatured>();
  a->setTitle("x");
  a->setRank(2);
  EXPECT_EQ(a->hash(), Value("x").hash() ^ Value(2.0).hash() ^ Value(0LL).hash());
  auto b = makeRef<MtFeatured>();
  b->setRank(2);
  b->setTitle("x");
  EXPECT_EQ(a->hash(), b->hash());
}

TEST(ModelTest, IsEqualComparesTheExactClassAndItsOwnPropertiesOnly) {
  auto a = makeRef<MtFeatured>();
  auto b = makeRef<MtFeatured>();
  a->setRank(1);
  b->setRank(1);
  EXPECT_TRUE(a->isEqual(*a));
  EXPECT_TRUE(a->isEqual(*b));
  a->setTitle("only inherited properties differ");
  EXPECT_TRUE(a->isEqual(*b));
  b->setRank(2);
  EXPECT_FALSE(a->isEqual(*b));

  auto item = makeRef<MtItem>();
  auto featured = makeRef<MtFeatured>();
  EXPECT_FALSE(item->isEqual(*featured));
  EXPECT_FALSE(featured->isEqual(*item));

  auto x = makeRef<MtItem>();
  auto y = makeRef<MtItem>();
  x->setAuthor(makeRef<MtUser>());
  EXPECT_FALSE(x->isEqual(*y));  // present against absent
  EXPECT_FALSE(y->isEqual(*x));
  y->setAuthor(makeRef<MtUser>());
  EXPECT_TRUE(x->isEqual(*y));  // nested models compare by their properties
  EXPECT_TRUE(makeRef<KivModel>()->isEqual(*makeRef<KivModel>()));
  EXPECT_FALSE(Value(x).isEqual(Value("x")));
}

// Hooks overridden at some levels of a three-level chain.
class MtHookA : public KivModel {
  KIV_MODEL(MtHookA, KivModel)
  KIV_PROPERTY(String, uid, setUid)
 public:
  static Value kiv_key() { return "uid"; }
  static Array kiv_dbStoreProperty() { return Array{"uid"}; }
};

class MtHookB : public MtHookA {
  KIV_MODEL(MtHookB, MtHookA)
  KIV_PROPERTY(String, note, setNote)
 public:
  static MutableDictionary kiv_jsonKeyPathsByProperty() { return {{"note", "meta.note"}}; }
  static void kiv_finishedModel(KivModel& model, const Dictionary& dict) {
    static_cast<MtHookB&>(model).setNote(dict.stringForKey("n").asString());
  }
  static Ref<MtHookB> kiv_modelWithDictionary(const Value&) { return makeRef<MtHookB>(); }
};

class MtHookC : public MtHookB {
  KIV_MODEL(MtHookC, MtHookB)
 public:
  static Value kiv_key() { return "note"; }
};

TEST(ModelTest, HooksAnswerWithTheNearestDeclaringClass) {
  const ModelClass& base = KivModel::kivClass();
  const ModelClass& a = MtHookA::kivClass();
  const ModelClass& b = MtHookB::kivClass();
  const ModelClass& c = MtHookC::kivClass();

  EXPECT_TRUE(base.kiv_key().isAbsent());
  EXPECT_TRUE(base.kiv_jsonKeyPathsByProperty().isAbsent());
  EXPECT_TRUE(base.kiv_dbStoreProperty().isAbsent());
  EXPECT_TRUE(base.kiv_valueTransform().isAbsent());
  EXPECT_FALSE(base.respondsToModelWithDictionary());

  EXPECT_EQ(a.kiv_key(), Value("uid"));
  EXPECT_EQ(b.kiv_key(), Value("uid"));
  EXPECT_EQ(c.kiv_key(), Value("note"));
  EXPECT_TRUE(a.kiv_jsonKeyPathsByProperty().isAbsent());
  EXPECT_EQ(c.kiv_jsonKeyPathsByProperty(), (Dictionary{{"note", "meta.note"}}));
  EXPECT_EQ(c.kiv_dbStoreProperty(), Array{"uid"});

  EXPECT_FALSE(a.respondsToModelWithDictionary());
  EXPECT_TRUE(a.kiv_modelWithDictionary(Dictionary{{"a", 1}}).isAbsent());
  EXPECT_EQ(classOf(c.kiv_modelWithDictionary(Dictionary{{"a", 1}})), &b);

  const Ref<KivModel> model = c.create();
  c.kiv_finishedModel(*model, Dictionary{{"n", "done"}});
  EXPECT_EQ(static_cast<MtHookC&>(*model).note(), Value("done"));
  a.kiv_finishedModel(*model, Dictionary{{"n", "ignored"}});  // the default does nothing
  EXPECT_EQ(static_cast<MtHookC&>(*model).note(), Value("done"));

  EXPECT_EQ(&MtHookC::kiv_classInfo().cls(), &c);
}

}  // namespace
}  // namespace kiv
