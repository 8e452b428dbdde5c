// Models read straight from a parsed document are the models the dictionary path makes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "examples/timeline_models.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/mapping/key_path.hpp"
#include "kiv/testing/mapping_models.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv::testing {
namespace {

// Every role a key path and a record can play, on a class that does not declare
// kiv_finishedModel: plain and dotted paths (one plain key also starts dotted ones), a path with an
// empty component, a nested model, an array of models, an application's transformer and a date.
class Entry : public KivModel {
  KIV_MODEL(Entry, KivModel)
  KIV_PROPERTY(std::int64_t, entryId, setEntryId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(Dictionary, names, setNames)
  KIV_PROPERTY(String, nick, setNick)
  KIV_PROPERTY(std::int32_t, likes, setLikes)
  KIV_PROPERTY(bool, deep, setDeep)
  KIV_PROPERTY(String, hollow, setHollow)
  KIV_PROPERTY(Ref<Child>, author, setAuthor)
  KIV_PROPERTY(Array, children, setChildren)
  KIV_PROPERTY(String, shout, setShout)
  KIV_PROPERTY(Date, born, setBorn)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"entryId", "id"},     {"title", "title"},   {"names", "names"},     {"nick", "names.nick"},
            {"likes", "counts.likes"}, {"deep", "a.b.c"}, {"hollow", "e..f"},     {"author", "author"},
            {"children", "children"}, {"shout", "shout"}, {"born", "born"}};
  }
  static Dictionary kiv_valueTransform() {
    return {{"children", Value(makeRef<KivClassArrayTransformValue>(Child::kivClass()))},
            {"shout", Value(makeRef<ShoutTransform>())},
            {"born", Value(makeRef<KivDateTransformValue>())}};
  }
};

// A second level that reads under a first key of the level below.
class SubEntry : public Entry {
  KIV_MODEL(SubEntry, Entry)
  KIV_PROPERTY(String, first, setFirst)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"first", "names.first"}}; }
};

// Expects `b` to be `a`: models of the same class with the same properties set to the same
// values, nested models and arrays of them compared the same way.
void expectSame(const Value& a, const Value& b, const std::string& where) {
  const Ref<KivModel> ma = a.objectAs<KivModel>();
  const Ref<KivModel> mb = b.objectAs<KivModel>();
  if (!ma || !mb) {
    if (a.isArray() && b.isArray() && a.asArray().count() == b.asArray().count()) {
      for (std::size_t i = 0; i < a.asArray().count(); ++i) {
        expectSame(a.asArray()[i], b.asArray()[i], where + "[" + std::to_string(i) + "]");
      }
    } else {
      EXPECT_EQ(a, b) << where;
    }
    return;
  }
  ASSERT_EQ(&ma->modelClass(), &mb->modelClass()) << where;
  forEachModelLevel(ma->modelClass(), [&](const ModelClass& level) {
    for (const auto& [name, info] : level.kiv_classInfo().propDict()) {
      const std::string at = where + "." + std::string(name);
      ASSERT_EQ(ma->kivFlag().needMergeAt(info->mergeIdx()), mb->kivFlag().needMergeAt(info->mergeIdx())) << at;
      expectSame(ma->kiv_valueForInfo(*info), mb->kiv_valueForInfo(*info), at);
    }
  });
}

// Maps the object both ways, as each class, and expects the same models.
void expectBothWaysAlike(const JSONElement& object, const std::string& where) {
  const Dictionary dictionary = object.value().asDictionary();
  for (const ModelClass* cls : {&timeline::TimelineStatus::kivClass(), &timeline::TimelineUser::kivClass(),
                                &timeline::TimelineHashtag::kivClass(), &Entry::kivClass(), &SubEntry::kivClass(),
                                &Everything::kivClass(), &Child::kivClass(), &Record::kivClass()}) {
    const Value defined(KivModelAdapter::modelOfClass(*cls, dictionary));
    const Value read(KivModelAdapter::modelOfClass(*cls, object));
    expectSame(defined, read, where + " as " + std::string(cls->name()));
  }
}

// expectBothWaysAlike() for every object in the document, at any depth.
void expectEveryObjectAlike(const JSONElement& element, const std::string& where) {
  if (element.isDictionary()) {
    expectBothWaysAlike(element, where);
    element.forEachField([&](std::string_view key, const JSONElement& value) {
      expectEveryObjectAlike(value, where + "/" + std::string(key));
    });
  } else if (element.isArray()) {
    std::size_t i = 0;
    element.forEachElement([&](const JSONElement& e) { expectEveryObjectAlike(e, where + "/" + std::to_string(i++)); });
  }
}

void expectStatusesAlike(const std::string& text) {
  std::vector<Value> defined;
  for (const Value& status : parseJSON(text).asDictionary()["statuses"].asArray()) {
    defined.emplace_back(kiv_modelFromDictionary<timeline::TimelineStatus>(status.asDictionary()));
  }
  const Array read = KivModelAdapter::modelsOfClassFromJSONText(timeline::TimelineStatus::kivClass(), text, "statuses");
  expectSame(Array::fromVector(defined), read, "statuses");
  ASSERT_FALSE(defined.empty());

  const JSONDocument document(text);
  expectEveryObjectAlike(document.root(), "");
}

TEST(JSONTextMappingTest, TwitterModelsAreTheModelsOfItsDictionaries) {
  const auto path = sharedDataFile("twitter.json");
  if (!path) GTEST_SKIP() << "../shared/data/twitter.json is not there";
  expectStatusesAlike(*readFile(*path));
}

TEST(JSONTextMappingTest, SampleFeedModelsAreTheModelsOfItsDictionaries) {
  expectStatusesAlike(*readFile(sampleDataFile("timeline.json")));
}

TEST(JSONTextMappingTest, EdgeCasesMapAsTheirDictionariesDo) {
  const char* texts[] = {
      R"({"id":1,"title":"t","names":{"nick":"n","first":"f"},"counts":{"likes":3},"a":{"b":{"c":true}},)"
      R"("e":{"":{"f":"x"}},"author":{"name":"ann","next":{"name":"bob"}},"children":[{"name":"c"}],)"
      R"("shout":"hi","born":12.5})",
      // A repeated key's last value counts, for plain and dotted paths alike.
      R"({"id":1,"id":"2","names":{"nick":"a"},"names":{"first":"b"},"counts":{"likes":1,"likes":2}})",
      // Nulls, on the way and at the end; wrong kinds on the way and at the end.
      R"({"names":null,"counts":null,"a":{"b":null},"author":null,"children":null,"shout":null,"born":null})",
      R"({"names":"x","counts":[1],"a":{"b":7},"e":{"":null},"title":5,"id":{"x":1},"born":"12abc"})",
      R"({"author":{},"children":{"name":"c"},"shout":5,"names":{"nick":1}})",
      R"({"author":[{"name":"a"}],"children":[{"name":"a"},1,{},null,"x",[],{"name":"b"}],"title":["t"]})",
      R"({"author":"x","children":[],"a":[],"e":{"":{"f":{"g":1}}}})",
      // Every type of property, from fitting and unfitting values.
      R"({"b":true,"i8":-200,"u8":300,"i16":1e10,"u16":-1,"i32":"12abc","u32":4294967296,"i64":9223372036854775807,)"
      R"("u64":18446744073709551615,"f":0.1,"d":123456789012345678.5,"str":"s","num":3,"date":1,"data":"x",)"
      R"("arr":[1],"marr":[1],"dict":{"k":[]},"mdict":{},"child":{"name":"c"},"any":{"a":[1,{"b":null}]}})",
      R"({"b":"yes","i8":null,"u64":-1,"f":"1e40","d":true,"str":null,"num":"7","arr":{},"dict":[],"child":[],"any":null})",
      "{}",
      "[]",
      "[{}]",
  };
  for (const char* text : texts) {
    const JSONDocument document(text);
    ASSERT_TRUE(document.root()) << text;
    expectEveryObjectAlike(document.root(), text);
  }
}

TEST(JSONTextMappingTest, TextThatDoesNotParseOrHoldsNoObjectMakesNoModel) {
  const ModelClass& entry = Entry::kivClass();
  EXPECT_FALSE(KivModelAdapter::modelOfClassFromJSONText(entry, R"({"id":1)"));
  EXPECT_FALSE(KivModelAdapter::modelOfClassFromJSONText(entry, R"({"id":1,"x":tru})"));  // in an unmapped field
  EXPECT_FALSE(KivModelAdapter::modelOfClassFromJSONText(entry, "[]"));
  EXPECT_FALSE(KivModelAdapter::modelOfClassFromJSONText(entry, "{}"));
  const Ref<KivModel> one = KivModelAdapter::modelOfClassFromJSONText(entry, R"({"id":7})");
  ASSERT_TRUE(one);
  EXPECT_EQ(static_cast<const Entry&>(*one).entryId(), 7);

  EXPECT_TRUE(KivModelAdapter::modelsOfClassFromJSONText(entry, R"([{"id":1},)").isAbsent());
  EXPECT_TRUE(KivModelAdapter::modelsOfClassFromJSONText(entry, R"({"list":{"id":1}})", "list").isAbsent());
  EXPECT_TRUE(KivModelAdapter::modelsOfClassFromJSONText(entry, R"({"id":1})").isAbsent());
  EXPECT_EQ(KivModelAdapter::modelsOfClassFromJSONText(entry, R"([{"id":1},2,{},{"id":3}])").count(), 2u);
  const std::vector<Ref<Entry>> nested = kiv_modelsFromJSONText<Entry>(R"({"a":{"b":[{"id":5}]}})", "a.b");
  ASSERT_EQ(nested.size(), 1u);
  EXPECT_EQ(nested[0]->entryId(), 5);
}

TEST(JSONTextMappingTest, ClassesWithAFinishingHookGetTheDictionary) {
  Record::finished = 0;
  const Ref<KivModel> r = KivModelAdapter::modelOfClassFromJSONText(Record::kivClass(), R"({"id":1})");
  ASSERT_TRUE(r);
  EXPECT_EQ(Record::finished, 1);
  EXPECT_TRUE(Record::kivClass().overridesFinishedModel());
  EXPECT_TRUE(SubRecord::kivClass().overridesFinishedModel());  // through its superclass
  EXPECT_FALSE(Entry::kivClass().overridesFinishedModel());
}

// The document walk of kiv_valueForKey finds what the dictionary walk finds.
TEST(JSONTextMappingTest, KeyPathsReadTheDocumentAsTheyReadDictionaries) {
  const char* text = R"({"a":{"b":{"c":1},"n":null,"s":"x","":{"d":2}},"a.b":3,"l":[5],"r":1,"r":{"q":4}})";
  const Dictionary d = parseJSON(text).asDictionary();
  const JSONDocument document(text);
  for (const char* path : {"a", "a.b", "a.b.c", "a.n", "a.n.x", "a.s.x", "a..d", "a.b.c.d", "a.b", "l.0", "r.q",
                           "missing", "missing.x", "", "."}) {
    EXPECT_EQ(kiv_valueForKey(document.root(), path).value(), kiv_valueForKey(d, path)) << path;
  }
}

}  // namespace
}  // namespace kiv::testing
