// SqDatabaseQueue: one connection shared safely by callers on any thread.
//
// Every use of the connection runs as a block on the queue's SerialQueue: the caller waits while
// earlier blocks run, then its block runs on its own thread. Blocks must not call the same queue
// again: inDatabase from inside one of the queue's own blocks (directly, or through another
// queue's block) stops the process with an assertion, as it could never run.
//
// The queue opens its connection when it is created and reopens it, with the same flags, for the
// first block after close(). A block receives nullptr when reopening failed.
#ifndef KIV_SQLITE_DATABASE_QUEUE_HPP_
#define KIV_SQLITE_DATABASE_QUEUE_HPP_

#include <concepts>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>

#include "kiv/foundation/error.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/serial_queue.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/sqlite/database.hpp"

namespace kiv {

// A block that works on a connection (nullptr when none could be opened).
using SqDatabaseBlock = std::function<void(SqDatabase* db)>;
// A block inside a transaction or savepoint; setting *rollback undoes its work.
using SqTransactionBlock = std::function<void(SqDatabase* db, bool* rollback)>;

class SqDatabaseQueue : public Object {
 public:
  // Makes the connection for `path` (see SqDatabase; a subclass can be made instead).
  using DatabaseClass = Ref<SqDatabase> (*)(const String& path);

  // A queue over a newly opened connection to `path`, or nullptr (logged "Could not create
  // database queue for path <path>") when it does not open.
  static Ref<SqDatabaseQueue> databaseQueueWithPath(const String& path = String(),
                                                    int openFlags = kSqDefaultOpenFlags,
                                                    DatabaseClass databaseClass = &SqDatabase::databaseWithPath);

  // The path that the connection is reopened with after close(). Setting it is not
  // synchronised: do it before the queue is shared between threads.

  const String& path() const noexcept { return path_; }
  void setPath(const String& path) { path_ = path; }

  // The flags that the connection is opened and reopened with.
  int openFlags() const noexcept { return openFlags_; }
  // The class of the first connection; reopened connections are always plain SqDatabase.
  DatabaseClass databaseClass() const noexcept { return databaseClass_; }

  // Runs the block with the connection. Logs "Warning: there is at least one open result set
  // around after performing [SqDatabaseQueue inDatabase:]" when the block leaves result sets
  // open (they stay open).
  void inDatabase(const SqDatabaseBlock& block);
  // Runs the callable with the connection and returns its result; the callable does not run, and
  // the result is value-initialised (false, 0, empty), when the connection could not be opened.
  template <class Block>
    requires std::invocable<Block&, SqDatabase&>
  auto inDatabase(Block&& block);

  // Runs the block inside an exclusive (or deferred) transaction: commits afterwards, or rolls
  // back when the block set *rollback. The results of begin, commit and rollback are ignored.

  void inTransaction(const SqTransactionBlock& block);
  void inDeferredTransaction(const SqTransactionBlock& block);

  // Runs the block inside a savepoint named "savePoint<n>" (n counts across all queues of the
  // process); see SqDatabase::inSavePoint.
  [[nodiscard]] std::optional<Error> inSavePoint(const SqTransactionBlock& block);
  // Closes the connection; the next block reopens it.
  void close();

  // "<SqDatabaseQueue: 0x...>".
  std::string description() const override;

 private:
  SqDatabaseQueue(Ref<SqDatabase> db, const String& path, int openFlags, DatabaseClass databaseClass);

  // The connection, reopened when closed; nullptr (logged) when that fails. On the queue only.
  SqDatabase* database();
  void beginTransactionWithBlock(bool deferred, const SqTransactionBlock& block);

  String path_;
  SerialQueue queue_;
  Ref<SqDatabase> db_;
  int openFlags_;
  DatabaseClass databaseClass_;
};

template <class Block>
  requires std::invocable<Block&, SqDatabase&>
auto SqDatabaseQueue::inDatabase(Block&& block) {
  using Result = std::invoke_result_t<Block&, SqDatabase&>;
  if constexpr (std::is_void_v<Result>) {
    inDatabase([&](SqDatabase* db) {
      if (db) block(*db);
    });
  } else {
    Result result{};
    inDatabase([&](SqDatabase* db) {
      if (db) result = block(*db);
    });
    return result;
  }
}

}  // namespace kiv

#endif  // KIV_SQLITE_DATABASE_QUEUE_HPP_
