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
#include "kiv/sqlite/database.hpp"
#include "kiv/storage/storage.hpp"
#include "kiv/testing/test_support.hpp"

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

  static Ref<FeedItem> make(std::int64_t id, std::string_view title) {
    Ref<FeedItem> item = makeRef<FeedItem>();
    item->setItemId(id);
    item->setTitle(String(title));
    return item;
  }
};

// A text key (lower case, so that the key column and the condition share the name).
class Tag : public KivModel {
  KIV_MODEL(Tag, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(std::int32_t, uses, setUses)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}, {"uses", "uses"}}; }
  static Value kiv_key() { return "name"; }
  static Array kiv_dbStoreProperty() { return {"name", "uses"}; }

  static Ref<Tag> make(std::string_view name, std::int32_t uses) {
    Ref<Tag> tag = makeRef<Tag>();
    tag->setName(String(name));
    tag->setUses(uses);
    return tag;
  }
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
      default:
        return nullptr;
    }
  }
  static Array modelsDependOnModel(const ModelClass& /*cls*/) { return dependents; }
  static Array clearTableforClass(const ModelClass& /*cls*/) { return tablesToClear; }
  static Array oldTabels() { return obsoleteTables; }
};

class StorageTest : public ::testing::Test {
 protected:
  void SetUp() override { TestMap::reset(); }
  void TearDown() override { TestMap::reset(); }

  // A storage with the test class map on the test's file, with the classes' tables.
  std::unique_ptr<KivStorage> openStorage() {
    auto storage = std::make_unique<KivStorage>();
    storage->registerMapper(&TestMap::kivClass());
    storage->registerDbPath(path);
    storage->configDataBase({Value(&FeedItem::kivClass()), Value(&Tag::kivClass())});
    return storage;
  }

  // From now on the storage's connection logs every statement; sql() lists their texts.
  void traceStatements(KivStorage& storage) {
    storage.database()->inDatabase([](SqDatabase& connection) { connection.setTraceExecution(true); });
    log.clear();
  }
  // The texts of the statements run since traceStatements() or the last call, one per line.
  std::string sql() {
    std::string texts;
    for (const std::string& line : log.lines()) {
      for (std::string_view marker : {" executeQuery: ", " executeUpdate: "}) {
        if (const std::size_t at = line.find(marker); at != std::string::npos) {
          texts.append(texts.empty() ? "" : "\n").append(line, at + marker.size());
        }
      }
    }
    log.clear();
    return texts;
  }

  // The rows of the query as a second connection to the file reads them: one row per line, its
  // columns as text joined by "|", NULL as "NULL".
  std::string onDisk(std::string_view query) {
    Ref<SqDatabase> reader = SqDatabase::databaseWithPath(path);
    EXPECT_TRUE(reader->open());
    Ref<SqResultSet> resultSet = reader->executeQuery(query);
    std::string rows;
    while (resultSet && resultSet->next()) {
      if (!rows.empty()) rows += '\n';
      for (int i = 0; i < resultSet->columnCount(); ++i) {
        if (i) rows += '|';
        rows += resultSet->columnIndexIsNull(i) ? "NULL" : resultSet->stringForColumnIndex(i).str();
      }
    }
    return rows;
  }

  // The titles of the feed items, in order.
  static std::string titles(const Array& items) {
    std::string text;
    for (const Value& item : items) {
      if (!text.empty()) text += ',';
      text += item.objectAs<FeedItem>()->title().str();
    }
    return text;
  }

  LogCapture log;
  TempDir dir;
  std::string path = dir.file("storage.db");
};

}  // namespace kiv::testing

#endif  // KIV_STORAGE_STORAGE_TEST_SUPPORT_HPP_
