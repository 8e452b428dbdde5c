#include "kiv/mapping/internal/stored_properties.hpp"

#include "kiv/foundation/json.hpp"
#include "kiv/mapping/internal/class_cache.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace kiv {
namespace {

ClassCache<StoredProperties>& storedPropertiesCache() {
  static auto* cache = new ClassCache<StoredProperties>();  // lives for the process
  return *cache;
}

// Whether the text may be JSON array or object text: only that parses back into a value.
bool looksLikeJSONContainer(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && (text[start] == '[' || text[start] == '{');
}

}  // namespace

const StoredProperties& StoredProperties::of(const ModelClass& level) {
  ClassCache<StoredProperties>& cache = storedPropertiesCache();
  const StoredProperties* cached = cache.objectForKey(level);
  return cached ? *cached : cache.insert(level, makeRef<StoredProperties>(level));
}

StoredProperties::StoredProperties(const ModelClass& level) {
  const Array listed = level.kiv_dbStoreProperty();
  names_ = listed.isPresent() ? listed.copy() : Array::emptyArray();
  const Dictionary keyPaths = level.kiv_jsonKeyPathsByProperty();
  const PropertyMapping& mapping = KivModelAdapter::propertyMappingFor(level);
  for (const Value& name : names_) {
    if (!name.isString()) continue;
    const String keyPath = keyPaths.objectForKey(name.stringView()).asString();
    const KivValue* record = keyPath.isPresent() ? mapping.objectForKey(keyPath.view()) : nullptr;
    columns_.push_back({name.lowercaseString(), keyPath, record});
  }
}

Value columnValue(Value value) {
  if (value.isArray()) return value.asArray().LxJSON2String();
  if (value.isDictionary()) return value.asDictionary().LxJSON2String();
  return value;
}

Value jsonValue(const Value& column) {
  if (column.isString() && looksLikeJSONContainer(column.stringView())) {
    Value parsed = objectFromJSONString(column.stringView());
    if (parsed.isPresent()) return parsed;
  }
  return column;
}

}  // namespace kiv
