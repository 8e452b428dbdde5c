// KeyedRows: the rows of one model table addressed by key value, as KivStorage reads, writes and
// deletes them one key at a time.
//
// A row is addressed by the condition <key>='<text of the key value>', with the text bound as a
// parameter rather than written into the statement. SQLite compares a bound text exactly as it
// compares the text literal, so the same rows match (the text "42" finds the number 42 in an
// integer column); a quote in a key needs no escaping; and one prepared statement serves every
// key, where a text per key would be prepared anew each time.
#ifndef KIV_STORAGE_KEYED_ROWS_HPP_
#define KIV_STORAGE_KEYED_ROWS_HPP_

#include <string>
#include <string_view>
#include <vector>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/db_row.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

class KeyedRows {
 public:
  // The rows of `table` by the column `key`, written as the class's kiv_key gives it (SQL names
  // ignore letter case). The table must belong to the database, and both must outlive this.
  KeyedRows(OxSimpleDatabase& database, OxDbCollection& table, std::string_view key);

  // The text by which a key value addresses its row: its "%@" text ("(null)" for absent).
  static Value keyText(const Value& keyValue);

  // SELECT * FROM T WHERE <key>=? LIMIT 1: the row of the key, or null.
  Ref<OxDbRow> find(const Value& keyValue);
  // SELECT COUNT(<key>) rowcount FROM T WHERE <key>=? for each key, all in one turn of the
  // database's queue: whether each key has a row.
  std::vector<bool> contain(const std::vector<Value>& keyValues);
  // UPDATE T SET <the row's columns> WHERE <key>=:<key>; whether it ran.
  bool update(const Value& keyValue, const Dictionary& row);
  // DELETE FROM T WHERE <key>=?; whether it ran.
  bool remove(const Value& keyValue);

 private:
  OxSimpleDatabase& database_;
  OxDbCollection& table_;
  const std::string key_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_KEYED_ROWS_HPP_
