// The fixture of the collection tests: a database in a fresh file, the SQL texts its connection
// runs, and the rows on disk as a second connection reads them.
#ifndef KIV_COLLECTION_COLLECTION_TEST_SUPPORT_HPP_
#define KIV_COLLECTION_COLLECTION_TEST_SUPPORT_HPP_

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/sqlite/database.hpp"
#include "kiv/testing/database_fixture.hpp"

namespace kiv::testing {

class CollectionTest : public DatabaseFixture {
 protected:
  // Creates the table with the columns and returns its collection.
  Ref<OxDbCollection> table(std::string_view name, std::string_view columns) {
    EXPECT_TRUE(db->executeUpdate("CREATE TABLE " + std::string(name) + " (" + std::string(columns) + ")"));
    return db->collection(name);
  }

  // From now on the connection logs every statement; sql() lists their texts.
  void traceStatements() { DatabaseFixture::traceStatements(*db); }

  Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
};

}  // namespace kiv::testing

#endif  // KIV_COLLECTION_COLLECTION_TEST_SUPPORT_HPP_
