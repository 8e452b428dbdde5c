// Array and MutableArray: Values that are absent or an ordered sequence of Values.
//
// Like every Value, a default Array is absent, and so is `Array{}` (empty braces choose the
// default constructor): Array::emptyArray(), MutableArray::array() or Array{1, 2} make arrays.
//
// An Array may be mutable or not; a MutableArray always is, and every Value that shares it sees
// its changes: it is a handle with reference semantics, like a pointer, so its changing
// operations are const. Operations on an absent array do nothing and read as empty. Arrays never hold
// absent elements: adding absent does nothing.
#ifndef KIV_FOUNDATION_ARRAY_HPP_
#define KIV_FOUNDATION_ARRAY_HPP_

#include <cstddef>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {

class MutableArray;

class Array : public Value {
 public:
  // Absent.
  Array() = default;
  // An immutable array of the elements, absent ones left out.
  Array(std::initializer_list<Value> elements);
  // The same from a vector, whose elements are moved into the array.
  static Array fromVector(std::vector<Value> elements);
  // The one shared empty immutable array.
  static const Array& emptyArray();

  // The number of elements; 0 for an absent array.
  std::size_t count() const noexcept { return items() ? items()->size() : 0; }
  // Whether there are no elements (an absent array has none).
  bool empty() const noexcept { return count() == 0; }
  // The element at the index, or absent past the end. References stay valid while the array
  // lives and is not changed.
  const Value& objectAtIndex(std::size_t index) const noexcept;
  // objectAtIndex(index).
  const Value& operator[](std::size_t index) const noexcept { return objectAtIndex(index); }
  // The first or the last element, or absent when the array is empty.

  const Value& firstObject() const noexcept { return objectAtIndex(0); }
  const Value& lastObject() const noexcept;
  // The elements in order, for range-for loops; both nullptr for an absent array. They stay valid
  // while the array lives and is not changed.

  const Value* begin() const noexcept { return items() ? items()->data() : nullptr; }
  const Value* end() const noexcept { return items() ? items()->data() + items()->size() : nullptr; }
  // Whether an element isEqual to `v`; a linear scan.
  bool containsObject(const Value& v) const;

  // A shallow copy, immutable or mutable: the copy shares the elements but not the sequence, so a
  // later change to either array does not show in the other. Absent for an absent array.

  Array copy() const;
  MutableArray mutableCopy() const;

  // The array as indented JSON text; "[]" when it is not a valid JSON object (an element that is
  // a date, data, a model or a non-finite number, anywhere inside) or cannot be written.
  String LxJSON2String() const;
  // The same in compact form.
  String LxJSON2StringNilOptions() const;
  // The lower-cased (ASCII) form of each string element; other elements are skipped.
  std::set<std::string> lowerSet() const;

 protected:
  // The elements of the array, or nullptr when it is absent.
  const detail::ElementBuffer<Value>* items() const noexcept {
    const detail::HeapArray* a = ValueAccess::array(*this);
    return a ? &a->items : nullptr;
  }
  // An Array that takes over the caller's reference to `heap` (mutable or not, as made).
  static Array adopt(detail::HeapArray* heap) {
    return Array(Unchecked{}, ValueAccess::adopt(ValueAccess::kArrayTag, heap));
  }

 private:
  friend class Value;
  struct Unchecked {};
  Array(Unchecked, const Value& v) : Value(v) {}
};

class MutableArray : public Array {
 public:
  // Absent.
  MutableArray() = default;
  // A new mutable array of the elements.
  MutableArray(std::initializer_list<Value> elements);
  // A new, empty mutable array.
  static MutableArray array(std::size_t capacity = 0);

  // Appends the element; absent does nothing.
  void addObject(Value element) const;
  // Appends the elements of `other` in order; `other` may be this array.
  void addObjectsFromArray(const Array& other) const;
  // Inserts before the index; an index past the end appends. Absent does nothing.
  void insertObject(Value element, std::size_t index) const;
  // Replaces the element at the index; an index past the end, or absent, does nothing.
  void replaceObjectAtIndex(std::size_t index, Value element) const;
  // Removes the element at the index and closes the gap; an index past the end does nothing.
  void removeObjectAtIndex(std::size_t index) const;
  // Removes the last element, if there is one.
  void removeLastObject() const;
  // Removes every element.
  void removeAllObjects() const;

 private:
  friend class Value;
  friend class Array;
  explicit MutableArray(const Array& a) : Array(a) {}
  detail::ElementBuffer<Value>* mutableItems() const noexcept {
    detail::HeapArray* a = ValueAccess::array(*this);
    return a ? &a->items : nullptr;
  }
};

inline Array Value::asArray() const { return isArray() ? Array(Array::Unchecked{}, *this) : Array(); }

inline MutableArray Value::asMutableArray() const {
  return isMutableArray() ? MutableArray(asArray()) : MutableArray();
}

}  // namespace kiv

#endif  // KIV_FOUNDATION_ARRAY_HPP_
