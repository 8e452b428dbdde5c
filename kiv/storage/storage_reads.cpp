// KivStorage: reads by key, by keys, by condition and of whole tables.
#include <array>
#include <utility>
#include <vector>

#include "kiv/mapping/internal/row_layout.hpp"
#include "kiv/storage/internal/stored_row.hpp"
#include "kiv/storage/internal/table_sql.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {

Ref<KivModel> KivStorage::modelWith(const Value& keyValue, const ModelClass& cls) {
  MemoryCache& cache = matchCache(cls);
  if (Ref<KivModel> cached = KivModel::fromValue(cache.objectForKey(keyValue))) return cached;
  Ref<KivModel> model = dbModel(keyValue, cls);
  if (model) cache.setObject(Value(model), keyValue);
  return model;
}

void KivStorage::modelWith(const Value& keyValue, const ModelClass& cls, Completion completion) {
  if (!completion) return;
  readQueue_.async([this, keyValue, cls = &cls, completion = std::move(completion)] {
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
  flushPendingWrites();
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return nullptr;
  const RowLayout& layout = RowLayout::of(cls);
  const TableSql& sql = tableSql(cls, layout);
  if (!sql.hasKey()) return nullptr;  // no row has a key to match
  const std::array<Value, 1> key{String(keyValue.description())};
  return onReadConnection(db, [&](SqDatabase& connection) -> Ref<KivModel> {
    const Ref<SqResultSet> row = connection.executeKeptQuery(sql.selectByKey(), key);
    if (!row || !row->next()) {
      noteFailure(connection);
      return nullptr;
    }
    std::vector<int> columns;
    Ref<KivModel> model = modelFromRow(*row, layout, columns);
    row->close();
    return model;
  });
}

Array KivStorage::dbModelsWith(const ModelClass& cls) { return modelsQuery({}, 0, cls); }

Array KivStorage::modelsQuery(std::string_view condition, std::int32_t limit, const ModelClass& cls) {
  const Array models = modelsFromQuery(cls, condition, limit);
  MemoryCache& cache = matchCache(cls);
  for (const Value& model : models) cache.setObject(model, keyValueOf(*KivModel::in(model), cls));
  return models;
}

Array KivStorage::modelsFromQuery(const ModelClass& cls, std::string_view condition, std::int32_t limit) {
  const MutableArray models = MutableArray::array();
  flushPendingWrites();
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return models;
  const RowLayout& layout = RowLayout::of(cls);
  const std::string sql = tableSql(cls, layout).select(condition, limit);
  onReadConnection(db, [&](SqDatabase& connection) {
    const Ref<SqResultSet> rows = connection.executeQuery(sql);
    std::vector<int> columns;
    while (rows && rows->next()) {
      if (Ref<KivModel> model = modelFromRow(*rows, layout, columns)) models.addObject(Value(std::move(model)));
    }
    noteFailure(connection);  // a query that did not run, or a scan that broke off
  });
  return models;
}

Ref<KivModel> KivStorage::modelFromRow(SqResultSet& row, const RowLayout& layout, std::vector<int>& columnIndexes) {
  const int count = row.columnCount();
  if (columnIndexes.empty()) {
    for (int i = 0; i < count; ++i) columnIndexes.push_back(layout.indexOf(row.columnNameForIndex(i).view()));
  }
  std::vector<Value> values(layout.columns().size());
  for (int i = 0; i < count; ++i) {
    if (columnIndexes[static_cast<std::size_t>(i)] >= 0) {
      values[static_cast<std::size_t>(columnIndexes[static_cast<std::size_t>(i)])] = row.objectForColumnIndex(i);
    }
  }
  return layout.modelFromValues(values);
}

}  // namespace kiv
