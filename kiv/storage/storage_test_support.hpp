// The models, class map and fixture of the storage tests: a storage on a fresh file, the SQL texts
// its connection runs, and the rows on disk as a second connection reads them.
#ifndef KIV_STORAGE_STORAGE_TEST_SUPPORT_HPP_
#define KIV_STORAGE_STORAGE_TEST_SUPPORT_HPP_

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kiv/foundation/date.hpp"
#include "kiv/mapping/transform_value.hpp"
#include "kiv/model/model.hpp"
#include "kiv/storage/storage.hpp"
#include "kiv/testing/database_fixture.hpp"

namespace kiv::testing {

// A numeric key and one property of each common kind.
class FeedItem : public KivModel {
  KIV_MODEL(FeedItem, KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(double, score, setScore)
  KIV_PROPERTY(Date, created, setCreated)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"itemId", "id"}, {"title", "title"}, {"score", "score"}, {"created", "created"}};
  }
  static Dictionary kiv_valueTransform() { return {{"created", Value(makeRef<KivDateTransformValue>())}}; }
  static Value kiv_key() { return "itemId"; }
  static Array kiv_dbStoreProperty() { return {"itemId", "title", "score", "created"}; }

  // A feed item, or an item of a subclass, with the id and title.
  template <class Item = FeedItem>
  static Ref<Item> make(std::int64_t id, std::string_view title) {
    Ref<Item> item = makeRef<Item>();
    item->setItemId(id);
    item->setTitle(String(title));
    return item;
  }
};

// A text key (lower case, so that the key column and the condition share the name), and stored
// properties that a test may change, as a new release of an application would.
class Tag : public KivModel {
  KIV_MODEL(Tag, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(std::int32_t, uses, setUses)

 public:
  static inline Array stored = {"name", "uses"};
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}, {"uses", "uses"}}; }
  static Value kiv_key() { return "name"; }
  static Array kiv_dbStoreProperty() { return stored; }

  static Ref<Tag> make(std::string_view name, std::int32_t uses) {
    Ref<Tag> tag = makeRef<Tag>();
    tag->setName(String(name));
    tag->setUses(uses);
    return tag;
  }
};

// A value of every kind a column holds, under names that are SQL keywords.
class Note : public KivModel {
  KIV_MODEL(Note, KivModel)
  KIV_PROPERTY(std::int64_t, noteId, setNoteId)
  KIV_PROPERTY(String, text, setText)
  KIV_PROPERTY(Array, values, setValues)
  KIV_PROPERTY(Dictionary, order, setOrder)
  KIV_PROPERTY(Data, group, setGroup)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"noteId", "id"}, {"text", "text"}, {"values", "values"}, {"order", "order"}, {"group", "group"}};
  }
  static Value kiv_key() { return "noteId"; }
  static Array kiv_dbStoreProperty() { return {"noteId", "text", "values", "order", "group"}; }
};

// A subclass of FeedItem, registered or refused on its own.
class PinnedItem : public FeedItem {
  KIV_MODEL(PinnedItem, FeedItem)
};

// The class map of the tests; its answers are set by each test (reset() restores the defaults).
class TestMap : public KivClassMap {
  KIV_CLASS_MAP(TestMap, KivClassMap)

 public:
  static constexpr std::int64_t kFeedItemType = 1;
  static constexpr std::int64_t kTagType = 2;
  static constexpr std::int64_t kPinnedItemType = 3;
  static constexpr std::int64_t kNoteType = 4;

  static inline std::int64_t version = 1;
  static inline double clearTimeInterval = 2592000.0;
  static inline Array dependents;
  static inline Array tablesToClear;
  static inline Array obsoleteTables;

  static void reset() {
    version = 1;
    clearTimeInterval = 2592000.0;
    dependents = Array();
    tablesToClear = Array();
    obsoleteTables = Array();
  }

  static std::int64_t kiv_Version() { return version; }
  static double kiv_clearTimeInterval() { return clearTimeInterval; }
  static const ModelClass* classMap(std::int64_t type) {
    switch (type) {
      case kFeedItemType:
        return &FeedItem::kivClass();
      case kTagType:
        return &Tag::kivClass();
      case kPinnedItemType:
        return &PinnedItem::kivClass();
      case kNoteType:
        return &Note::kivClass();
      default:
        return nullptr;
    }
  }
  static Array modelsDependOnModel(const ModelClass& /*cls*/) { return dependents; }
  static Array clearTableforClass(const ModelClass& /*cls*/) { return tablesToClear; }
  static Array oldTabels() { return obsoleteTables; }
};

// Feed items with the ids first, first + 1, ... and the titles prefix + id.
inline Array feedItems(std::int64_t first, std::int64_t count, std::string_view prefix) {
  const MutableArray items = MutableArray::array();
  for (std::int64_t id = first; id < first + count; ++id) {
    items.addObject(Value(FeedItem::make(id, std::string(prefix) + std::to_string(id))));
  }
  return items;
}

// A storage with the test class map on the file at `path`, with the tables of the classes.
inline std::unique_ptr<KivStorage> openStorage(const std::string& path,
                                               const Array& classes = {Value(&FeedItem::kivClass()),
                                                                       Value(&Tag::kivClass())}) {
  auto storage = std::make_unique<KivStorage>();
  storage->registerMapper(&TestMap::kivClass());
  storage->registerDbPath(path);
  storage->configDataBase(classes);
  return storage;
}

class StorageTest : public DatabaseFixture {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    TestMap::reset();
    Tag::stored = {"name", "uses"};
  }

  std::unique_ptr<KivStorage> openStorage(const Array& classes = {Value(&FeedItem::kivClass()),
                                                                  Value(&Tag::kivClass())}) {
    return testing::openStorage(path, classes);
  }
  void traceStatements(KivStorage& storage) { DatabaseFixture::traceStatements(*storage.database()); }

  // The titles of the feed items, in order.
  static std::string titles(const Array& items) {
    std::string text;
    for (const Value& item : items) {
      if (!text.empty()) text += ',';
      text += item.objectAs<FeedItem>()->title().str();
    }
    return text;
  }
};

}  // namespace kiv::testing

#endif  // KIV_STORAGE_STORAGE_TEST_SUPPORT_HPP_
