// KivStorage: saves into the memory caches and the tables, and deletes.
#include <utility>
#include <vector>

#include "kiv/foundation/date.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

bool sameColumns(const Dictionary& a, const Dictionary& b) {
  if (a.count() != b.count()) return false;
  const DictionaryEntry* other = b.begin();
  for (const DictionaryEntry& entry : a) {
    if (entry.key.view() != (other++)->key.view()) return false;
  }
  return true;
}

// Writes the rows with REPLACE, in order. Each run of rows with the same columns goes in one
// batch, which builds its statement text once.
void upsertInRuns(OxDbCollection& table, const std::vector<Dictionary>& rows) {
  std::size_t start = 0;
  for (std::size_t end = 1; end <= rows.size(); ++end) {
    if (end == rows.size() || !sameColumns(rows[end], rows[start])) {
      const auto first = rows.begin();
      table.batchUpsert({first + static_cast<std::ptrdiff_t>(start), first + static_cast<std::ptrdiff_t>(end)});
      start = end;
    }
  }
}

}  // namespace

void KivStorage::setModel(const Ref<KivModel>& model) {
  if (model) setModel(model, model->modelClass());
}

void KivStorage::setModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return;
  transactionModel(model, cls);
  // The row is taken now, so the caller may go on changing the model while the write waits.
  backgroundQueue_.async([this, row = pendingRow(*model, cls), cls = &cls] {
    if (const HeldTable table = heldTable(*cls)) writeRows(table, {row}, *cls);
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
  // stop every statement after it. Consecutive models of one class share their table.
  db->beginTransaction();
  std::vector<Dictionary> run;
  const ModelClass* runClass = nullptr;
  const auto writeRun = [&] {
    if (!run.empty()) upsertInRuns(*db->collection(tableName(*runClass).view()), run);
    run.clear();
  };
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) {
      if (&model->modelClass() != runClass) {
        writeRun();
        runClass = &model->modelClass();
      }
      run.push_back(rowOf(*model));
    }
  }
  writeRun();
  db->commit();
}

void KivStorage::setDbModel(const Ref<KivModel>& model, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (model && table) writeRows(table, {pendingRow(*model, cls)}, cls);
}

void KivStorage::setDbModels(const Array& models, const ModelClass& cls) {
  const HeldTable table = heldTable(cls);
  if (!table) return;
  std::vector<PendingRow> rows;
  rows.reserve(models.count());
  for (const Value& element : models) {
    if (const Ref<KivModel> model = element.objectAs<KivModel>()) rows.push_back(pendingRow(*model, cls));
  }
  writeRows(table, rows, cls);
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

void KivStorage::writeRows(const HeldTable& table, const std::vector<PendingRow>& rows, const ModelClass& cls) {
  if (rows.empty()) return;
  KeyedRows byKey = table.byKey(cls);
  std::vector<Value> keyValues;
  keyValues.reserve(rows.size());
  for (const PendingRow& row : rows) keyValues.push_back(row.keyValue);
  table.database->beginTransaction();
  // Looked up inside the transaction: no other connection changes the rows in between, and the
  // file is locked once rather than once per look-up.
  const std::vector<bool> exists = byKey.contain(keyValues);
  std::vector<Dictionary> inserts;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (exists[i]) {
      byKey.update(rows[i].keyValue, rows[i].row);
    } else {
      inserts.push_back(rows[i].row);
    }
  }
  upsertInRuns(*table.table, inserts);
  table.database->commit();
}

// --- Deletes ------------------------------------------------------------------------------------

void KivStorage::deleteWith(const Value& keyValue, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table.byKey(cls).remove(keyValue);
}

void KivStorage::deleteWithCondition(std::string_view condition, const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_(condition);
}

void KivStorage::deleteAllWithClass(const ModelClass& cls) {
  if (const HeldTable table = heldTable(cls)) table->delete_();
}

}  // namespace kiv
