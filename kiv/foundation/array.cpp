#include "kiv/foundation/array.hpp"

#include <algorithm>

namespace kiv {
namespace {

detail::HeapArray* newHeapArray(std::vector<Value> items, bool isMutable) {
  auto* a = new detail::HeapArray();
  a->isMutable = isMutable;
  a->items = std::move(items);
  std::erase_if(a->items, [](const Value& v) { return v.isAbsent(); });
  return a;
}

}  // namespace

Array::Array(std::initializer_list<Value> elements)
    : Array(adopt(newHeapArray(std::vector<Value>(elements), false))) {}

Array Array::fromVector(std::vector<Value> elements) {
  return adopt(newHeapArray(std::move(elements), false));
}

const Value& Array::objectAtIndex(std::size_t index) const noexcept {
  const std::vector<Value>* v = items();
  return v && index < v->size() ? (*v)[index] : detail::absentValue();
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
  return adopt(newHeapArray(*items(), false));
}

MutableArray Array::mutableCopy() const {
  if (isAbsent()) return MutableArray();
  return MutableArray(adopt(newHeapArray(*items(), true)));
}

std::set<std::string> Array::lowerSet() const {
  std::set<std::string> out;
  for (const Value& v : *this) {
    if (v.isString()) out.insert(v.lowercaseString().str());
  }
  return out;
}

MutableArray::MutableArray(std::initializer_list<Value> elements)
    : Array(adopt(newHeapArray(std::vector<Value>(elements), true))) {}

MutableArray MutableArray::array(std::size_t capacity) {
  std::vector<Value> items;
  items.reserve(capacity);
  return MutableArray(adopt(newHeapArray(std::move(items), true)));
}

void MutableArray::addObject(Value element) const {
  if (auto* v = mutableItems(); v && element.isPresent()) v->push_back(std::move(element));
}

void MutableArray::addObjectsFromArray(const Array& other) const {
  // Copy first: `other` may be this very array.
  const std::vector<Value> added(other.begin(), other.end());
  if (auto* v = mutableItems()) v->insert(v->end(), added.begin(), added.end());
}

void MutableArray::insertObject(Value element, std::size_t index) const {
  auto* v = mutableItems();
  if (!v || element.isAbsent()) return;
  v->insert(v->begin() + static_cast<std::ptrdiff_t>(std::min(index, v->size())), std::move(element));
}

void MutableArray::replaceObjectAtIndex(std::size_t index, Value element) const {
  auto* v = mutableItems();
  if (v && index < v->size() && element.isPresent()) (*v)[index] = std::move(element);
}

void MutableArray::removeObjectAtIndex(std::size_t index) const {
  auto* v = mutableItems();
  if (v && index < v->size()) v->erase(v->begin() + static_cast<std::ptrdiff_t>(index));
}

void MutableArray::removeLastObject() const {
  if (auto* v = mutableItems(); v && !v->empty()) v->pop_back();
}

void MutableArray::removeAllObjects() const {
  if (auto* v = mutableItems()) v->clear();
}

}  // namespace kiv
