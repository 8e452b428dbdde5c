// The heap payloads behind Value: strings longer than the inline capacity, data, arrays and
// dictionaries. Internal to the foundation layer (namespace detail); applications use the typed
// views instead. It is installed with the public headers only because the views' inline
// operations (iteration, subscripts) read these layouts directly.
#ifndef KIV_FOUNDATION_VALUE_HEAP_HPP_
#define KIV_FOUNDATION_VALUE_HEAP_HPP_

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>
#include <cstring>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

namespace detail {

// Memory for heap payloads, from malloc. Parsing and releasing documents makes and frees thousands
// of small blocks, which the C library's allocator serves slowly (freeing a document's blocks
// fragments its bins, and the next large request sorts them all again). So a freed block of up to
// kMaxCachedBlock bytes is kept by the freeing thread for the next block of its size class on that
// thread; when a thread keeps kThreadCacheBytes, it gives them all back and starts again, so that
// it keeps the blocks of its current work. Under AddressSanitizer every block goes straight
// to the C library, so that a use after free is still caught.
inline constexpr std::size_t kMaxCachedBlock = 512;
inline constexpr std::size_t kThreadCacheBytes = std::size_t{2} << 20;

struct Block {
  void* memory;
  std::uint8_t sizeClass;  // for freeBlock(); 0 when the block is not of a cached size
};
Block allocateBlock(std::size_t bytes);
void freeBlock(void* memory, std::uint8_t sizeClass) noexcept;
// The bytes this thread keeps for reuse; for measurements.
std::size_t threadCachedBytes() noexcept;

}  // namespace detail

// One key and its value, as a dictionary holds and iterates them.
struct DictionaryEntry {
  String key;   // never absent
  Value value;  // never absent
};

namespace detail {

// The elements of a container. They start in the container's own heap block, sized exactly when
// the container is made (a parsed array or dictionary costs one allocation), and move to a buffer
// of their own when a mutable container grows beyond it.
template <class T>
class ElementBuffer {
 public:
  ElementBuffer(T* inlineStorage, std::size_t inlineCapacity) noexcept
      : data_(inlineStorage), inline_(inlineStorage), capacity_(inlineCapacity) {}
  ElementBuffer(const ElementBuffer&) = delete;
  ElementBuffer& operator=(const ElementBuffer&) = delete;
  ~ElementBuffer() {
    clear();
    if (data_ != inline_) ::operator delete(data_);
  }

  T* data() noexcept { return data_; }
  const T* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T& operator[](std::size_t i) noexcept { return data_[i]; }
  const T& operator[](std::size_t i) const noexcept { return data_[i]; }
  T& back() noexcept { return data_[size_ - 1]; }

  void push_back(T value) {
    if (size_ == capacity_) grow(size_ + 1);
    new (data_ + size_) T(std::move(value));
    ++size_;
  }
  void insert(std::size_t position, T value) {
    push_back(std::move(value));
    for (std::size_t i = size_ - 1; i > position; --i) std::swap(data_[i], data_[i - 1]);
  }
  void erase(std::size_t position) {
    for (std::size_t i = position; i + 1 < size_; ++i) data_[i] = std::move(data_[i + 1]);
    pop_back();
  }
  void pop_back() noexcept { data_[--size_].~T(); }
  void clear() noexcept {
    while (size_) pop_back();
  }

 private:
  void grow(std::size_t needed) {
    const std::size_t capacity = std::max({needed, capacity_ * 2, std::size_t{4}});
    T* fresh = static_cast<T*>(::operator new(capacity * sizeof(T)));
    for (std::size_t i = 0; i < size_; ++i) {
      new (fresh + i) T(std::move(data_[i]));
      data_[i].~T();
    }
    if (data_ != inline_) ::operator delete(data_);
    data_ = fresh;
    capacity_ = capacity;
  }

  T* data_;
  T* inline_;
  std::size_t size_ = 0;
  std::size_t capacity_;
};

struct HeapArray : HeapBase {
  ElementBuffer<Value> items;

  // A new, empty array with room for `capacity` elements in its own block.
  static HeapArray* make(std::size_t capacity, bool isMutable);
  static void destroy(HeapArray* a) noexcept;

 private:
  explicit HeapArray(std::size_t capacity) : items(reinterpret_cast<Value*>(this + 1), capacity) {}
  ~HeapArray() = default;
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
  ElementBuffer<DictionaryEntry> entries;
  std::atomic<DictionaryIndex*> index{nullptr};

  // A new, empty dictionary with room for `capacity` entries in its own block.
  static HeapDictionary* make(std::size_t capacity, bool isMutable);
  static void destroy(HeapDictionary* d) noexcept;

 private:
  explicit HeapDictionary(std::size_t capacity);
  ~HeapDictionary();
};

// A new dictionary holding the entries, moved in order; a repeated key keeps its first place and
// its last value. Dictionaries large enough to need an index get it at once, since finding the
// repeated keys builds it anyway.
HeapDictionary* makeDictionary(DictionaryEntry* first, DictionaryEntry* last, bool isMutable);

// A 64-bit hash of a byte string, used by dictionaries and by Value::hash.
std::uint64_t hashBytes(const void* data, std::size_t size) noexcept;

// One absent Value, for lookups that return a reference.
const Value& absentValue() noexcept;

}  // namespace detail

// The privileged access that the foundation's own code needs to build and read heap payloads.
struct ValueAccess {
  // Value's own protected accessors of the layout, for the value given: the heap payload's header
  // (heap kinds other than objects only) and the payload word read as a signed or unsigned integer
  // or as a double.

  static detail::HeapBase* heap(const Value& v) noexcept { return v.heap(); }
  static std::int64_t rawInt(const Value& v) noexcept { return v.rawInt(); }
  static std::uint64_t rawUnsigned(const Value& v) noexcept { return v.rawUnsigned(); }
  static double rawDouble(const Value& v) noexcept { return v.rawDouble(); }
  // Word 0 or 1 of the value's 16 bytes. Two values with equal words are identical: the same
  // inline payload, or the same heap object.
  static std::uint64_t rawWord(const Value& v, int i) noexcept {
    std::uint64_t w;
    std::memcpy(&w, v.raw_ + 8 * i, sizeof w);
    return w;
  }
  // The value's tag byte.
  static unsigned char tag(const Value& v) noexcept { return v.tag(); }
  // A Value of the heap tag that takes over the caller's reference to `heapObject`.
  static Value adopt(unsigned char tag, const void* heapObject) noexcept {
    return Value::adoptHeap(static_cast<Value::Tag>(tag), heapObject);
  }
  // The heap payload when the value is an array, a dictionary or data, else nullptr.

  static detail::HeapArray* array(const Value& v) noexcept {
    return v.isArray() ? static_cast<detail::HeapArray*>(v.heap()) : nullptr;
  }
  static detail::HeapDictionary* dictionary(const Value& v) noexcept {
    return v.isDictionary() ? static_cast<detail::HeapDictionary*>(v.heap()) : nullptr;
  }
  static detail::HeapBytes* data(const Value& v) noexcept {
    return v.isData() ? static_cast<detail::HeapBytes*>(v.heap()) : nullptr;
  }

  // Value's tags of the heap kinds that the foundation builds, and the inline string capacity.

  static constexpr unsigned char kArrayTag = Value::kArrayTag;
  static constexpr unsigned char kDictionaryTag = Value::kDictionaryTag;
  static constexpr unsigned char kDataTag = Value::kDataTag;
  static constexpr unsigned char kHeapStringTag = Value::kHeapStringTag;
  static constexpr std::size_t kInlineCapacity = Value::kInlineCapacity;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_VALUE_HEAP_HPP_
