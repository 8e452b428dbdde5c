#include "kiv/mapping/internal/class_cache.hpp"

#include <cstdint>

namespace kiv {

namespace {

constexpr std::size_t kInitialCapacity = 16;

}  // namespace

ClassCacheTable::ClassCacheTable() {
  tables_.push_back(std::make_unique<Table>(kInitialCapacity));
  current_.store(tables_.back().get(), std::memory_order_release);
}

ClassCacheTable::~ClassCacheTable() {
  const Table& table = *current_.load(std::memory_order_acquire);
  for (std::size_t i = 0; i <= table.mask; ++i) {
    if (const Object* object = table.slots[i].object.load(std::memory_order_relaxed)) object->release();
  }
}

std::size_t ClassCacheTable::home(const Table& table, const ModelClass& cls) noexcept {
  // Class records are heap objects: the low bits of their addresses carry no information.
  const auto bits = reinterpret_cast<std::uintptr_t>(&cls);
  return ((bits >> 4) * 0x9E3779B97F4A7C15ull >> 32) & table.mask;
}

const Object* ClassCacheTable::find(const ModelClass& cls) const noexcept {
  const Table& table = *current_.load(std::memory_order_acquire);
  for (std::size_t i = home(table, cls);; i = (i + 1) & table.mask) {
    const ModelClass* key = table.slots[i].key.load(std::memory_order_acquire);
    if (key == &cls) return table.slots[i].object.load(std::memory_order_relaxed);
    if (!key) return nullptr;
  }
}

void ClassCacheTable::place(Table& table, const ModelClass& cls, const Object* object) noexcept {
  std::size_t i = home(table, cls);
  while (table.slots[i].key.load(std::memory_order_relaxed)) i = (i + 1) & table.mask;
  // The object first: a reader that sees the key sees its object.
  table.slots[i].object.store(object, std::memory_order_relaxed);
  table.slots[i].key.store(&cls, std::memory_order_release);
}

const Object& ClassCacheTable::insert(const ModelClass& cls, Ref<const Object> object) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (const Object* present = find(cls)) return *present;
  if ((count_ + 1) * 2 > current_.load(std::memory_order_relaxed)->mask + 1) grow();
  const Object* stored = object.detach();  // the cache's reference, released by the destructor
  place(*current_.load(std::memory_order_relaxed), cls, stored);
  ++count_;
  return *stored;
}

void ClassCacheTable::grow() {
  const Table& old = *current_.load(std::memory_order_relaxed);
  auto bigger = std::make_unique<Table>((old.mask + 1) * 2);
  for (std::size_t i = 0; i <= old.mask; ++i) {
    if (const ModelClass* key = old.slots[i].key.load(std::memory_order_relaxed)) {
      place(*bigger, *key, old.slots[i].object.load(std::memory_order_relaxed));
    }
  }
  tables_.push_back(std::move(bigger));
  current_.store(tables_.back().get(), std::memory_order_release);
}

std::size_t ClassCacheTable::count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

}  // namespace kiv
