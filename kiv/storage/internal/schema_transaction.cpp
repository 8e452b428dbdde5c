#include "kiv/storage/internal/schema_transaction.hpp"

#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

constexpr const char* kSavePoint = "kiv_schema_change";

}  // namespace

SchemaTransaction::SchemaTransaction(SqDatabase& db)
    : db_(db),
      nested_(db.inTransaction()),
      began_(nested_ ? db.startSavePointWithName(kSavePoint) : db.beginTransaction()) {}

SchemaTransaction::~SchemaTransaction() {
  if (!began_ || committed_) return;
  if (nested_) {
    (void)db_.rollbackToSavePointWithName(kSavePoint);
    (void)db_.releaseSavePointWithName(kSavePoint);
  } else if (db_.inTransaction()) {  // SQLite may have rolled back by itself (a full disk, an I/O error)
    (void)db_.rollback();
  }
}

bool SchemaTransaction::commit() {
  if (!began_) return false;
  committed_ = nested_ ? db_.releaseSavePointWithName(kSavePoint) : db_.commit();
  return committed_;
}

}  // namespace kiv
