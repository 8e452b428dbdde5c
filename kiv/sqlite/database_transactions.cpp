// SqDatabase: transactions and savepoints.
#include <atomic>
#include <utility>

#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/internal/transaction_brackets.hpp"

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

namespace {

// An SQLite transaction for the life of the object: rolled back unless finish() ended it, so that
// a block that throws leaves no transaction open.
class TransactionBracket {
 public:
  TransactionBracket(SqDatabase* db, bool deferred) : db_(db) {
    if (db_ && deferred) (void)db_->beginDeferredTransaction();
    if (db_ && !deferred) (void)db_->beginTransaction();
  }
  ~TransactionBracket() {
    if (db_) (void)db_->rollback();
  }
  TransactionBracket(const TransactionBracket&) = delete;
  TransactionBracket& operator=(const TransactionBracket&) = delete;

  void finish(bool rollback) {
    SqDatabase* const db = std::exchange(db_, nullptr);
    if (db && rollback) (void)db->rollback();
    if (db && !rollback) (void)db->commit();
  }

 private:
  SqDatabase* db_;
};

// A savepoint for the life of the object: rolled back to and released unless finish() did that.
class SavePointBracket {
 public:
  SavePointBracket(SqDatabase& db, const std::string& name) : db_(&db), name_(name) {}
  ~SavePointBracket() {
    if (!db_) return;
    Error ignored;
    (void)db_->rollbackToSavePointWithName(name_, &ignored);
    (void)db_->releaseSavePointWithName(name_, &ignored);
  }
  SavePointBracket(const SavePointBracket&) = delete;
  SavePointBracket& operator=(const SavePointBracket&) = delete;

  // Returns the error of the last step that failed, if any.
  std::optional<Error> finish(bool rollback) {
    SqDatabase* const db = std::exchange(db_, nullptr);
    Error error;
    std::optional<Error> lastFailure;
    if (rollback && !db->rollbackToSavePointWithName(name_, &error)) lastFailure = error;
    if (!db->releaseSavePointWithName(name_, &error)) lastFailure = error;
    return lastFailure;
  }

 private:
  SqDatabase* db_;
  const std::string& name_;
};

}  // namespace

void runInTransaction(SqDatabase* db, bool deferred, const std::function<void(bool* rollback)>& block) {
  TransactionBracket transaction(db, deferred);
  bool shouldRollback = false;
  block(&shouldRollback);
  transaction.finish(shouldRollback);
}

std::optional<Error> runInSavePoint(SqDatabase& db, const std::string& name,
                                    const std::function<void(bool* rollback)>& block) {
  Error error;
  if (!db.startSavePointWithName(name, &error)) return error;
  SavePointBracket savePoint(db, name);
  bool rollback = false;
  block(&rollback);
  return savePoint.finish(rollback);
}

}  // namespace kiv
