// StoredProperties: the stored properties of one model class level, as its hooks answered on first
// request, for the database side of the model adapter.
#ifndef KIV_MAPPING_INTERNAL_STORED_PROPERTIES_HPP_
#define KIV_MAPPING_INTERNAL_STORED_PROPERTIES_HPP_

#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/mapping/kiv_value.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

class StoredProperties : public Object {
 public:
  // One name of the level's kiv_dbStoreProperty that is a string.
  struct Column {
    String name;             // the lower-cased property name
    String keyPath;          // absent when the level maps no key path for the property
    const KivValue* record;  // null when the key path has no record; owned by the property cache
  };

  // The level's list, made on first request and kept for the process.
  static const StoredProperties& of(const ModelClass& level);

  explicit StoredProperties(const ModelClass& level);

  // The list as kiv_dbStoreProperty gave it (empty when it gave none).
  const Array& names() const noexcept { return names_; }
  const std::vector<Column>& columns() const noexcept { return columns_; }

 private:
  Array names_;
  std::vector<Column> columns_;
};

// The value as a column stores it: arrays and dictionaries as their JSON text (absent when a
// dictionary is no valid JSON), everything else as it is.
Value columnValue(Value value);
// The value of a column as a model's JSON dictionary holds it: a string that is JSON array or
// object text as the container it spells, everything else as it is.
Value jsonValue(const Value& column);

}  // namespace kiv

#endif  // KIV_MAPPING_INTERNAL_STORED_PROPERTIES_HPP_
