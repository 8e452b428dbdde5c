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
  {
    std::lock_guard<SpinLock> guard(lock_);
    cacheQueue_.clear();
  }
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

std::shared_ptr<MemoryCache> KivStorage::matchCache(const ModelClass& cls) {
  std::shared_ptr<ClassCache> found = useCache_.load(std::memory_order_acquire);
  if (!found || found->className != cls.name()) {
    found = nullptr;
    {
      std::lock_guard<SpinLock> guard(lock_);
      if (const auto it = cacheQueue_.find(cls.name()); it != cacheQueue_.end()) found = it->second;
    }
    if (!found) {
      // Made outside the lock. When two threads miss at once, the first insert wins and the
      // other thread uses it, so no model goes into a cache that is then thrown away.
      std::shared_ptr<ClassCache> made = std::make_shared<ClassCache>(cls.name());
      std::lock_guard<SpinLock> guard(lock_);
      found = cacheQueue_.try_emplace(std::string(cls.name()), std::move(made)).first->second;
    }
    useCache_.store(found, std::memory_order_release);
  }
  MemoryCache* cache = &found->cache;
  return std::shared_ptr<MemoryCache>(std::move(found), cache);
}

void KivStorage::cache(MemoryCache& /*cache*/, const Value& /*evictedObject*/) {}

std::shared_ptr<MemoryCache> KivStorage::useCache() const {
  std::shared_ptr<ClassCache> current = useCache_.load(std::memory_order_acquire);
  if (!current) return nullptr;
  MemoryCache* cache = &current->cache;
  return std::shared_ptr<MemoryCache>(std::move(current), cache);
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

std::string KivStorage::rowCondition(const Value& key, const Value& keyValue) {
  std::string condition = key.description() + "='";
  for (const char c : keyValue.description()) {
    condition += c;
    if (c == '\'') condition += '\'';
  }
  condition += '\'';
  return condition;
}

Value KivStorage::keyValueOf(const KivModel& model, const ModelClass& cls) {
  const Value key = cls.kiv_key();
  return key.isString() ? model.valueForKey(key.stringView()) : Value();
}

}  // namespace kiv
