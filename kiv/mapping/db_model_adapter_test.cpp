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
    return {{"noteId", "id"},          {"title", "title"},     {"tags", "tags"},
            {"extra", "extra"},        {"createdAt", "created"}, {"author", "author"},
            {"city", "place.city"},    {"secret", "secret"}};
  }
  // draft is stored but has no key path; secret has a key path but is not stored; 7 is no name.
  static Array kiv_dbStoreProperty() {
    ++storeCalls;
    return {"noteId", "title", "tags", "extra", "createdAt", "author", "city", "draft", 7};
  }
  static Dictionary kiv_valueTransform() { return {{"createdAt", Value(makeRef<KivDateTransformValue>())}}; }
};

// Stores a name that its superclass stores too, with a value of another kind.
class DbDraftNote : public DbNote {
  KIV_MODEL(DbDraftNote, DbNote)
  KIV_PROPERTY(std::int32_t, revision, setRevision)
  KIV_PROPERTY(std::int32_t, tITLE, setTITLE)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"revision", "rev"}, {"tITLE", "t"}}; }
  static Array kiv_dbStoreProperty() { return {"revision", "tITLE"}; }
};

class DbNothingStored : public KivModel {
  KIV_MODEL(DbNothingStored, KivModel)
  KIV_PROPERTY(String, name, setName)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}}; }
};

// "" is a key path like any other; "unbound" has none and must not pick up its record.
class DbEmptyKey : public KivModel {
  KIV_MODEL(DbEmptyKey, KivModel)
  KIV_PROPERTY(String, bound, setBound)
  KIV_PROPERTY(String, unbound, setUnbound)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"bound", ""}}; }
  static Array kiv_dbStoreProperty() { return {"bound", "unbound"}; }
};

Dictionary json(const char* text) { return parseJSON(text).asDictionary(); }

Ref<DbNote> note() {
  return kiv_modelFromDictionary<DbNote>(json(R"({"id": 7, "title": "Groceries", "tags": [1, 2],
      "extra": {"k": "v"}, "created": 1.5, "author": {"name": "Ann"}, "place": {"city": "Bonn"},
      "secret": "s"})"));
}

TEST(DbModelAdapterTest, RowHoldsTheSetStoredPropertiesUnderLowerCasedNames) {
  const Ref<DbNote> n = note();
  ASSERT_TRUE(n);
  n->setDraft("no key path");
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(n.get());
  EXPECT_EQ(row.allKeys(), (Array{"noteid", "title", "tags", "extra", "createdat", "author", "city"}));
  EXPECT_EQ(row["noteid"], Value(7));
  EXPECT_EQ(row["title"], Value("Groceries"));
  EXPECT_EQ(row["createdat"], Value(1.5));  // through the date transformer
  EXPECT_EQ(row["city"], Value("Bonn"));
  // Containers as JSON text; a nested model as the JSON text of its dictionary.
  ASSERT_TRUE(row["tags"].isString());
  EXPECT_EQ(objectFromJSONString(row["tags"].stringView()), (Array{1, 2}));
  EXPECT_EQ(objectFromJSONString(row["extra"].stringView()), (Dictionary{{"k", "v"}}));
  EXPECT_EQ(objectFromJSONString(row["author"].stringView()), (Dictionary{{"name", "Ann"}}));

  n->setTitle(String());
  EXPECT_TRUE(KivModelAdapter::DBDictionaryFromModel(n.get())["title"].isNull());
  EXPECT_TRUE(KivModelAdapter::DBDictionaryFromModel(nullptr).isAbsent());
}

TEST(DbModelAdapterTest, RowWithoutValidJSONForADictionaryLeavesItOut) {
  const Ref<DbNote> n = note();
  n->setExtra(Dictionary{{"when", Value::date(0)}});
  n->setTags(Array{Value::date(0)});
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(n.get());
  EXPECT_TRUE(row["extra"].isAbsent());
  EXPECT_EQ(row["tags"], Value("[]"));  // arrays write "[]" when they are no valid JSON
}

TEST(DbModelAdapterTest, ModelComesBackFromItsRow) {
  const Ref<DbNote> n = note();
  const Ref<KivModel> back =
      KivModelAdapter::modelFromDBDictionary(KivModelAdapter::DBDictionaryFromModel(n.get()), DbNote::kivClass());
  ASSERT_TRUE(back);
  const auto& m = static_cast<const DbNote&>(*back);
  EXPECT_EQ(m.noteId(), 7);
  EXPECT_EQ(m.title(), Value("Groceries"));
  EXPECT_EQ(m.tags(), (Array{1, 2}));
  EXPECT_EQ(m.extra(), (Dictionary{{"k", "v"}}));
  EXPECT_EQ(m.createdAt(), Value::date(1.5));
  ASSERT_TRUE(m.author());
  EXPECT_EQ(m.author()->name(), Value("Ann"));
  EXPECT_EQ(m.city(), Value("Bonn"));
  EXPECT_TRUE(m.secret().isAbsent());
}

TEST(DbModelAdapterTest, ReadsOnlyExactLowerCaseColumnsAndSkipsNulls) {
  const Dictionary row{{"noteid", 3},
                       {"Title", "wrong case"},
                       {"city", Value::null()},
                       {"draft", "no key path"},
                       {"secret", "not stored"},
                       {"tags", " [\"x\"]"},
                       {"extra", "{\"a\": 1}"},
                       {"author", "[not json"}};
  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, DbNote::kivClass());
  ASSERT_TRUE(back);
  const auto& m = static_cast<const DbNote&>(*back);
  EXPECT_EQ(m.noteId(), 3);
  EXPECT_TRUE(m.title().isAbsent());
  EXPECT_TRUE(m.city().isAbsent());
  EXPECT_TRUE(m.draft().isAbsent());
  EXPECT_TRUE(m.secret().isAbsent());
  EXPECT_EQ(m.tags(), Array{"x"});
  EXPECT_EQ(m.extra(), (Dictionary{{"a", 1}}));
  EXPECT_FALSE(m.author());  // text that does not parse stays text: of the wrong class

  // A string property holding JSON object text comes back as a dictionary, and so is skipped.
  const Ref<KivModel> braces =
      KivModelAdapter::modelFromDBDictionary(Dictionary{{"title", "{\"a\":1}"}, {"noteid", 1}}, DbNote::kivClass());
  EXPECT_TRUE(static_cast<const DbNote&>(*braces).title().isAbsent());

  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary::emptyDictionary(), DbNote::kivClass()));
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary(), DbNote::kivClass()));
}

TEST(DbModelAdapterTest, SuperclassLevelWritesAKnownNameOnlyWithTheSameKind) {
  DbDraftNote::kiv_classInfo();
  const auto d = makeRef<DbDraftNote>();
  d->setRevision(4);
  d->setTITLE(9);
  d->setTitle("text");  // the superclass's "title" is a string: the number stays
  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(d.get());
  EXPECT_EQ(row["revision"], Value(4));
  EXPECT_EQ(row["title"], Value(9));

  const Ref<KivModel> back = KivModelAdapter::modelFromDBDictionary(row, DbDraftNote::kivClass());
  const auto& m = static_cast<const DbDraftNote&>(*back);
  EXPECT_EQ(m.revision(), 4);
  EXPECT_EQ(m.tITLE(), 9);
  EXPECT_TRUE(m.title().isAbsent());  // a number for a string property
}

TEST(DbModelAdapterTest, StoredPropertyListIsAskedOnceAndCopied) {
  DbNote::storeCalls = 0;
  const Array first = KivModelAdapter::dbPropertyPaths(DbNote::kivClass());
  EXPECT_EQ(first.count(), 9u);
  EXPECT_FALSE(first.isMutable());
  KivModelAdapter::dbPropertyPaths(DbNote::kivClass());
  KivModelAdapter::DBDictionaryFromModel(note().get());
  EXPECT_LE(DbNote::storeCalls, 1);
  EXPECT_EQ(KivModelAdapter::dbPropertyPaths(DbDraftNote::kivClass()), (Array{"revision", "tITLE"}));

  const Array none = KivModelAdapter::dbPropertyPaths(DbNothingStored::kivClass());
  ASSERT_TRUE(none.isArray());
  EXPECT_EQ(none.count(), 0u);
  DbNothingStored::kiv_classInfo();
  const auto m = makeRef<DbNothingStored>();
  m->setName("n");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(m.get()).count(), 0u);
  DbEmptyKey::kiv_classInfo();
  const auto e = makeRef<DbEmptyKey>();
  e->setBound("b");
  e->setUnbound("u");
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(e.get()), (Dictionary{{"bound", "b"}}));

  // The rebuilt JSON dictionary is empty, and an empty dictionary makes no model.
  EXPECT_FALSE(KivModelAdapter::modelFromDBDictionary(Dictionary{{"name", "n"}}, DbNothingStored::kivClass()));
}

}  // namespace
}  // namespace kiv
