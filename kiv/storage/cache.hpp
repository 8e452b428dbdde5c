// KivCache: one JSON text per model class, kept in the table "kiv_cache_table" of a database, for
// applications that want to keep a class's last received payload. Independent of KivStorage: the
// application makes one and drives it itself.
//
// The table has no key: every save appends a row, and a read returns the first row of the class
// in table order (normally the oldest save). Its name starts with "kiv", so a change of the schema
// version drops it with the model tables, unless the class map keeps data on version changes.
//
// Any thread may use a cache; its database work is serialised by the database.
#ifndef KIV_STORAGE_CACHE_HPP_
#define KIV_STORAGE_CACHE_HPP_

#include <string_view>

#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/memory_cache.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

// The table of the JSON texts.
inline constexpr std::string_view kKivCacheTable = "kiv_cache_table";

class KivCache {
 public:
  // No database.
  KivCache();
  // Not copyable: a cache owns its key cache and its hold on the database.
  KivCache(const KivCache&) = delete;
  KivCache& operator=(const KivCache&) = delete;

  // Uses the database from now on (none for null) and creates the table there when missing.
  void switchDatabase(const Ref<OxSimpleDatabase>& database);

  // "kiv_cache_<class name>", the class name in its own letter case.
  String matchKey(const ModelClass& cls);
  // Appends a row of the class's key and the text; whether the write succeeded (false without a
  // database).
  [[nodiscard]] bool saveJsonCache(const String& json, const ModelClass& cls);
  // The text of the class's first row, or absent (no row, no database).
  String localJsonCacheForClass(const ModelClass& cls);
  // saveJsonCache("") for the class. Since saves append, a later read still finds an earlier
  // save's text when there is one.
  [[nodiscard]] bool clearCacheForClass(const ModelClass& cls);

  // Placeholders for a cache of objects by class, which this cache does not have: the read
  // always gives absent, the save does nothing.

  Value localCacheForClass(const ModelClass& cls);
  void saveCache(const Value& object, const ModelClass& cls);

 private:
  Ref<OxSimpleDatabase> database() const;

  // Model class -> its cache key.
  MemoryCache keyQueue_;
  // The database in use; guarded by databaseLock_.
  Ref<OxSimpleDatabase> oxdb_;
  mutable SpinLock databaseLock_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_CACHE_HPP_
