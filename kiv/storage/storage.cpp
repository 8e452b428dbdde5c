// KivStorage: set-up, the memory caches and the lookups shared by every operation.
#include "kiv/storage/storage.hpp"

#include <mutex>
#include <utility>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/result_codes.hpp"
#include "kiv/storage/internal/change_observers.hpp"
#include "kiv/storage/internal/pending_writes.hpp"
#include "kiv/storage/internal/table_sql.hpp"

namespace kiv {

KivStorage::ClassCache::ClassCache(const ModelClass& modelClass)
    : cls(&modelClass), cache(std::string(modelClass.name()), kKivModelCacheCountLimit) {
  cache.setEvictsObjectsWithDiscardedContent(false);
  cache.setDelegate(&KivStorage::cache);
}

KivStorage::KivStorage()
    : observers_(std::make_shared<ChangeObservers>()),
      pendingWrites_(std::make_unique<PendingWrites>([this](std::vector<StoredRow>& rows) { writeRows(rows, false); },
                                                     kKivDefaultBackgroundWriteLimit)),
      readQueue_("KivStorage reads") {
  tableQueue_.setEvictsObjectsWithDiscardedContent(false);
}

KivStorage::~KivStorage() {
  readQueue_.waitUntilIdle();
  pendingWrites_.reset();  // writes what waits
  observers_->waitUntilDelivered();
}

KivObservation KivStorage::observe(KivChangeObserver observer) { return observers_->add(nullptr, std::move(observer)); }

KivObservation KivStorage::observe(const ModelClass& cls, KivChangeObserver observer) {
  return observers_->add(&cls, std::move(observer));
}

void KivStorage::noteUnnamedChange(const ModelClass* cls) {
  if (!observers_->any()) return;
  KivChange change;
  change.modelClass = cls;
  change.unnamedRowsChanged = true;
  observers_->post({std::move(change)});
}

// --- Set-up -------------------------------------------------------------------------------------

void KivStorage::registerMapper(const Class* mapper) {
  const auto* classMap = dynamic_cast<const ClassMapClass*>(mapper);
  if (classMap && classMap->isSubclassOfClass(KivClassMap::kivClass())) {
    mapper_.store(classMap, std::memory_order_release);
  }
}

void KivStorage::registerDbPath(const String& path) {
  if (path.isNotEmpty()) switchDataBase(OxSimpleDatabase::databaseWithPath(path));
}

void KivStorage::switchDataBase(const Ref<OxSimpleDatabase>& database) {
  if (!database) return;
  // Saves made before the switch reach the database they were made on.
  waitUntilBackgroundWritesFinish();
  Ref<SqDatabaseQueue> reader = readConnectionFor(*database);
  {
    std::lock_guard<SpinLock> guard(databaseLock_);
    oxdb_ = database;
    readDb_ = std::move(reader);
  }
  {
    std::lock_guard<std::mutex> guard(errorMutex_);
    lastError_ = Error{};
    corruptionLogged_ = false;
  }
  forgetCaches();
  ensureTableVersion();
}

void KivStorage::configDataBase(const Array& classes) {
  for (const Value& element : classes) {
    const ModelClass* cls = ModelClass::fromValue(element);
    if (!cls) continue;
    // Described now, the class's setters (and its superclasses') record from here on, so models
    // made before any is read or written keep what was set on them.
    forEachModelLevel(*cls, [](const ModelClass& level) { level.kiv_classInfo(); });
    ensureTable(*cls);
  }
}

Ref<SqDatabaseQueue> KivStorage::readConnectionFor(OxSimpleDatabase& database) {
  const Ref<SqDatabaseQueue>& writer = database.innerDb();
  if (!writer || writer->path().isAbsent() || writer->path().view().empty()) return nullptr;  // in memory
  // In WAL mode a reader sees the last committed state and never waits for the writer.
  const OxDbRows mode = database.executeQuery("PRAGMA journal_mode=WAL");
  if (mode.empty() || mode.front()->dataDict()["journal_mode"].description() != "wal") return nullptr;
  Ref<SqDatabaseQueue> reader = SqDatabaseQueue::databaseQueueWithPath(writer->path(), kSqOpenReadOnly);
  if (reader) reader->inDatabase([](SqDatabase& db) { db.setLogsErrors(true); });
  return reader;
}

Ref<OxSimpleDatabase> KivStorage::database() const {
  std::lock_guard<SpinLock> guard(databaseLock_);
  return oxdb_;
}

std::int64_t KivStorage::version() const {
  const ClassMapClass* classMap = mapper();
  return classMap ? classMap->kiv_Version() : 0;
}

// --- Memory caches ------------------------------------------------------------------------------

MemoryCache& KivStorage::matchCache(const ModelClass& cls) {
  // Class records are unique per name, so the record stands for the name.
  ClassCache* found = useCache_.load(std::memory_order_acquire);
  if (!found || found->cls != &cls) {
    found = &cacheFor(cls);
    useCache_.store(found, std::memory_order_release);
  }
  return found->cache;
}

KivStorage::ClassCache& KivStorage::cacheFor(const ModelClass& cls) {
  {
    std::lock_guard<SpinLock> guard(lock_);
    if (const auto it = cacheQueue_.find(cls.name()); it != cacheQueue_.end()) return *it->second;
  }
  // Made outside the lock. When two threads miss at once, the first insert wins and the other
  // thread uses it, so no model goes into a cache that is then thrown away.
  auto made = std::make_unique<ClassCache>(cls);
  std::lock_guard<SpinLock> guard(lock_);
  const auto [it, inserted] = cacheQueue_.try_emplace(std::string(cls.name()), made.get());
  if (inserted) madeCaches_.push_back(std::move(made));
  return *it->second;
}

void KivStorage::forgetCaches() {
  const ClassCache* shortcut = useCache_.load(std::memory_order_acquire);
  std::vector<ClassCache*> forgotten;
  {
    std::lock_guard<SpinLock> guard(lock_);
    for (const auto& [name, cache] : cacheQueue_) forgotten.push_back(cache);
    cacheQueue_.clear();
  }
  // Their models are let go; the cache that the shortcut still serves keeps its own.
  for (ClassCache* cache : forgotten) {
    if (cache != shortcut) cache->cache.removeAllObjects();
  }
}

void KivStorage::clearCaches() {
  std::vector<ClassCache*> caches;
  {
    std::lock_guard<SpinLock> guard(lock_);
    for (const std::unique_ptr<ClassCache>& cache : madeCaches_) caches.push_back(cache.get());
  }
  for (ClassCache* cache : caches) cache->cache.removeAllObjects();
}

void KivStorage::cache(MemoryCache& /*cache*/, const Value& /*evictedObject*/) {}

MemoryCache* KivStorage::useCache() const {
  ClassCache* current = useCache_.load(std::memory_order_acquire);
  return current ? &current->cache : nullptr;
}

// --- Tables -------------------------------------------------------------------------------------

Ref<OxDbCollection> KivStorage::matchTable(const ModelClass& cls) { return heldTable(cls).table; }

KivStorage::HeldTable KivStorage::heldTable(const ModelClass& cls) {
  Ref<OxSimpleDatabase> db = database();
  if (!db) return {};
  Ref<OxDbCollection> table = db->collection(tableName(cls).view());
  return {std::move(db), std::move(table)};
}

Ref<OxDbCollection> KivStorage::useTable() const {
  std::lock_guard<SpinLock> guard(databaseLock_);
  return useTable_;
}

void KivStorage::setUseTable(Ref<OxDbCollection> table) {
  std::lock_guard<SpinLock> guard(databaseLock_);
  useTable_ = std::move(table);
}

TableSql& KivStorage::tableSql(const ModelClass& tableClass, const RowLayout& layout) {
  std::pair<std::string, const RowLayout*> key(tableName(tableClass).str(), &layout);
  std::lock_guard<std::mutex> guard(sqlMutex_);
  std::unique_ptr<TableSql>& sql = tableSql_[key];
  if (!sql) sql = std::make_unique<TableSql>(key.first, layout, tableClass.kiv_key());
  return *sql;
}

// --- Errors -------------------------------------------------------------------------------------

Error KivStorage::lastError() const {
  std::lock_guard<std::mutex> guard(errorMutex_);
  return lastError_;
}

void KivStorage::noteFailure(SqDatabase& db) {
  if (!db.hadError()) return;
  const Error error = db.lastError();
  const bool damaged = sqIsDamagedFile(error.code);
  {
    std::lock_guard<std::mutex> guard(errorMutex_);
    lastError_ = error;
    if (!damaged || corruptionLogged_) return;
    corruptionLogged_ = true;
  }
  log("Kiv: the database file " + db.databasePath().str() + " is damaged (SQLite error " +
      std::to_string(error.code) + ": " + error.message + "); reads may miss rows and writes may fail");
}

}  // namespace kiv
