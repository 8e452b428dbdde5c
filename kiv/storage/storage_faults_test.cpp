// The storage where bad luck strikes: a full disk, a damaged file, saves made in a new process,
// names that are SQL keywords, and writes of one key from one thread that must keep their order.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "kiv/sqlite/result_codes.hpp"
#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

const ModelClass& kFeed = FeedItem::kivClass();
const ModelClass& kTag = Tag::kivClass();

// Classes that no other test describes: the first save of a new process.
class FreshBase : public KivModel {
  KIV_MODEL(FreshBase, KivModel)
  KIV_PROPERTY(std::int64_t, freshId, setFreshId)
  KIV_PROPERTY(String, origin, setOrigin)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"freshId", "id"}, {"origin", "origin"}}; }
  static Value kiv_key() { return "freshId"; }
  static Array kiv_dbStoreProperty() { return {"freshId", "origin"}; }
};

class FreshItem : public FreshBase {
  KIV_MODEL(FreshItem, FreshBase)
  KIV_PROPERTY(String, label, setLabel)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"label", "label"}}; }
  static Array kiv_dbStoreProperty() { return {"label"}; }
};

// Two stored properties whose columns would share a name, and a class without a key.
class Clash : public KivModel {
  KIV_MODEL(Clash, KivModel)
  KIV_PROPERTY(String, a, setA)
  KIV_PROPERTY_ACCESSORS(String, A, upperA, setUpperA)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"a", "a"}, {"A", "A"}}; }
  static Array kiv_dbStoreProperty() { return {"a", "A"}; }
};

class NoKey : public KivModel {
  KIV_MODEL(NoKey, KivModel)
  KIV_PROPERTY(String, text, setText)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
  static Array kiv_dbStoreProperty() { return {"text"}; }
};

class StorageFaultsTest : public StorageTest {};

TEST_F(StorageFaultsTest, ASaveThatFillsTheDiskLeavesNoneOfItsRowsAndTheNextSaveIsOneTransactionAgain) {
  const auto storage = openStorage();
  storage->setModels(feedItems(1, 1, "before"));
  const Ref<OxSimpleDatabase> db = storage->database();
  const auto limitPages = [&](const std::string& pages) {
    db->executeQuery("pragma max_page_count = " + pages);
  };
  limitPages(db->executeQuery("pragma page_count").front()->dataDict()["page_count"].description());
  const Array big = feedItems(100, 20, std::string(2000, 'x'));
  storage->setModels(big);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "1");
  EXPECT_EQ(storage->lastError().code, SQLITE_FULL);
  EXPECT_TRUE(log.contains("database or disk is full"));

  limitPages("100000");
  traceStatements(*storage);
  storage->setModels(big);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "21");
  const std::string statements = sql();
  EXPECT_EQ(statements.find("begin exclusive transaction"), 0u) << statements;
}

TEST_F(StorageFaultsTest, ALaterWriteFromTheSameThreadWinsOverAnEarlierBackgroundOne) {
  const auto storage = openStorage();
  storage->setModel(Tag::make("one", 1));
  storage->setModels({Value(Tag::make("one", 2))});
  storage->setModel(Tag::make("two", 1));
  storage->deleteWith("two", kTag);
  storage->setModel(Tag::make("three", 1));
  storage->batchModels({Value(Tag::make("three", 3))});
  storage->waitUntilBackgroundWritesFinish();
  EXPECT_EQ(onDisk("SELECT name, uses FROM kiv_tag_v1 ORDER BY name"), "one|2\nthree|3");
}

TEST_F(StorageFaultsTest, AReadByKeySeesASaveThatWaitsToBeWritten) {
  const auto storage = openStorage();
  for (int id = 0; id < 1000; ++id) storage->setModel(FeedItem::make(id, "queued"));
  for (int id = 0; id < 1000; ++id) ASSERT_TRUE(storage->modelWith(id, kFeed)) << id;
}

// Reads go through a connection of their own: a write in progress holds the database's
// connection, and the read neither waits for it nor sees its rows before they are committed.
TEST_F(StorageFaultsTest, AReadDuringAnOpenWriteSeesTheLastCommittedRows) {
  const auto storage = openStorage();
  storage->setModels({Value(FeedItem::make(1, "committed"))});
  EXPECT_EQ(onDisk("PRAGMA journal_mode"), "wal");
  storage->database()->inDatabase([&](SqDatabase& db) {
    EXPECT_TRUE(db.beginTransaction());
    EXPECT_TRUE(db.executeUpdate("UPDATE kiv_feeditem_v1 SET title = 'in progress' WHERE itemid = 1"));
    const Ref<KivModel> read = storage->dbModel(1, kFeed);  // on the writer's own queue: no deadlock
    ASSERT_TRUE(read);
    EXPECT_EQ(static_cast<FeedItem&>(*read).title().str(), "committed");
    EXPECT_TRUE(db.commit());
  });
  EXPECT_EQ(static_cast<FeedItem&>(*storage->dbModel(1, kFeed)).title().str(), "in progress");
}

TEST_F(StorageFaultsTest, RegisteringAClassMakesItsSettersRecordSoTheFirstSaveOfAProcessKeepsItsValues) {
  {
    const auto creator = openStorage();
    EXPECT_TRUE(creator->database()->executeUpdate(
        "CREATE TABLE kiv_freshitem_v1 (label  VARCHAR(50) ,freshid  INTEGER  PRIMARY KEY,origin  VARCHAR(50) ,"
        "kiv_update_time TIMESTAMP)"));
  }
  const auto storage = openStorage({Value(&FreshItem::kivClass())});
  const Ref<FreshItem> item = makeRef<FreshItem>();
  item->setFreshId(1);
  item->setOrigin("base setter");
  item->setLabel("own setter");
  storage->setModels({Value(item)});
  EXPECT_EQ(onDisk("SELECT freshid, origin, label FROM kiv_freshitem_v1"), "1|base setter|own setter");
}

TEST_F(StorageFaultsTest, KeywordNamesAreQuotedAndATableThatCannotBeMadeIsLogged) {
  const auto storage = openStorage({Value(&Note::kivClass()), Value(&Clash::kivClass())});
  EXPECT_EQ(onDisk("SELECT sql FROM sqlite_master WHERE name='kiv_note_v1'"),
            "CREATE TABLE kiv_note_v1 (noteid  INTEGER  PRIMARY KEY,text  VARCHAR(50) ,\"values\"  VARCHAR(50) ,"
            "\"order\"  VARCHAR(50) ,\"group\"  VARCHAR(50) ,kiv_update_time TIMESTAMP)");
  EXPECT_TRUE(log.has("Kiv: cannot create the table kiv_clash_v1 of the class Clash: duplicate column name: a"));
}

TEST_F(StorageFaultsTest, AClassWithoutAKeyGetsNoIndexAndEverySaveAddsARow) {
  const auto storage = openStorage({Value(&NoKey::kivClass())});
  EXPECT_EQ(onDisk("SELECT count(*) FROM sqlite_master WHERE type='index' AND tbl_name='kiv_nokey_v1'"), "0");
  const Ref<NoKey> note = makeRef<NoKey>();
  note->setText("same");
  storage->setModels({Value(note), Value(note)});
  storage->batchModels({Value(note)});
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_nokey_v1"), "3");
}

TEST_F(StorageFaultsTest, ADamagedFileReadsShortButSaysSoOnceNamingTheFile) {
  {
    const auto storage = openStorage();
    storage->setModels(feedItems(0, 5000, std::string(100, 'r')));
  }
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(40 * 4096);
    file << std::string(20 * 4096, '\x5a');
  }
  log.clear();
  const auto storage = openStorage();
  const std::size_t read = storage->allModels(kFeed).count();
  EXPECT_LT(read, 5000u);
  storage->allModels(kFeed);
  EXPECT_EQ(sqIsDamagedFile(storage->lastError().code), true);
  std::size_t lines = 0;
  for (const std::string& line : log.lines()) lines += line.find("Kiv: the database file " + path + " is damaged") == 0;
  EXPECT_EQ(lines, 1u);
}

}  // namespace
}  // namespace kiv::testing
