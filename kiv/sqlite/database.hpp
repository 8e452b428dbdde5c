// SqDatabase: one connection to one SQLite database file.
//
// The connection prepares, binds, steps and finalizes statements; keeps a cache of prepared
// statements by SQL text (when asked to); keeps track of the result sets it handed out; logs
// failures through kiv::log (while logsErrors is on) and remembers the last one; and retries
// while another connection holds a lock, for up to maxBusyRetryTimeInterval seconds.
//
// Failures are return values: nullptr or false, with a log line. Two things stop the process:
// creating a connection over a SQLite library that is not thread-safe, and a statement that
// fails to prepare while crashOnErrors is on.
//
// A connection is not thread-safe. It belongs to one thread (or serial queue) at a time and only
// refuses reentrant use from within one call chain ("is currently in use"). SqDatabaseQueue
// serialises the use of a shared connection. Connections are reference counted: own them with
// Ref (databaseWithPath), as the result sets they hand out keep them alive. Releasing the last
// reference closes the connection.
#ifndef KIV_SQLITE_DATABASE_HPP_
#define KIV_SQLITE_DATABASE_HPP_

#include <array>
#include <concepts>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/date_formatter.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/error.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/sqlite/result_set.hpp"
#include "kiv/sqlite/statement.hpp"

struct sqlite3;
struct sqlite3_context;
struct sqlite3_value;

namespace kiv {

// SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE: the flags of queues and pools unless given.
inline constexpr int kSqDefaultOpenFlags = 6;
// SQLITE_OPEN_READONLY: a connection that only reads (and does not create the file).
inline constexpr int kSqOpenReadOnly = 1;
// The mobile platform's open flag for files without data protection. Accepted in open flags for
// compatibility and masked off before SQLite sees them: this platform has no such protection.
inline constexpr int kSqOpenFileProtectionNone = 0x400000;

// The stand-in for a C variable argument list of objects: the arguments, in order. The variadic
// templates (executeQuery(sql, args...)) build one from their arguments.
using SqArgumentList = std::span<const Value>;

// What the variadic templates take as an argument: anything that makes a Value (numbers, text,
// Values and their views, model objects). Other pointers do not compile.
template <class T>
concept SqArgument = std::constructible_from<Value, const T&>;

// The hash of the statement cache's SQL texts. It is transparent, so the cache is looked up by
// string_view without copying the text.
struct SqQueryHash {
  using is_transparent = void;  // lets lookups take a string_view
  std::size_t operator()(std::string_view text) const noexcept;  // a hash of the text's bytes
};
// The statement cache: SQL text -> the statements prepared for it (one per result set alive at
// once).
using SqStatementCache =
    std::unordered_map<std::string, std::vector<Ref<SqStatement>>, SqQueryHash, std::equal_to<>>;

// The row callback of executeStatements: column name -> the column's text (NULL: the null).
// A non-zero result aborts the statements.
using SqExecuteStatementsCallbackBlock = std::function<int(const Dictionary& resultsDictionary)>;
// An SQL function: receives SQLite's function context and arguments and sets the result itself
// (sqlite3_result_...).
using SqFunctionBlock = std::function<void(sqlite3_context* context, int argc, sqlite3_value** argv)>;

class SqDatabase : public Object {
 public:
  // --- Creation and lifecycle -------------------------------------------------------------------

  // A connection to the file at `path`, not yet open. An absent path means a private in-memory
  // database, "" a temporary on-disk one. Stops the process when SQLite is not thread-safe.
  explicit SqDatabase(const String& path = String());
  // The same connection, owned by a Ref: the way to make one, as result sets hold their
  // connection by Ref.
  static Ref<SqDatabase> databaseWithPath(const String& path = String());
  // Closes the connection (see close).
  ~SqDatabase() override;

  // The path as SQLite gets it: ":memory:" for an absent path.
  std::string sqlitePath() const;
  // Opens the file (read-write, created if missing); true when already open. Installs the busy
  // handler when maxBusyRetryTimeInterval > 0. Logs "error opening!: <code>" on failure.
  [[nodiscard]] bool open();
  // The same with SQLite open flags (SQLITE_OPEN_..., and kSqOpenFileProtectionNone). Unless they
  // ask for SQLITE_OPEN_FULLMUTEX, the connection takes no lock of SQLite's (SQLITE_OPEN_NOMUTEX),
  // as it is used by one thread at a time.
  [[nodiscard]] bool openWithFlags(int flags);
  // Finalizes the cached statements, closes the open result sets, then the connection; a
  // statement still prepared elsewhere is finalized with the log "Closing leaked statement".
  // Always true. The connection may be opened again.
  bool close();
  // Whether the connection is open and answers a query of the schema.
  bool goodConnection();
  // Whether the connection is open; logs "The SqDatabase <db> is not open." when not.
  bool databaseExists() const;

  // --- Accessors --------------------------------------------------------------------------------

  // The path given at creation: absent for a private in-memory database.
  const String& databasePath() const noexcept { return databasePath_; }
  // The SQLite handle; nullptr while closed.
  sqlite3* sqliteHandle() const noexcept { return db_; }

  // Whether failures are logged (default true).

  bool logsErrors() const noexcept { return logsErrors_; }
  void setLogsErrors(bool flag) noexcept { logsErrors_ = flag; }

  // Whether a statement that fails to prepare stops the process (default false).

  bool crashOnErrors() const noexcept { return crashOnErrors_; }
  void setCrashOnErrors(bool flag) noexcept { crashOnErrors_ = flag; }

  // Whether every statement and bound argument is logged (default false).

  bool traceExecution() const noexcept { return traceExecution_; }
  void setTraceExecution(bool flag) noexcept { traceExecution_ = flag; }

  // A mark for the owners of pools; nothing else reads it.

  bool checkedOut() const noexcept { return checkedOut_; }
  void setCheckedOut(bool flag) noexcept { checkedOut_ = flag; }

  // Whether prepared statements are cached by SQL text (default false). Turning it on makes an
  // empty cache when there is none; turning it off drops the cache, whose statements are
  // finalized when their last holder lets go of them. (Kept statements, below, are another
  // store.)

  bool shouldCacheStatements() const noexcept { return shouldCacheStatements_; }
  void setShouldCacheStatements(bool flag);

  // The cache itself; nullptr while caching is off.
  const std::shared_ptr<SqStatementCache>& cachedStatements() const noexcept { return cachedStatements_; }
  // Puts another cache (or none) in place of this one, whatever shouldCacheStatements says: the
  // queries and updates use the cache that is set. Its statements must be this connection's.
  void setCachedStatements(std::shared_ptr<SqStatementCache> cache) { cachedStatements_ = std::move(cache); }

  // How long (seconds) to retry while the database is locked elsewhere, about every 50 ms;
  // default 2. 0 or less: no retrying, a locked database fails at once. Setting it on an open
  // connection installs or removes the busy handler at once.

  double maxBusyRetryTimeInterval() const noexcept { return maxBusyRetryTimeInterval_; }
  void setMaxBusyRetryTimeInterval(double seconds);

  // Kept only to tell callers to use maxBusyRetryTimeInterval: both log; the getter returns -1
  // and the setter does nothing.

  int busyRetryTimeout() const;
  void setBusyRetryTimeout(int timeout);

  // Whether a result set handed out by the connection is still open.
  bool hasOpenResultSets() const noexcept { return !openResultSets_.empty(); }
  // Whether a transaction begun by beginTransaction (or its deferred form) is open. Follows SQLite
  // after failures: a statement or commit that failed so badly that SQLite rolled the transaction
  // back on its own (a full disk, an I/O error) leaves the connection outside a transaction.
  bool inTransaction() const noexcept;

  // "<SqDatabase: 0x...>".
  std::string description() const override;

  // --- Library ----------------------------------------------------------------------------------

  // The SQLite library's version text (sqlite3_libversion), such as "3.46.1".
  static std::string sqliteLibVersion();
  // Whether the SQLite library was built thread-safe; connections cannot be made otherwise.
  static bool isSQLiteThreadSafe();
  // The version of this layer: "2.3".
  static std::string SqDBUserVersion();
  // The same version as a number: 0x230.
  static std::uint32_t SqDBVersion();

  // --- Errors -----------------------------------------------------------------------------------

  // SQLite's message and result code for the connection's last call (sqlite3_errmsg,
  // sqlite3_errcode).

  std::string lastErrorMessage() const;
  int lastErrorCode() const;

  // Whether the last result code is an error (1 to 99; SQLITE_ROW and SQLITE_DONE are not).
  bool hadError() const;
  // {"SqDatabase", the last result code, message}.
  Error errorWithMessage(std::string_view message) const;
  // errorWithMessage(lastErrorMessage()): the last failure as an Error.
  Error lastError() const;

  // SQLite's last insert row id and change count; 0 while closed, and (logged) while a statement
  // executes.

  std::int64_t lastInsertRowId();
  int changes();

  // --- Statement cache --------------------------------------------------------------------------

  // A cached statement for the exact text that no result set is reading, or nullptr.
  Ref<SqStatement> cachedStatementForQuery(std::string_view query) const;
  // Adds the statement to the cache under the text (and sets its query).
  void setCachedStatement(const Ref<SqStatement>& statement, std::string_view query);
  // Finalizes and forgets every cached statement.
  void clearCachedStatements();

  // --- Result sets handed out -------------------------------------------------------------------

  // Called by a result set that closes.
  void resultSetDidClose(SqResultSet* resultSet);
  // Closes every result set handed out and still open (they no longer call back).
  void closeOpenResultSets();

  // --- Dates ------------------------------------------------------------------------------------

  // A formatter for the pattern, in GMT, with en_US names, for setDateFormat.
  static DateFormatter storeableDateFormat(std::string_view format);
  // Dates bind as the formatter's text and read back through it; nullopt: as seconds since 1970.
  void setDateFormat(std::optional<DateFormatter> format) { dateFormat_ = std::move(format); }
  // Whether a date format is set.
  bool hasDateFormatter() const noexcept { return dateFormat_.has_value(); }
  // The date format's formatter; nullptr without one.
  const DateFormatter* dateFormat() const noexcept { return dateFormat_ ? &*dateFormat_ : nullptr; }

  // Converts through the formatter; absent without one.

  Date dateFromString(std::string_view text) const;
  String stringFromDate(const Date& date) const;

  // --- Encryption -------------------------------------------------------------------------------

  // Setting or changing the key of an encrypted database: not in this build. Each returns false
  // and does nothing.

  bool setKey(std::string_view key);
  bool rekey(std::string_view key);
  bool setKeyWithData(const Data& keyData);
  bool rekeyWithData(const Data& keyData);

  // --- Queries ----------------------------------------------------------------------------------
  //
  // Each returns a result set before its first row, or nullptr (logged) when the connection is
  // closed or in use, the SQL does not prepare, or the arguments do not match its parameters.
  // Positional arguments bind to the parameters in order ("?", "?1", ":name" alike); surplus
  // ones are ignored. Dictionary arguments bind by name: key "id" to ":id"; a key without a
  // parameter is logged and skipped, but every parameter must get a value.

  template <SqArgument... Args>
  Ref<SqResultSet> executeQuery(std::string_view sql, const Args&... args) {
    return executeQueryWithVAList(sql, std::array<Value, sizeof...(Args)>{Value(args)...});
  }
  Ref<SqResultSet> executeQueryWithArgumentsInArray(std::string_view sql, const Array& arguments);
  Ref<SqResultSet> executeQueryWithParameterDictionary(std::string_view sql, const Dictionary& arguments);
  Ref<SqResultSet> executeQueryWithVAList(std::string_view sql, SqArgumentList arguments);
  // The format with printf-like escapes turned into "?" parameters, each bound to the next
  // argument converted as its escape says (see extractSQL): executeQueryWithFormat("select * from
  // t where name = %@ and age > %d", name, 18).
  template <SqArgument... Args>
  Ref<SqResultSet> executeQueryWithFormat(std::string_view format, const Args&... args) {
    return executeQueryWithFormatList(format, std::array<Value, sizeof...(Args)>{Value(args)...});
  }

  // --- Updates ----------------------------------------------------------------------------------
  //
  // Each steps the statement once and returns whether it finished (SQLITE_DONE or SQLITE_OK);
  // arguments as for queries. A statement that yields a row (a SELECT) fails.

  template <SqArgument... Args>
  [[nodiscard]] bool executeUpdate(std::string_view sql, const Args&... args) {
    return executeUpdateWithVAList(sql, std::array<Value, sizeof...(Args)>{Value(args)...});
  }
  [[nodiscard]] bool executeUpdateWithArgumentsInArray(std::string_view sql, const Array& arguments);
  [[nodiscard]] bool executeUpdateWithParameterDictionary(std::string_view sql, const Dictionary& arguments);
  [[nodiscard]] bool executeUpdateWithVAList(std::string_view sql, SqArgumentList arguments);
  template <SqArgument... Args>
  [[nodiscard]] bool executeUpdateWithFormat(std::string_view format, const Args&... args) {
    return executeUpdateWithFormatList(format, std::array<Value, sizeof...(Args)>{Value(args)...});
  }
  // Also sets `*outError` (when given) when the SQL does not prepare.
  template <SqArgument... Args>
  [[nodiscard]] bool executeUpdateWithErrorAndBindings(std::string_view sql, Error* outError, const Args&... args) {
    const std::array<Value, sizeof...(Args)> arguments{Value(args)...};
    return executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(sql, outError, Array(), Dictionary(),
                                                                          arguments);
  }
  // The older name of executeUpdateWithErrorAndBindings.
  template <SqArgument... Args>
  [[nodiscard]] bool update(std::string_view sql, Error* outError, const Args&... args) {
    return executeUpdateWithErrorAndBindings(sql, outError, args...);
  }

  // --- Kept statements --------------------------------------------------------------------------
  //
  // For callers that run a few texts again and again with different values: the statement of a
  // text is prepared on its first run and kept, by its text, until the connection closes, whether
  // or not shouldCacheStatements is on. Binding (positional), logging and results are those of
  // executeUpdate and executeQuery. A kept statement of a table that was dropped since fails when
  // stepped, with the step's log lines.

  [[nodiscard]] bool executeKeptUpdate(std::string_view sql, SqArgumentList arguments);
  Ref<SqResultSet> executeKeptQuery(std::string_view sql, SqArgumentList arguments);

  // --- Several statements, SQL functions --------------------------------------------------------

  // Runs the semicolon-separated statements; the block, when given, receives each result row.
  // Returns whether all ran; logs "Error inserting batch: <message>" otherwise.
  [[nodiscard]] bool executeStatements(std::string_view sql, const SqExecuteStatementsCallbackBlock& block = {});
  // Registers a scalar SQL function of `maximumArguments` arguments (-1: any) while the connection
  // is open (not again after a reopen).
  void makeFunctionNamed(std::string_view name, int maximumArguments, SqFunctionBlock block);

  // Turns the printf-like escapes of `sql` into "?" and appends to `arguments` the values of
  // `args`, one per escape and in order, each converted as its escape says: %@ the value as it
  // is; %c a one-character string (charValue); %s the value's text (a string as it is, else its
  // "%@" text); %d %i %D int; %u %U unsigned; %f double; %g float; %hi %hu short, unsigned short;
  // %ld %lu long, unsigned long; %lld %llu and %qi %qu long long, unsigned long long (numbers read
  // leniently, as the Value accessors read them). An absent argument, and an escape with no
  // argument left, add neither "?" nor an argument (the placeholder vanishes); surplus arguments
  // are ignored. A "%" is never copied; another character after "%" is copied alone ("%%" gives
  // "%") and reads no argument, and the character after such an escape is again read as an
  // escape character.
  static void extractSQL(std::string_view sql, SqArgumentList args, std::string& cleanedSQL,
                         const MutableArray& arguments);

  // --- Transactions and savepoints --------------------------------------------------------------
  //
  // Each runs one update and returns its result; inTransaction follows begin/commit/rollback
  // that succeed.

  [[nodiscard]] bool beginTransaction();          // "begin exclusive transaction"
  [[nodiscard]] bool beginDeferredTransaction();  // "begin deferred transaction"
  [[nodiscard]] bool commit();
  [[nodiscard]] bool rollback();
  // Start, release or roll back to a savepoint. Savepoint names are quoted ("'" doubled). On
  // failure `*outError` gets lastError().

  [[nodiscard]] bool startSavePointWithName(std::string_view name, Error* outError = nullptr);
  [[nodiscard]] bool releaseSavePointWithName(std::string_view name, Error* outError = nullptr);
  [[nodiscard]] bool rollbackToSavePointWithName(std::string_view name, Error* outError = nullptr);

  // Runs the block inside a savepoint named "dbSavePoint<n>" (n counts process-wide); rolls back
  // to it when the block sets *rollback, then releases it. Returns the last failure, if any.
  [[nodiscard]] std::optional<Error> inSavePoint(const std::function<void(bool* rollback)>& block);

  // --- Single values and the schema -------------------------------------------------------------
  //
  // The single-value queries read column 0 of the first row; with no row (or a failed query)
  // they return 0, false or absent.

  template <SqArgument... Args>
  String stringForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...},
                         &SqResultSet::stringForColumnIndex, String());
  }
  template <SqArgument... Args>
  std::int32_t intForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...}, &SqResultSet::intForColumnIndex,
                         std::int32_t{0});
  }
  template <SqArgument... Args>
  std::int64_t longForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...}, &SqResultSet::longForColumnIndex,
                         std::int64_t{0});
  }
  template <SqArgument... Args>
  bool boolForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...}, &SqResultSet::boolForColumnIndex,
                         false);
  }
  template <SqArgument... Args>
  double doubleForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...},
                         &SqResultSet::doubleForColumnIndex, 0.0);
  }
  template <SqArgument... Args>
  Data dataForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...}, &SqResultSet::dataForColumnIndex,
                         Data());
  }
  template <SqArgument... Args>
  Date dateForQuery(std::string_view sql, const Args&... args) {
    return valueForQuery(sql, std::array<Value, sizeof...(Args)>{Value(args)...}, &SqResultSet::dateForColumnIndex,
                         Date());
  }

  // Whether a table (not a view or index) of this name in any letter case exists in the main
  // schema.
  bool tableExists(std::string_view tableName);
  // The schema listing: type, name, tbl_name, rootpage, sql of every table, index, view and
  // trigger, temporary ones included, SQLite's own left out.
  Ref<SqResultSet> getSchema();
  // "pragma table_info('<table>')": cid, name, type, notnull, dflt_value, pk per column. The
  // name is put between quotes as it stands.
  Ref<SqResultSet> getTableSchema(std::string_view tableName);
  // Whether the table has the column, both names in any letter case; false when the table's
  // schema cannot be read. Note the argument orders.

  bool columnExistsInTableWithName(std::string_view columnName, std::string_view tableName);
  bool columnExistsColumnName(std::string_view tableName, std::string_view columnName);

  // The file header's application id and user version (pragma application_id, user_version);
  // 0 when they cannot be read. All 32 bits are kept. A failure to set one is logged, and the
  // header stays as it was.

  std::uint32_t applicationID();
  void setApplicationID(std::uint32_t applicationID);
  std::uint32_t userVersion();
  void setUserVersion(std::uint32_t version);

  // Whether the SQL compiles (it is not run). On failure `*outError` gets {"NSCocoaErrorDomain",
  // lastErrorCode, lastErrorMessage}.
  [[nodiscard]] bool validateSQL(std::string_view sql, Error* outError = nullptr);

 private:
  class ExecutingStatement;

  static int SqDBDatabaseBusyHandler(void* context, int count);

  // The format forms after extractSQL: the array form of the query or update.
  Ref<SqResultSet> executeQueryWithFormatList(std::string_view format, SqArgumentList arguments);
  bool executeUpdateWithFormatList(std::string_view format, SqArgumentList arguments);
  // Logs "The SqDatabase <db> is currently in use.".
  void warnInUse() const;

  // The arguments of one run of the core query or update: only one of the three sources is used,
  // and the statement comes from `cache` when it is not null.
  struct Arguments {
    const Array& array;
    const Dictionary& dictionary;
    SqArgumentList list;
  };
  // The one query operation and the one update operation that every form goes through.
  Ref<SqResultSet> executeQueryWithArgumentsInArrayOrDictionaryOrVAList(std::string_view sql, const Array& arrayArgs,
                                                                        const Dictionary& dictionaryArgs,
                                                                        SqArgumentList listArgs);
  bool executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(std::string_view sql, Error* outError,
                                                                      const Array& arrayArgs,
                                                                      const Dictionary& dictionaryArgs,
                                                                      SqArgumentList listArgs);
  Ref<SqResultSet> runQuery(std::string_view sql, const Arguments& arguments, SqStatementCache* cache);
  bool runUpdate(std::string_view sql, Error* outError, const Arguments& arguments, SqStatementCache* cache);
  // The statement cache in use by the plain forms, or null while caching is off.
  SqStatementCache* statementCache() const noexcept { return cachedStatements_.get(); }
  // The cache's statement for the text that no result set is reading, or null.
  static Ref<SqStatement> freeStatementIn(const SqStatementCache* cache, std::string_view query);
  // Adds the statement to the cache under the text (and sets its query); nothing without a cache.
  static void keepStatementIn(SqStatementCache* cache, const Ref<SqStatement>& statement, std::string_view query);
  // Finalizes and forgets every statement of the cache.
  static void closeStatementsIn(SqStatementCache& cache);
  // The statement for the SQL: a free one of the cache (reset) or a newly prepared one; nullptr,
  // logged, when it does not prepare.
  Ref<SqStatement> statementForQuery(std::string_view sql, SqStatementCache* cache, bool* fromCache);
  // A statement with the arguments bound, as the core query and update run it.
  struct BoundStatement {
    Ref<SqStatement> statement;  // nullptr when the SQL did not prepare
    bool fromCache = false;
    int parameterCount = 0;
    int boundCount = 0;
    bool complete() const noexcept { return boundCount == parameterCount; }
  };
  // Traces the SQL as `operation`, takes its statement (statementForQuery) and binds the
  // arguments; a statement that not every parameter got a value for is finalized.
  BoundStatement boundStatementForQuery(std::string_view operation, std::string_view sql, const Arguments& arguments,
                                        SqStatementCache* cache);
  // Binds the arguments; returns how many parameters got a value.
  int bindArguments(SqStatement& statement, int parameterCount, const Arguments& arguments);
  void logStepFailure(int code, std::string_view sql) const;
  // Runs the statement that begins or ends a transaction; on success inTransaction() becomes
  // `inTransactionAfter`.
  bool runTransactionStatement(const char* sql, bool inTransactionAfter);
  // Runs `command` followed by the quoted savepoint name and ";"; a failure goes to `*outError`.
  bool runSavePointStatement(const char* command, std::string_view name, Error* outError);

  template <class T>
  T valueForQuery(std::string_view sql, SqArgumentList arguments, T (SqResultSet::*read)(int) const, T noRow) {
    Ref<SqResultSet> resultSet = executeQueryWithVAList(sql, arguments);
    if (!resultSet || !resultSet->next()) return noRow;
    T value = ((*resultSet).*read)(0);
    resultSet->close();
    return value;
  }
  std::uint32_t pragmaValue(const char* pragma);
  void setPragmaValue(std::string sql);

  sqlite3* db_ = nullptr;
  String databasePath_;
  bool logsErrors_ = true;
  bool crashOnErrors_ = false;
  bool traceExecution_ = false;
  bool checkedOut_ = false;
  bool shouldCacheStatements_ = false;
  bool isExecutingStatement_ = false;
  bool inTransaction_ = false;
  double maxBusyRetryTimeInterval_ = 2.0;
  double startBusyRetryTime_ = 0;
  std::shared_ptr<SqStatementCache> cachedStatements_;
  SqStatementCache keptStatements_;
  std::vector<SqResultSet*> openResultSets_;  // not owned
  std::list<SqFunctionBlock> openFunctions_;  // a list: SQLite holds pointers to the elements
  std::optional<DateFormatter> dateFormat_;
};

}  // namespace kiv

#endif  // KIV_SQLITE_DATABASE_HPP_
