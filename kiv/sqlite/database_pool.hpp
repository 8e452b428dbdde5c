// SqDatabasePool: several connections to one database file, handed out to callers on different
// threads so that each works on a connection of its own, and taken back for reuse.
//
// The pool's lists of idle and handed-out connections change only on its private SerialQueue;
// blocks run on the caller's thread with a connection that no other caller holds. Connections of
// one pool contend through SQLite's file locks, and their busy handlers do the waiting. A block
// may use the pool again (it gets a second connection, or nullptr at the maximum); a block gets
// nullptr whenever no connection could be handed out and must cope with that.
#ifndef KIV_SQLITE_DATABASE_POOL_HPP_
#define KIV_SQLITE_DATABASE_POOL_HPP_

#include <concepts>
#include <cstddef>
#include <optional>
#include <type_traits>
#include <vector>

#include "kiv/foundation/error.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/serial_queue.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/database_queue.hpp"

namespace kiv {

class SqDatabasePool;

// Optional hooks of a pool's owner. Each default answers "not implemented" (nothing), so the
// pool knows whether to take the answer into account. Called on the pool's queue: they must not
// call the pool.
class SqDatabasePoolDelegate {
 public:
  virtual ~SqDatabasePoolDelegate() = default;

  // Consent before the connection is handed out (also a reused one): false refuses it.
  virtual std::optional<bool> databasePoolShouldAddDatabaseToPool(SqDatabasePool& pool, SqDatabase& db);
  // Told after a newly made connection was handed out for the first time. Returns whether it is
  // implemented.
  virtual bool databasePoolDidAddDatabase(SqDatabasePool& pool, SqDatabase& db);
};

class SqDatabasePool : public Object {
 public:
  // A pool of connections to `path` (see SqDatabase), opened with the flags as needed. Opens
  // nothing yet.
  explicit SqDatabasePool(const String& path = String(), int openFlags = kSqDefaultOpenFlags);
  // The same pool, owned by a Ref.
  static Ref<SqDatabasePool> databasePoolWithPath(const String& path = String(), int openFlags = kSqDefaultOpenFlags);

  // The path of the file; read and set from any thread. Connections made after a change use the
  // new path; those already made keep theirs.

  String path() const;
  void setPath(const String& path);

  // The flags that every connection is opened with.
  int openFlags() const noexcept { return openFlags_; }

  // Not owned: it must outlive the pool, or be reset before it goes away. Set it before the pool
  // is shared between threads.

  SqDatabasePoolDelegate* delegate() const noexcept { return delegate_; }
  void setDelegate(SqDatabasePoolDelegate* delegate) noexcept { delegate_ = delegate; }

  // At most this many connections exist at once; 0 (the default) means no limit. Set it before
  // the pool is shared between threads.

  std::size_t maximumNumberOfDatabasesToCreate() const noexcept { return maximumNumberOfDatabasesToCreate_; }
  void setMaximumNumberOfDatabasesToCreate(std::size_t maximum) noexcept { maximumNumberOfDatabasesToCreate_ = maximum; }

  // How many connections are idle in the pool, handed out, and both together; counted on the
  // pool's queue, so they may change as soon as they are read.

  std::size_t countOfCheckedInDatabases();
  std::size_t countOfCheckedOutDatabases();
  std::size_t countOfOpenDatabases();

  // Forgets every connection; they close when their last holder lets go of them.
  void releaseAllDatabases();

  // Runs the block with a connection of its own, then takes the connection back (also when the
  // block throws).
  void inDatabase(const SqDatabaseBlock& block);
  // Runs the callable with a connection of its own and returns its result; nothing (or false, for
  // a callable without a result) when no connection could be handed out and it did not run.
  template <class Block>
    requires std::invocable<Block&, SqDatabase&>
  auto inDatabase(Block&& block);

  // As SqDatabaseQueue's forms, on a connection of the caller's own; the savepoint names count
  // "savePoint<n>" across all pools of the process. When no connection can be handed out, a
  // transaction's block gets nullptr, and inSavePoint runs nothing and returns nothing.

  void inTransaction(const SqTransactionBlock& block);
  void inDeferredTransaction(const SqTransactionBlock& block);
  [[nodiscard]] std::optional<Error> inSavePoint(const SqTransactionBlock& block);

  // Checks a connection out: the most recently checked-in idle one, else a new one. nullptr when
  // the maximum is reached (logged "Maximum number of databases (<n>) has already been
  // reached!"), it does not open (logged "Could not open up the database at path <path>") or the
  // delegate refuses it (it is then closed; a refused reused one stays counted as checked out).
  Ref<SqDatabase> db();
  // Checks a connection back in; nullptr is ignored. Throws Exception "Database already in pool"
  // when it is idle already.
  void pushDatabaseBackInPool(const Ref<SqDatabase>& db);

  // "<SqDatabasePool: 0x...>".
  std::string description() const override;

 private:
  // Runs the block on the lock queue.
  template <class Block>
  decltype(auto) executeLocked(Block&& block) {
    return lockQueue_.sync(std::forward<Block>(block));
  }
  // Whether the delegate (if any and if implemented) refuses the connection.
  bool delegateRefuses(SqDatabase& db);

  SerialQueue lockQueue_;
  std::vector<Ref<SqDatabase>> databaseInPool_;
  std::vector<Ref<SqDatabase>> databaseOutPool_;
  mutable SpinLock pathLock_;  // path_ may be read and set from any thread
  String path_;
  int openFlags_;
  std::size_t maximumNumberOfDatabasesToCreate_ = 0;
  SqDatabasePoolDelegate* delegate_ = nullptr;
};

template <class Block>
  requires std::invocable<Block&, SqDatabase&>
auto SqDatabasePool::inDatabase(Block&& block) {
  using Result = std::invoke_result_t<Block&, SqDatabase&>;
  if constexpr (std::is_void_v<Result>) {
    bool ran = false;
    inDatabase([&](SqDatabase* db) {
      if (!db) return;
      block(*db);
      ran = true;
    });
    return ran;
  } else {
    std::optional<Result> result;
    inDatabase([&](SqDatabase* db) {
      if (db) result.emplace(block(*db));
    });
    return result;
  }
}

}  // namespace kiv

#endif  // KIV_SQLITE_DATABASE_POOL_HPP_
