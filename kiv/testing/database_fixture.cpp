#include "kiv/testing/database_fixture.hpp"

#include "kiv/sqlite/database.hpp"

namespace kiv::testing {

void DatabaseFixture::traceStatements(OxSimpleDatabase& database) {
  database.inDatabase([](SqDatabase& connection) { connection.setTraceExecution(true); });
  log.clear();
}

std::string DatabaseFixture::sql() {
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

std::string DatabaseFixture::onDisk(std::string_view query) {
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

}  // namespace kiv::testing
