#include "kiv/foundation/memory_cache.hpp"

#include <mutex>

namespace kiv {

MemoryCache::MemoryCache(std::string name, std::size_t countLimit)
    : name_(std::move(name)), countLimit_(countLimit) {}

// --- The index ----------------------------------------------------------------------------------

std::size_t MemoryCache::slotOf(const Value& key, std::size_t hash) const {
  const std::size_t mask = index_.size() - 1;
  for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const std::uint32_t held = index_[slot];
    if (held == 0) return slot;
    const Entry& entry = entries_[held - 1];
    if (entry.hash == hash && entry.key.isEqual(key)) return slot;
  }
}

std::uint32_t MemoryCache::find(const Value& key, std::size_t hash) const {
  if (count_ == 0) return kNone;
  const std::uint32_t held = index_[slotOf(key, hash)];
  return held == 0 ? kNone : held - 1;
}

void MemoryCache::rehash(std::size_t slots) {
  index_.assign(slots, 0);
  for (std::uint32_t entry = newest_; entry != kNone; entry = entries_[entry].older) {
    index_[slotOf(entries_[entry].key, entries_[entry].hash)] = entry + 1;
  }
}

// --- The order of use ---------------------------------------------------------------------------

void MemoryCache::unlink(std::uint32_t entry) const {
  Entry& e = entries_[entry];
  (e.newer == kNone ? newest_ : entries_[e.newer].older) = e.older;
  (e.older == kNone ? oldest_ : entries_[e.older].newer) = e.newer;
}

void MemoryCache::linkNewest(std::uint32_t entry) const {
  Entry& e = entries_[entry];
  e.newer = kNone;
  e.older = newest_;
  (newest_ == kNone ? oldest_ : entries_[newest_].newer) = entry;
  newest_ = entry;
}

void MemoryCache::touch(std::uint32_t entry) const {
  if (entry == newest_) return;
  unlink(entry);
  linkNewest(entry);
}

// --- Entries ------------------------------------------------------------------------------------

void MemoryCache::insert(const Value& key, const Value& object, std::size_t hash) {
  if ((count_ + 1) * 2 > index_.size()) rehash(std::max<std::size_t>(16, index_.size() * 2));
  std::uint32_t entry = free_;
  if (entry == kNone) {
    entry = static_cast<std::uint32_t>(entries_.size());
    entries_.emplace_back();
  } else {
    free_ = entries_[entry].older;
  }
  Entry& e = entries_[entry];
  e.key = key;
  e.object = object;
  e.hash = hash;
  index_[slotOf(key, hash)] = entry + 1;
  linkNewest(entry);
  ++count_;
}

Value MemoryCache::erase(std::uint32_t entry) {
  Entry& e = entries_[entry];
  // Backward-shift deletion keeps every probe sequence unbroken without tombstones.
  const std::size_t mask = index_.size() - 1;
  std::size_t hole = slotOf(e.key, e.hash);
  for (std::size_t slot = (hole + 1) & mask; index_[slot] != 0; slot = (slot + 1) & mask) {
    const std::size_t home = entries_[index_[slot] - 1].hash & mask;
    if (((slot - home) & mask) >= ((slot - hole) & mask)) {
      index_[hole] = index_[slot];
      hole = slot;
    }
  }
  index_[hole] = 0;
  unlink(entry);
  Value object = std::move(e.object);
  e.key = Value();
  e.older = free_;
  free_ = entry;
  --count_;
  return object;
}

std::vector<Value> MemoryCache::evictBeyond(std::size_t keep) {
  std::vector<Value> evicted;
  while (count_ > keep) evicted.push_back(erase(oldest_));
  return evicted;
}

void MemoryCache::notify(const std::vector<Value>& evicted) {
  if (evicted.empty()) return;
  Delegate delegate;
  {
    std::lock_guard<std::mutex> lock(lock_);
    delegate = delegate_;
  }
  if (!delegate) return;
  for (const Value& object : evicted) delegate(*this, object);
}

// --- Operations ---------------------------------------------------------------------------------

Value MemoryCache::objectForKey(const Value& key) const {
  std::lock_guard<std::mutex> lock(lock_);
  const std::uint32_t entry = find(key, key.hash());
  if (entry == kNone) return Value();
  touch(entry);
  return entries_[entry].object;
}

void MemoryCache::setObject(const Value& object, const Value& key) {
  if (object.isAbsent() || key.isAbsent()) return;
  std::vector<Value> evicted;
  Value replaced;
  {
    std::lock_guard<std::mutex> lock(lock_);
    const std::size_t hash = key.hash();
    if (const std::uint32_t entry = find(key, hash); entry != kNone) {
      replaced = std::exchange(entries_[entry].object, object);
      touch(entry);
    } else {
      insert(key, object, hash);
    }
    if (countLimit_ > 0) evicted = evictBeyond(countLimit_);
  }
  notify(evicted);
}

void MemoryCache::removeObjectForKey(const Value& key) {
  Value removed;
  std::lock_guard<std::mutex> lock(lock_);
  const std::uint32_t entry = find(key, key.hash());
  if (entry != kNone) removed = erase(entry);
}

void MemoryCache::removeAllObjects() {
  std::vector<Entry> removed;
  std::lock_guard<std::mutex> lock(lock_);
  removed.swap(entries_);
  index_.clear();
  newest_ = oldest_ = free_ = kNone;
  count_ = 0;
}

std::size_t MemoryCache::count() const {
  std::lock_guard<std::mutex> lock(lock_);
  return count_;
}

void MemoryCache::trimToCount(std::size_t keep) {
  std::vector<Value> evicted;
  {
    std::lock_guard<std::mutex> lock(lock_);
    evicted = evictBeyond(keep);
  }
  notify(evicted);
}

std::string MemoryCache::name() const {
  std::lock_guard<std::mutex> lock(lock_);
  return name_;
}

void MemoryCache::setName(std::string name) {
  std::lock_guard<std::mutex> lock(lock_);
  name_ = std::move(name);
}

std::size_t MemoryCache::countLimit() const {
  std::lock_guard<std::mutex> lock(lock_);
  return countLimit_;
}

void MemoryCache::setCountLimit(std::size_t limit) {
  std::vector<Value> evicted;
  {
    std::lock_guard<std::mutex> lock(lock_);
    countLimit_ = limit;
    if (limit > 0) evicted = evictBeyond(limit);
  }
  notify(evicted);
}

bool MemoryCache::evictsObjectsWithDiscardedContent() const {
  std::lock_guard<std::mutex> lock(lock_);
  return evictsDiscardedContent_;
}

void MemoryCache::setEvictsObjectsWithDiscardedContent(bool evicts) {
  std::lock_guard<std::mutex> lock(lock_);
  evictsDiscardedContent_ = evicts;
}

void MemoryCache::setDelegate(Delegate delegate) {
  std::lock_guard<std::mutex> lock(lock_);
  delegate_ = std::move(delegate);
}

Value MemoryCache::accessorObjectForKey(std::string_view key) const { return objectForKey(Value(key)); }

void MemoryCache::accessorSetObject(const Value& value, std::string_view key) {
  setObject(value, Value(key));
}

}  // namespace kiv
