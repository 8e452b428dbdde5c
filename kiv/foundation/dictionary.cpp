#include "kiv/foundation/dictionary.hpp"

#include <bit>

namespace kiv {
namespace {

using detail::DictionaryIndex;
using detail::HeapDictionary;

// Dictionaries up to this size are searched linearly; comparing a few short keys is cheaper than
// hashing one.
constexpr std::size_t kLinearLimit = 8;

std::uint64_t hashKey(std::string_view key) noexcept {
  return detail::hashBytes(key.data(), key.size());
}

void insertSlot(DictionaryIndex* index, std::uint64_t hash, std::size_t position) {
  std::uint32_t slot = static_cast<std::uint32_t>(hash) & index->mask;
  while (index->slots[slot] != 0) slot = (slot + 1) & index->mask;
  index->slots[slot] = (hash & 0xFFFFFFFF00000000ULL) | (position + 1);
}

// An index with room for `count` entries at a load of at most one half.
DictionaryIndex* emptyIndex(std::size_t count) {
  auto* index = new DictionaryIndex();
  const std::size_t slots = std::bit_ceil(std::max<std::size_t>(16, count * 2));
  index->mask = static_cast<std::uint32_t>(slots - 1);
  index->slots.assign(slots, 0);
  return index;
}

// The position of the key with the given hash, or -1.
std::ptrdiff_t probe(const DictionaryIndex* index, const detail::ElementBuffer<DictionaryEntry>& entries,
                     std::string_view key, std::uint64_t hash) noexcept {
  const std::uint64_t high = hash & 0xFFFFFFFF00000000ULL;
  for (std::uint32_t slot = static_cast<std::uint32_t>(hash) & index->mask;;
       slot = (slot + 1) & index->mask) {
    const std::uint64_t s = index->slots[slot];
    if (s == 0) return -1;
    if ((s & 0xFFFFFFFF00000000ULL) != high) continue;
    const std::size_t position = (s & 0xFFFFFFFFULL) - 1;
    if (entries[position].key.view() == key) return static_cast<std::ptrdiff_t>(position);
  }
}

DictionaryIndex* buildIndex(const detail::ElementBuffer<DictionaryEntry>& entries) {
  DictionaryIndex* index = emptyIndex(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    insertSlot(index, hashKey(entries[i].key.view()), i);
  }
  return index;
}

// The index of a dictionary, built on first use. Readers may race to build it: the first to
// publish wins and the others discard theirs.
const DictionaryIndex* indexOf(const HeapDictionary* d) {
  DictionaryIndex* index = d->index.load(std::memory_order_acquire);
  if (index) return index;
  DictionaryIndex* fresh = buildIndex(d->entries);
  auto& slot = const_cast<std::atomic<DictionaryIndex*>&>(d->index);
  if (slot.compare_exchange_strong(index, fresh, std::memory_order_acq_rel)) return fresh;
  delete fresh;
  return index;
}

// The position of the key, or -1; `hash` gives the key's hash, computed only when it is needed.
template <class Hash>
std::ptrdiff_t find(const HeapDictionary* d, std::string_view key, Hash&& hash) noexcept {
  const auto& entries = d->entries;
  if (entries.size() <= kLinearLimit) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].key.view() == key) return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
  }
  return probe(indexOf(d), entries, key, hash());
}

std::ptrdiff_t find(const HeapDictionary* d, std::string_view key) noexcept {
  return find(d, key, [key] { return hashKey(key); });
}

void dropIndex(HeapDictionary* d) { delete d->index.exchange(nullptr, std::memory_order_acq_rel); }

// Sets the value under the key, keeping the key's place when it exists.
void put(HeapDictionary* d, Value value, String key) {
  if (value.isAbsent() || key.isAbsent()) return;
  const std::ptrdiff_t at = find(d, key.view());
  if (at >= 0) {
    d->entries[static_cast<std::size_t>(at)].value = std::move(value);
    return;
  }
  d->entries.push_back({std::move(key), std::move(value)});
  if (DictionaryIndex* index = d->index.load(std::memory_order_relaxed)) {
    if (d->entries.size() * 2 > index->slots.size()) {
      dropIndex(d);
    } else {
      insertSlot(index, hashKey(d->entries.back().key.view()), d->entries.size() - 1);
    }
  }
}

HeapDictionary* heapFromPairs(std::initializer_list<Dictionary::Pair> pairs, bool isMutable) {
  std::vector<DictionaryEntry> entries;
  entries.reserve(pairs.size());
  for (const auto& [key, value] : pairs) {
    if (value.isPresent()) entries.push_back({String(key), value});
  }
  return detail::makeDictionary(entries.data(), entries.data() + entries.size(), isMutable);
}

HeapDictionary* heapCopy(const detail::ElementBuffer<DictionaryEntry>& entries, bool isMutable) {
  HeapDictionary* d = HeapDictionary::make(entries.size(), isMutable);
  for (std::size_t i = 0; i < entries.size(); ++i) d->entries.push_back(entries[i]);
  return d;
}

}  // namespace

namespace detail {

HeapDictionary::HeapDictionary(std::size_t capacity)
    : entries(reinterpret_cast<DictionaryEntry*>(this + 1), capacity) {}

HeapDictionary::~HeapDictionary() { delete index.load(std::memory_order_relaxed); }

HeapDictionary* HeapDictionary::make(std::size_t capacity, bool isMutable) {
  const Block block = allocateBlock(sizeof(HeapDictionary) + capacity * sizeof(DictionaryEntry));
  auto* d = new (block.memory) HeapDictionary(capacity);
  d->isMutable = isMutable;
  d->sizeClass = block.sizeClass;
  return d;
}

void HeapDictionary::destroy(HeapDictionary* d) noexcept {
  const std::uint8_t sizeClass = d->sizeClass;
  d->~HeapDictionary();
  freeBlock(d, sizeClass);
}

HeapDictionary* makeDictionary(DictionaryEntry* first, DictionaryEntry* last, bool isMutable) {
  const auto n = static_cast<std::size_t>(last - first);
  HeapDictionary* d = HeapDictionary::make(n, isMutable);
  auto& entries = d->entries;
  if (n <= kLinearLimit) {
    for (DictionaryEntry* e = first; e != last; ++e) {
      const std::ptrdiff_t at = find(d, e->key.view());
      if (at >= 0) {
        entries[static_cast<std::size_t>(at)].value = std::move(e->value);
      } else {
        entries.push_back(std::move(*e));
      }
    }
    return d;
  }
  DictionaryIndex* index = emptyIndex(n);
  for (DictionaryEntry* e = first; e != last; ++e) {
    const std::string_view key = e->key.view();
    const std::uint64_t hash = hashKey(key);
    const std::ptrdiff_t at = probe(index, entries, key, hash);
    if (at >= 0) {
      entries[static_cast<std::size_t>(at)].value = std::move(e->value);
    } else {
      entries.push_back(std::move(*e));
      insertSlot(index, hash, entries.size() - 1);
    }
  }
  d->index.store(index, std::memory_order_release);
  return d;
}

}  // namespace detail

Dictionary::Dictionary(std::initializer_list<Pair> pairs) : Dictionary(adopt(heapFromPairs(pairs, false))) {}

const Dictionary& Dictionary::emptyDictionary() {
  // Immortal, so that it serves code that runs at exit too and copies touch no count.
  static const Dictionary* empty = [] {
    HeapDictionary* d = HeapDictionary::make(0, false);
    d->refs.store(detail::HeapBase::kImmortal, std::memory_order_relaxed);
    return new Dictionary(adopt(d));
  }();
  return *empty;
}

const Value& Dictionary::objectForKey(std::string_view key) const noexcept { return lookup(*this, key); }

const Value& Dictionary::lookup(const Value& dictionary, std::string_view key) noexcept {
  const HeapDictionary* d = ValueAccess::dictionary(dictionary);
  if (!d) return detail::absentValue();
  const std::ptrdiff_t at = find(d, key);
  return at >= 0 ? d->entries[static_cast<std::size_t>(at)].value : detail::absentValue();
}

std::ptrdiff_t Dictionary::positionOf(const Value& dictionary, std::string_view key, std::uint64_t hash) noexcept {
  const HeapDictionary* d = ValueAccess::dictionary(dictionary);
  return d ? find(d, key, [hash] { return hash; }) : -1;
}

std::uint64_t Dictionary::keyHash(std::string_view key) noexcept { return hashKey(key); }

Array Dictionary::allKeys() const {
  std::vector<Value> keys;
  keys.reserve(count());
  for (const DictionaryEntry& e : *this) keys.push_back(e.key);
  return Array::fromVector(std::move(keys));
}

Array Dictionary::allValues() const {
  std::vector<Value> values;
  values.reserve(count());
  for (const DictionaryEntry& e : *this) values.push_back(e.value);
  return Array::fromVector(std::move(values));
}

Dictionary Dictionary::copy() const {
  if (isAbsent()) return Dictionary();
  return adopt(heapCopy(*entries(), false));
}

MutableDictionary Dictionary::mutableCopy() const {
  if (isAbsent()) return MutableDictionary();
  return MutableDictionary(adopt(heapCopy(*entries(), true)));
}

MutableDictionary::MutableDictionary(std::initializer_list<Pair> pairs)
    : Dictionary(adopt(heapFromPairs(pairs, true))) {}

MutableDictionary MutableDictionary::dictionary(std::size_t capacity) {
  return MutableDictionary(adopt(HeapDictionary::make(capacity, true)));
}

void MutableDictionary::setObject(Value value, std::string_view key) const {
  if (HeapDictionary* d = heapDictionary()) put(d, std::move(value), String(key));
}

void MutableDictionary::setObject(Value value, const String& key) const {
  if (HeapDictionary* d = heapDictionary()) put(d, std::move(value), key);
}

void MutableDictionary::removeObjectForKey(std::string_view key) const {
  HeapDictionary* d = heapDictionary();
  if (!d) return;
  const std::ptrdiff_t at = find(d, key);
  if (at < 0) return;
  d->entries.erase(static_cast<std::size_t>(at));
  dropIndex(d);
}

void MutableDictionary::removeObjectsForKeys(const Array& keys) const {
  for (const Value& key : keys) {
    if (key.isString()) removeObjectForKey(key.stringView());
  }
}

void MutableDictionary::removeAllObjects() const {
  if (HeapDictionary* d = heapDictionary()) {
    d->entries.clear();
    dropIndex(d);
  }
}

void MutableDictionary::addEntriesFromDictionary(const Dictionary& other) const {
  HeapDictionary* d = heapDictionary();
  if (!d) return;
  // Copy first: `other` may be this very dictionary.
  const Dictionary source = other.copy();
  for (const DictionaryEntry& e : source) put(d, e.value, e.key);
}

}  // namespace kiv
