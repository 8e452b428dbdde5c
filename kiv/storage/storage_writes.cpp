// KivStorage: saves into the memory caches and the tables, and deletes.
#include <utility>
#include <vector>

#include "kiv/foundation/date.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {

void KivStorage::setModel(const Ref<KivModel>& model) {
  if (model) setModel(model, model->modelClass());
}

void KivStorage::setModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return;
  transactionModel(model, cls);
  // The row is taken now, so the caller may go on changing the model while the write waits.
  backgroundQueue_.async([this, row = pendingRow(*model, cls), cls = &cls] {
    if (const HeldTable table = heldTable(*cls)) writeRow(*table.table, row, *cls);
  });
}

Ref<KivModel> KivStorage::transactionModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return nullptr;
  MemoryCache& cache = matchCache(cls);
  const Value keyValue = keyValueOf(*model, cls);
  const Ref<KivModel> cached = cache.objectForKey(keyValue).objectAs<KivModel>();
  if (!cached || cached == model) {
    cache.setObject(Value(model), keyValue);
  } else {
    // Holders of the cached instance see the new values.
    cached->mergeFrom(*model);
  }
  return model;
}

void KivStorage::setModels(const Array& models) {
  if (models.empty()) return;
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) transactionModel(model, model->modelClass());
  }
  if (const Ref<KivModel> first = models.firstObject().objectAs<KivModel>()) setDbModels(models, first->modelClass());
}

void KivStorage::batchModels(const Array& models) {
  if (models.empty()) return;
  const Ref<OxSimpleDatabase> db = database();
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) transactionModel(model, model->modelClass());
  }
  if (!db) return;
  // One REPLACE per model, with the values bound rather than written into the text: SQL text
  // cannot carry every value (a quote, NULL, binary data), and one statement that fails would
  // stop every statement after it.
  db->beginTransaction();
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) {
      const ModelClass& cls = model->modelClass();
      db->collection(tableName(cls).view())->upsert(pendingRow(*model, cls).row);
    }
  }
  db->commit();
}

void KivStorage::setDbModel(const Ref<KivModel>& model, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (model && table) writeRow(*table.table, pendingRow(*model, cls), cls);
}

void KivStorage::setDbModels(const Array& models, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (!table) return;
  std::vector<PendingRow> updates;
  std::vector<PendingRow> inserts;
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) {
      PendingRow row = pendingRow(*model, cls);
      (rowExists(*table.table, row, cls) ? updates : inserts).push_back(std::move(row));
    }
  }
  table.database->beginTransaction();
  for (const PendingRow& row : updates) table->update(row.condition, row.row);
  for (const PendingRow& row : inserts) table->upsert(row.row);
  table.database->commit();
}

void KivStorage::waitUntilBackgroundWritesFinish() { backgroundQueue_.waitUntilIdle(); }

KivStorage::PendingRow KivStorage::pendingRow(const KivModel& model, const ModelClass& cls) {
  PendingRow pending{rowCondition(cls.kiv_key(), keyValueOf(model, cls)),
                     KivModelAdapter::DBDictionaryFromModel(&model)};
  pending.row.setObject(currentTimeIntervalSince1970(), kKivUpdateTimeColumn);
  return pending;
}

bool KivStorage::rowExists(OxDbCollection& table, const PendingRow& row, const ModelClass& cls) {
  return table.findCount(row.condition, cls.kiv_key().description()) != 0;
}

void KivStorage::writeRow(OxDbCollection& table, const PendingRow& row, const ModelClass& cls) {
  if (rowExists(table, row, cls)) {
    table.update(row.condition, row.row);
  } else {
    table.upsert(row.row);
  }
}

// --- Deletes ------------------------------------------------------------------------------------

void KivStorage::deleteWith(const Value& keyValue, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_(rowCondition(cls.kiv_key(), keyValue));
}

void KivStorage::deleteWithCondition(std::string_view condition, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_(condition);
}

void KivStorage::deleteAllWithClass(const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_();
}

}  // namespace kiv
