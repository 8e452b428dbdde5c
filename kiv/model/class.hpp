// Class: the model runtime's record of one class.
//
// There is one record per model class (made by KIV_MODEL, see model.hpp), per class map
// (KIV_CLASS_MAP, class_map.hpp), per value kind (String, Number, Date, Data, Array,
// MutableArray, Dictionary, MutableDictionary, Null) and one for the root, Object, that they all
// derive from. MutableArray derives from Array and MutableDictionary from Dictionary.
//
// A record knows its name, its superclass, the properties its class declares itself (in
// declaration order) and how to make a new instance. Records register themselves by name when
// they are made and live for the whole process; a record is an Object, so a class can travel in
// a Value (of the model kind) like any object. Model and class-map records register before
// main() runs.
#ifndef KIV_MODEL_CLASS_HPP_
#define KIV_MODEL_CLASS_HPP_

#include <span>
#include <string>
#include <string_view>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/property.hpp"
#include "kiv/model/value_kind.hpp"

namespace kiv {

class Class : public Object {
 public:
  // The name the class is registered under: for a model class or a class map, the class name that
  // its declaration macro was given.
  std::string_view name() const noexcept { return name_; }
  // The superclass; null for the root.
  const Class* superclass() const noexcept { return superclass_; }
  // Whether this class is `other` or derives from it.
  bool isSubclassOfClass(const Class& other) const noexcept;

  // The properties that this class declares itself, in declaration order.
  std::span<const Property> properties() const noexcept { return properties_; }
  // This class's own property of that name, or null.
  const Property* propertyNamed(std::string_view name) const noexcept;

  // A new instance: a new model object for a model class; the empty string, array or
  // dictionary, the number 0, the current date, empty data or the null for a value kind; absent
  // for the root and for class maps, which have no instances.
  virtual Value newInstance() const;

  // The registered class of that name, or null. When two classes share a name, the first one
  // registered keeps it (registering the second logs a line).
  static const Class* named(std::string_view name);
  // The class that a Value holds as its object, or null.
  static const Class* fromValue(const Value& value) noexcept;

  // The class's name.
  std::string description() const override;

 protected:
  // Makes a new instance (see newInstance()); null for a class without instances.
  using Factory = Value (*)();
  // Makes the record immortal and registers it under its name. `name` must outlive the process
  // (a literal); so must `properties`.
  Class(std::string_view name, const Class* superclass, std::span<const Property> properties,
        Factory factory);

 private:
  std::string_view name_;
  const Class* superclass_;
  std::span<const Property> properties_;
  Factory factory_;
};

// The class of a value: the record of its kind (a mutable array's is MutableArray, the null's is
// Null), or for a model object its model class. Null for absent and for objects that are not
// models.
const Class* classOf(const Value& value) noexcept;

// Whether the value's class is `cls` or derives from it; false for absent.
bool isKindOfClass(const Value& value, const Class& cls) noexcept;

// The record of a class known at compile time: T::kivClass() for a model class or a class map;
// the specialisations below give the root (Object) and the value kinds.
template <class T>
const Class& classOf() {
  return T::kivClass();
}

// The records of the root (Object) and of the value kinds, made together on first use.

template <>
const Class& classOf<Object>();
template <>
const Class& classOf<String>();
template <>
const Class& classOf<Number>();
template <>
const Class& classOf<Date>();
template <>
const Class& classOf<Data>();
template <>
const Class& classOf<Array>();
template <>
const Class& classOf<MutableArray>();
template <>
const Class& classOf<Dictionary>();
template <>
const Class& classOf<MutableDictionary>();

}  // namespace kiv

#endif  // KIV_MODEL_CLASS_HPP_
