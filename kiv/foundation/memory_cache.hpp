// MemoryCache: a thread-safe map from Values to Values that holds at most `countLimit` entries
// and may drop entries at any time, as a cache may.
//
// When an insert goes over the limit, the least recently used entries are evicted. The
// application (or a test) can also trim the cache as under memory pressure. Each eviction is
// reported to the delegate, outside the cache's lock, so the delegate may use the cache. Keys
// compare by value and kind (the number 42 and the text "42" are different keys).
#ifndef KIV_FOUNDATION_MEMORY_CACHE_HPP_
#define KIV_FOUNDATION_MEMORY_CACHE_HPP_

#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include "kiv/foundation/ox_dictionary_accessor.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

class MemoryCache : public OxDictionaryAccessor {
 public:
  // Called with the cache and the evicted object; not called for explicit removals.
  using Delegate = std::function<void(MemoryCache& cache, const Value& evictedObject)>;

  // A count limit of 0 means no limit.
  explicit MemoryCache(std::string name = {}, std::size_t countLimit = 0);
  MemoryCache(const MemoryCache&) = delete;
  MemoryCache& operator=(const MemoryCache&) = delete;

  using OxDictionaryAccessor::objectForKey;
  using OxDictionaryAccessor::setObject;
  // The object under the key, or absent.
  Value objectForKey(const Value& key) const;
  // Stores the object; absent keys and objects are ignored.
  void setObject(const Value& object, const Value& key);
  void removeObjectForKey(const Value& key);
  void removeAllObjects();
  std::size_t count() const;

  // Drops entries as under memory pressure: all but the `keep` most recently used.
  void trimToCount(std::size_t keep);

  std::string name() const;
  void setName(std::string name);
  std::size_t countLimit() const;
  void setCountLimit(std::size_t limit);
  // Kept for callers that set it; the cache holds no discardable content.
  bool evictsObjectsWithDiscardedContent() const;
  void setEvictsObjectsWithDiscardedContent(bool evicts);
  void setDelegate(Delegate delegate);

 protected:
  Value accessorObjectForKey(std::string_view key) const override;
  void accessorSetObject(const Value& value, std::string_view key) override;

 private:
  using Order = std::list<std::pair<Value, Value>>;  // key, object; most recently used first

  // Removes entries beyond `keep` and returns them, under the lock.
  Order evictBeyond(std::size_t keep);
  void notify(Order& evicted);

  mutable std::mutex mutex_;
  mutable Order order_;
  std::unordered_map<Value, Order::iterator, ValueHash, ValueEqual> index_;
  std::string name_;
  std::size_t countLimit_;
  bool evictsDiscardedContent_ = true;
  Delegate delegate_;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_MEMORY_CACHE_HPP_
