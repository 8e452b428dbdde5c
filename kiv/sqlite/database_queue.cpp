#include "kiv/sqlite/database_queue.hpp"

#include <atomic>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/internal/describe.hpp"
#include "kiv/sqlite/internal/transaction_brackets.hpp"

namespace kiv {
namespace {

// Counts the savepoints of all queues of the process.
std::atomic<std::int64_t> queueSavePointCounter{0};

}  // namespace

Ref<SqDatabaseQueue> SqDatabaseQueue::databaseQueueWithPath(const String& path, int openFlags,
                                                            DatabaseClass databaseClass) {
  Ref<SqDatabase> db = databaseClass(path);
  if (!db || !db->openWithFlags(openFlags)) {
    log("Could not create database queue for path " + path.description());
    return nullptr;
  }
  return Ref<SqDatabaseQueue>(new SqDatabaseQueue(std::move(db), path, openFlags, databaseClass));
}

SqDatabaseQueue::SqDatabaseQueue(Ref<SqDatabase> db, const String& path, int openFlags, DatabaseClass databaseClass)
    : path_(path),
      queue_("sqdb." + describeObject("SqDatabaseQueue", this)),
      db_(std::move(db)),
      openFlags_(openFlags),
      databaseClass_(databaseClass) {}

std::string SqDatabaseQueue::description() const { return describeObject("SqDatabaseQueue", this); }

SqDatabase* SqDatabaseQueue::database() {
  if (!db_) {
    Ref<SqDatabase> db = SqDatabase::databaseWithPath(path_);
    if (!db->openWithFlags(openFlags_)) {
      log("SqDatabaseQueue could not reopen database for path " + path_.description());
      return nullptr;
    }
    db_ = std::move(db);
  }
  return db_.get();
}

void SqDatabaseQueue::inDatabase(const SqDatabaseBlock& block) {
  if (queue_.isRunningOnThisThread()) {
    abortWithAssertion(
        "currentSyncQueue != self && \"inDatabase: was called reentrantly on the same queue, which would lead to a "
        "deadlock\"");
  }
  queue_.sync([&] {
    SqDatabase* db = database();
    block(db);
    if (db && db->hasOpenResultSets()) {
      log("Warning: there is at least one open result set around after performing [SqDatabaseQueue inDatabase:]");
    }
  });
}

void SqDatabaseQueue::inTransaction(const SqTransactionBlock& block) { beginTransactionWithBlock(false, block); }

void SqDatabaseQueue::inDeferredTransaction(const SqTransactionBlock& block) {
  beginTransactionWithBlock(true, block);
}

void SqDatabaseQueue::beginTransactionWithBlock(bool deferred, const SqTransactionBlock& block) {
  queue_.sync([&] {
    SqDatabase* db = database();
    runInTransaction(db, deferred, [&](bool* rollback) { block(db, rollback); });
  });
}

std::optional<Error> SqDatabaseQueue::inSavePoint(const SqTransactionBlock& block) {
  return queue_.sync([&]() -> std::optional<Error> {
    const std::string name = "savePoint" + std::to_string(queueSavePointCounter++);
    SqDatabase* db = database();
    if (!db) return std::nullopt;
    return runInSavePoint(*db, name, [&](bool* rollback) { block(db, rollback); });
  });
}

void SqDatabaseQueue::close() {
  queue_.sync([&] {
    if (db_) db_->close();
    db_ = nullptr;
  });
}

}  // namespace kiv
