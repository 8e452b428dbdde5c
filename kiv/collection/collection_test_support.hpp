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
#include "kiv/testing/test_support.hpp"

namespace kiv::testing {

class CollectionTest : public ::testing::Test {
 protected:
  // Creates the table with the columns and returns its collection.
  Ref<OxDbCollection> table(std::string_view name, std::string_view columns) {
    EXPECT_TRUE(db->executeUpdate("CREATE TABLE " + std::string(name) + " (" + std::string(columns) + ")"));
    return db->collection(name);
  }

  // From now on the connection logs every statement; sql() lists their texts.
  void traceStatements() {
    db->inDatabase([](SqDatabase& connection) { connection.setTraceExecution(true); });
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

  LogCapture log;
  TempDir dir;
  std::string path = dir.file("collection.db");
  Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
};

}  // namespace kiv::testing

#endif  // KIV_COLLECTION_COLLECTION_TEST_SUPPORT_HPP_
