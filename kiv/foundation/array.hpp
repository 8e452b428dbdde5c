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
  static Array fromVector(std::vector<Value> elements);
  // The one shared empty immutable array.
  static const Array& emptyArray();

  std::size_t count() const noexcept { return items() ? items()->size() : 0; }
  bool empty() const noexcept { return count() == 0; }
  // The element at the index, or absent past the end. References stay valid while the array
  // lives and is not changed.
  const Value& objectAtIndex(std::size_t index) const noexcept;
  const Value& operator[](std::size_t index) const noexcept { return objectAtIndex(index); }
  const Value& firstObject() const noexcept { return objectAtIndex(0); }
  const Value& lastObject() const noexcept;
  const Value* begin() const noexcept { return items() ? items()->data() : nullptr; }
  const Value* end() const noexcept { return items() ? items()->data() + items()->size() : nullptr; }
  bool containsObject(const Value& v) const;

  // A shallow copy: the copy shares the elements.
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
  const detail::ElementBuffer<Value>* items() const noexcept {
    const detail::HeapArray* a = ValueAccess::array(*this);
    return a ? &a->items : nullptr;
  }
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

  void addObject(Value element) const;
  void addObjectsFromArray(const Array& other) const;
  // Inserts before the index; an index past the end appends.
  void insertObject(Value element, std::size_t index) const;
  void replaceObjectAtIndex(std::size_t index, Value element) const;
  void removeObjectAtIndex(std::size_t index) const;
  void removeLastObject() const;
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
