#include "kiv/collection/db_collection.hpp"

#include <gtest/gtest.h>

#include "kiv/collection/collection_test_support.hpp"

namespace kiv {
namespace {

class OxDbCollectionTest : public testing::CollectionTest {
 protected:
  void SetUp() override {
    people = table("people", "id INTEGER PRIMARY KEY, name TEXT, age INTEGER");
    ASSERT_TRUE(people->batchInsert({{{"id", 1}, {"name", "Ann"}, {"age", 30}},
                                     {{"id", 2}, {"name", "Bob"}, {"age", 20}},
                                     {{"id", 3}, {"name", "Cy"}, {"age", 40}},
                                     {{"id", 4}, {"name", "Ann"}, {"age", 50}}}));
    traceStatements();
  }
  static std::string ids(const OxDbRows& rows) {
    std::string text;
    for (const Ref<OxDbRow>& row : rows) text += std::to_string(row->integerForKey("id"));
    return text;
  }

  Ref<OxDbCollection> people;
};

TEST_F(OxDbCollectionTest, FindWritesEachClauseOnlyWhenGiven) {
  EXPECT_EQ(ids(people->find()), "1234");
  EXPECT_EQ(ids(people->find("age>25")), "134");
  EXPECT_EQ(ids(people->find("", {}, "age DESC")), "4312");
  EXPECT_EQ(ids(people->find("", {}, "id", 1, 2)), "23");
  EXPECT_EQ(ids(people->find("", {}, "id", -1, 2)), "12");
  EXPECT_EQ(ids(people->find("", {}, "id", 3, 0)), "1234");  // count 0: every row
  EXPECT_EQ(sql(),
            "SELECT * FROM people\n"
            "SELECT * FROM people WHERE age>25\n"
            "SELECT * FROM people ORDER BY age DESC\n"
            "SELECT * FROM people ORDER BY id LIMIT 1,2\n"
            "SELECT * FROM people ORDER BY id LIMIT 2\n"
            "SELECT * FROM people ORDER BY id");

  EXPECT_EQ(people->find("age>3", {"name", "max(age) AS age"}, "name", "age DESC", 0, 5).size(), 3u);
  EXPECT_EQ(sql(), "SELECT name,max(age) AS age FROM people WHERE age>3 GROUP BY name ORDER BY age DESC LIMIT 0,5");
}

TEST_F(OxDbCollectionTest, FindOneAndFindCount) {
  EXPECT_EQ(people->findOne("name='Ann'")->integerForKey("id"), 1);
  EXPECT_FALSE(people->findOne("name='Dee'"));
  EXPECT_FALSE(people->findOne(""));  // WHERE is always written
  EXPECT_EQ(people->findCount("", ""), 4);
  EXPECT_EQ(people->findCount("name='Ann'", "age"), 2);
  EXPECT_EQ(people->findCount("", "nothing"), 0);
  EXPECT_EQ(sql(),
            "SELECT * FROM people WHERE name='Ann' LIMIT 1\n"
            "SELECT * FROM people WHERE name='Dee' LIMIT 1\n"
            "SELECT * FROM people WHERE  LIMIT 1\n"
            "SELECT COUNT(*) rowcount FROM people\n"
            "SELECT COUNT(age) rowcount FROM people WHERE name='Ann'\n"
            "SELECT COUNT(nothing) rowcount FROM people");
}

TEST_F(OxDbCollectionTest, FindByKeyQuotesEachValueAndKeysRowsByTheirText) {
  const OxDbRowsByKey byName = people->findByKey("name", Array{"Ann", 2}, {"id", "name"});
  EXPECT_EQ(sql(), "SELECT id,name FROM people WHERE name IN ('Ann', '2')");
  ASSERT_EQ(byName.size(), 1u);
  EXPECT_EQ(byName.at("Ann")->integerForKey("id"), 4);  // the later row wins

  EXPECT_EQ(people->findByKey("name", Array::emptyArray()).size(), 3u);  // every row
  EXPECT_EQ(sql(), "SELECT * FROM people");
  EXPECT_TRUE(people->findByKey("id", Array{1, 2}).empty());  // integer keys are not strings
  EXPECT_TRUE(people->findByKey("name", Array{"it's"}).empty());
}

TEST_F(OxDbCollectionTest, ExistsAndFieldSetReadTheSchema) {
  EXPECT_TRUE(people->exists());
  EXPECT_EQ(people->fieldSet(), (std::set<std::string>{"id", "name", "age"}));
  EXPECT_TRUE(db->executeUpdate("create index by_name on people (name)"));
  EXPECT_TRUE(db->collection("by_name")->exists());  // any schema object
  Ref<OxDbCollection> missing = db->collection("missing");
  EXPECT_FALSE(missing->exists());
  EXPECT_FALSE(missing->fieldSet());
  EXPECT_TRUE(missing->find().empty());
}

TEST_F(OxDbCollectionTest, SingleRowWritesBindTheirColumnsByName) {
  EXPECT_FALSE(people->insert({{"id", 1}, {"name", "Dup"}}));
  EXPECT_TRUE(people->upsert({{"id", 1}, {"name", "it's"}}));
  EXPECT_TRUE(people->update("id=2", {{"name", "Bo"}, {"age", 21}}));
  EXPECT_TRUE(people->updateForKey("id", 3, {{"name", "Cyd"}}));
  EXPECT_TRUE(people->updateForKey("id", 4, {{"id", 9}, {"age", 51}}));  // the key cannot change
  EXPECT_TRUE(people->updateForKey("id", Value(), {{"age", 0}}));  // binds NULL: matches nothing
  EXPECT_EQ(sql(),
            "INSERT INTO people (id,name) VALUES (:id, :name)\n"
            "REPLACE INTO people (id,name) VALUES (:id, :name)\n"
            "UPDATE people SET name=:name, age=:age WHERE id=2\n"
            "UPDATE people SET name=:name WHERE id=:id\n"
            "UPDATE people SET id=:id, age=:age WHERE id=:id\n"
            "UPDATE people SET age=:age WHERE id=:id");
  EXPECT_EQ(onDisk("select * from people"), "1|it's|NULL\n2|Bo|21\n3|Cyd|40\n4|Ann|51");
}

TEST_F(OxDbCollectionTest, UpdateSetDeletesAndDropWriteTheirFragmentsAsTheyStand) {
  EXPECT_TRUE(people->updateSet("", "age=age+1"));
  EXPECT_TRUE(people->updateSet("id>2", "name=upper(name)"));
  EXPECT_TRUE(people->deleteForKey("name", "Bob"));
  EXPECT_TRUE(people->delete_("age>45"));
  EXPECT_EQ(onDisk("select * from people"), "1|Ann|31\n3|CY|41");
  EXPECT_TRUE(people->delete_());
  EXPECT_EQ(sql(),
            "UPDATE people set age=age+1\n"
            "UPDATE people set name=upper(name) WHERE id>2\n"
            "DELETE FROM people WHERE name=?\n"
            "DELETE FROM people WHERE age>45\n"
            "DELETE FROM people");
  EXPECT_EQ(onDisk("select count(*) from people"), "0");

  table("other", "v");
  EXPECT_TRUE(people->drop("other"));  // the named table, not its own
  EXPECT_EQ(sql(), "CREATE TABLE other (v)\nDROP TABLE other");
}

TEST_F(OxDbCollectionTest, AQuoteInAConditionFailsThatStatementAlone) {
  EXPECT_FALSE(people->delete_("name='it's'"));
  EXPECT_TRUE(log.has("DB Error: 1 \"near \"s\": syntax error\""));
  EXPECT_TRUE(log.has("DB Query: DELETE FROM people WHERE name='it's'"));
  EXPECT_EQ(db->lastError().code, 1);
  EXPECT_TRUE(people->find("name='it's'").empty());
  EXPECT_FALSE(people->updateSet("name='it's'", "age=0"));

  EXPECT_EQ(onDisk("select count(*), sum(age) from people"), "4|140");
  EXPECT_TRUE(people->delete_("name='Ann'"));
  EXPECT_EQ(people->findCount("", ""), 2);
}

TEST_F(OxDbCollectionTest, MultiRowInsertsTakeTheFirstRowsColumnsAndReportTheLastRow) {
  EXPECT_FALSE(people->batchInsert({}));
  EXPECT_EQ(sql(), "");

  // The first row fails (its key exists), the second succeeds: true.
  EXPECT_TRUE(people->batchInsert({{{"id", 1}, {"name", "Dup"}}, {{"id", 5}, {"name", "Eve"}}}));
  // A later row's missing column binds NULL, its extra column is ignored (and reported as binding
  // reports it), its order does not count.
  log.clear();
  EXPECT_TRUE(people->batchUpsert({{{"id", 6}, {"name", "Flo"}, {"age", 6}},
                                   {{"id", 7}, {"extra", 1}},
                                   {{"age", 8}, {"name", "Hal"}, {"id", 8}}}));
  EXPECT_EQ(log.count("Could not find index for extra"), 1u);
  // The last row fails: false, though the rows before it were written.
  EXPECT_FALSE(people->batchInsert({{{"id", 9}}, {{"id", 9}}}));
  EXPECT_EQ(onDisk("select * from people where id>4"), "5|Eve|NULL\n6|Flo|6\n7|NULL|NULL\n8|Hal|8\n9|NULL|NULL");
}

TEST_F(OxDbCollectionTest, UnionInsertsWriteOneStatementForAllRows) {
  EXPECT_TRUE(people->insertOrReplaceUseUnionSQL(
      "REPLACE", {{{"id", 1}, {"name", "A"}}, {{"id", 5}, {"name", "E"}}, {{"id", 5}, {"name", "E"}}}));
  EXPECT_EQ(sql(),
            "REPLACE INTO people (id,name)  SELECT :id0, :name0  UNION  SELECT :id1, :name1  UNION  SELECT :id2, "
            ":name2 ");
  EXPECT_EQ(onDisk("select id, name from people where id in (1, 5)"), "1|A\n5|E");
  EXPECT_EQ(onDisk("select count(*) from people"), "5");  // identical rows once
  EXPECT_FALSE(people->insertOrReplaceUseUnionSQL("INSERT", {}));
  EXPECT_EQ(sql(), "INSERT INTO people () ");
}

}  // namespace
}  // namespace kiv
