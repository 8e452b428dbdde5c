// OxDbCollection: writes.
#include "kiv/collection/db_collection.hpp"

#include "kiv/collection/ox_db.hpp"
#include "kiv/collection/internal/database_link.hpp"
#include "kiv/collection/internal/sql_text.hpp"

namespace kiv {
namespace {

Value valueOrNull(const Value& value) { return value.isPresent() ? value : Value::null(); }

// The parameters of `row` for a statement written for the columns of `first`: the row itself, so
// that a key the statement lacks is reported as binding reports it, with NULL added for each
// column of `first` that the row lacks.
Dictionary parametersFor(const Dictionary& row, const Dictionary& first) {
  MutableDictionary completed;
  for (const DictionaryEntry& entry : first) {
    if (row.objectForKey(entry.key.view()).isPresent()) continue;
    if (completed.isAbsent()) completed = row.isPresent() ? row.mutableCopy() : MutableDictionary::dictionary();
    completed.setObject(Value::null(), entry.key);
  }
  return completed.isPresent() ? Dictionary(completed) : row;
}

// Turns the connection's statement cache on for one multi-row write, so that its text is
// prepared once and not once per row, and off again after it (the connection otherwise prepares
// every text afresh, which keeps its failures reported as failures to prepare).
class StatementReuse {
 public:
  explicit StatementReuse(SqDatabase& db) : db_(db), wasOn_(db.shouldCacheStatements()) {
    if (!wasOn_) db_.setShouldCacheStatements(true);
  }
  ~StatementReuse() {
    if (!wasOn_) db_.setShouldCacheStatements(false);
  }
  StatementReuse(const StatementReuse&) = delete;
  StatementReuse& operator=(const StatementReuse&) = delete;

 private:
  SqDatabase& db_;
  const bool wasOn_;
};

}  // namespace

bool OxDbCollection::execute(const std::string& sql) const {
  return inDatabase([&](SqDatabase& db) { return db.executeUpdate(sql); });
}

bool OxDbCollection::execute(const std::string& sql, const Dictionary& parameters) const {
  return inDatabase([&](SqDatabase& db) { return db.executeUpdateWithParameterDictionary(sql, parameters); });
}

bool OxDbCollection::insert(const Dictionary& row) { return insertOrReplaceUseMultiSQL("INSERT", {row}); }

bool OxDbCollection::upsert(const Dictionary& row) { return insertOrReplaceUseMultiSQL("REPLACE", {row}); }

bool OxDbCollection::batchInsert(const std::vector<Dictionary>& rows) {
  return insertOrReplaceUseMultiSQL("INSERT", rows);
}

bool OxDbCollection::batchUpsert(const std::vector<Dictionary>& rows) {
  return insertOrReplaceUseMultiSQL("REPLACE", rows);
}

bool OxDbCollection::insertOrReplaceUseMultiSQL(std::string_view verb, const std::vector<Dictionary>& rows) {
  if (rows.empty()) return false;
  const Dictionary& first = rows.front();
  std::string sql = intoColumns(verb, tableName_, first);
  sql.append(" VALUES (");
  const char* separator = "";
  for (const DictionaryEntry& entry : first) {
    sql.append(separator).append(":").append(entry.key.view());
    separator = ", ";
  }
  sql += ')';
  return inDatabase([&](SqDatabase& db) {
    const StatementReuse reuse(db);
    bool ran = false;
    for (const Dictionary& row : rows) ran = db.executeUpdateWithParameterDictionary(sql, parametersFor(row, first));
    return ran;
  });
}

bool OxDbCollection::insertOrReplaceUseUnionSQL(std::string_view verb, const std::vector<Dictionary>& rows) {
  const Dictionary first = rows.empty() ? Dictionary() : rows.front();
  std::string sql = intoColumns(verb, tableName_, first);
  sql += ' ';
  const MutableDictionary parameters = MutableDictionary::dictionary(rows.size() * first.count());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i != 0) sql.append(" UNION ");
    sql.append(" SELECT ");
    const std::string index = std::to_string(i);
    const char* separator = "";
    for (const DictionaryEntry& entry : first) {
      const std::string name = entry.key.str() + index;
      sql.append(separator).append(":").append(name);
      separator = ", ";
      parameters.setObject(valueOrNull(rows[i][entry.key.view()]), name);
    }
    sql += ' ';
  }
  return execute(sql, parameters);
}

bool OxDbCollection::update(std::string_view condition, const Dictionary& row) {
  return execute(OxDb::sqlFromUpdate(tableName_, row, condition), row);
}

bool OxDbCollection::updateForKey(std::string_view key, const Value& value, const Dictionary& row) {
  const std::string condition = std::string(key) + "=:" + std::string(key);
  const MutableDictionary parameters = row.isPresent() ? row.mutableCopy() : MutableDictionary::dictionary();
  parameters.setObject(valueOrNull(value), key);
  return execute(OxDb::sqlFromUpdate(tableName_, row, condition), parameters);
}

bool OxDbCollection::updateSet(std::string_view condition, std::string_view set) {
  std::string sql = "UPDATE " + tableName_ + " set ";
  sql.append(set);
  appendCondition(sql, condition);
  return execute(sql);
}

bool OxDbCollection::delete_() { return execute("DELETE FROM " + tableName_); }

bool OxDbCollection::delete_(std::string_view condition) {
  return execute("DELETE FROM " + tableName_ + " WHERE " + std::string(condition));
}

bool OxDbCollection::deleteForKey(std::string_view key, const Value& value) {
  const std::string sql = "DELETE FROM " + tableName_ + " WHERE " + std::string(key) + "=?";
  return inDatabase([&](SqDatabase& db) { return db.executeUpdate(sql, value); });
}

bool OxDbCollection::drop(std::string_view tableName) {
  const DatabaseLink::Pin db(*link_);
  return db && db->drop(tableName);
}

}  // namespace kiv
