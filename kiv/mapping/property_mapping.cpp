#include "kiv/mapping/property_mapping.hpp"

#include <utility>

namespace kiv {

const KivValue* PropertyMapping::objectForKey(std::string_view keyPath) const noexcept {
  for (const Entry& e : entries_) {
    if (e.keyPath.view() == keyPath) return e.record.get();
  }
  return nullptr;
}

void PropertyMapping::setObject(Ref<const KivValue> record, const String& keyPath) {
  for (Entry& e : entries_) {
    if (e.keyPath.view() == keyPath.view()) {
      e.record = std::move(record);
      return;
    }
  }
  entries_.push_back({keyPath, std::move(record)});
}

}  // namespace kiv
