// SqDatabase: transactions and savepoints.
#include <atomic>

#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/transaction_brackets.hpp"

namespace kiv {
namespace {

// Counts the savepoints of SqDatabase::inSavePoint across all connections of the process.
std::atomic<std::int64_t> dbSavePointCounter{0};

// The name between single quotes, its quotes doubled.
std::string quotedName(std::string_view name) {
  std::string quoted = "'";
  for (char c : name) {
    quoted.push_back(c);
    if (c == '\'') quoted.push_back('\'');
  }
  return quoted + "'";
}

}  // namespace

bool SqDatabase::beginTransaction() {
  const bool ok = executeUpdate("begin exclusive transaction");
  if (ok) inTransaction_ = true;
  return ok;
}

bool SqDatabase::beginDeferredTransaction() {
  const bool ok = executeUpdate("begin deferred transaction");
  if (ok) inTransaction_ = true;
  return ok;
}

bool SqDatabase::commit() {
  const bool ok = executeUpdate("commit transaction");
  if (ok) inTransaction_ = false;
  return ok;
}

bool SqDatabase::rollback() {
  const bool ok = executeUpdate("rollback transaction");
  if (ok) inTransaction_ = false;
  return ok;
}

bool SqDatabase::startSavePointWithName(std::string_view name, Error* outError) {
  const bool ok = executeUpdate("savepoint " + quotedName(name) + ";");
  if (!ok && outError) *outError = lastError();
  return ok;
}

bool SqDatabase::releaseSavePointWithName(std::string_view name, Error* outError) {
  const bool ok = executeUpdate("release savepoint " + quotedName(name) + ";");
  if (!ok && outError) *outError = lastError();
  return ok;
}

bool SqDatabase::rollbackToSavePointWithName(std::string_view name, Error* outError) {
  const bool ok = executeUpdate("rollback transaction to savepoint " + quotedName(name) + ";");
  if (!ok && outError) *outError = lastError();
  return ok;
}

std::optional<Error> SqDatabase::inSavePoint(const std::function<void(bool* rollback)>& block) {
  return runInSavePoint(*this, "dbSavePoint" + std::to_string(dbSavePointCounter++), block);
}

void runInTransaction(SqDatabase* db, bool deferred, const std::function<void(bool* rollback)>& block) {
  if (db && deferred) db->beginDeferredTransaction();
  if (db && !deferred) db->beginTransaction();
  bool shouldRollback = false;
  block(&shouldRollback);
  if (db && shouldRollback) db->rollback();
  if (db && !shouldRollback) db->commit();
}

std::optional<Error> runInSavePoint(SqDatabase& db, const std::string& name,
                                    const std::function<void(bool* rollback)>& block) {
  Error error;
  if (!db.startSavePointWithName(name, &error)) return error;
  std::optional<Error> lastFailure;
  bool rollback = false;
  block(&rollback);
  if (rollback && !db.rollbackToSavePointWithName(name, &error)) lastFailure = error;
  if (!db.releaseSavePointWithName(name, &error)) lastFailure = error;
  return lastFailure;
}

}  // namespace kiv
