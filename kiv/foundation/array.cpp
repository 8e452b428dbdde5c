#include "kiv/foundation/array.hpp"

#include <algorithm>

namespace kiv {

namespace detail {

HeapArray* HeapArray::make(std::size_t capacity, bool isMutable) {
  const Block block = allocateBlock(sizeof(HeapArray) + capacity * sizeof(Value));
  auto* a = new (block.memory) HeapArray(capacity);
  a->isMutable = isMutable;
  a->sizeClass = block.sizeClass;
  return a;
}

void HeapArray::destroy(HeapArray* a) noexcept {
  const std::uint8_t sizeClass = a->sizeClass;
  a->~HeapArray();
  freeBlock(a, sizeClass);
}

}  // namespace detail

namespace {

// A new array of the present elements among [first, last), copied or moved by `Iterator`.
template <class Iterator>
Array arrayOf(Iterator first, Iterator last, bool isMutable) {
  detail::HeapArray* a = detail::HeapArray::make(static_cast<std::size_t>(last - first), isMutable);
  for (; first != last; ++first) {
    if (first->isPresent()) a->items.push_back(*first);
  }
  return ValueAccess::adopt(ValueAccess::kArrayTag, a).asArray();
}

}  // namespace

Array::Array(std::initializer_list<Value> elements)
    : Array(arrayOf(elements.begin(), elements.end(), false)) {}

Array Array::fromVector(std::vector<Value> elements) {
  return arrayOf(std::make_move_iterator(elements.begin()), std::make_move_iterator(elements.end()),
                 false);
}

const Array& Array::emptyArray() {
  // Immortal, so that it serves code that runs at exit too and copies touch no count.
  static const Array* empty = [] {
    detail::HeapArray* a = detail::HeapArray::make(0, false);
    a->refs.store(detail::HeapBase::kImmortal, std::memory_order_relaxed);
    return new Array(ValueAccess::adopt(ValueAccess::kArrayTag, a).asArray());
  }();
  return *empty;
}

const Value& Array::objectAtIndex(std::size_t index) const noexcept {
  return index < count() ? (*items())[index] : detail::absentValue();
}

const Value& Array::lastObject() const noexcept {
  const std::size_t n = count();
  return n ? objectAtIndex(n - 1) : detail::absentValue();
}

bool Array::containsObject(const Value& v) const {
  return std::any_of(begin(), end(), [&](const Value& e) { return e.isEqual(v); });
}

Array Array::copy() const {
  if (isAbsent()) return Array();
  return arrayOf(begin(), end(), false);
}

MutableArray Array::mutableCopy() const {
  if (isAbsent()) return MutableArray();
  return MutableArray(arrayOf(begin(), end(), true));
}

std::set<std::string> Array::lowerSet() const {
  std::set<std::string> out;
  for (const Value& v : *this) {
    if (v.isString()) out.insert(v.lowercaseString().str());
  }
  return out;
}

MutableArray::MutableArray(std::initializer_list<Value> elements)
    : Array(arrayOf(elements.begin(), elements.end(), true)) {}

MutableArray MutableArray::array(std::size_t capacity) {
  return MutableArray(ValueAccess::adopt(ValueAccess::kArrayTag, detail::HeapArray::make(capacity, true))
                          .asArray());
}

void MutableArray::addObject(Value element) const {
  if (auto* v = mutableItems(); v && element.isPresent()) v->push_back(std::move(element));
}

void MutableArray::addObjectsFromArray(const Array& other) const {
  // Copy first: `other` may be this very array.
  const Array added = other.copy();
  for (const Value& element : added) addObject(element);
}

void MutableArray::insertObject(Value element, std::size_t index) const {
  auto* v = mutableItems();
  if (!v || element.isAbsent()) return;
  v->insert(std::min(index, v->size()), std::move(element));
}

void MutableArray::replaceObjectAtIndex(std::size_t index, Value element) const {
  auto* v = mutableItems();
  if (v && index < v->size() && element.isPresent()) (*v)[index] = std::move(element);
}

void MutableArray::removeObjectAtIndex(std::size_t index) const {
  auto* v = mutableItems();
  if (v && index < v->size()) v->erase(index);
}

void MutableArray::removeLastObject() const {
  if (auto* v = mutableItems(); v && !v->empty()) v->pop_back();
}

void MutableArray::removeAllObjects() const {
  if (auto* v = mutableItems()) v->clear();
}

}  // namespace kiv
