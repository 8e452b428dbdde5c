#include "kiv/storage/internal/table_sql.hpp"

#include "kiv/sqlite/identifier.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

std::string quotedKey(const Value& key) { return key.isString() ? sqlIdentifier(key.stringView()) : std::string(); }

int keyColumnOf(const RowLayout& layout, const Value& key) {
  return key.isString() ? layout.indexOf(key.lowercaseString().view()) : -1;
}

}  // namespace

TableSql::TableSql(std::string_view table, const RowLayout& layout, const Value& key)
    : layout_(layout),
      tableName_(table),
      keyName_(key.isString() ? key.lowercaseString().str() : std::string()),
      table_(sqlIdentifier(table)),
      key_(quotedKey(key)),
      keyColumn_(keyColumnOf(layout, key)),
      selectByKey_("SELECT * FROM " + table_ + " WHERE " + key_ + "=? LIMIT 1"),
      deleteByKey_("DELETE FROM " + table_ + " WHERE " + key_ + "=?") {}

const std::string& TableSql::upsert(std::string_view columns) { return text(Verb::kUpsert, columns); }

const std::string& TableSql::replace(std::string_view columns) { return text(Verb::kReplace, columns); }

const std::string& TableSql::update(std::string_view columns) { return text(Verb::kUpdate, columns); }

const std::string& TableSql::text(Verb verb, std::string_view columns) {
  std::string key(1, static_cast<char>('0' + static_cast<int>(verb)));
  key.append(columns);
  auto found = texts_.find(key);
  if (found == texts_.end()) found = texts_.emplace(std::move(key), write(verb, columns)).first;
  return found->second;
}

std::string TableSql::write(Verb verb, std::string_view present) const {
  std::string columns;
  std::string parameters;
  std::string assignments;
  std::string excluded;
  for (std::size_t i = 0; i < present.size(); ++i) {
    if (present[i] != '1') continue;
    const std::string name =
        sqlIdentifier(i < layout_.columns().size() ? layout_.columns()[i].view() : kKivUpdateTimeColumn);
    const char* separator = columns.empty() ? "" : ",";
    columns.append(separator).append(name);
    parameters.append(separator).append("?");
    if (static_cast<int>(i) == keyColumn_) continue;
    assignments.append(assignments.empty() ? "" : ",").append(name).append("=?");
    excluded.append(excluded.empty() ? "" : ",").append(name).append("=excluded.").append(name);
  }
  if (verb == Verb::kUpsert) {
    return "INSERT INTO " + table_ + " (" + columns + ") VALUES (" + parameters + ") ON CONFLICT(" +
           sqlIdentifier(keyName_) + ") DO UPDATE SET " + excluded;
  }
  if (verb == Verb::kUpdate) return "UPDATE " + table_ + " SET " + assignments + " WHERE " + key_ + "=?";
  return "REPLACE INTO " + table_ + " (" + columns + ") VALUES (" + parameters + ")";
}

std::string TableSql::select(std::string_view condition, int limit) const {
  std::string sql = "SELECT * FROM " + table_;
  if (!condition.empty()) sql.append(" WHERE ").append(condition);
  if (limit > 0) sql.append(" LIMIT ").append(std::to_string(limit));
  return sql;
}

const std::string& TableSql::keyIsUnique() {
  static const std::string sql =
      "SELECT EXISTS (SELECT 1 FROM pragma_table_info(?1) WHERE pk = 1 AND name = ?2 COLLATE NOCASE "
      "AND (SELECT count(*) FROM pragma_table_info(?1) WHERE pk > 0) = 1) "
      "OR EXISTS (SELECT 1 FROM pragma_index_list(?1) AS list WHERE list.\"unique\" "
      "AND (SELECT count(*) FROM pragma_index_info(list.name)) = 1 "
      "AND (SELECT name FROM pragma_index_info(list.name)) = ?2 COLLATE NOCASE)";
  return sql;
}

}  // namespace kiv
