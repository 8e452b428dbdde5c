#include "kiv/foundation/memory_cache.hpp"

namespace kiv {

MemoryCache::MemoryCache(std::string name, std::size_t countLimit)
    : name_(std::move(name)), countLimit_(countLimit) {}

Value MemoryCache::objectForKey(const Value& key) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = index_.find(key);
  if (it == index_.end()) return Value();
  order_.splice(order_.begin(), order_, it->second);
  return it->second->second;
}

void MemoryCache::setObject(const Value& object, const Value& key) {
  if (object.isAbsent() || key.isAbsent()) return;
  Order evicted;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = index_.find(key);
    if (it != index_.end()) {
      it->second->second = object;
      order_.splice(order_.begin(), order_, it->second);
    } else {
      order_.emplace_front(key, object);
      index_.emplace(key, order_.begin());
    }
    if (countLimit_ > 0) evicted = evictBeyond(countLimit_);
  }
  notify(evicted);
}

void MemoryCache::removeObjectForKey(const Value& key) {
  Order removed;
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = index_.find(key);
  if (it == index_.end()) return;
  removed.splice(removed.begin(), order_, it->second);
  index_.erase(it);
}

void MemoryCache::removeAllObjects() {
  Order removed;
  std::lock_guard<std::mutex> lock(mutex_);
  index_.clear();
  removed.swap(order_);
}

std::size_t MemoryCache::count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return index_.size();
}

void MemoryCache::trimToCount(std::size_t keep) {
  Order evicted;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    evicted = evictBeyond(keep);
  }
  notify(evicted);
}

MemoryCache::Order MemoryCache::evictBeyond(std::size_t keep) {
  Order evicted;
  while (index_.size() > keep) {
    index_.erase(order_.back().first);
    evicted.splice(evicted.end(), order_, std::prev(order_.end()));
  }
  return evicted;
}

void MemoryCache::notify(Order& evicted) {
  if (evicted.empty()) return;
  Delegate delegate;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    delegate = delegate_;
  }
  if (!delegate) return;
  for (const auto& [key, object] : evicted) delegate(*this, object);
}

std::string MemoryCache::name() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return name_;
}

void MemoryCache::setName(std::string name) {
  std::lock_guard<std::mutex> lock(mutex_);
  name_ = std::move(name);
}

std::size_t MemoryCache::countLimit() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return countLimit_;
}

void MemoryCache::setCountLimit(std::size_t limit) {
  Order evicted;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    countLimit_ = limit;
    if (limit > 0) evicted = evictBeyond(limit);
  }
  notify(evicted);
}

bool MemoryCache::evictsObjectsWithDiscardedContent() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return evictsDiscardedContent_;
}

void MemoryCache::setEvictsObjectsWithDiscardedContent(bool evicts) {
  std::lock_guard<std::mutex> lock(mutex_);
  evictsDiscardedContent_ = evicts;
}

void MemoryCache::setDelegate(Delegate delegate) {
  std::lock_guard<std::mutex> lock(mutex_);
  delegate_ = std::move(delegate);
}

Value MemoryCache::accessorObjectForKey(std::string_view key) const { return objectForKey(Value(key)); }

void MemoryCache::accessorSetObject(const Value& value, std::string_view key) {
  setObject(value, Value(key));
}

}  // namespace kiv
