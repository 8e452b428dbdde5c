#include "kiv/storage/internal/stored_row.hpp"

#include "kiv/foundation/date.hpp"

namespace kiv {

StoredRow::StoredRow(const KivModel& model, const ModelClass& tableClass)
    : tableClass(&tableClass), layout(&RowLayout::of(model.modelClass())), keyValue(keyValueOf(model, tableClass)) {
  const std::size_t count = layout->columns().size();
  std::vector<Value> all(count);
  layout->rowValues(model, all);
  columns.reserve(count + 1);
  values.reserve(count + 1);
  for (Value& value : all) {
    columns += value.isPresent() ? '1' : '0';
    if (value.isPresent()) values.push_back(std::move(value));
  }
  columns += '1';
  values.emplace_back(currentTimeIntervalSince1970());
}

Value keyValueOf(const KivModel& model, const ModelClass& cls) {
  const Value key = cls.kiv_key();
  return key.isString() ? model.valueForKey(key.stringView()) : Value();
}

}  // namespace kiv
