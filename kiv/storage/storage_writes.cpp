// KivStorage: saves into the memory caches and the tables, and deletes.
#include <utility>
#include <vector>

#include "kiv/collection/ox_db.hpp"
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
    if (const HeldTable table = heldTable(*cls)) writeRow(table, row, *cls);
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
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) transactionModel(model, model->modelClass());
  }
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return;
  std::vector<std::string> statements;
  statements.reserve(models.count());
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) {
      statements.push_back(OxDb::sqlFromReplaceFor(tableName(model->modelClass()).view(), rowOf(*model)));
    }
  }
  db->executeUpdates(statements);
}

void KivStorage::setDbModel(const Ref<KivModel>& model, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (model && table) writeRow(table, pendingRow(*model, cls), cls);
}

void KivStorage::setDbModels(const Array& models, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (!table) return;
  const std::string key = cls.kiv_key().description();
  // Every key is counted before the transaction opens; then the existing rows are updated and
  // the new ones written, in order.
  std::vector<std::pair<std::string, Dictionary>> updates;
  std::vector<Dictionary> inserts;
  for (const Value& element : models) {
    const Ref<KivModel> model = element.objectAs<KivModel>();
    if (!model) continue;
    std::string condition = rowCondition(cls, keyValueOf(*model, cls));
    if (table->findCount(condition, key) != 0) {
      updates.emplace_back(std::move(condition), rowOf(*model));
    } else {
      inserts.push_back(rowOf(*model));
    }
  }
  table.database->beginTransaction();
  for (const auto& [condition, row] : updates) table->update(condition, row);
  for (const Dictionary& row : inserts) table->upsert(row);
  table.database->commit();
}

void KivStorage::waitUntilBackgroundWritesFinish() { backgroundQueue_.waitUntilIdle(); }

MutableDictionary KivStorage::rowOf(const KivModel& model) {
  MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(&model);
  row.setObject(currentTimeIntervalSince1970(), kKivUpdateTimeColumn);
  return row;
}

KivStorage::PendingRow KivStorage::pendingRow(const KivModel& model, const ModelClass& cls) {
  return {keyValueOf(model, cls), rowOf(model)};
}

std::string KivStorage::rowCondition(const ModelClass& cls, const Value& keyValue) {
  std::string text = keyValue.description();
  for (std::size_t quote = text.find('\''); quote != std::string::npos; quote = text.find('\'', quote + 2)) {
    text.insert(quote, 1, '\'');
  }
  return cls.kiv_key().description() + "='" + text + "'";
}

void KivStorage::writeRow(const HeldTable& table, const PendingRow& row, const ModelClass& cls) {
  const std::string condition = rowCondition(cls, row.keyValue);
  if (table->findCount(condition, cls.kiv_key().description()) != 0) {
    table->update(condition, row.row);
  } else {
    table->upsert(row.row);
  }
}

// --- Deletes ------------------------------------------------------------------------------------

void KivStorage::deleteWith(const Value& keyValue, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_(rowCondition(cls, keyValue));
}

void KivStorage::deleteWithCondition(std::string_view condition, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_(condition);
}

void KivStorage::deleteAllWithClass(const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_();
}

}  // namespace kiv
