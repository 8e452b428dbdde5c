// KivStorage: set-up, the memory caches and the lookups shared by every operation.
#include "kiv/storage/storage.hpp"

#include <mutex>
#include <utility>

namespace kiv {

KivStorage::ClassCache::ClassCache(std::string_view name)
    : className(name), cache(std::string(name), kKivModelCacheCountLimit) {
  cache.setEvictsObjectsWithDiscardedContent(false);
  cache.setDelegate(&KivStorage::cache);
}

KivStorage::KivStorage() : backgroundQueue_("KivStorage") {
  tableQueue_.setEvictsObjectsWithDiscardedContent(false);
}

KivStorage::~KivStorage() { waitUntilBackgroundWritesFinish(); }

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
  {
    std::lock_guard<SpinLock> guard(databaseLock_);
    oxdb_ = database;
  }
  forgetCaches();
  ensureTableVersion();
}

void KivStorage::configDataBase(const Array& classes) {
  for (const Value& element : classes) {
    if (const ModelClass* cls = ModelClass::fromValue(element)) ensureTable(*cls);
  }
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
  ClassCache* found = useCache_.load(std::memory_order_acquire);
  if (!found || found->className != cls.name()) {
    found = &cacheNamed(cls.name());
    useCache_.store(found, std::memory_order_release);
  }
  return found->cache;
}

KivStorage::ClassCache& KivStorage::cacheNamed(std::string_view className) {
  {
    std::lock_guard<SpinLock> guard(lock_);
    if (const auto it = cacheQueue_.find(className); it != cacheQueue_.end()) return *it->second;
  }
  // Made outside the lock. When two threads miss at once, the first insert wins and the other
  // thread uses it, so no model goes into a cache that is then thrown away.
  auto made = std::make_unique<ClassCache>(className);
  std::lock_guard<SpinLock> guard(lock_);
  const auto [it, inserted] = cacheQueue_.try_emplace(std::string(className), made.get());
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

// --- Rows ---------------------------------------------------------------------------------------

Value KivStorage::keyValueOf(const KivModel& model, const ModelClass& cls) {
  const Value key = cls.kiv_key();
  return key.isString() ? model.valueForKey(key.stringView()) : Value();
}

}  // namespace kiv
