// KivStorage: model objects kept by class, in a memory cache per class and a table per class in
// one SQLite file.
//
// Set-up. registerMapper() gives the storage the application's class map; registerDbPath() (or
// switchDataBase()) gives it a database and checks the schema version; configDataBase() makes
// sure the tables of the classes exist with the right columns. Without a database every read
// finds nothing and every write does nothing.
//
// Tables. A class's table is named "kiv_<class name in lower case>_v<version>" and has one column
// per stored property (the lower-cased names of the class chain's kiv_dbStoreProperty that
// declare a property), the key property as primary key with a unique index, and the column
// "kiv_update_time", the time of the row's last write in seconds since 1970. A table whose column
// set no longer matches its class is dropped and created afresh (its rows are lost). The one-row
// table "kv_version" holds the schema version of the file's tables; when the class map's version
// differs, every table whose name starts with "kiv" is dropped. A class map may ask to keep the
// rows instead (kiv_keepsDataOnSchemaChange, kiv_keepsDataOnVersionChange, class_map.hpp): then
// stale tables are changed, and a new version's tables copied, each change in one transaction.
//
// Memory caches. Each class has a cache of at most 200 models by key value (the value of the
// property that the class's kiv_key names; the number 42 and the text "42" are different keys),
// which may also lose entries under memory pressure. Saves put models into it at once, merging a
// model into a cached instance with the same key, so that holders of the cached instance see the
// new values. A read by key is answered from the cache when it can be; reads by condition and of
// all rows refresh it. Deletes touch only the table: a deleted model stays readable while cached.
//
// Rows are addressed by key: the row whose key column (the class's kiv_key) equals the "%@" text of
// the key value, compared as SQLite compares a column with a text (so the text "42" finds the row
// of the number 42, and keys with quotes need no escaping). Every value the storage writes or
// looks up is bound as a parameter, never written into SQL text; each statement is prepared once
// per connection and kept. Conditions (modelsQuery, deleteWithCondition) are SQL written into the
// statement as they stand, as their callers give them.
//
// Writes. A row whose key exists is updated with the columns the model sets (the others keep
// their values); any other row is written whole: the update by key comes first, and one that
// changes nothing tells that the row is new. Each call's rows are written in order in one
// transaction, so a key saved twice in one call ends with the later model's columns over the
// earlier one's. A row whose statement fails (a table or
// column that does not exist, a constraint) is skipped and logged; a failure of the file itself (a
// full disk, an I/O error, a read-only or damaged file) or of the commit rolls the whole
// transaction back, so a failed save leaves none of its rows. (Inside a transaction the
// application opened on the database, the storage neither commits nor rolls back.) Large calls
// write in slices of a few hundred rows, between which other threads' reads run: a read waits
// for one slice, not for the whole call, and may see the rows of a call not yet committed.
//
// Reads. Where the file allows it, the storage puts it in SQLite's WAL journal mode and reads
// through a second, read-only connection: a read never waits for a write in progress (not even
// for its commit), and sees the rows as last committed. (Rows that a transaction the application
// opened on the database has written show once it commits.) A file that cannot be put in WAL
// mode (read-only, in memory) is read through the database's own connection.
//
// Background writes. setModel() caches the model, takes its row at once, and queues the row: the
// rows waiting are written in submission order, as many as wait in one transaction (a stream of
// single saves reaches the file at close to setModels speed). At most backgroundWriteLimit() rows
// wait: a caller that runs further ahead writes them itself first. Every other operation that
// touches the table (writes, deletes, reads from the table) first waits for the rows queued
// before it, so the table always ends in the state of the last call made, and a read sees every
// save made before it. waitUntilBackgroundWritesFinish() waits for them, and so does the
// destructor, so no save is lost when the storage goes. The read with a completion runs on a
// background queue of the storage. Do not destroy a storage from one of its own completions.
//
// Threads. Every operation may be called from any thread; database work is serialised by the
// database's queue, and the storage's writes by the storage. A cached model is shared by every
// reader of its key, and a save merges into it: save and change one key's models from one thread
// at a time (models are not synchronised). Registration (class map, path) is expected before the
// storage is shared.
//
// Failures are not reported by the operations: nothing found, nothing written. The SQLite layer
// logs each error; lastError() keeps the last one of the storage's statements, and a damaged file
// is logged once, naming the file.
#ifndef KIV_STORAGE_STORAGE_HPP_
#define KIV_STORAGE_STORAGE_HPP_

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/background_queue.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/error.hpp"
#include "kiv/foundation/memory_cache.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class_info.hpp"
#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"
#include "kiv/storage/change.hpp"

namespace kiv {

class ChangeObservers;
class PendingWrites;
class RowLayout;
class SqDatabase;
class SqResultSet;
struct StoredRow;
class TableSql;
struct TableDesign;

// The most models a class's memory cache holds.
inline constexpr std::size_t kKivModelCacheCountLimit = 200;
// The column of every model table that holds the time of the row's last write.
inline constexpr std::string_view kKivUpdateTimeColumn = "kiv_update_time";
// The table that holds the schema version of the file's model tables.
inline constexpr std::string_view kKivVersionTable = "kv_version";
// The most rows of single saves that wait to be written, unless set otherwise.
inline constexpr std::size_t kKivDefaultBackgroundWriteLimit = 4096;

class KivStorage {
 public:
  // What a read with a completion calls with the model it found (null: none).
  using Completion = std::function<void(Ref<KivModel> model)>;

  // No database and no class map.
  KivStorage();
  // Waits until every background write has reached the table.
  ~KivStorage();
  // Not copyable: a storage owns its memory caches, queues and waiting rows.
  KivStorage(const KivStorage&) = delete;
  KivStorage& operator=(const KivStorage&) = delete;

  // --- Set-up -----------------------------------------------------------------------------------

  // Uses the class map from now on when it is KivClassMap or a subclass; ignores anything else.
  // Does not check the version again.
  void registerMapper(const Class* mapper);
  // Opens the database at the path (created when missing) unless the path is empty, then as
  // switchDataBase().
  void registerDbPath(const String& path);
  // Uses the database (ignored when null): first waits for the background writes (they reach the
  // database they were saved on), then forgets the memory caches (the last one handed out stays
  // reachable as useCache) and checks the version table (ensureTableVersion()).
  void switchDataBase(const Ref<OxSimpleDatabase>& database);
  // ensureTable() for each model class of the array, in order; other elements are skipped. Each
  // class (and its superclasses) is described first, so that models made before any read or
  // write keep what was set on them.
  void configDataBase(const Array& classes);

  // The class map in use, or null.
  const ClassMapClass* mapper() const noexcept { return mapper_.load(std::memory_order_acquire); }
  // The database in use, or null.
  Ref<OxSimpleDatabase> database() const;
  // The last error that SQLite reported for one of the storage's statements since its database
  // was registered: {"SqDatabase", SQLite's result code (SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_FULL,
  // ...), message}; an empty error while there was none.
  Error lastError() const;

  // --- Reads ------------------------------------------------------------------------------------

  // The cached model of the key, else the model read from the table (then cached under the key
  // as given); null when neither has it.
  Ref<KivModel> modelWith(const Value& keyValue, const ModelClass& cls);
  // modelWith() on the storage's background queue, then the completion with its result on that
  // queue (never on the caller's thread). A null completion does nothing.
  void modelWith(const Value& keyValue, const ModelClass& cls, Completion completion);
  // The models of the keys that modelWith() finds, in order; absent for an absent or empty array.
  Array modelsWith(const Array& keyValues, const ModelClass& cls);
  // Every model of the table (see modelsQuery), each then cached under its key.
  Array allModels(const ModelClass& cls);
  // The model of the key read from the table, or null; the cache is not touched.
  Ref<KivModel> dbModel(const Value& keyValue, const ModelClass& cls);
  // modelsQuery() with no condition and no limit.
  Array dbModelsWith(const ModelClass& cls);
  // The models of the rows that match the condition (every row for an empty one), at most
  // `limit` of them (0: no limit), each cached under its key in place of a cached instance. An
  // empty array when nothing matched or there is no database.
  Array modelsQuery(std::string_view condition, std::int32_t limit, const ModelClass& cls);

  // --- Writes -----------------------------------------------------------------------------------

  // setModel(model, its own class).
  void setModel(const Ref<KivModel>& model);
  // Caches the model (see transactionModel) and writes its row, as it is now, in the background
  // (see setDbModel). A null model does nothing.
  void setModel(const Ref<KivModel>& model, const ModelClass& cls);
  // Caches the model under its key value: merged into a cached instance of the same key when
  // there is one, else stored. Returns the model given; no database work.
  Ref<KivModel> transactionModel(const Ref<KivModel>& model, const ModelClass& cls);
  // Caches every model with its own class, then setDbModels() of all of them with the first
  // model's class. Elements that are no models are skipped.
  void setModels(const Array& models);
  // Caches every model with its own class, then writes each one's row into its own class's table
  // with REPLACE, in one transaction: any row with the same key is replaced whole (columns the
  // model does not set become NULL). The fast path: no look-up, no update.
  void batchModels(const Array& models);
  // Writes the model's row into the class's table now: updates the row of its key (columns the
  // row does not hold keep their values), or else writes it. The row holds the stored properties
  // that are set, and the update time.
  void setDbModel(const Ref<KivModel>& model, const ModelClass& cls);
  // setDbModel() for every model into the class's table, whatever the models' own classes, in
  // order, in one transaction.
  void setDbModels(const Array& models, const ModelClass& cls);
  // Blocks until every background write submitted so far has reached the table, and the
  // observers have been told of it.
  void waitUntilBackgroundWritesFinish();

  // The most rows of single saves that wait to be written (0: no limit); see above. A new limit
  // applies to the saves that follow; rows already waiting stay queued.

  std::size_t backgroundWriteLimit() const;
  void setBackgroundWriteLimit(std::size_t rows);

  // --- Typed calls: the class is T's (one that declares its own KIV_MODEL) ------------------------
  //
  // Each is the call of the same name above with T::kivClass() as the class. A T's table may hold
  // models of other classes (a write puts models into the table it is given): the reads hand back
  // T's only.

  // configDataBase() for the classes of the Ts, in order.
  template <DeclaredModel... T>
  void configDataBase() {
    configDataBase(Array{Value(&T::kivClass())...});
  }
  // The key's model as a T; null when there is none or it is no T.
  template <DeclaredModel T>
  Ref<T> modelWith(const Value& keyValue) {
    return modelCast<T>(modelWith(keyValue, T::kivClass()));
  }
  // The completion gets null when the key's model is no T (a T's table may hold other classes').
  template <DeclaredModel T>
  void modelWith(const Value& keyValue, std::function<void(Ref<T>)> completion) {
    if (!completion) return;
    modelWith(keyValue, T::kivClass(), [completion = std::move(completion)](Ref<KivModel> model) {
      completion(modelCast<T>(std::move(model)));
    });
  }

  // What modelsWith(), allModels() and modelsQuery() find, as T's in order; models that are no T
  // are left out.

  template <DeclaredModel T>
  std::vector<Ref<T>> modelsWith(const Array& keyValues) {
    return modelsOf<T>(modelsWith(keyValues, T::kivClass()));
  }
  template <DeclaredModel T>
  std::vector<Ref<T>> allModels() {
    return modelsOf<T>(allModels(T::kivClass()));
  }
  template <DeclaredModel T>
  std::vector<Ref<T>> modelsQuery(std::string_view condition, std::int32_t limit = 0) {
    return modelsOf<T>(modelsQuery(condition, limit, T::kivClass()));
  }

  // setModels() and batchModels() of the T's of a span or a vector, in order.

  template <DeclaredModel T>
  void setModels(std::span<const Ref<T>> models) {
    setModels(arrayOf(models));
  }
  template <DeclaredModel T>
  void setModels(const std::vector<Ref<T>>& models) {
    setModels(std::span<const Ref<T>>(models));
  }
  template <DeclaredModel T>
  void batchModels(std::span<const Ref<T>> models) {
    batchModels(arrayOf(models));
  }
  template <DeclaredModel T>
  void batchModels(const std::vector<Ref<T>>& models) {
    batchModels(std::span<const Ref<T>>(models));
  }

  // --- Change observation (see change.hpp) ------------------------------------------------------

  // Observes the changes of every class, of the class, or of the model class T.
  [[nodiscard]] KivObservation observe(KivChangeObserver observer);
  [[nodiscard]] KivObservation observe(const ModelClass& cls, KivChangeObserver observer);
  template <class T>
  [[nodiscard]] KivObservation observe(KivChangeObserver observer) {
    return observe(T::kivClass(), std::move(observer));
  }

  // --- Deletes (the memory cache keeps its models) ----------------------------------------------
  //
  // Each first waits for the background writes queued before it, and tells the observers once
  // its statement ran; without a database it does nothing.

  // Deletes the row of the key (see "Rows are addressed by key" above); observers get the key in
  // deletedKeys, whether or not a row had it. Nothing for a class whose kiv_key is empty.
  void deleteWith(const Value& keyValue, const ModelClass& cls);
  // `condition` is an SQL condition written into the statement as it stands.
  void deleteWithCondition(std::string_view condition, const ModelClass& cls);
  // Deletes every row of the class's table.
  void deleteAllWithClass(const ModelClass& cls);

  // --- Old data ---------------------------------------------------------------------------------

  // Deletes the class's rows written more than the class map's kiv_clearTimeInterval seconds
  // ago, with the condition "kiv_update_time < <cut-off with six decimals>"; returns whether the
  // statement ran (false without a database). Cached models stay.
  [[nodiscard]] bool clearOldDatas(const ModelClass& cls);
  // Drops each existing table that the class map's oldTabels names.
  void clearOldTables();

  // --- Lookups ----------------------------------------------------------------------------------

  // The class's memory cache, made on first use; the one most recently handed out is found
  // without a lock. Every cache lives as long as the storage.
  MemoryCache& matchCache(const ModelClass& cls);
  // Empties every memory cache of the storage (they outlive a change of database by design).
  void clearCaches();
  // The delegate operation of the memory caches: eviction is not reported anywhere.
  static void cache(MemoryCache& cache, const Value& evictedObject);
  // The class's table on the database in use (not created here), or null without a database.
  Ref<OxDbCollection> matchTable(const ModelClass& cls);

  // The memory cache most recently handed out, or null.
  MemoryCache* useCache() const;
  // A collection kept for the application; the storage neither sets nor reads it. Any thread may
  // read and set it.

  Ref<OxDbCollection> useTable() const;
  void setUseTable(Ref<OxDbCollection> table);

  // --- Schema -----------------------------------------------------------------------------------

  // "kiv_<class name in lower case>_v<version>", computed once per class and storage with the
  // version of the class map at that time (0 without one).
  String tableName(const ModelClass& cls);
  // Creates the class's table when missing, or re-creates it when its columns differ from
  // dbProperty(): first dropping and re-creating the tables of the classes that depend on it.
  // Either way then empties the tables that the class map ties to the class. Where the class map
  // keeps the class's data on schema changes, a table whose columns, column types or key differ
  // from those createTable gives is changed with its rows instead, in one transaction; once it
  // changed, the tables tied to it are treated as above.
  void ensureTable(const ModelClass& cls);
  // Creates the version table with the current version when missing; when its row holds another
  // version, sets the row to the current one and drops every table whose name starts with "kiv"
  // (in any letter case). Where the class map keeps data on version changes, instead copies the
  // model tables of the row's version to their names at the current version, keeps the JSON
  // cache table and drops the other "kiv" tables, all in one transaction with the row's update.
  // A version table without its row is left as it is.
  void ensureTableVersion();
  // The expected column names: the class chain's stored names in lower case (whether or not
  // they name a property) and "kiv_update_time".
  std::set<std::string> dbProperty(const ModelClass& cls);
  // Stored property name -> descriptor, over the class chain (a name listed again by a
  // superclass takes its descriptor); names that declare no property are left out.
  PropertyDict valueTypes(const ModelClass& cls);
  // "CREATE TABLE <table> (<createSql>);" and "CREATE UNIQUE INDEX idx_<table> ON <table>(<key>);"
  // with the class's key in lower case; failures are ignored.
  void createTable(OxDbCollection& table, const ModelClass& cls);
  // The column list: "<name> <type>," per property ("<name> <type> PRIMARY KEY," for the key),
  // then "kiv_update_time TIMESTAMP".
  static std::string createSql(const PropertyDict& valueTypes, std::string_view primaeyKey);
  // The column type, with a blank on each side: " BOOL ", " INTEGER ", " FLOAT ", " DOUBLE ",
  // " VARCHAR(50) " for objects, " VARCHAR(20) " otherwise; a date property " TIMESTAMP " and a
  // number object " DOUBLE ".
  static std::string_view sqliteValueType(const KivProPertyInfo& info);
  // Empties every existing table that the class map's clearTableforClass names for the class.
  void clearTablesWithClass(const ModelClass& cls);
  // Drops and creates afresh the tables of the classes that the class map's modelsDependOnModel
  // names for the class (one level, no recursion).
  void dropTablesWithClass(const ModelClass& cls);

 private:
  template <class T>
  static Array arrayOf(std::span<const Ref<T>> models) {
    const MutableArray array = MutableArray::array(models.size());
    for (const Ref<T>& model : models) array.addObject(Value(model));
    return array;
  }

  // A class's table together with the database that it belongs to, held as long as the table is
  // in use (a collection whose database has gone finds nothing).
  struct HeldTable {
    Ref<OxSimpleDatabase> database;
    Ref<OxDbCollection> table;
    explicit operator bool() const noexcept { return static_cast<bool>(table); }
    OxDbCollection* operator->() const noexcept { return table.get(); }
  };
  // A class's memory cache with the class that the lock-free shortcut compares.
  struct ClassCache {
    ClassCache(const ModelClass& cls);
    const ModelClass* const cls;
    MemoryCache cache;
  };
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>()(name); }
  };
  // How a statement's failure bears on the write it belongs to.
  enum class RowResult { kWritten, kSkipped, kAborted };
  class Writer;

  // --- Table designs (storage_schema.cpp) and schema changes that keep the stored models
  // (storage_migration.cpp) ---
  enum class Migration { kUpToDate, kMigrated, kFailed };
  // The table as createTable makes it for the class.
  TableDesign tableDesign(std::string_view table, const ModelClass& cls);
  // Brings the class's existing table to its design in one transaction (see the class map's
  // kiv_keepsDataOnSchemaChange); a failure is logged and changes nothing.
  Migration migrateTable(OxDbCollection& table, const ModelClass& cls);
  // The version change that keeps the models (see the class map's kiv_keepsDataOnVersionChange),
  // from the file's version `from` to the current one, in one transaction that also writes the
  // version row; a failure is logged and changes nothing.
  void keepTablesOfVersion(OxSimpleDatabase& db, std::int64_t from);

  HeldTable heldTable(const ModelClass& cls);
  std::int64_t version() const;
  // The cache of the class in cacheQueue_, made and entered when missing.
  ClassCache& cacheFor(const ModelClass& cls);
  // Empties cacheQueue_ for a new database.
  void forgetCaches();
  // The statements of the class's table for models laid out as `layout`, made on first use.
  TableSql& tableSql(const ModelClass& tableClass, const RowLayout& layout);

  // transactionModel() for every model of the array with its own class.
  void cacheEach(const Array& models);
  // Gives rows [first, end) of a write's `count`, in a buffer that the next call may reuse.
  using RowSlices = std::function<std::span<StoredRow>(std::size_t first, std::size_t end)>;
  // Writes `count` rows in order in one transaction, a slice at a time (see above); `replace`
  // writes whole rows without looking up their keys. Waits for nothing: callers flush the queued
  // rows first.
  void writeRows(std::size_t count, const RowSlices& slices, bool replace);
  // The same for rows taken already.
  void writeRows(std::vector<StoredRow>& rows, bool replace);
  // Flushes the queued rows, then writes the models' rows, for the table of `tableClass` or, when
  // it is null, of each model's own class. Each slice's rows are taken just before it is written,
  // so a large call never holds the rows of all its models at once.
  void writeModels(const Array& models, const ModelClass* tableClass, bool replace);
  // Waits until the rows of single saves queued so far are written.
  void flushPendingWrites();

  // A read-only connection to the database's file, which this puts in WAL mode; null when the
  // file cannot have one.
  static Ref<SqDatabaseQueue> readConnectionFor(OxSimpleDatabase& database);
  // Runs block(SqDatabase&) on the read connection, or on the database's own without one; the
  // result of the block, value-initialised when it did not run.
  template <class Block>
  auto onReadConnection(const Ref<OxSimpleDatabase>& db, Block&& block);

  // The model of the result set's current row for the class, built straight from its columns.
  Ref<KivModel> modelFromRow(SqResultSet& row, const RowLayout& layout, std::vector<int>& columnIndexes);
  // The models of every row of the query, each cached under its key value; none without a
  // database.
  Array modelsFromQuery(const ModelClass& cls, std::string_view condition, std::int32_t limit);

  // Keeps the connection's last error when the statement that just ran failed, and logs a
  // damaged file once.
  void noteFailure(SqDatabase& db);
  // Tells the observers, if any, that rows of the class (null: of any class) changed that cannot
  // be named.
  void noteUnnamedChange(const ModelClass* cls);

  // Class name -> its memory cache; guarded by lock_ for each single read or write.
  std::unordered_map<std::string, ClassCache*, NameHash, std::equal_to<>> cacheQueue_;
  // Every cache ever made, kept so that the caches handed out stay valid when a new database
  // makes the storage forget them; guarded by lock_.
  std::vector<std::unique_ptr<ClassCache>> madeCaches_;
  // Class name -> table name.
  MemoryCache tableQueue_;
  // The database in use, its read connection and useTable; guarded by databaseLock_.
  Ref<OxSimpleDatabase> oxdb_;
  Ref<SqDatabaseQueue> readDb_;
  Ref<OxDbCollection> useTable_;
  mutable SpinLock databaseLock_;
  SpinLock lock_;
  std::atomic<const ClassMapClass*> mapper_{nullptr};
  // The cache most recently handed out.
  std::atomic<ClassCache*> useCache_{nullptr};
  // (table name, layout) -> its statements; guarded by sqlMutex_, entries never removed.
  std::map<std::pair<std::string, const RowLayout*>, std::unique_ptr<TableSql>> tableSql_;
  std::mutex sqlMutex_;
  // Held by each write for its whole length, so that no other write of the storage interleaves.
  std::mutex writeMutex_;
  // The last error of the storage's statements; guarded by errorMutex_.
  Error lastError_;
  bool corruptionLogged_ = false;
  mutable std::mutex errorMutex_;
  // The observers of changes; shared with the observations handed out.
  const std::shared_ptr<ChangeObservers> observers_;
  // The rows of single saves waiting to be written. Its batches refer to the storage by a plain
  // pointer: the destructor writes them all before the storage goes.
  std::unique_ptr<PendingWrites> pendingWrites_;
  // Reads with a completion, in submission order; the destructor waits for them.
  BackgroundQueue readQueue_;
};

template <class Block>
auto KivStorage::onReadConnection(const Ref<OxSimpleDatabase>& db, Block&& block) {
  Ref<SqDatabaseQueue> reader;
  {
    std::lock_guard<SpinLock> guard(databaseLock_);
    reader = readDb_;
  }
  return reader ? reader->inDatabase(std::forward<Block>(block)) : db->inDatabase(std::forward<Block>(block));
}

}  // namespace kiv

#endif  // KIV_STORAGE_STORAGE_HPP_
