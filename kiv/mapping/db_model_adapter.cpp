// The database side of KivModelAdapter.
#include <utility>
#include <vector>

#include "kiv/foundation/string.hpp"
#include "kiv/mapping/key_path.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace kiv {

namespace {

// The stored properties of one class level, as its hooks answered on first request: the list as
// kiv_dbStoreProperty gave it, and for each name in it that is a string, the column, the key path
// and the mapping record found through the key path.
class StoredProperties : public Object {
 public:
  struct Column {
    String name;        // the lower-cased property name
    String keyPath;     // absent when the level maps no key path for the property
    const KivValue* record;  // null when the key path has no record; owned by the property cache
  };

  explicit StoredProperties(const ModelClass& level) {
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

  const Array& names() const noexcept { return names_; }
  const std::vector<Column>& columns() const noexcept { return columns_; }

 private:
  Array names_;
  std::vector<Column> columns_;
};

ClassCache<StoredProperties>& storedPropertiesCache() {
  static auto* cache = new ClassCache<StoredProperties>();  // lives for the process
  return *cache;
}

const StoredProperties& storedPropertiesOf(const ModelClass& level) {
  ClassCache<StoredProperties>& cache = storedPropertiesCache();
  const StoredProperties* cached = cache.objectForKey(level);
  return cached ? *cached : cache.insert(level, makeRef<StoredProperties>(level));
}

// The value as a column stores it: arrays and dictionaries as their JSON text (absent when a
// dictionary is no valid JSON), everything else as it is.
Value columnValue(Value value) {
  if (value.isArray()) return value.asArray().LxJSON2String();
  if (value.isDictionary()) return value.asDictionary().LxJSON2String();
  return value;
}

// Whether the text may be JSON array or object text: only that parses back into a value.
bool looksLikeJSONContainer(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && (text[start] == '[' || text[start] == '{');
}

// The value of a column as the model's JSON dictionary holds it: a string that is JSON array or
// object text as the container it spells, everything else as it is.
Value jsonValue(const Value& column) {
  if (column.isString() && looksLikeJSONContainer(column.stringView())) {
    Value parsed = objectFromJSONString(column.stringView());
    if (parsed.isPresent()) return parsed;
  }
  return column;
}

void writeColumns(const MutableDictionary& row, const StoredProperties& stored, const KivModel& model) {
  for (const StoredProperties::Column& column : stored.columns()) {
    if (column.record) kiv_setValue(row, columnValue(column.record->JSONValue(model)), column.name.view());
  }
}

void readColumns(const MutableDictionary& json, const StoredProperties& stored, const Dictionary& row) {
  for (const StoredProperties::Column& column : stored.columns()) {
    if (column.keyPath.isAbsent()) continue;
    const Value& value = row.objectForKey(column.name.view());
    if (value.isNothing()) continue;
    kiv_setValue(json, jsonValue(value), column.keyPath.view());
  }
}

}  // namespace

Array KivModelAdapter::dbPropertyPaths(const ModelClass& cls) { return storedPropertiesOf(cls).names(); }

MutableDictionary KivModelAdapter::DBDictionaryFromModel(const KivModel* model) {
  if (!model) return MutableDictionary();
  const MutableDictionary row = MutableDictionary::dictionary();
  forEachModelLevel(model->modelClass(), [&](const ModelClass& level) {
    writeColumns(row, storedPropertiesOf(level), *model);
  });
  return row;
}

Ref<KivModel> KivModelAdapter::modelFromDBDictionary(const Dictionary& row, const ModelClass& cls) {
  if (row.empty()) return nullptr;
  const MutableDictionary json = MutableDictionary::dictionary();
  forEachModelLevel(cls, [&](const ModelClass& level) {
    readColumns(json, storedPropertiesOf(level), row);
  });
  return modelOfClass(cls, json);
}

}  // namespace kiv
