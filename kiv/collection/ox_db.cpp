#include "kiv/collection/ox_db.hpp"

#include "kiv/collection/internal/sql_text.hpp"

namespace kiv {
namespace {

// The value as an SQL literal, or nothing for kinds that have none here.
void appendLiteral(std::string& sql, const Value& value) {
  if (value.isString()) {
    sql.append("'").append(value.stringView()).append("'");
  } else if (value.isNumber()) {
    sql.append(value.description());
  } else if (value.isDate()) {
    sql.append(std::to_string(value.timeIntervalSince1970()));  // "%f"
  }
}

}  // namespace

std::string OxDb::sqlFromReplaceFor(std::string_view tableName, const Dictionary& row) {
  std::string sql = intoColumns("REPLACE", tableName, row);
  sql.append(" VALUES (");
  const char* separator = "";
  for (const DictionaryEntry& entry : row) {
    sql.append(separator);
    appendLiteral(sql, entry.value);
    separator = ", ";
  }
  sql += ')';
  return sql;
}

std::string OxDb::sqlFromUpdate(std::string_view tableName, const Dictionary& row, std::string_view condition) {
  std::string sql;
  sql.reserve(256);
  sql.append("UPDATE ").append(tableName).append(" SET ");
  const char* separator = "";
  for (const DictionaryEntry& entry : row) {
    sql.append(separator).append(entry.key.view()).append("=:").append(entry.key.view());
    separator = ", ";
  }
  sql.append(" WHERE ").append(condition);
  return sql;
}

}  // namespace kiv
