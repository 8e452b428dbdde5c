#include "kiv/sqlite/database_pool.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/internal/describe.hpp"
#include "kiv/sqlite/internal/transaction_brackets.hpp"

namespace kiv {
namespace {

// Counts the savepoints of all pools of the process.
std::atomic<std::int64_t> poolSavePointCounter{0};

bool contains(const std::vector<Ref<SqDatabase>>& list, const Ref<SqDatabase>& db) {
  return std::find(list.begin(), list.end(), db) != list.end();
}

}  // namespace

std::optional<bool> SqDatabasePoolDelegate::databasePoolShouldAddDatabaseToPool(SqDatabasePool&, SqDatabase&) {
  return std::nullopt;
}

bool SqDatabasePoolDelegate::databasePoolDidAddDatabase(SqDatabasePool&, SqDatabase&) { return false; }

SqDatabasePool::SqDatabasePool(const String& path, int openFlags)
    : lockQueue_("sqdb." + describeObject("SqDatabasePool", this)), path_(path), openFlags_(openFlags) {}

Ref<SqDatabasePool> SqDatabasePool::databasePoolWithPath(const String& path, int openFlags) {
  return makeRef<SqDatabasePool>(path, openFlags);
}

std::string SqDatabasePool::description() const { return describeObject("SqDatabasePool", this); }

String SqDatabasePool::path() const {
  std::lock_guard<SpinLock> lock(pathLock_);
  return path_;
}

void SqDatabasePool::setPath(const String& path) {
  std::lock_guard<SpinLock> lock(pathLock_);
  path_ = path;
}

std::size_t SqDatabasePool::countOfCheckedInDatabases() {
  return executeLocked([&] { return databaseInPool_.size(); });
}

std::size_t SqDatabasePool::countOfCheckedOutDatabases() {
  return executeLocked([&] { return databaseOutPool_.size(); });
}

std::size_t SqDatabasePool::countOfOpenDatabases() {
  return executeLocked([&] { return databaseInPool_.size() + databaseOutPool_.size(); });
}

void SqDatabasePool::releaseAllDatabases() {
  executeLocked([&] {
    databaseInPool_.clear();
    databaseOutPool_.clear();
  });
}

// --- Check-out and check-in ---------------------------------------------------------------------

Ref<SqDatabase> SqDatabasePool::db() {
  return executeLocked([&]() -> Ref<SqDatabase> {
    Ref<SqDatabase> db;
    bool isNew = false;
    if (!databaseInPool_.empty()) {
      db = databaseInPool_.back();
      databaseInPool_.pop_back();
      databaseOutPool_.push_back(db);
    } else {
      const std::size_t open = databaseInPool_.size() + databaseOutPool_.size();
      if (maximumNumberOfDatabasesToCreate_ != 0 && open >= maximumNumberOfDatabasesToCreate_) {
        log("Maximum number of databases (" + std::to_string(open) + ") has already been reached!");
        return nullptr;
      }
      db = SqDatabase::databaseWithPath(path());
      isNew = true;
    }
    if (!db->openWithFlags(openFlags_)) {
      log("Could not open up the database at path " + path().description());
      return nullptr;
    }
    if (delegateRefuses(*db)) {
      db->close();
      return nullptr;
    }
    if (contains(databaseOutPool_, db)) return db;
    databaseOutPool_.push_back(db);
    if (isNew && delegate_) delegate_->databasePoolDidAddDatabase(*this, *db);
    return db;
  });
}

bool SqDatabasePool::delegateRefuses(SqDatabase& db) {
  if (!delegate_) return false;
  const std::optional<bool> consent = delegate_->databasePoolShouldAddDatabaseToPool(*this, db);
  return consent.has_value() && !*consent;
}

void SqDatabasePool::pushDatabaseBackInPool(const Ref<SqDatabase>& db) {
  if (!db) return;
  executeLocked([&] {
    if (contains(databaseInPool_, db)) {
      throw Exception("Database already in pool",
                      "The SqDatabase being put back into the pool is already present in the pool");
    }
    databaseInPool_.push_back(db);
    std::erase(databaseOutPool_, db);
  });
}

// --- Blocks -------------------------------------------------------------------------------------

namespace {

// A connection checked out of the pool for one block and checked back in after it: by checkIn(),
// which may throw as pushDatabaseBackInPool does, or, when the block threw, by the destructor,
// which logs what it cannot throw.
class Checkout {
 public:
  explicit Checkout(SqDatabasePool& pool) : pool_(pool), db_(pool.db()) {}
  ~Checkout() {
    if (!db_) return;
    try {
      pool_.pushDatabaseBackInPool(db_);
    } catch (const Exception& e) {
      log("Kiv: " + e.reason());
    }
  }
  Checkout(const Checkout&) = delete;
  Checkout& operator=(const Checkout&) = delete;

  SqDatabase* db() const noexcept { return db_.get(); }
  void checkIn() { pool_.pushDatabaseBackInPool(std::exchange(db_, nullptr)); }

 private:
  SqDatabasePool& pool_;
  Ref<SqDatabase> db_;
};

}  // namespace

void SqDatabasePool::inDatabase(const SqDatabaseBlock& block) {
  Checkout checkout(*this);
  block(checkout.db());
  checkout.checkIn();
}

void SqDatabasePool::inTransaction(const SqTransactionBlock& block) {
  Checkout checkout(*this);
  runInTransaction(checkout.db(), false, [&](bool* rollback) { block(checkout.db(), rollback); });
  checkout.checkIn();
}

void SqDatabasePool::inDeferredTransaction(const SqTransactionBlock& block) {
  Checkout checkout(*this);
  runInTransaction(checkout.db(), true, [&](bool* rollback) { block(checkout.db(), rollback); });
  checkout.checkIn();
}

std::optional<Error> SqDatabasePool::inSavePoint(const SqTransactionBlock& block) {
  const std::string name = "savePoint" + std::to_string(poolSavePointCounter++);
  Checkout checkout(*this);
  std::optional<Error> error;
  if (SqDatabase* db = checkout.db()) error = runInSavePoint(*db, name, [&](bool* rollback) { block(db, rollback); });
  checkout.checkIn();
  return error;
}

}  // namespace kiv
