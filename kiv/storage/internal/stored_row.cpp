#include "kiv/storage/internal/stored_row.hpp"

#include "kiv/foundation/date.hpp"

namespace kiv {

StoredRow::StoredRow(const KivModel& model, const ModelClass& tableClass)
    : tableClass(&tableClass),
      layout(&RowLayout::of(model.modelClass())),
      keyValue(keyValueOf(model, tableClass)),
      values(layout->columns().size() + 1) {
  layout->rowValues(model, std::span(values).first(layout->columns().size()));
  values.back() = currentTimeIntervalSince1970();
}

Value keyValueOf(const KivModel& model, const ModelClass& cls) {
  const Value key = cls.kiv_key();
  return key.isString() ? model.valueForKey(key.stringView()) : Value();
}

}  // namespace kiv
