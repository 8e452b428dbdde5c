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

bool SqDatabase::beginTransaction() { return runTransactionStatement("begin exclusive transaction", true); }

bool SqDatabase::beginDeferredTransaction() { return runTransactionStatement("begin deferred transaction", true); }

bool SqDatabase::commit() { return runTransactionStatement("commit transaction", false); }

bool SqDatabase::rollback() { return runTransactionStatement("rollback transaction", false); }

bool SqDatabase::runTransactionStatement(const char* sql, bool inTransactionAfter) {
  const bool ok = executeUpdate(sql);
  if (ok) inTransaction_ = inTransactionAfter;
  return ok;
}

bool SqDatabase::startSavePointWithName(std::string_view name, Error* outError) {
  return runSavePointStatement("savepoint ", name, outError);
}

bool SqDatabase::releaseSavePointWithName(std::string_view name, Error* outError) {
  return runSavePointStatement("release savepoint ", name, outError);
}

bool SqDatabase::rollbackToSavePointWithName(std::string_view name, Error* outError) {
  return runSavePointStatement("rollback transaction to savepoint ", name, outError);
}

bool SqDatabase::runSavePointStatement(const char* command, std::string_view name, Error* outError) {
  const bool ok = executeUpdate(command + quotedName(name) + ";");
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
