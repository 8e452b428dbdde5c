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
// set no longer matches its class is dropped and created afresh (its rows are lost, there is no
// migration). The one-row table "kv_version" holds the schema version of the file's tables; when
// the class map's version differs, every table whose name starts with "kiv" is dropped.
//
// Memory caches. Each class has a cache of at most 200 models by key value (the value of the
// property that the class's kiv_key names; the number 42 and the text "42" are different keys),
// which may also lose entries under memory pressure. Saves put models into it at once, merging a
// model into a cached instance with the same key, so that holders of the cached instance see the
// new values. A read by key is answered from the cache when it can be; reads by condition and of
// all rows refresh it. Deletes touch only the table: a deleted model stays readable while cached.
//
// Rows are addressed by key with the row condition <key>='<key value's "%@" text>', the key named
// as the class's kiv_key gives it. A single quote inside the text is doubled, so keys with quotes
// save and read back; plain keys give exactly that text. SQLite compares the text with the
// column's affinity, so the text "42" finds the row of the number 42.
//
// Background writes. setModel() caches the model, takes its row at once, and writes the row later
// on the storage's own background queue: the writes of one storage reach the table in the order
// of their saves. waitUntilBackgroundWritesFinish() waits for them, and so does the destructor,
// so no save is lost when the storage goes. The read with a completion runs on the same queue.
// Do not destroy a storage from one of its own background tasks (a completion).
//
// Threads. Every operation may be called from any thread; database work is serialised by the
// database's queue. A cached model is shared by every reader of its key, and a save merges into
// it: save and change one key's models from one thread at a time (models are not synchronised).
// Registration (class map, path) is expected before the storage is shared.
//
// Failures are not reported: nothing found, nothing written; the SQLite layer logs its errors.
#ifndef KIV_STORAGE_STORAGE_HPP_
#define KIV_STORAGE_STORAGE_HPP_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/background_queue.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/memory_cache.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class_info.hpp"
#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

// The most models a class's memory cache holds.
inline constexpr std::size_t kKivModelCacheCountLimit = 200;
// The column of every model table that holds the time of the row's last write.
inline constexpr std::string_view kKivUpdateTimeColumn = "kiv_update_time";
// The table that holds the schema version of the file's model tables.
inline constexpr std::string_view kKivVersionTable = "kv_version";

class KivStorage {
 public:
  using Completion = std::function<void(Ref<KivModel> model)>;

  // No database and no class map.
  KivStorage();
  // Waits until every background write has reached the table.
  ~KivStorage();
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
  // ensureTable() for each model class of the array, in order; other elements are skipped.
  void configDataBase(const Array& classes);

  // The class map in use, or null.
  const ClassMapClass* mapper() const noexcept { return mapper_.load(std::memory_order_acquire); }
  // The database in use, or null.
  Ref<OxSimpleDatabase> database() const;

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
  // as one REPLACE text with the values written in (OxDb::sqlFromReplaceFor), all texts run in
  // one batch (OxSimpleDatabase::executeUpdates): any row with the same key is replaced whole.
  // The fast path, with the text form's limits: a string value holding a single quote, a null,
  // data or a container breaks its statement, and the batch stops there (the rows before it are
  // kept; the error is logged). Use setModels() for such values.
  void batchModels(const Array& models);
  // Writes the model's row into the class's table now: counts the rows of its key, then updates
  // that row (columns the row does not hold keep their values) or else writes it with REPLACE.
  // The row holds the stored properties that are set, and the update time.
  void setDbModel(const Ref<KivModel>& model, const ModelClass& cls);
  // setDbModel() for every model into the class's table, whatever the models' own classes: every
  // row's key is counted first, then in one transaction the rows that exist are updated and the
  // others written with REPLACE, in order (of two models with one new key, the later wins).
  void setDbModels(const Array& models, const ModelClass& cls);
  // Blocks until every background write submitted so far has reached the table. Called from a
  // completion it returns at once.
  void waitUntilBackgroundWritesFinish();

  // --- Deletes (the memory cache keeps its models) ----------------------------------------------

  void deleteWith(const Value& keyValue, const ModelClass& cls);
  // `condition` is an SQL condition written into the statement as it stands.
  void deleteWithCondition(std::string_view condition, const ModelClass& cls);
  void deleteAllWithClass(const ModelClass& cls);

  // --- Old data ---------------------------------------------------------------------------------

  // Deletes the class's rows written more than the class map's kiv_clearTimeInterval seconds
  // ago, with the condition "kiv_update_time < <cut-off with six decimals>"; returns whether the
  // statement ran (false without a database). Cached models stay.
  bool clearOldDatas(const ModelClass& cls);
  // Drops each existing table that the class map's oldTabels names.
  void clearOldTables();

  // --- Lookups ----------------------------------------------------------------------------------

  // The class's memory cache, made on first use; the one most recently handed out is found
  // without a lock. Every cache lives as long as the storage.
  MemoryCache& matchCache(const ModelClass& cls);
  // The delegate operation of the memory caches: eviction is not reported anywhere.
  static void cache(MemoryCache& cache, const Value& evictedObject);
  // The class's table on the database in use (not created here), or null without a database.
  Ref<OxDbCollection> matchTable(const ModelClass& cls);

  // The memory cache most recently handed out, or null.
  MemoryCache* useCache() const;
  // A collection kept for the application; the storage neither sets nor reads it.
  Ref<OxDbCollection> useTable() const;
  void setUseTable(Ref<OxDbCollection> table);

  // --- Schema -----------------------------------------------------------------------------------

  // "kiv_<class name in lower case>_v<version>", computed once per class and storage with the
  // version of the class map at that time (0 without one).
  String tableName(const ModelClass& cls);
  // Creates the class's table when missing, or re-creates it when its columns differ from
  // dbProperty(): first dropping and re-creating the tables of the classes that depend on it.
  // Either way then empties the tables that the class map ties to the class.
  void ensureTable(const ModelClass& cls);
  // Creates the version table with the current version when missing; when its row holds another
  // version, sets the row to the current one and drops every table whose name starts with "kiv"
  // (in any letter case). A version table without its row is left as it is.
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
  // A class's table together with the database that it belongs to, held as long as the table is
  // in use (a collection whose database has gone finds nothing).
  struct HeldTable {
    Ref<OxSimpleDatabase> database;
    Ref<OxDbCollection> table;
    explicit operator bool() const noexcept { return static_cast<bool>(table); }
    OxDbCollection* operator->() const noexcept { return table.get(); }
  };
  // A model's row as it was when the write was asked for, with the update time, and its key
  // value.
  struct PendingRow {
    Value keyValue;
    MutableDictionary row;
  };
  // A class's memory cache with the class name that the lock-free shortcut compares.
  struct ClassCache {
    explicit ClassCache(std::string_view name);
    const std::string className;
    MemoryCache cache;
  };
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>()(name); }
  };

  HeldTable heldTable(const ModelClass& cls);
  std::int64_t version() const;
  // The cache of the class name in cacheQueue_, made and entered when missing.
  ClassCache& cacheNamed(std::string_view className);
  // Empties cacheQueue_ for a new database.
  void forgetCaches();
  // The model's key value: its property named by the class's kiv_key.
  static Value keyValueOf(const KivModel& model, const ModelClass& cls);
  // The model's row as it is now (its stored properties that are set), with the current time as
  // its update time.
  static MutableDictionary rowOf(const KivModel& model);
  // The row and the model's key value for the class.
  static PendingRow pendingRow(const KivModel& model, const ModelClass& cls);
  // The row condition of a key value: <key>='<text>', quotes in the text doubled.
  static std::string rowCondition(const ModelClass& cls, const Value& keyValue);
  // Writes one row: an update of the row with its key when there is one, else a REPLACE.
  static void writeRow(const HeldTable& table, const PendingRow& row, const ModelClass& cls);
  // The model made from a table row, or null.
  static Ref<KivModel> modelFromRow(const OxDbRow* row, const ModelClass& cls);

  // Class name -> its memory cache; guarded by lock_ for each single read or write.
  std::unordered_map<std::string, ClassCache*, NameHash, std::equal_to<>> cacheQueue_;
  // Every cache ever made, kept so that the caches handed out stay valid when a new database
  // makes the storage forget them; guarded by lock_.
  std::vector<std::unique_ptr<ClassCache>> madeCaches_;
  // Class name -> table name.
  MemoryCache tableQueue_;
  // The database in use and useTable; guarded by databaseLock_.
  Ref<OxSimpleDatabase> oxdb_;
  Ref<OxDbCollection> useTable_;
  mutable SpinLock databaseLock_;
  SpinLock lock_;
  std::atomic<const ClassMapClass*> mapper_{nullptr};
  // The cache most recently handed out.
  std::atomic<ClassCache*> useCache_{nullptr};
  // Row writes of single saves and reads with a completion, in submission order. Its tasks refer
  // to the storage by a plain pointer: the destructor waits for them, so the storage outlives
  // every one.
  BackgroundQueue backgroundQueue_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_STORAGE_HPP_
