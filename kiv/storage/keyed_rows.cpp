#include "kiv/storage/keyed_rows.hpp"

#include "kiv/foundation/array.hpp"
#include "kiv/sqlite/database.hpp"

namespace kiv {

KeyedRows::KeyedRows(OxSimpleDatabase& database, OxDbCollection& table, std::string_view key)
    : database_(database), table_(table), key_(key) {}

Value KeyedRows::keyText(const Value& keyValue) { return Value(keyValue.description()); }

Ref<OxDbRow> KeyedRows::find(const Value& keyValue) {
  const std::string sql = "SELECT * FROM " + table_.tableName() + " WHERE " + key_ + "=? LIMIT 1";
  OxDbRows rows = database_.executeQueryWithArgumentsInArray(sql, Array{keyText(keyValue)});
  return rows.empty() ? nullptr : std::move(rows.front());
}

std::vector<bool> KeyedRows::contain(const std::vector<Value>& keyValues) {
  const std::string sql = "SELECT COUNT(" + key_ + ") rowcount FROM " + table_.tableName() + " WHERE " + key_ + "=?";
  std::vector<bool> found(keyValues.size());
  database_.inDatabase([&](SqDatabase& connection) {
    for (std::size_t i = 0; i < keyValues.size(); ++i) {
      found[i] = connection.longForQuery(sql, keyText(keyValues[i])) != 0;
    }
  });
  return found;
}

bool KeyedRows::update(const Value& keyValue, const Dictionary& row) {
  return table_.updateForKey(key_, keyText(keyValue), row);
}

bool KeyedRows::remove(const Value& keyValue) { return table_.deleteForKey(key_, keyText(keyValue)); }

}  // namespace kiv
