#include "kiv/collection/internal/sql_text.hpp"

namespace kiv {

std::string intoColumns(std::string_view verb, std::string_view tableName, const Dictionary& row) {
  std::string sql;
  sql.reserve(256);
  sql.append(verb).append(" INTO ").append(tableName).append(" (");
  const char* separator = "";
  for (const DictionaryEntry& entry : row) {
    sql.append(separator).append(entry.key.view());
    separator = ",";
  }
  sql += ')';
  return sql;
}

void appendCondition(std::string& sql, std::string_view condition) {
  if (!condition.empty()) sql.append(" WHERE ").append(condition);
}

}  // namespace kiv
