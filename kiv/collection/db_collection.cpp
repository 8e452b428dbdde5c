// OxDbCollection: construction and reads.
#include "kiv/collection/db_collection.hpp"

#include "kiv/collection/internal/database_link.hpp"
#include "kiv/collection/internal/sql_text.hpp"

namespace kiv {
namespace {

// "SELECT <fields or *> FROM <table>".
std::string selectFrom(const OxDbFields& fields, std::string_view tableName) {
  std::string sql;
  sql.reserve(256);
  sql.append("SELECT ");
  if (fields.empty()) sql += '*';
  const char* separator = "";
  for (const std::string& field : fields) {
    sql.append(separator).append(field);
    separator = ",";
  }
  sql.append(" FROM ").append(tableName);
  return sql;
}

}  // namespace

Ref<OxDbCollection> OxDbCollection::collectionWithDatabase(OxSimpleDatabase& database, std::string_view tableName) {
  return database.collection(tableName);
}

OxDbCollection::OxDbCollection(std::shared_ptr<DatabaseLink> link, std::string_view tableName)
    : link_(std::move(link)), tableName_(tableName) {}

OxSimpleDatabase* OxDbCollection::database() const { return link_->database(); }

bool OxDbCollection::inDatabase(const std::function<bool(SqDatabase&)>& block) const {
  const DatabaseLink::Pin db(*link_);
  return db && db->inDatabase(block);
}

OxDbRows OxDbCollection::query(const std::string& sql) const {
  const DatabaseLink::Pin db(*link_);
  return db ? db->executeQuery(sql) : OxDbRows();
}

bool OxDbCollection::exists() {
  const DatabaseLink::Pin db(*link_);
  if (!db) return false;
  const OxDbRows rows =
      db->executeQueryWithArgumentsInArray("select count(*) count from sqlite_master where name=?", Array{tableName_});
  return !rows.empty() && rows.front()->boolForKey("count", false);
}

std::optional<std::set<std::string>> OxDbCollection::fieldSet() {
  std::set<std::string> names;
  for (const Ref<OxDbRow>& row : query("pragma table_info(" + tableName_ + ")")) {
    const Value name = row->stringForKey("name");
    if (name.isPresent()) names.emplace(name.stringView());
  }
  if (names.empty()) return std::nullopt;
  return names;
}

Ref<OxDbRow> OxDbCollection::findOne(std::string_view condition, const OxDbFields& fields) {
  std::string sql = selectFrom(fields, tableName_);
  sql.append(" WHERE ").append(condition).append(" LIMIT 1");
  OxDbRows rows = query(sql);
  return rows.empty() ? nullptr : std::move(rows.front());
}

OxDbRows OxDbCollection::find(std::string_view condition, const OxDbFields& fields, std::string_view groupBy,
                              std::string_view orderBy, std::int64_t skip, std::int64_t count) {
  std::string sql = selectFrom(fields, tableName_);
  appendCondition(sql, condition);
  if (!groupBy.empty()) sql.append(" GROUP BY ").append(groupBy);
  if (!orderBy.empty()) sql.append(" ORDER BY ").append(orderBy);
  if (count >= 1) {
    sql.append(" LIMIT ");
    if (skip >= 0) sql.append(std::to_string(skip)).append(",");
    sql.append(std::to_string(count));
  }
  return query(sql);
}

OxDbRows OxDbCollection::find(std::string_view condition, const OxDbFields& fields, std::string_view orderBy,
                              std::int64_t skip, std::int64_t count) {
  return find(condition, fields, {}, orderBy, skip, count);
}

std::int64_t OxDbCollection::findCount(std::string_view condition, std::string_view key) {
  std::string sql = "SELECT COUNT(";
  sql.append(key.empty() ? "*" : key).append(") rowcount FROM ").append(tableName_);
  appendCondition(sql, condition);
  const OxDbRows rows = query(sql);
  return rows.empty() ? 0 : rows.front()->integerForKey("rowcount", 0);
}

OxDbRowsByKey OxDbCollection::findByKey(std::string_view key, const Array& values, const OxDbFields& fields) {
  std::string sql = selectFrom(fields, tableName_);
  if (!key.empty() && !values.empty()) {
    sql.append(" WHERE ").append(key).append(" IN (");
    const char* separator = "";
    for (const Value& value : values) {
      sql.append(separator).append("'").append(value.description()).append("'");
      separator = ", ";
    }
    sql += ')';
  }
  const OxDbRows rows = query(sql);
  OxDbRowsByKey found;
  found.reserve(rows.size());
  for (const Ref<OxDbRow>& row : rows) {
    const Value text = row->stringForKey(key);
    if (text.isPresent()) found.insert_or_assign(std::string(text.stringView()), row);
  }
  return found;
}

}  // namespace kiv
