#include <gtest/gtest.h>

#include "kiv/storage/cache.hpp"
#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

// One property of each kind that decides a column type, a key in another letter case, and a
// stored name that declares no property.
class AllTypes : public KivModel {
  KIV_MODEL(AllTypes, KivModel)
  KIV_PROPERTY(bool, flag, setFlag)
  KIV_PROPERTY(std::int8_t, tiny, setTiny)
  KIV_PROPERTY(std::uint64_t, huge, setHuge)
  KIV_PROPERTY(float, ratio, setRatio)
  KIV_PROPERTY(long double, precise, setPrecise)
  KIV_PROPERTY(Number, amount, setAmount)
  KIV_PROPERTY(Date, seen, setSeen)
  KIV_PROPERTY(Array, list, setList)
  KIV_PROPERTY(const char*, label, setLabel)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"tiny", "tiny"}}; }
  static Value kiv_key() { return "Tiny"; }
  static Array kiv_dbStoreProperty() {
    return {"flag", "tiny", "huge", "ratio", "precise", "amount", "seen", "list", "label", "Missing"};
  }
};

class StorageSchemaTest : public StorageTest {
 protected:
  std::string tablesOnDisk() { return onDisk("SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"); }
};

TEST_F(StorageSchemaTest, CreatesTheTableAndItsUniqueIndexWithTheExactTexts) {
  const auto storage = openStorage();
  EXPECT_EQ(onDisk("SELECT sql FROM sqlite_master WHERE tbl_name='kiv_feeditem_v1' ORDER BY type DESC"),
            "CREATE TABLE kiv_feeditem_v1 (itemid  INTEGER  PRIMARY KEY,title  VARCHAR(50) ,score  DOUBLE ,"
            "created  TIMESTAMP ,kiv_update_time TIMESTAMP)\n"
            "CREATE UNIQUE INDEX idx_kiv_feeditem_v1 ON kiv_feeditem_v1(itemid)");
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|1");
}

TEST_F(StorageSchemaTest, DerivesColumnTypesAndRecreatesATableWithAStoredNameThatIsNoPropertyOnEveryCheck) {
  const auto storage = openStorage();
  EXPECT_EQ(KivStorage::createSql(storage->valueTypes(AllTypes::kivClass()), "tiny"),
            "flag  BOOL ,tiny  INTEGER  PRIMARY KEY,huge  INTEGER ,ratio  FLOAT ,precise  DOUBLE ,"
            "amount  DOUBLE ,seen  TIMESTAMP ,list  VARCHAR(50) ,label  VARCHAR(20) ,kiv_update_time TIMESTAMP");
  // A stored name without a property is expected as a column but never made one, so the table
  // never matches and loses its rows on every check.
  EXPECT_EQ(storage->dbProperty(AllTypes::kivClass()),
            (std::set<std::string>{"amount", "flag", "huge", "kiv_update_time", "label", "list", "missing",
                                   "precise", "ratio", "seen", "tiny"}));
  storage->configDataBase({Value(&AllTypes::kivClass())});
  const Ref<AllTypes> row = makeRef<AllTypes>();
  row->setTiny(1);
  storage->setDbModel(row, AllTypes::kivClass());
  ASSERT_EQ(onDisk("SELECT tiny FROM kiv_alltypes_v1"), "1");
  storage->ensureTable(AllTypes::kivClass());
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_alltypes_v1"), "0");
}

TEST_F(StorageSchemaTest, NamesTablesOnceWithTheVersionOfTheirFirstUse) {
  KivStorage unmapped;
  EXPECT_EQ(unmapped.tableName(FeedItem::kivClass()).str(), "kiv_feeditem_v0");
  // A path registered before the class map records version 0.
  unmapped.registerDbPath(path);
  unmapped.registerMapper(&TestMap::kivClass());
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|0");

  TestMap::version = 3;
  const auto storage = openStorage();
  EXPECT_EQ(storage->tableName(FeedItem::kivClass()).str(), "kiv_feeditem_v3");
  TestMap::version = 4;
  EXPECT_EQ(storage->tableName(FeedItem::kivClass()).str(), "kiv_feeditem_v3");
}

TEST_F(StorageSchemaTest, RecreatesAStaleTableWithItsDependentsAndEmptiesTheTablesTiedToIt) {
  const auto storage = openStorage();
  storage->configDataBase({Value(&PinnedItem::kivClass())});
  EXPECT_TRUE(storage->database()->executeUpdate("CREATE TABLE plain (a)"));
  EXPECT_TRUE(storage->database()->executeUpdate("INSERT INTO plain VALUES (1)"));
  storage->setDbModel(FeedItem::make(1, "unrelated"), FeedItem::kivClass());
  storage->setDbModel(FeedItem::make<PinnedItem>(1, "dependent"), PinnedItem::kivClass());
  storage->setDbModel(Tag::make("lost", 1), Tag::kivClass());

  TestMap::dependents = {Value(&PinnedItem::kivClass()), "not a class"};
  TestMap::tablesToClear = {"plain", "missing", 7};
  Tag::stored = {"name"};
  storage->ensureTable(Tag::kivClass());

  EXPECT_EQ(onDisk("SELECT sql FROM sqlite_master WHERE name='kiv_tag_v1'"),
            "CREATE TABLE kiv_tag_v1 (name  VARCHAR(50)  PRIMARY KEY,kiv_update_time TIMESTAMP)");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_tag_v1"), "0");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_pinneditem_v1"), "0");
  EXPECT_EQ(onDisk("SELECT name FROM sqlite_master WHERE name='idx_kiv_pinneditem_v1'"), "idx_kiv_pinneditem_v1");
  EXPECT_EQ(onDisk("SELECT count(*) FROM plain"), "0");
  EXPECT_EQ(onDisk("SELECT title FROM kiv_feeditem_v1"), "unrelated");
}

TEST_F(StorageSchemaTest, AVersionChangeDropsExactlyTheKivTables) {
  {
    const auto storage = openStorage();
    KivCache cache;
    cache.switchDatabase(storage->database());
    EXPECT_TRUE(storage->database()->executeUpdate("CREATE TABLE KIV_upper (a)"));
    EXPECT_TRUE(storage->database()->executeUpdate("CREATE TABLE notes (a)"));
  }
  ASSERT_EQ(tablesOnDisk(), "KIV_upper\nkiv_cache_table\nkiv_feeditem_v1\nkiv_tag_v1\nkv_version\nnotes");

  TestMap::version = 2;
  openStorage()->setDbModel(FeedItem::make(1, "after"), FeedItem::kivClass());
  EXPECT_EQ(tablesOnDisk(), "kiv_feeditem_v2\nkiv_tag_v2\nkv_version\nnotes");
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|2");

  // The same version again drops nothing, and a table whose columns match keeps its rows.
  openStorage();
  EXPECT_EQ(tablesOnDisk(), "kiv_feeditem_v2\nkiv_tag_v2\nkv_version\nnotes");
  EXPECT_EQ(onDisk("SELECT title FROM kiv_feeditem_v2"), "after");
}

TEST_F(StorageSchemaTest, AVersionTableWithoutItsRowIsNeitherRepairedNorADropSignal) {
  {
    const Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
    EXPECT_TRUE(db->executeUpdate("create table kv_version (id int PRIMARY KEY,version int);"));
    EXPECT_TRUE(db->executeUpdate("CREATE TABLE kiv_old_v1 (a)"));
  }
  TestMap::version = 5;
  openStorage();
  EXPECT_EQ(onDisk("SELECT count(*) FROM kv_version"), "0");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_old_v1"), "0");
}

}  // namespace
}  // namespace kiv::testing
