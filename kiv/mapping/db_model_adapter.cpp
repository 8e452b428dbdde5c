// The database side of KivModelAdapter.
#include <utility>
#include <vector>

#include "kiv/foundation/string.hpp"
#include "kiv/mapping/internal/stored_properties.hpp"
#include "kiv/mapping/key_path.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace kiv {

namespace {

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

Array KivModelAdapter::dbPropertyPaths(const ModelClass& cls) { return StoredProperties::of(cls).names(); }

MutableDictionary KivModelAdapter::DBDictionaryFromModel(const KivModel* model) {
  if (!model) return MutableDictionary();
  const MutableDictionary row = MutableDictionary::dictionary();
  forEachModelLevel(model->modelClass(), [&](const ModelClass& level) {
    writeColumns(row, StoredProperties::of(level), *model);
  });
  return row;
}

Ref<KivModel> KivModelAdapter::modelFromDBDictionary(const Dictionary& row, const ModelClass& cls) {
  if (row.empty()) return nullptr;
  const MutableDictionary json = MutableDictionary::dictionary();
  forEachModelLevel(cls, [&](const ModelClass& level) {
    readColumns(json, StoredProperties::of(level), row);
  });
  return modelOfClass(cls, json);
}

}  // namespace kiv
