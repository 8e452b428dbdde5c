#include "kiv/storage/cache.hpp"

#include <mutex>
#include <string>

#include "kiv/collection/db_collection.hpp"
#include "kiv/foundation/dictionary.hpp"

namespace kiv {

KivCache::KivCache() = default;

void KivCache::switchDatabase(const Ref<OxSimpleDatabase>& database) {
  {
    std::lock_guard<SpinLock> guard(databaseLock_);
    oxdb_ = database;
  }
  if (!database) return;
  if (!database->collection(kKivCacheTable)->exists()) {
    // The run of blanks is part of the table's stored definition.
    (void)database->executeUpdate("CREATE TABLE " + std::string(kKivCacheTable) +
                            " (cache_key VARCHAR(20),                         cache_context VARCHAR(50));");
  }
}

Ref<OxSimpleDatabase> KivCache::database() const {
  std::lock_guard<SpinLock> guard(databaseLock_);
  return oxdb_;
}

String KivCache::matchKey(const ModelClass& cls) {
  const Value classKey(&cls);
  if (String cached = keyQueue_.objectForKey(classKey).asString(); cached.isPresent()) return cached;
  const String key("kiv_cache_" + std::string(cls.name()));
  keyQueue_.setObject(key, classKey);
  return key;
}

bool KivCache::saveJsonCache(const String& json, const ModelClass& cls) {
  const Ref<OxSimpleDatabase> db = database();
  const Dictionary row{{"cache_key", matchKey(cls)}, {"cache_context", json}};
  return db && db->collection(kKivCacheTable)->upsert(row);
}

String KivCache::localJsonCacheForClass(const ModelClass& cls) {
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return String();
  const Ref<OxDbRow> row = db->collection(kKivCacheTable)->findOne("cache_key='" + matchKey(cls).str() + "'");
  if (!row || row->dataDict().empty()) return String();
  return row->stringForKey("cache_context").asString();
}

bool KivCache::clearCacheForClass(const ModelClass& cls) { return saveJsonCache("", cls); }

Value KivCache::localCacheForClass(const ModelClass& /*cls*/) { return Value(); }

void KivCache::saveCache(const Value& /*object*/, const ModelClass& /*cls*/) {}

}  // namespace kiv
