// TableSql: the statements that a storage runs on one model table for the models of one class,
// each value a parameter and each name quoted where it needs it.
//
// A row of the class holds the columns of its RowLayout that the model sets, then
// "kiv_update_time"; the texts that write rows are made once per set of columns and kept. Not
// thread-safe: the storage uses one object from one writer at a time.
#ifndef KIV_STORAGE_INTERNAL_TABLE_SQL_HPP_
#define KIV_STORAGE_INTERNAL_TABLE_SQL_HPP_

#include <string>
#include <string_view>
#include <unordered_map>

#include "kiv/foundation/value.hpp"
#include "kiv/mapping/internal/row_layout.hpp"

namespace kiv {

class TableSql {
 public:
  // `key` is the class's kiv_key as it answers it.
  TableSql(std::string_view table, const RowLayout& layout, const Value& key);

  // Whether the class names a key (a string).
  bool hasKey() const noexcept { return !key_.empty(); }

  // The texts of a row that holds `columns` (one character per layout column, then one for the
  // update time: '1' where the row has a value). The row's values bind to their parameters in
  // column order.
  //   INSERT INTO t (a,b,kiv_update_time) VALUES (?,?,?) ON CONFLICT(key) DO UPDATE SET
  //     b=excluded.b,kiv_update_time=excluded.kiv_update_time       (not the key column a)
  const std::string& upsert(std::string_view columns);
  //   REPLACE INTO t (a,b,kiv_update_time) VALUES (?,?,?)
  const std::string& replace(std::string_view columns);
  //   UPDATE t SET a=?,kiv_update_time=? WHERE key=?   (the key column is not set again: the
  //   row found by it keeps it; the values bind without it, and the key's text last)
  const std::string& update(std::string_view columns);
  // The index of the key's column in the layout, or -1 when the layout has none.
  int keyColumn() const noexcept { return keyColumn_; }
  // Bound to the table name and the lower-cased key: whether the key column is the table's
  // primary key or has a unique index of its own, so that the upsert finds a row's conflict.
  static const std::string& keyIsUnique();
  const std::string& tableName() const noexcept { return tableName_; }
  const std::string& keyName() const noexcept { return keyName_; }

  // Bound to the key's text: SELECT * FROM t WHERE key=? LIMIT 1, and DELETE FROM t WHERE key=?.
  const std::string& selectByKey() const noexcept { return selectByKey_; }
  const std::string& deleteByKey() const noexcept { return deleteByKey_; }
  // SELECT * FROM t[ WHERE <condition>][ LIMIT <limit>]: the condition as it stands, every row for
  // an empty one; no limit for 0.
  std::string select(std::string_view condition, int limit) const;

 private:
  enum class Verb { kUpsert, kReplace, kUpdate };
  const std::string& text(Verb verb, std::string_view columns);
  std::string write(Verb verb, std::string_view columns) const;

  const RowLayout& layout_;
  const std::string tableName_;
  const std::string keyName_;  // lower-cased; empty without a key
  const std::string table_;  // quoted where needed
  const std::string key_;    // as kiv_key gives it, quoted where needed; empty without a key
  const int keyColumn_;
  const std::string selectByKey_;
  const std::string deleteByKey_;
  // The verb's digit and the columns -> text
  std::unordered_map<std::string, std::string> texts_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_TABLE_SQL_HPP_
