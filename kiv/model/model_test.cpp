#include "kiv/model/model.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "kiv/model/model_test_support.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::Featured;
using testing::infoOf;
using testing::Item;
using testing::Kinds;
using testing::Sponsored;
using testing::User;

TEST(ModelTest, NumbersAreSetLenientlyAndReadAsTheDeclaredKind) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::int64_t beyondDouble = 9007199254740993LL;  // 2^53 + 1
  const struct {
    Value input;
    const char* name;
    Value expected;
    char kind;
  } cases[] = {
      {"yes", "flag", true, 'B'},
      {300, "letter", 44, 'c'},
      {70000, "u16", 4464, 'S'},
      {Value::null(), "i32", 0, 'i'},
      {Value(), "d", 0, 'd'},
      {-1, "u32", 4294967295u, 'I'},
      {2.9, "i64", 2, 'q'},
      {1, "level", 1, 'S'},
      // 32-bit signed: set with the signed, then the unsigned reading, which stays.
      {-1, "i32", -1, 'i'},
      {"4294967295", "i32", -1, 'i'},  // the signed reading alone would stop at 2147483647
      // 64-bit: every digit.
      {beyondDouble, "i64", beyondDouble, 'q'},
      {"9007199254740993", "i64", beyondDouble, 'q'},
      {"18446744073709551615", "u64", std::numeric_limits<std::uint64_t>::max(), 'Q'},
      // Not finite: 0.
      {std::nan(""), "f", 0, 'f'},
      {1e39, "f", 0, 'f'},  // finite as a double, infinite as a float
      {-inf, "d", 0, 'd'},
      {std::nan(""), "ld", 0, 'd'},
      {0.25, "ld", 0.25, 'd'},
  };
  for (const auto& c : cases) {
    auto model = makeRef<Kinds>();
    const KivProPertyInfo& info = infoOf(Kinds::kivClass(), c.name);
    model->kiv_setValue(c.input, info);
    const Value read = model->kiv_valueForInfo(info);
    EXPECT_TRUE(read.isEqual(c.expected) && read.numberKind() == c.kind)
        << c.name << " from " << c.input.description() << " gives " << read.description();
  }
}

TEST(ModelTest, ObjectsAreSetOnlyWhenTheirClassIsKnownAndReadAsNullWhenSetToNothing) {
  auto model = makeRef<Kinds>();
  const ModelClass& cls = Kinds::kivClass();
  for (const auto& [name, info] : cls.kiv_classInfo().propDict()) {
    EXPECT_TRUE(model->kiv_valueForInfo(*info).isAbsent()) << name;
  }
  auto set = [&](const Value& value, std::string_view name) {
    model->kiv_setValue(value, infoOf(cls, name));
    return model->kiv_valueForInfo(infoOf(cls, name));
  };
  EXPECT_EQ(set("abc", "text"), Value("abc"));
  EXPECT_TRUE(set(Value::null(), "text").isNull());
  EXPECT_TRUE(model->text().isAbsent());
  EXPECT_TRUE(set(5, "text").isNull());  // no conversion: a number is no string
  EXPECT_EQ(set(Value::date(10), "date"), Value::date(10));
  EXPECT_TRUE(set(Array{1}, "list").isNull());  // an immutable array is no mutable array

  // Plain objects, interfaces and non-objects are never written through a descriptor...
  for (const char* name : {"any", "titled", "point", "kind"}) {
    EXPECT_TRUE(set(Value(makeRef<User>()), name).isAbsent()) << name;
  }
  // ...but read by key once their setters ran.
  model->setAny(Value("free"));
  model->setPoint({1, 2});
  model->setKind(&User::kivClass());
  EXPECT_EQ(model->kiv_valueForInfo(infoOf(cls, "any")), Value("free"));
  EXPECT_TRUE(model->kiv_valueForInfo(infoOf(cls, "point")).isNull());
  EXPECT_EQ(model->kiv_valueForInfo(infoOf(cls, "kind")), Value(&User::kivClass()));
}

class MtLate : public KivModel {
  KIV_MODEL(MtLate, KivModel)
  KIV_PROPERTY(int, count, setCount)
};

class MtLateChild : public MtLate {
  KIV_MODEL(MtLateChild, MtLate)
  KIV_PROPERTY(int, extra, setExtra)
};

// The macros count a class's properties themselves: other declarations between them, a
// __COUNTER__ among them, change nothing; and they leave the class body public.
class MtBusyBody : public KivModel {
  KIV_MODEL(MtBusyBody, KivModel)
  KIV_PROPERTY(int, first, setFirst)
  static constexpr int kUnrelated = __COUNTER__;
  KIV_READONLY_PROPERTY(int, second)
  static constexpr int kAnother = __COUNTER__ + __COUNTER__ + kUnrelated;
  KIV_PROPERTY(String, third, setThird)
  int afterTheMacros = kAnother;
};

template <class T>
concept HasPublicMemberAfterTheMacros = requires(T& model) { model.afterTheMacros; };
static_assert(HasPublicMemberAfterTheMacros<MtBusyBody>);

TEST(ModelTest, PropertiesAreCountedInDeclarationOrderWhateverLiesBetweenThem) {
  std::vector<std::string> names;
  for (const Property& property : MtBusyBody::kivClass().properties()) names.emplace_back(property.name);
  EXPECT_EQ(names, (std::vector<std::string>{"first", "second", "third"}));
  const Ref<MtBusyBody> model = makeRef<MtBusyBody>();
  model->setValue("t", "third");
  EXPECT_EQ(model->third(), String("t"));
}

TEST(ModelTest, SettersRecordFromTheFirstDescriptionOfTheirClassOrASubclassOn) {
  // Nothing in this program has described MtLate or MtLateChild yet.
  auto model = makeRef<MtLateChild>();
  model->setCount(1);
  model->setExtra(1);
  EXPECT_EQ(model->kivFlag().flag1(), 0u);
  EXPECT_FALSE(model->isSet("count"));

  MtLateChild::kiv_classInfo();  // describes MtLate first
  model->setCount(2);
  model->setExtra(2);
  EXPECT_TRUE(model->isSet("count"));
  EXPECT_TRUE(model->isSet("extra"));
  EXPECT_FALSE(model->isSet("noSuchProperty"));
  EXPECT_EQ(model->count(), 2);
}

// A hook that names no property is logged once, when its class is first described; a build that
// asks for it stops instead.
class MtTypo : public KivModel {
  KIV_MODEL(MtTypo, KivModel)
  KIV_PROPERTY(int, count, setCount)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"count", "count"}, {"cuont", "n"}}; }
  static Value kiv_key() { return "count"; }
  static Array kiv_dbStoreProperty() { return {"count", "total", 7}; }
};

class MtTypoDeath : public KivModel {
  KIV_MODEL(MtTypoDeath, KivModel)

 public:
  static Value kiv_key() { return "id"; }
};

TEST(ModelTest, HookNamesThatAreNoPropertiesAreLoggedAtTheFirstDescription) {
  testing::LogCapture log;
  MtTypo::kiv_classInfo();
  MtTypo::kiv_classInfo();
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "Kiv: kiv_jsonKeyPathsByProperty of MtTypo names cuont, which is no property of MtTypo "
                             "or its superclasses",
                             "Kiv: kiv_dbStoreProperty of MtTypo names total, which is no property of MtTypo or its "
                             "superclasses"}));
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(([] {
                 setKivHookNameCheck(KivHookNameCheck::kStop);
                 MtTypoDeath::kiv_classInfo();
               }()),
               "the hooks of .*MtTypoDeath name no property");
}

// Class names name tables and are looked up: a second model class of a name stops the process.
TEST(ModelTest, TwoModelClassesOfOneNameStopTheProcessNamingBoth) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(new ModelClass("MtLate", "elsewhere::MtLate", KivModel::kivClass(), {}, nullptr, ModelHooks{}),
               "two model classes are named MtLate: kiv::.*MtLate and elsewhere::MtLate");
}

TEST(ModelTest, ModelCastChecksTheClassAndTypedCallsTakeOnlyDeclaredModels) {
  const Ref<KivModel> child = makeRef<MtLateChild>();
  EXPECT_EQ(modelCast<MtLate>(child), child);
  EXPECT_EQ(modelCast<MtLateChild>(child), child);
  EXPECT_FALSE(modelCast<MtBusyBody>(child));
  EXPECT_FALSE(modelCast<MtLate>(nullptr));
  const Array models{Value(child), Value(makeRef<MtBusyBody>()), Value(1)};
  EXPECT_EQ(modelsOf<MtLate>(models).size(), 1u);
}

struct MtNotDeclared : MtLate {};
static_assert(DeclaredModel<MtLateChild> && DeclaredModel<KivModel>);
static_assert(!DeclaredModel<MtNotDeclared>, "a class without KIV_MODEL answers with its superclass's record");

TEST(ModelTest, CustomSetterNamesAndReadonlyPropertiesNeverRecord) {
  const ModelClass& cls = Kinds::kivClass();
  cls.kiv_classInfo();
  auto model = makeRef<Kinds>();
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

TEST(ModelTest, KeyValueAccessWalksTheClassChainThroughTheSetters) {
  Item::kiv_classInfo();
  auto model = makeRef<Featured>();
  model->setValue("7", "itemId");  // inherited, read leniently, recorded by its setter
  model->setValue(1.5, "rank");
  model->setValue(1, "noSuchKey");
  EXPECT_EQ(model->itemId(), 7);
  EXPECT_EQ(model->valueForKey("rank"), Value(1.5));
  EXPECT_TRUE(model->valueForKey("noSuchKey").isAbsent());
  EXPECT_TRUE(model->kivFlag().needMergeAt(infoOf(Item::kivClass(), "itemId").mergeIdx()));

  model->setValue(Value(), "rank");
  model->setValue(Value(), "title");  // objects take absent as it is
  EXPECT_EQ(model->nilKeys, std::vector<std::string>{"rank"});
  EXPECT_EQ(model->rank(), 0.0);
}

TEST(ModelTest, MergeFromCopiesWhatIsSetOverTheClassLevelsBothModelsHave) {
  Featured::kiv_classInfo();
  Sponsored::kiv_classInfo();
  Item::kiv_classInfo();
  auto receiver = makeRef<Featured>();
  receiver->setItemId(1);
  receiver->setTitle("old");
  auto other = makeRef<Item>();
  other->setTitle("new");
  other->setTags(MutableArray());  // set to nothing: copied as nothing, and marked
  receiver->mergeFrom(*other);
  EXPECT_EQ(receiver->itemId(), 1);
  EXPECT_EQ(receiver->title(), Value("new"));
  EXPECT_TRUE(receiver->kiv_valueForInfo(infoOf(Item::kivClass(), "tags")).isNull());
  EXPECT_TRUE(receiver->kiv_valueForInfo(infoOf(Item::kivClass(), "author")).isAbsent());

  // A more derived source gives only the receiver's levels.
  receiver->setRank(3);
  other->mergeFrom(*receiver);
  EXPECT_EQ(other->itemId(), 1);

  // Siblings share the levels above them only; their own levels share merge indexes.
  auto sponsored = makeRef<Sponsored>();
  sponsored->setSponsor("acme");
  auto featured = makeRef<Featured>();
  featured->mergeFrom(*sponsored);
  EXPECT_EQ(featured->kivFlag().flag1(), 0u);
}

TEST(ModelTest, DescriptionAndHashCoverEveryPropertyAlongTheChain) {
  EXPECT_EQ(makeRef<User>()->hash(), 0u);
  EXPECT_EQ(makeRef<KivModel>()->hash(), 0u);

  auto model = makeRef<Featured>();
  model->setTitle("hello");
  model->setRank(2);
  EXPECT_EQ(model->hash(), Value("hello").hash() ^ Value(2.0).hash() ^ Value(0LL).hash());
  const std::string text = model->description();
  char prefix[64];
  std::snprintf(prefix, sizeof prefix, "<Featured: %p> {", static_cast<void*>(model.get()));
  EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
  for (const char* part : {"rank = 2;", "title = hello;", "itemId = 0;", "author = <null>;"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  }
}

TEST(ModelTest, IsEqualComparesTheExactClassAndItsOwnPropertiesOnly) {
  auto a = makeRef<Featured>();
  auto b = makeRef<Featured>();
  a->setRank(1);
  b->setRank(1);
  a->setTitle("only inherited properties differ");
  EXPECT_TRUE(a->isEqual(*b));
  b->setRank(2);
  EXPECT_FALSE(a->isEqual(*b));
  EXPECT_FALSE(makeRef<Item>()->isEqual(*makeRef<Featured>()));

  auto x = makeRef<Item>();
  auto y = makeRef<Item>();
  x->setAuthor(makeRef<User>());
  EXPECT_FALSE(x->isEqual(*y));  // present against absent, both ways
  EXPECT_FALSE(y->isEqual(*x));
  y->setAuthor(makeRef<User>());
  EXPECT_TRUE(x->isEqual(*y));  // nested models compare by their properties
  EXPECT_TRUE(makeRef<KivModel>()->isEqual(*makeRef<KivModel>()));
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
