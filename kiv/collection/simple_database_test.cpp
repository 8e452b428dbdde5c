#include "kiv/collection/simple_database.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kiv/collection/collection_test_support.hpp"
#include "kiv/collection/db_collection.hpp"

namespace kiv {
namespace {

class OxSimpleDatabaseTest : public testing::CollectionTest {
 protected:
  void SetUp() override { table("t", "v"); }
  bool inSqliteTransaction() {
    return db->inDatabase([](SqDatabase& connection) { return connection.inTransaction(); });
  }
};

TEST_F(OxSimpleDatabaseTest, OpensTheFileWithTheFileProtectionFlagMaskedOff) {
  EXPECT_EQ(db->innerDb()->openFlags(), 0x400006);  // and SQLite opened it: SetUp made a table
}

TEST_F(OxSimpleDatabaseTest, NestedPairsMakeOneTransactionCommittedByTheOutermostCommit) {
  traceStatements();
  db->beginTransaction();
  db->beginTransaction();
  EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
  EXPECT_FALSE(db->commitTransaction());
  EXPECT_TRUE(db->commitTransaction());
  EXPECT_EQ(sql(), "begin exclusive transaction\ninsert into t values (1)\ncommit transaction");
}

TEST_F(OxSimpleDatabaseTest, RollbackLeavesTheCounterSoTheOutermostCommitComesLater) {
  db->beginTransaction();
  EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
  db->rollback();
  EXPECT_EQ(db->transactionCounter(), 1);
  db->beginTransaction();  // 2: opens a new transaction, none being open
  EXPECT_TRUE(db->executeUpdate("insert into t values (2)"));
  db->commit();  // 1: no commit yet
  EXPECT_EQ(db->transactionCounter(), 1);
  EXPECT_TRUE(inSqliteTransaction());
  EXPECT_TRUE(db->commitTransaction());
  EXPECT_EQ(onDisk("select v from t"), "2");
}

TEST_F(OxSimpleDatabaseTest, AnUnmatchedCommitDrivesTheCounterNegative) {
  EXPECT_FALSE(db->commitTransaction());
  EXPECT_EQ(db->transactionCounter(), -1);
  db->beginTransaction();  // 0, and a transaction opens
  EXPECT_FALSE(db->commitTransaction());  // back to -1: never reaches 0 here
  EXPECT_TRUE(inSqliteTransaction());
}

TEST_F(OxSimpleDatabaseTest, ExecuteUpdatesRunsTheStatementsInOneCountedTransaction) {
  EXPECT_TRUE(db->executeUpdates({}));
  EXPECT_TRUE(db->executeUpdates({"insert into t values (1)", "insert into t values (2)"}));

  // Inside an outer pair it does not commit on its own.
  db->beginTransaction();
  EXPECT_TRUE(db->executeUpdates({"delete from t"}));
  db->rollback();
  db->commit();
  EXPECT_EQ(onDisk("select count(*) from t"), "2");

  // Statements stop at the first failure; what ran before it is committed.
  EXPECT_FALSE(db->executeUpdates({"insert into t values (3)", "insert into nowhere values (4)", "delete from t"}));
  EXPECT_TRUE(log.has("Error inserting batch: no such table: nowhere"));
  EXPECT_EQ(onDisk("select v from t"), "1\n2\n3");
  EXPECT_EQ(db->transactionCounter(), 0);
}

TEST_F(OxSimpleDatabaseTest, QueriesReturnEveryRowAndFailuresNone) {
  EXPECT_TRUE(db->executeUpdates({"insert into t values (1)", "insert into t values (NULL)"}));
  EXPECT_EQ(db->executeQuery("select v from t").size(), 2u);
  EXPECT_EQ(db->executeQueryWithArgumentsInArray("select v from t where v=?", Array{1}).size(), 1u);
  const OxDbRows rows = db->executeQueryWithParameterDictionary("select v from t where v is :v", {{"v", Value::null()}});
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_TRUE(rows[0]->objectForKey("v").isAbsent());
  EXPECT_TRUE(rows[0]->dataDict()["v"].isNull());

  EXPECT_TRUE(db->executeQuery("select v from nowhere").empty());
  EXPECT_TRUE(log.has("DB Error: 1 \"no such table: nowhere\""));
  EXPECT_EQ(db->lastError(), (Error{"SqDatabase", 1, "no such table: nowhere"}));
}

TEST_F(OxSimpleDatabaseTest, SchemaHelpersWriteNamesUnquoted) {
  EXPECT_TRUE(db->executeUpdate("create index i on t (v)"));
  traceStatements();
  EXPECT_TRUE(db->tableExist("t"));
  EXPECT_FALSE(db->tableExist("i"));
  EXPECT_TRUE(db->indexExist("i"));
  EXPECT_TRUE(db->indexExist("t"));
  EXPECT_EQ(sql(),
            "SELECT count(*) AS count FROM sqlite_master WHERE name='t' AND type='table'\n"
            "SELECT count(*) AS count FROM sqlite_master WHERE name='i' AND type='table'\n"
            "select count(*) count from sqlite_master where name='i'\n"
            "select count(*) count from sqlite_master where name='t'");
  EXPECT_FALSE(db->tableExist("it's"));  // the quote breaks the statement
  EXPECT_TRUE(log.contains("DB Query: SELECT count(*) AS count FROM sqlite_master WHERE name='it's'"));
  log.clear();

  EXPECT_TRUE(db->addColonmWith("name", "TEXT", "t"));
  EXPECT_FALSE(db->addColonmWith("name", "TEXT", "t"));  // exists: no ALTER
  EXPECT_FALSE(db->addColonmWith("name", "TEXT", "nowhere"));
  EXPECT_EQ(sql(),
            "PRAGMA table_info(t)\nALTER TABLE t add name TEXT\nPRAGMA table_info(t)\n"
            "PRAGMA table_info(nowhere)\nALTER TABLE nowhere add name TEXT");

  EXPECT_TRUE(db->executeUpdates({"insert into t values (1, 'Ann')", "insert into t values (2, 'Joanna')"}));
  log.clear();
  EXPECT_EQ(db->getList("ANN", "t", "name").size(), 2u);
  EXPECT_EQ(sql(), "select * from t where name like '%ANN%'");

  EXPECT_TRUE(db->drop("t"));
  EXPECT_FALSE(db->drop("t"));
  EXPECT_EQ(sql(), "DROP TABLE t\nDROP TABLE t");
}

TEST_F(OxSimpleDatabaseTest, ATransactionObjectThatGoesWithoutCommitRollsBackAndRestoresTheCounter) {
  db->beginTransaction();  // the application's own pair
  EXPECT_THROW(([&] {
                 OxTransaction inner(*db);
                 EXPECT_FALSE(inner.outermost());
                 throw std::runtime_error("failed");
               }()),
               std::runtime_error);
  EXPECT_EQ(db->transactionCounter(), 1);
  EXPECT_TRUE(db->commitTransaction());
  {
    OxTransaction outer(*db);
    EXPECT_TRUE(outer.outermost());
    EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
  }
  EXPECT_EQ(db->transactionCounter(), 0);
  EXPECT_FALSE(inSqliteTransaction());
  EXPECT_EQ(onDisk("select count(*) from t"), "0");
  OxTransaction kept(*db);
  EXPECT_TRUE(db->executeUpdate("insert into t values (2)"));
  EXPECT_TRUE(kept.commit());
  EXPECT_EQ(onDisk("select v from t"), "2");
}

TEST_F(OxSimpleDatabaseTest, AStatementThatFailsTheSecondTimeIsReportedAsAFailureToPrepare) {
  Ref<OxDbCollection> t = db->collection("t");
  ASSERT_TRUE(t->drop("t"));
  log.clear();
  EXPECT_FALSE(t->drop("t"));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"DB Error: 1 \"no such table: t\"", "DB Query: DROP TABLE t",
                                                   "DB Path: " + path}));
  EXPECT_FALSE(db->inDatabase([](SqDatabase& connection) { return connection.shouldCacheStatements(); }));
}

TEST_F(OxSimpleDatabaseTest, AFileThatDoesNotOpenGivesADatabaseWhoseStatementsFail) {
  Ref<OxSimpleDatabase> broken = OxSimpleDatabase::databaseWithPath(dir.file("missing/dir/x.db"));
  EXPECT_TRUE(log.contains("Could not create database queue for path"));
  EXPECT_FALSE(broken->innerDb());
  broken->beginTransaction();
  EXPECT_FALSE(broken->executeUpdate("create table t (v)"));
  EXPECT_TRUE(broken->executeQuery("select 1").empty());
  EXPECT_FALSE(broken->commitTransaction());
  EXPECT_FALSE(broken->collection("t")->upsert({{"v", 1}}));
  EXPECT_EQ(broken->lastError(), Error{});
}

TEST_F(OxSimpleDatabaseTest, ADatabaseOpenedReadOnlyReadsButNeitherWritesNorCreates) {
  constexpr int kReadOnly = 1;  // SQLITE_OPEN_READONLY
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  Ref<OxSimpleDatabase> reader = OxSimpleDatabase::databaseWithPath(path, kReadOnly);
  EXPECT_EQ(reader->collection("t")->findCount("", ""), 1);
  EXPECT_FALSE(reader->executeUpdate("insert into t values (2)"));
  EXPECT_EQ(onDisk("select v from t"), "1");

  EXPECT_FALSE(OxSimpleDatabase::databaseWithPath(dir.file("absent.db"), kReadOnly)->innerDb());
  EXPECT_FALSE(std::filesystem::exists(dir.file("absent.db")));
}

TEST_F(OxSimpleDatabaseTest, CollectionsAreMadeOnceAndDetachedWhenTheDatabaseGoes) {
  Ref<OxDbCollection> collection = db->collection("t");
  EXPECT_EQ(db->collection("t"), collection);
  EXPECT_EQ(OxDbCollection::collectionWithDatabase(*db, "t"), collection);

  db = nullptr;
  EXPECT_EQ(collection->database(), nullptr);
  EXPECT_TRUE(collection->find().empty());
  EXPECT_FALSE(collection->upsert({{"v", 1}}));
  EXPECT_FALSE(collection->exists());
}

}  // namespace
}  // namespace kiv
