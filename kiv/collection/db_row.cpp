#include "kiv/collection/db_row.hpp"

#include "kiv/foundation/date.hpp"

namespace kiv {

OxDbRow::OxDbRow(const Dictionary& dictionary)
    : dataDict_(dictionary.isPresent() ? dictionary.mutableCopy() : MutableDictionary::dictionary()) {}

Value OxDbRow::dateForKey(std::string_view key, const Value& defaultValue) const {
  const Value value = objectForKey(key, defaultValue);
  if (value.isDate()) return value;
  if (value.isNumber()) return Value::date(value.doubleValue());
  return defaultValue;
}

Value OxDbRow::accessorObjectForKey(std::string_view key) const {
  const Value& value = dataDict_.objectForKey(key);
  return value.isNull() ? Value() : value;
}

void OxDbRow::accessorSetObject(const Value& value, std::string_view key) { dataDict_.setObject(value, key); }

}  // namespace kiv
