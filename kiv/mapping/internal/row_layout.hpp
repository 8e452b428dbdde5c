// RowLayout: the row of a model class's table laid out once per class, so that a storage can
// write rows straight from models and read models straight from result rows, without the row and
// JSON dictionaries of KivModelAdapter's database side in between.
//
// The values and models that come out are those of DBDictionaryFromModel and modelFromDBDictionary
// exactly. Where a class's hooks make that path more than a column-to-property copy (a name stored
// at two levels, stored key paths that share a place or nest in each other, a key path of three
// components or more, a mapped key path that reads into a stored value, a kiv_finishedModel that
// needs the dictionary), the layout is not direct and goes through the adapter's dictionaries
// itself.
#ifndef KIV_MAPPING_INTERNAL_ROW_LAYOUT_HPP_
#define KIV_MAPPING_INTERNAL_ROW_LAYOUT_HPP_

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/mapping/kiv_value.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

class RowLayout : public Object {
 public:
  // The layout of the class, made on first use and kept for the process.
  static const RowLayout& of(const ModelClass& cls);

  explicit RowLayout(const ModelClass& cls);

  const ModelClass& modelClass() const noexcept { return *cls_; }
  // The columns that a row of the class may hold: the lower-cased names of the class chain's
  // stored properties that have a key path, each once, in the order in which rows list them.
  const std::vector<String>& columns() const noexcept { return columns_; }
  // The index in columns() of the column of exactly this name, or -1.
  int indexOf(std::string_view column) const noexcept;
  // Whether values move straight between models and columns (see above).
  bool direct() const noexcept { return direct_; }

  // The model's row: values[i] is the value of columns()[i] that DBDictionaryFromModel writes, or
  // absent where that row has no such column. `values` holds one value per column.
  void rowValues(const KivModel& model, std::span<Value> values) const;
  // The model that modelFromDBDictionary makes of a row whose columns hold `values` (one per
  // column; absent or the null where the row has no value); null when no column has a value.
  Ref<KivModel> modelFromValues(std::span<const Value> values) const;

 private:
  // One write of the model's row: the record that gives the value of a column.
  struct ColumnSource {
    const KivValue* record;
    std::size_t column;
  };
  // One step of filling a model: a mapping record of some level and the column whose value it
  // reads.
  struct FillStep {
    const KivValue* record;
    std::size_t column;
  };

  void layOut();

  const ModelClass* cls_;
  std::vector<String> columns_;
  std::vector<ColumnSource> sources_;
  std::vector<FillStep> steps_;
  bool direct_ = true;
};

}  // namespace kiv

#endif  // KIV_MAPPING_INTERNAL_ROW_LAYOUT_HPP_
