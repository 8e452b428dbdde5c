#include <gtest/gtest.h>

#include "kiv/sqlite/database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;

class SqAdditionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeStatements(
        "create table Users (Id integer primary key, Name text, Photo blob);"
        "insert into Users values (1, 'ann', x'00ff');"
        "insert into Users values (2, 'bob', null);"
        "create view Active as select * from Users;"));
  }

  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
};

TEST_F(SqAdditionsTest, SingleValueQueriesReadTheFirstRow) {
  EXPECT_EQ(db->stringForQuery("select Name from Users order by Id").view(), "ann");
  EXPECT_EQ(db->intForQuery("select Id from Users where Name = ?", "bob"), 2);
  EXPECT_EQ(db->longForQuery("select 1 << 40"), 1LL << 40);
  EXPECT_EQ(db->dataForQuery("select Photo from Users where Id = 1").view(), std::string_view("\0\xff", 2));
  EXPECT_FALSE(db->hasOpenResultSets());

  EXPECT_EQ(db->intForQuery("select Id from Users where Id > 10"), 0);
  EXPECT_TRUE(db->stringForQuery("select Name from Users where Id > 10").isAbsent());
  db->setLogsErrors(false);
  EXPECT_FALSE(db->boolForQuery("select nonsense from nowhere"));
}

TEST_F(SqAdditionsTest, SchemaQuestions) {
  EXPECT_TRUE(db->tableExists("users"));
  EXPECT_TRUE(db->tableExists("USERS"));
  EXPECT_FALSE(db->tableExists("Active"));  // a view
  EXPECT_FALSE(db->tableExists("nothing"));

  EXPECT_TRUE(db->columnExistsInTableWithName("name", "USERS"));
  EXPECT_TRUE(db->columnExistsColumnName("users", "PHOTO"));
  EXPECT_FALSE(db->columnExistsColumnName("photo", "users"));

  std::vector<std::string> schema;
  Ref<SqResultSet> rs = db->getSchema();
  while (rs->next()) schema.push_back(rs->stringForColumn("type").str() + " " + rs->stringForColumn("name").str());
  EXPECT_EQ(schema, (std::vector<std::string>{"view Active", "table Users"}));

}

TEST_F(SqAdditionsTest, HeaderIntegersRoundTrip) {
  db->setUserVersion(5);
  EXPECT_EQ(db->userVersion(), 5u);
  db->setApplicationID(0xFFFFFFF0u);  // written as a negative 32-bit number
  EXPECT_EQ(db->applicationID(), 0xFFFFFFF0u);
  EXPECT_EQ(db->intForQuery("pragma application_id"), -16);
}

TEST_F(SqAdditionsTest, ValidateSQLCompilesWithoutRunning) {
  Error error;
  EXPECT_FALSE(db->validateSQL("select * from missing", &error));
  EXPECT_EQ(error, (Error{"NSCocoaErrorDomain", 1, "no such table: missing"}));
  EXPECT_TRUE(db->validateSQL("update Users set Name = 'x'"));
  EXPECT_EQ(db->intForQuery("select count(*) from Users where Name = 'x'"), 0);
}

}  // namespace
}  // namespace kiv
