// KivStorage: reads by key, by keys, by condition and of whole tables.
#include <utility>

#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {

Ref<KivModel> KivStorage::modelWith(const Value& keyValue, const ModelClass& cls) {
  MemoryCache& cache = matchCache(cls);
  if (Ref<KivModel> cached = cache.objectForKey(keyValue).objectAs<KivModel>()) return cached;
  Ref<KivModel> model = dbModel(keyValue, cls);
  if (model) cache.setObject(Value(model), keyValue);
  return model;
}

void KivStorage::modelWith(const Value& keyValue, const ModelClass& cls, Completion completion) {
  if (!completion) return;
  backgroundQueue_.async([this, keyValue, cls = &cls, completion = std::move(completion)] {
    completion(modelWith(keyValue, *cls));
  });
}

Array KivStorage::modelsWith(const Array& keyValues, const ModelClass& cls) {
  if (keyValues.empty()) return Array();
  const MutableArray models = MutableArray::array(keyValues.count());
  for (const Value& keyValue : keyValues) models.addObject(Value(modelWith(keyValue, cls)));
  return models;
}

Array KivStorage::allModels(const ModelClass& cls) {
  // modelsQuery() has already cached every model it read.
  return dbModelsWith(cls);
}

Ref<KivModel> KivStorage::dbModel(const Value& keyValue, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (!table) return nullptr;
  return modelFromRow(table->findOne(rowCondition(cls, keyValue)).get(), cls);
}

Array KivStorage::dbModelsWith(const ModelClass& cls) { return modelsQuery({}, 0, cls); }

Array KivStorage::modelsQuery(std::string_view condition, std::int32_t limit, const ModelClass& cls) {
  const MutableArray models = MutableArray::array();
  const HeldTable table = heldTable(cls);
  if (!table) return models;
  const OxDbRows rows = table->find(condition, {}, {}, {}, 0, limit);
  MemoryCache& cache = matchCache(cls);
  for (const Ref<OxDbRow>& row : rows) {
    if (Ref<KivModel> model = modelFromRow(row.get(), cls)) {
      cache.setObject(Value(model), keyValueOf(*model, cls));
      models.addObject(Value(std::move(model)));
    }
  }
  return models;
}

Ref<KivModel> KivStorage::modelFromRow(const OxDbRow* row, const ModelClass& cls) {
  if (!row || row->dataDict().empty()) return nullptr;
  return KivModelAdapter::modelFromDBDictionary(row->dataDict(), cls);
}

}  // namespace kiv
