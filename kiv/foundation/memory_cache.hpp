// MemoryCache: a thread-safe map from Values to Values that holds at most `countLimit` entries
// and may drop entries at any time, as a cache may.
//
// When an insert goes over the limit, the least recently used entries are evicted. The
// application (or a test) can also trim the cache as under memory pressure. Each eviction is
// reported to the delegate, outside the cache's lock, so the delegate may use the cache. Keys
// compare by value and kind (the number 42 and the text "42" are different keys).
//
// A look-up takes the lock and allocates nothing: entries live in one block with an
// open-addressing index, so a hit costs a hash, a probe or two and a reference count.
#ifndef KIV_FOUNDATION_MEMORY_CACHE_HPP_
#define KIV_FOUNDATION_MEMORY_CACHE_HPP_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

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
  // The object under the key, or absent. A hit makes the entry the most recently used.
  Value objectForKey(const Value& key) const;
  // Stores the object as the most recently used entry, replacing the key's object if it has one,
  // then evicts beyond the count limit. Absent keys and objects are ignored.
  void setObject(const Value& object, const Value& key);

  // Removes the key's entry, or every entry, without telling the delegate.

  void removeObjectForKey(const Value& key);
  void removeAllObjects();

  // The number of entries now held.
  std::size_t count() const;

  // Drops entries as under memory pressure: all but the `keep` most recently used. Each one is
  // reported to the delegate, as an eviction.
  void trimToCount(std::size_t keep);

  // A name for diagnostics; the cache does not use it.

  std::string name() const;
  void setName(std::string name);

  // The most entries the cache holds, 0 for no limit. Setting a limit evicts the least recently
  // used entries beyond it at once, and tells the delegate.

  std::size_t countLimit() const;
  void setCountLimit(std::size_t limit);

  // Kept for callers that set it (it starts true); the cache holds no discardable content.

  bool evictsObjectsWithDiscardedContent() const;
  void setEvictsObjectsWithDiscardedContent(bool evicts);

  // Replaces the delegate; an empty function means none.
  void setDelegate(Delegate delegate);

 protected:
  Value accessorObjectForKey(std::string_view key) const override;
  void accessorSetObject(const Value& value, std::string_view key) override;

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  // An entry, linked into the order of use (or, when free, into the free list by `next`).
  struct Entry {
    Value key;
    Value object;
    std::size_t hash = 0;
    std::uint32_t newer = kNone;
    std::uint32_t older = kNone;
  };

  // The slot of the index that holds the key's entry, or the empty slot where it would go.
  std::size_t slotOf(const Value& key, std::size_t hash) const;
  // The entry of the key (whose hash is given), or kNone.
  std::uint32_t find(const Value& key, std::size_t hash) const;
  // Makes the entry the most recently used.
  void touch(std::uint32_t entry) const;
  void unlink(std::uint32_t entry) const;
  void linkNewest(std::uint32_t entry) const;
  // Takes the entry out of the index, the order and the block; returns its object.
  Value erase(std::uint32_t entry);
  void insert(const Value& key, const Value& object, std::size_t hash);
  // Grows the index to twice the entries it may hold, and re-enters them.
  void rehash(std::size_t slots);
  // Removes the least recently used entries beyond `keep` and returns their objects.
  std::vector<Value> evictBeyond(std::size_t keep);
  void notify(const std::vector<Value>& evicted);

  mutable std::mutex lock_;
  // The entries; the order of use runs from newest_ to oldest_ (mutable: a hit reorders it).
  mutable std::vector<Entry> entries_;
  mutable std::uint32_t newest_ = kNone;
  mutable std::uint32_t oldest_ = kNone;
  std::uint32_t free_ = kNone;
  std::size_t count_ = 0;
  // Open addressing with linear probing: entry index + 1 per slot, 0 for an empty slot.
  std::vector<std::uint32_t> index_;
  std::string name_;
  std::size_t countLimit_;
  bool evictsDiscardedContent_ = true;
  Delegate delegate_;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_MEMORY_CACHE_HPP_
