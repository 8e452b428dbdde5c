// OxSimpleDatabase: the collection database's handle on one SQLite file.
//
// Every statement runs on one connection inside the serial queue of an SqDatabaseQueue, so any
// thread may call any operation; a call waits for its statements and returns their result. No
// operation may be called from inside a block that already runs on the same queue (the queue
// stops the process rather than deadlock).
//
// Over the queue it adds: begin/commit pairs that nest and make one SQLite transaction; one
// OxDbCollection per table name; queries that return all their rows at once; a few schema
// helpers.
//
// Failures are return values: an empty array, false, 0. The connection logs every SQLite error
// and keeps the last one (lastError). A file that cannot be opened gives a database on which every
// statement fails. Names and search texts are written into the SQL text as they stand, unquoted:
// a name that needs quoting, or a text that holds a quote, makes its statement fail.
//
// Lifetime: the database keeps every collection it hands out for the rest of its life, and the
// collections refer back to it without owning it. A collection's operation holds the database
// while it runs, so a database that goes away on another thread waits for the operations in
// progress; collections that outlive it find nothing and their writes fail.
#ifndef KIV_COLLECTION_SIMPLE_DATABASE_HPP_
#define KIV_COLLECTION_SIMPLE_DATABASE_HPP_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "kiv/collection/db_row.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/error.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/database_queue.hpp"

namespace kiv {

class DatabaseLink;
class OxDbCollection;

// The flags a database opens its file with, 0x400006: SQLite's read-write and create, and the
// mobile platform's flag for files without data protection (readable while the device is
// locked), which the connection masks off before SQLite sees the flags.
inline constexpr int kOxOpenFlags = kSqOpenFileProtectionNone | kSqDefaultOpenFlags;
static_assert(kOxOpenFlags == 0x400006);

class OxSimpleDatabase : public Object {
 public:
  // Opens (creating when missing) the file at `path` with kOxOpenFlags and turns on the
  // connection's error logging. Does not fail: see above for a file that does not open.
  static Ref<OxSimpleDatabase> databaseWithPath(const String& path);
  // The same with other SQLite open flags: SQLITE_OPEN_READONLY for a database that only reads
  // (a missing file then does not open, and every write fails).
  static Ref<OxSimpleDatabase> databaseWithPath(const String& path, int openFlags);
  // Opens the file as databaseWithPath() does (which returns a database made by this constructor).
  explicit OxSimpleDatabase(const String& path, int openFlags = kOxOpenFlags);
  // Detaches the collections and closes the queue.
  ~OxSimpleDatabase() override;

  // The serial queue and its connection; nullptr when the file could not be opened.
  const Ref<SqDatabaseQueue>& innerDb() const noexcept { return innerDb_; }

  // Runs block(SqDatabase&) with the connection inside the queue and returns its result. Without
  // a connection the block does not run and the result is value-initialised (false, 0, empty).
  template <class Block>
  auto inDatabase(Block&& block) const;

  // --- Nested transactions -----------------------------------------------------------------------
  //
  // A counter tracks the depth of begins not yet matched by commits; only the outermost pair
  // begins and commits an SQLite transaction. Callers keep begins and commits paired: the counter
  // is not checked, so an unmatched commit drives it below 0, and a rollback leaves it as it is.

  // Adds 1 to the counter; begins an SQLite transaction unless one is open.
  void beginTransaction();
  // Subtracts 1 from the counter; commits when it is now 0 and a transaction is open.
  void commit();
  // The same as commit; returns the commit's result, false when no commit was issued.
  [[nodiscard]] bool commitTransaction();
  // Rolls back the open transaction, if any. The counter stays: after a rollback inside a nest,
  // the next begin opens a new transaction and the outermost commit comes one call later.
  void rollback();
  // The counter.
  std::int64_t transactionCounter() const;
  // (OxTransaction, below, keeps a begin/commit pair for the life of an object.)

  // --- Collections -------------------------------------------------------------------------------

  // The collection for the table, made on first request and the same object ever after. The
  // table is neither created nor checked. Safe to call from any thread.
  Ref<OxDbCollection> collection(std::string_view tableName);

  // The connection's last error: {"SqDatabase", SQLite's code, message}.
  Error lastError() const;

  // --- Statements --------------------------------------------------------------------------------

  // Every row of the query, possibly none; a statement that fails gives none.
  OxDbRows executeQuery(std::string_view sql);
  // With "?" placeholders bound to the arguments in order.
  OxDbRows executeQueryWithArgumentsInArray(std::string_view sql, const Array& arguments);
  // With ":name" placeholders bound to the dictionary's values by key.
  OxDbRows executeQueryWithParameterDictionary(std::string_view sql, const Dictionary& arguments);

  // Whether the statement ran; arguments as for the queries.

  [[nodiscard]] bool executeUpdate(std::string_view sql);
  [[nodiscard]] bool executeUpdateWithArgumentsInArray(std::string_view sql, const Array& arguments);
  [[nodiscard]] bool executeUpdateWithParameterDictionary(std::string_view sql, const Dictionary& arguments);

  // Runs the statements, joined by ";", as one text inside one counted transaction
  // (beginTransaction ... commitTransaction); returns whether all of them ran.
  [[nodiscard]] bool executeUpdates(const std::vector<std::string>& sqls);

  // --- Schema helpers ----------------------------------------------------------------------------

  // Whether a table of exactly this name exists.
  bool tableExist(std::string_view name);
  // Whether a schema object of this name exists: an index, but also a table, view or trigger.
  bool indexExist(std::string_view name);
  // "DROP TABLE <name>", after closing the connection's open result sets. A missing table fails.
  [[nodiscard]] bool drop(std::string_view tableName);
  // "ALTER TABLE <table> add <column> <type>" unless the table already has the column (exact
  // letter case); false when it has, as when the statement fails.
  [[nodiscard]] bool addColonmWith(std::string_view column, std::string_view type, std::string_view tableName);
  // The rows of the table whose column `findId` contains `search`, by SQL LIKE (ASCII letter case
  // ignored; "%" and "_" in the search text are wildcards).
  OxDbRows getList(std::string_view search, std::string_view tableName, std::string_view findId);

 private:
  friend class OxTransaction;

  // Every row of the result set, which it then closes; none without a result set.
  static OxDbRows rowsOf(const Ref<SqResultSet>& resultSet);
  // Whether the query's first row has a non-zero "count".
  bool countIsNotZero(const std::string& sql);

  // Name -> collection; guarded by collCacheMutex_, entries never removed.
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>()(name); }
  };
  std::mutex collCacheMutex_;
  std::unordered_map<std::string, Ref<OxDbCollection>, NameHash, std::equal_to<>> collCache_;
  const Ref<SqDatabaseQueue> innerDb_;
  // How the collections reach this database.
  const std::shared_ptr<DatabaseLink> link_;
  // Read and written only inside the queue.
  std::int64_t transactionCounter_ = 0;
};

// One begin/commit pair of a database's nested transactions, held for the life of the object:
// it begins when made; commit() ends it as the database's commit() would; going away without
// commit() (a failure, an exception) rolls back, when it is the outermost pair, and puts the
// counter back as it was.
class OxTransaction {
 public:
  // Begins a pair on `database`, and the SQLite transaction when none is open. The database must
  // outlive the object.
  explicit OxTransaction(OxSimpleDatabase& database);
  ~OxTransaction();
  OxTransaction(const OxTransaction&) = delete;
  OxTransaction& operator=(const OxTransaction&) = delete;

  // Whether this pair began the SQLite transaction (no pair was open around it).
  bool outermost() const noexcept { return outermost_; }
  // Whether the SQLite transaction is open (it may have ended on its own after a failure).
  bool open() const;
  // Ends the pair: commits when it is the outermost. Returns whether what it wrote is kept (for
  // an inner pair, as far as it can tell: its outermost pair decides). A failed commit rolls back
  // what SQLite still holds.
  [[nodiscard]] bool commit();
  // Ends the pair without keeping what it wrote, when it is the outermost (an inner pair leaves
  // that to the outermost). Done by the destructor unless commit() was called.
  void rollback();

 private:
  OxSimpleDatabase* database_;
  bool outermost_ = false;
};

template <class Block>
auto OxSimpleDatabase::inDatabase(Block&& block) const {
  using Result = std::invoke_result_t<Block&, SqDatabase&>;
  if (!innerDb_) return Result();
  return innerDb_->inDatabase(std::forward<Block>(block));
}

}  // namespace kiv

#endif  // KIV_COLLECTION_SIMPLE_DATABASE_HPP_
