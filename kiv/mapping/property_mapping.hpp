// PropertyMapping: the mapping dictionary of one model class level, from JSON key path to the
// KivValue record of the property bound to it, built by KivModelAdapter::cachePropertyDict().
//
// Entries keep the order of the class's kiv_jsonKeyPathsByProperty dictionary; storing under a
// key path that is already there replaces its record and keeps its place, so two names mapped to
// the same key path leave one record, the later one. Immutable once it is in the property cache.
#ifndef KIV_MAPPING_PROPERTY_MAPPING_HPP_
#define KIV_MAPPING_PROPERTY_MAPPING_HPP_

#include <cstddef>
#include <string_view>
#include <vector>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/mapping/kiv_value.hpp"

namespace kiv {

class PropertyMapping : public Object {
 public:
  // One key path and the record bound to it.
  struct Entry {
    String keyPath;  // the JSON key path, as the class's hook gives it
    Ref<const KivValue> record;  // never null
  };

  // The record under the key path, or null.
  const KivValue* objectForKey(std::string_view keyPath) const noexcept;
  // The number of key paths.
  std::size_t count() const noexcept { return entries_.size(); }

  // The entries in order (see above), for range-for loops.

  const Entry* begin() const noexcept { return entries_.data(); }
  const Entry* end() const noexcept { return entries_.data() + entries_.size(); }

  // Stores `record` under the key path: in place of the record already there, else at the end.
  void setObject(Ref<const KivValue> record, const String& keyPath);

 private:
  std::vector<Entry> entries_;
};

}  // namespace kiv

#endif  // KIV_MAPPING_PROPERTY_MAPPING_HPP_
