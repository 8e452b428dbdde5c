#include <gtest/gtest.h>

#include <cstdint>

#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"

namespace kiv {
namespace {

class DbAuthor : public KivModel {
  KIV_MODEL(DbAuthor, KivModel)
  KIV_PROPERTY(String, name, setName)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}}; }
};

class DbNote : public KivModel {
  KIV_MODEL(DbNote, KivModel)
  KIV_PROPERTY(std::int64_t, noteId, setNoteId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(Array, tags, setTags)
  KIV_PROPERTY(Dictionary, extra, setExtra)
  KIV_PROPERTY(Date, createdAt, setCreatedAt)
  KIV_PROPERTY(Ref<DbAuthor>, author, setAuthor)
  KIV_PROPERTY(String, city, setCity)
  KIV_PROPERTY(String, draft, setDraft)
  KIV_PROPERTY(String, secret, setSecret)
 public:
  static inline int storeCalls = 0;
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"noteId", "id"},   {"title", "title"},        {"tags", "tags"},     {"extra", "extra"},
            {"createdAt", "t"}, {"author", "author"},      {"city", "at.city"},  {"secret", "secret"},
            {"draft", ""}};
  }
  // "secret" is mapped but not stored; 7 is no name.
  static Array kiv_dbStoreProperty() {
    ++storeCalls;
    return {"noteId", "title", "tags", "extra", "createdAt", "author", "city", "unbound", 7};
  }
  static Dictionary kiv_valueTransform() { return {{"createdAt", Value(makeRef<KivDateTransformValue>())}}; }
};

// Stores "title" as a number, where its superclass stores it as a string.
class DbDraftNote : public DbNote {
  KIV_MODEL(DbDraftNote, DbNote)
  KIV_PROPERTY(std::int32_t, tITLE, setTITLE)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"tITLE", "n"}}; }
  static Array kiv_dbStoreProperty() { return {"tITLE"}; }
};

class DbNothingStored : public KivModel {
  KIV_MODEL(DbNothingStored, KivModel)
  KIV_PROPERTY(String, name, setName)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}}; }
};

Ref<DbNote> note() {
  return kiv_modelFromDictionary<DbNote>(parseJSON(R"({"id": 7, "title": "Groceries", "tags": [1, 2],
      "extra": {"k": "v"}, "t": 1.5, "author": {"name": "Ann"}, "at": {"city": "Bonn"}, "secret": "s",
      "": "draft"})").asDictionary());
}

const DbNote& asNote(const Ref<KivModel>& m) { return static_cast<const DbNote&>(*m); }

TEST(DbModelAdapterTest, RowHoldsSetStoredPropertiesAndComesBackAsTheModel) {
  const Ref<DbNote> n = note();
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(n.get());
  EXPECT_EQ(row.allKeys(), (Array{"noteid", "title", "tags", "extra", "createdat", "author", "city"}));
  EXPECT_EQ(row["createdat"], Value(1.5));  // through the date transformer
  EXPECT_EQ(objectFromJSONString(row["tags"].stringView()), (Array{1, 2}));
  EXPECT_EQ(objectFromJSONString(row["author"].stringView()), (Dictionary{{"name", "Ann"}}));

  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, DbNote::kivClass());
  ASSERT_TRUE(back);
  EXPECT_EQ(kiv_dictionaryFromModel(back), parseJSON(R"({"id": 7, "title": "Groceries", "tags": [1, 2],
      "extra": {"k": "v"}, "t": 1.5, "author": {"name": "Ann"}, "at": {"city": "Bonn"}})"));

  n->setTitle(String());
  n->setExtra(Dictionary{{"when", Value::date(0)}});
  n->setTags(Array{Value::date(0)});
  const MutableDictionary changed = KivModelAdapter::DBDictionaryFromModel(n.get());
  EXPECT_TRUE(changed["title"].isNull());
  EXPECT_TRUE(changed["extra"].isAbsent());    // no valid JSON: left out
  EXPECT_EQ(changed["tags"], Value("[]"));     // arrays write "[]" instead
  EXPECT_TRUE(KivModelAdapter::DBDictionaryFromModel(nullptr).isAbsent());
}

TEST(DbModelAdapterTest, ReadsExactLowerCaseColumnsAndJSONTextOnly) {
  const Dictionary row{{"noteid", 3},          {"Title", "wrong case"},  {"city", Value::null()},
                       {"secret", "not stored"}, {"tags", " [\"x\"]"},     {"extra", "{\"a\": 1}"},
                       {"author", "[not json"}};
  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, DbNote::kivClass());
  const DbNote& m = asNote(back);
  EXPECT_EQ(m.noteId(), 3);
  EXPECT_TRUE(m.title().isAbsent());
  EXPECT_TRUE(m.city().isAbsent());
  EXPECT_TRUE(m.secret().isAbsent());
  EXPECT_EQ(m.tags(), Array{"x"});
  EXPECT_EQ(m.extra(), (Dictionary{{"a", 1}}));
  EXPECT_FALSE(m.author());  // text that does not parse stays text: of the wrong class
  // A string property holding JSON object text comes back as a dictionary, and so stays unset.
  const Ref<KivModel> braces =
      KivModelAdapter::modelFromDBDictionary(Dictionary{{"title", "{\"a\":1}"}, {"noteid", 1}}, DbNote::kivClass());
  EXPECT_TRUE(asNote(braces).title().isAbsent());
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary::emptyDictionary(), DbNote::kivClass()));
}

TEST(DbModelAdapterTest, SuperclassLevelOverwritesANameOnlyWithTheSameKind) {
  DbDraftNote::kiv_classInfo();
  const auto d = makeRef<DbDraftNote>();
  d->setTITLE(9);
  d->setTitle("text");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(d.get())["title"], Value(9));
}

TEST(DbModelAdapterTest, StoredPropertyListIsAskedOnceAndCopied) {
  DbNote::storeCalls = 0;
  const Array names = KivModelAdapter::dbPropertyPaths(DbNote::kivClass());
  EXPECT_EQ(names.count(), 9u);
  EXPECT_FALSE(names.isMutable());
  KivModelAdapter::DBDictionaryFromModel(note().get());
  EXPECT_LE(DbNote::storeCalls, 1);

  EXPECT_EQ(KivModelAdapter::dbPropertyPaths(DbNothingStored::kivClass()), Array::emptyArray());
  DbNothingStored::kiv_classInfo();
  const auto m = makeRef<DbNothingStored>();
  m->setName("n");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(m.get()).count(), 0u);
  // The rebuilt JSON dictionary is empty, and an empty dictionary makes no model.
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary{{"name", "n"}}, DbNothingStored::kivClass()));
}

}  // namespace
}  // namespace kiv
