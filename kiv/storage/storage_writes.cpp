// KivStorage: saves into the memory caches and the tables, and deletes.
#include <algorithm>
#include <array>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "kiv/sqlite/result_codes.hpp"
#include "kiv/storage/internal/change_observers.hpp"
#include "kiv/storage/internal/pending_writes.hpp"
#include "kiv/storage/internal/stored_row.hpp"
#include "kiv/storage/internal/table_sql.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

// How many rows one turn on the database's queue writes: other threads' reads wait for no more.
constexpr std::size_t kRowsPerSlice = 256;

// The key value as rows are addressed by it: its "%@" text.
Value keyText(const Value& keyValue) { return String(keyValue.description()); }

// The change of the class in the list, added when missing: one per class, in order of first
// appearance.
KivChange& changeOf(std::vector<KivChange>& changes, const ModelClass* cls) {
  for (KivChange& change : changes) {
    if (change.modelClass == cls) return change;
  }
  changes.push_back(KivChange{cls, {}, {}, false});
  return changes.back();
}

}  // namespace

// The rows of one call, written on one connection inside its queue: finds each row's table and
// statements, writes the row, and tells whether the transaction may go on.
class KivStorage::Writer {
 public:
  Writer(KivStorage& storage, bool replace) : storage_(storage), replace_(replace) {}

  RowResult write(SqDatabase& db, const StoredRow& row) {
    const Target& target = targetOf(db, row);
    TableSql& sql = *target.sql;
    bool written;
    if (replace_ || !sql.hasKey()) {
      written = db.executeKeptUpdate(sql.replace(row.columns), row.values);
    } else if (target.keyIsUnique && row.columns[static_cast<std::size_t>(sql.keyColumn())] == '1') {
      written = db.executeKeptUpdate(sql.upsert(row.columns), row.values);
    } else {
      written = updateOrInsert(db, sql, row);
    }
    return written ? RowResult::kWritten : failure(db);
  }

 private:
  struct Target {
    const ModelClass* tableClass;
    const RowLayout* layout;
    TableSql* sql;
    bool keyIsUnique;
  };

  const Target& targetOf(SqDatabase& db, const StoredRow& row) {
    const auto same = [&](const Target& target) {
      return target.tableClass == row.tableClass && target.layout == row.layout;
    };
    if (last_ < targets_.size() && same(targets_[last_])) return targets_[last_];
    const auto found = std::find_if(targets_.begin(), targets_.end(), same);
    last_ = static_cast<std::size_t>(found - targets_.begin());
    if (found != targets_.end()) return *found;
    TableSql& sql = storage_.tableSql(*row.tableClass, *row.layout);
    targets_.push_back({row.tableClass, row.layout, &sql, sql.keyColumn() >= 0 && keyIsUnique(db, sql)});
    return targets_.back();
  }

  static bool keyIsUnique(SqDatabase& db, const TableSql& sql) {
    const std::array<Value, 2> arguments{Value(sql.tableName()), Value(sql.keyName())};
    const Ref<SqResultSet> answer = db.executeKeptQuery(TableSql::keyIsUnique(), arguments);
    const bool unique = answer && answer->next() && answer->boolForColumnIndex(0);
    if (answer) answer->close();
    return unique;
  }

  // The row of the key is updated with the row's columns when there is one, else the row is
  // written: an UPDATE that changes nothing tells that there is none.
  bool updateOrInsert(SqDatabase& db, TableSql& sql, const StoredRow& row) {
    values_.clear();
    std::size_t value = 0;
    for (std::size_t column = 0; column < row.columns.size(); ++column) {
      if (row.columns[column] != '1') continue;
      if (static_cast<int>(column) != sql.keyColumn()) values_.push_back(row.values[value]);
      ++value;
    }
    values_.push_back(keyText(row.keyValue));
    if (!db.executeKeptUpdate(sql.update(row.columns), values_)) return false;
    return db.changes() != 0 || db.executeKeptUpdate(sql.replace(row.columns), row.values);
  }

  RowResult failure(SqDatabase& db) {
    storage_.noteFailure(db);
    return db.hadError() && !sqIsStatementFailure(db.lastErrorCode()) ? RowResult::kAborted : RowResult::kSkipped;
  }

  KivStorage& storage_;
  const bool replace_;
  std::vector<Target> targets_;
  std::size_t last_ = 0;
  std::vector<Value> values_;  // the row's values and its key, for the update
};

// --- Saves --------------------------------------------------------------------------------------

void KivStorage::setModel(const Ref<KivModel>& model) {
  if (model) setModel(model, model->modelClass());
}

void KivStorage::setModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return;
  transactionModel(model, cls);
  // The row is taken now, so the caller may go on changing the model while the write waits.
  pendingWrites_->submit(StoredRow(*model, cls));
}

void KivStorage::cacheEach(const Array& models) {
  for (const Value& element : models) {
    if (KivModel* model = KivModel::in(element)) transactionModel(Ref<KivModel>(model), model->modelClass());
  }
}

Ref<KivModel> KivStorage::transactionModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return nullptr;
  MemoryCache& cache = matchCache(cls);
  const Value keyValue = keyValueOf(*model, cls);
  const Ref<KivModel> cached = KivModel::fromValue(cache.objectForKey(keyValue));
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
  cacheEach(models);
  for (const Value& element : models) {
    if (const KivModel* first = KivModel::in(element)) return setDbModels(models, first->modelClass());
  }
}

void KivStorage::batchModels(const Array& models) {
  if (models.empty()) return;
  cacheEach(models);
  writeModels(models, nullptr, true);
}

void KivStorage::setDbModel(const Ref<KivModel>& model, const ModelClass& cls) {
  if (!model) return;
  std::vector<StoredRow> rows;
  rows.emplace_back(*model, cls);
  flushPendingWrites();
  writeRows(rows, false);
}

void KivStorage::setDbModels(const Array& models, const ModelClass& cls) { writeModels(models, &cls, false); }

void KivStorage::writeModels(const Array& models, const ModelClass* tableClass, bool replace) {
  flushPendingWrites();
  std::vector<StoredRow> slice;
  writeRows(models.count(), [&](std::size_t first, std::size_t end) {
    slice.clear();
    for (std::size_t i = first; i < end; ++i) {
      if (const KivModel* model = KivModel::in(models[i])) {
        slice.emplace_back(*model, tableClass ? *tableClass : model->modelClass());
      }
    }
    return std::span<StoredRow>(slice);
  }, replace);
}

void KivStorage::writeRows(std::vector<StoredRow>& rows, bool replace) {
  writeRows(rows.size(), [&](std::size_t first, std::size_t end) {
    return std::span<StoredRow>(rows).subspan(first, end - first);
  }, replace);
}

void KivStorage::writeRows(std::size_t count, const RowSlices& slices, bool replace) {
  const Ref<OxSimpleDatabase> db = database();
  if (!db || count == 0) return;
  const std::lock_guard<std::mutex> writing(writeMutex_);
  // Inside a transaction of the application's, the application commits or rolls back.
  OxTransaction transaction(*db);
  Writer writer(*this, replace);
  const bool observed = observers_->any();
  std::vector<KivChange> changes;
  bool aborted = false;
  for (std::size_t first = 0; first < count && !aborted; first += kRowsPerSlice) {
    const std::span<StoredRow> rows = slices(first, std::min(first + kRowsPerSlice, count));
    db->inDatabase([&](SqDatabase& connection) {
      // A transaction that did not begin (a locked or read-only file) writes nothing.
      aborted = transaction.outermost() && !connection.inTransaction();
      for (std::size_t i = 0; i < rows.size() && !aborted; ++i) {
        const RowResult result = writer.write(connection, rows[i]);
        aborted = result == RowResult::kAborted;
        if (observed && result == RowResult::kWritten) {
          changeOf(changes, rows[i].tableClass).savedKeys.push_back(rows[i].keyValue);
        }
      }
    });
  }
  if (aborted) return;  // the transaction rolls back as it goes
  if (transaction.commit()) {
    observers_->post(std::move(changes));
  } else {
    db->inDatabase([&](SqDatabase& connection) { noteFailure(connection); });
  }
}

void KivStorage::waitUntilBackgroundWritesFinish() {
  pendingWrites_->flush();
  observers_->waitUntilDelivered();
}

void KivStorage::flushPendingWrites() {
  if (pendingWrites_->pending()) pendingWrites_->flush();
}

std::size_t KivStorage::backgroundWriteLimit() const { return pendingWrites_->limit(); }

void KivStorage::setBackgroundWriteLimit(std::size_t rows) { pendingWrites_->setLimit(rows); }

// --- Deletes ------------------------------------------------------------------------------------

void KivStorage::deleteWith(const Value& keyValue, const ModelClass& cls) {
  flushPendingWrites();
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return;
  TableSql& sql = tableSql(cls, RowLayout::of(cls));
  if (!sql.hasKey()) return;  // no row has a key to match
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const std::array<Value, 1> key{keyText(keyValue)};
  const bool deleted = db->inDatabase([&](SqDatabase& connection) {
    if (connection.executeKeptUpdate(sql.deleteByKey(), key)) return true;
    noteFailure(connection);
    return false;
  });
  if (deleted && observers_->any()) observers_->post({KivChange{&cls, {}, {keyValue}, false}});
}

void KivStorage::deleteWithCondition(std::string_view condition, const ModelClass& cls) {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const HeldTable table = heldTable(cls);
  if (table && table->delete_(condition)) noteUnnamedChange(&cls);
}

void KivStorage::deleteAllWithClass(const ModelClass& cls) {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const HeldTable table = heldTable(cls);
  if (table && table->delete_()) noteUnnamedChange(&cls);
}

}  // namespace kiv
