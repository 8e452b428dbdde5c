// SqDatabase: schema questions, header integers and SQL validation.
#include <sqlite3.h>

#include <climits>

#include "kiv/sqlite/database.hpp"

namespace kiv {

bool SqDatabase::tableExists(std::string_view tableName) {
  Ref<SqResultSet> resultSet = executeQuery(
      "select [sql] from sqlite_master where [type] = 'table' and lower(name) = ?",
      String(tableName).lowercaseString());
  if (!resultSet) return false;
  const bool exists = resultSet->next();
  resultSet->close();
  return exists;
}

Ref<SqResultSet> SqDatabase::getSchema() {
  return executeQuery(
      "SELECT type, name, tbl_name, rootpage, sql FROM (SELECT * FROM sqlite_master UNION ALL SELECT * FROM "
      "sqlite_temp_master) WHERE type != 'meta' AND name NOT LIKE 'sqlite_%' ORDER BY tbl_name, type DESC, name");
}

Ref<SqResultSet> SqDatabase::getTableSchema(std::string_view tableName) {
  return executeQuery("pragma table_info('" + std::string(tableName) + "')");
}

bool SqDatabase::columnExistsInTableWithName(std::string_view columnName, std::string_view tableName) {
  const String column = String(columnName).lowercaseString();
  Ref<SqResultSet> resultSet = getTableSchema(String(tableName).lowercaseString().view());
  if (!resultSet) return false;
  while (resultSet->next()) {
    if (resultSet->stringForColumn("name").lowercaseString().view() == column.view()) {
      resultSet->close();
      return true;
    }
  }
  resultSet->close();
  return false;
}

bool SqDatabase::columnExistsColumnName(std::string_view tableName, std::string_view columnName) {
  return columnExistsInTableWithName(columnName, tableName);
}

std::uint32_t SqDatabase::pragmaValue(const char* pragma) {
  Ref<SqResultSet> resultSet = executeQuery(pragma);
  if (!resultSet) return 0;
  const std::uint32_t value =
      resultSet->next() ? static_cast<std::uint32_t>(resultSet->longLongIntForColumnIndex(0)) : 0;
  resultSet->close();
  return value;
}

void SqDatabase::setPragmaValue(std::string sql) {
  Ref<SqResultSet> resultSet = executeQuery(sql);
  if (!resultSet) return;
  resultSet->next();
  resultSet->close();
}

std::uint32_t SqDatabase::applicationID() { return pragmaValue("pragma application_id"); }

void SqDatabase::setApplicationID(std::uint32_t applicationID) {
  setPragmaValue("pragma application_id=" + std::to_string(static_cast<std::int32_t>(applicationID)));
}

std::uint32_t SqDatabase::userVersion() { return pragmaValue("pragma user_version"); }

void SqDatabase::setUserVersion(std::uint32_t version) {
  setPragmaValue("pragma user_version = " + std::to_string(static_cast<std::int32_t>(version)));
}

bool SqDatabase::validateSQL(std::string_view sql, Error* outError) {
  sqlite3_stmt* statement = nullptr;
  const int length = static_cast<int>(std::min<std::size_t>(sql.size(), INT_MAX));
  const bool valid = sqlite3_prepare_v2(db_, sql.data(), length, &statement, nullptr) == SQLITE_OK;
  if (!valid && outError) *outError = Error{"NSCocoaErrorDomain", lastErrorCode(), lastErrorMessage()};
  sqlite3_finalize(statement);
  return valid;
}

}  // namespace kiv
