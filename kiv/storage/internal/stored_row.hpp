// StoredRow: a model's row as the storage writes it, taken from the model when the write is asked
// for (so the caller may go on changing the model).
#ifndef KIV_STORAGE_INTERNAL_STORED_ROW_HPP_
#define KIV_STORAGE_INTERNAL_STORED_ROW_HPP_

#include <string>
#include <vector>

#include "kiv/foundation/value.hpp"
#include "kiv/mapping/internal/row_layout.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

struct StoredRow {
  // The row of the model for the table of `tableClass`, with the current time as its update time.
  StoredRow(const KivModel& model, const ModelClass& tableClass);

  const ModelClass* tableClass;  // whose table receives the row
  const RowLayout* layout;       // of the model's own class
  Value keyValue;                // the model's value of tableClass's kiv_key
  // Which columns the row holds: one character per layout column, '1' where it has a value,
  // then '1' for the update time.
  std::string columns;
  // The row's values in column order, the update time last.
  std::vector<Value> values;
};

// The model's value of the property that the class's kiv_key names; absent without one.
Value keyValueOf(const KivModel& model, const ModelClass& cls);

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_STORED_ROW_HPP_
