// The heap payloads behind Value: strings longer than the inline capacity, data, arrays and
// dictionaries. Internal to the foundation layer; applications use the typed views instead.
#ifndef KIV_FOUNDATION_VALUE_HEAP_HPP_
#define KIV_FOUNDATION_VALUE_HEAP_HPP_

#include <atomic>
#include <cstring>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kiv/foundation/value.hpp"

namespace kiv {

struct DictionaryEntry;

namespace detail {

struct HeapBase {
  std::atomic<std::uint32_t> refs{1};
  bool isMutable = false;
};

// Bytes of a string or of data, allocated in one block with the header.
struct HeapBytes : HeapBase {
  std::size_t size = 0;
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  const char* bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  std::string_view view() const noexcept { return {bytes(), size}; }

  static HeapBytes* make(const void* bytes, std::size_t size);
  static void destroy(HeapBytes* b) noexcept;
};

struct HeapArray : HeapBase {
  std::vector<Value> items;
};

// The hash index of a dictionary: open addressing over entry positions. Built on the first
// lookup of a dictionary with more than a few entries, then kept up to date by changes.
struct DictionaryIndex {
  std::uint32_t mask = 0;  // slot count - 1; slot count is a power of two
  // Each slot: 0 when empty, else entry position + 1 in the low half and the key hash's high
  // half in the upper half, so most mismatches are rejected without touching the key.
  std::vector<std::uint64_t> slots;
};

struct HeapDictionary : HeapBase {
  std::vector<DictionaryEntry> entries;
  std::atomic<DictionaryIndex*> index{nullptr};
  ~HeapDictionary();
};

// A 64-bit hash of a byte string, used by dictionaries and by Value::hash.
std::uint64_t hashBytes(const void* data, std::size_t size) noexcept;

// One absent Value, for lookups that return a reference.
const Value& absentValue() noexcept;

}  // namespace detail

// The privileged access that the foundation's own code needs to build and read heap payloads.
struct ValueAccess {
  static detail::HeapBase* heap(const Value& v) noexcept { return v.heap(); }
  static unsigned char tag(const Value& v) noexcept { return v.tag(); }
  static Value adopt(unsigned char tag, const void* heapObject) noexcept {
    return Value::adoptHeap(static_cast<Value::Tag>(tag), heapObject);
  }
  static detail::HeapArray* array(const Value& v) noexcept {
    return v.isArray() ? static_cast<detail::HeapArray*>(v.heap()) : nullptr;
  }
  static detail::HeapDictionary* dictionary(const Value& v) noexcept {
    return v.isDictionary() ? static_cast<detail::HeapDictionary*>(v.heap()) : nullptr;
  }
  static detail::HeapBytes* data(const Value& v) noexcept {
    return v.isData() ? static_cast<detail::HeapBytes*>(v.heap()) : nullptr;
  }
  static constexpr unsigned char kArrayTag = Value::kArrayTag;
  static constexpr unsigned char kDictionaryTag = Value::kDictionaryTag;
  static constexpr unsigned char kDataTag = Value::kDataTag;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_VALUE_HEAP_HPP_
