#include <gtest/gtest.h>

#include <cmath>

#include "kiv/testing/mapping_models.hpp"

namespace kiv::testing {
namespace {

Ref<Record> record() {
  const Ref<Record> r = kiv_modelFromDictionary<Record>(json(R"({"id": 7, "name": "Groceries", "tags": [1, 2],
      "extra": {"k": "v"}, "born": 1.5, "profile": {"name": "Ann"}, "names": {"nick": "Bonn"}, "secret": "s"})"));
  r->setUnmapped("u");
  return r;
}

TEST(DbModelAdapterTest, RowHoldsSetStoredPropertiesAndComesBackAsTheModel) {
  const Ref<Record> r = record();
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(r.get());
  EXPECT_EQ(row.allKeys(), (Array{"uid", "name", "tags", "extra", "born", "profile", "nick"}));
  EXPECT_EQ(row["born"], Value(1.5));  // through the date transformer
  EXPECT_EQ(objectFromJSONString(row["tags"].stringView()), (Array{1, 2}));
  EXPECT_EQ(objectFromJSONString(row["profile"].stringView()), (Dictionary{{"name", "Ann"}}));

  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, Record::kivClass());
  ASSERT_TRUE(back);
  EXPECT_EQ(kiv_dictionaryFromModel(back), json(R"({"id": 7, "name": "Groceries", "tags": [1, 2],
      "extra": {"k": "v"}, "born": 1.5, "profile": {"name": "Ann"}, "names": {"nick": "Bonn"}})"));

  r->setName(String());
  r->setExtra(Dictionary{{"when", Value::date(0)}});
  r->setTags(Array{Value::date(0)});
  const MutableDictionary changed = KivModelAdapter::DBDictionaryFromModel(r.get());
  EXPECT_TRUE(changed["name"].isNull());
  EXPECT_TRUE(changed["extra"].isAbsent());  // no valid JSON: left out
  EXPECT_EQ(changed["tags"], Value("[]"));   // arrays write "[]" instead
  EXPECT_TRUE(KivModelAdapter::DBDictionaryFromModel(nullptr).isAbsent());
}

TEST(DbModelAdapterTest, ReadsExactLowerCaseColumnsAndJSONTextOnly) {
  const Dictionary row{{"uid", 3},           {"Name", "wrong case"}, {"nick", Value::null()},
                       {"secret", "not stored"}, {"unmapped", "not mapped"}, {"tags", " [\"x\"]"},
                       {"extra", "{\"a\": 1}"},  {"profile", "[not json"}};
  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, Record::kivClass());
  const Record& m = static_cast<const Record&>(*back);
  EXPECT_EQ(m.uid(), 3);
  for (const char* unset : {"name", "nick", "secret", "unmapped", "profile"}) EXPECT_FALSE(isSet(m, unset)) << unset;
  EXPECT_EQ(m.tags(), Array{"x"});
  EXPECT_EQ(m.extra(), (Dictionary{{"a", 1}}));
  // A string property holding JSON object text comes back as a dictionary, and so stays unset.
  const Ref<KivModel> braces =
      KivModelAdapter::modelFromDBDictionary(Dictionary{{"name", "{\"a\":1}"}, {"uid", 1}}, Record::kivClass());
  EXPECT_FALSE(isSet(*braces, "name"));
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary::emptyDictionary(), Record::kivClass()));
}

// Containers travel through their JSON text: long and large doubles come back as themselves.
TEST(DbModelAdapterTest, NumbersInStoredContainersComeBackExactly) {
  Record::kiv_classInfo();
  const auto r = makeRef<Record>();
  const Array numbers{123456789012345678.0, 18446744073709551616.0, -0.0, 0.1, 1e300, 18446744073709551615ULL};
  r->setTags(numbers);
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(r.get());
  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, Record::kivClass());
  ASSERT_TRUE(back);
  const Array tags = static_cast<const Record&>(*back).tags();
  ASSERT_EQ(tags.count(), numbers.count()) << row["tags"].stringView();
  for (std::size_t i = 0; i < numbers.count(); ++i) {
    EXPECT_EQ(tags[i].numberKind(), numbers[i].numberKind()) << i;
    EXPECT_EQ(tags[i].description(), numbers[i].description()) << i;
  }
  EXPECT_TRUE(std::signbit(tags[2].doubleValue()));
}

TEST(DbModelAdapterTest, SuperclassLevelOverwritesANameOnlyWithTheSameKind) {
  SubRecord::kiv_classInfo();
  const auto s = makeRef<SubRecord>();
  s->setNAME(9);
  s->setName("text");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(s.get())["name"], Value(9));
}

TEST(DbModelAdapterTest, StoredPropertyListIsAskedOnceAndCopied) {
  Record::kiv_classInfo();  // its first description checks the names of its hooks
  Record::storeCalls = 0;
  const Array names = KivModelAdapter::dbPropertyPaths(Record::kivClass());
  EXPECT_EQ(names.count(), 9u);
  EXPECT_FALSE(names.isMutable());
  KivModelAdapter::DBDictionaryFromModel(record().get());
  EXPECT_LE(Record::storeCalls, 1);

  EXPECT_EQ(KivModelAdapter::dbPropertyPaths(Everything::kivClass()), Array::emptyArray());
  Everything::kiv_classInfo();
  const auto m = makeRef<Everything>();
  m->setStr("n");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(m.get()).count(), 0u);
  // The rebuilt JSON dictionary is empty, and an empty dictionary makes no model.
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary{{"str", "n"}}, Everything::kivClass()));
}

}  // namespace
}  // namespace kiv::testing
