// KivProPertyInfo: the descriptor of one declared property, built from the runtime's Property
// record and the class that declares it.
//
// The descriptor parses the property's attribute text once: the type code and qualifiers of its
// type encoding (KivEncodingGetType) together with its attribute bits form `type`; an object
// encoding with a quoted class name gives `cls` by class lookup by name; "G" and "S" name custom
// accessors. A property without a custom setter name gets the setter selector "set" + the
// capitalised name + ":" and takes part in merge recording: its `emptyImp` is the generated
// setter's recording slot, which setMergeIdx() arms with the property's merge index, so that
// every later call of the setter marks the object's merge flags.
//
// Descriptors are built only by KivClassInfo, once per class and property (a second descriptor
// of the same property would re-arm its slot), and are immutable once the merge index is set.
#ifndef KIV_MODEL_PROPERTY_INFO_HPP_
#define KIV_MODEL_PROPERTY_INFO_HPP_

#include <cstdint>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/model/class.hpp"
#include "kiv/model/encoding.hpp"
#include "kiv/model/property.hpp"
#include "kiv/model/selector.hpp"

namespace kiv {

class KivProPertyInfo : public Object {
 public:
  // Stores a Value into the property of `model` (see PropertyAccessors::set).
  using SetterImp = void (*)(KivModel& model, const Value& value);

  // The descriptor of `property`, declared by `cls`.
  KivProPertyInfo(const Property& property, const Class& cls);

  // The runtime's record of the property.
  const Property& property() const noexcept { return *property_; }
  // Type code, qualifier bits and property attribute bits.
  KivEncodingType type() const noexcept { return type_; }
  // The declared name; absent when the property has none.
  const String& name() const noexcept { return name_; }
  // The class of an object-typed property with a quoted class name that names a class; else null.
  const Class* cls() const noexcept { return cls_; }
  // The class of the elements of an array of models (declared as std::vector<Ref<T>>); else null.
  const Class* elementClass() const noexcept {
    return property_->elementClass ? &property_->elementClass() : nullptr;
  }
  // The getter's selector: the custom getter name ("G"), else the property's name; null when the
  // property has neither.
  Selector getter() const noexcept { return getter_; }
  // The setter's selector: the custom setter name ("S"), else "set" + the capitalised name + ":";
  // null when the property has no name and no custom setter.
  Selector setter() const noexcept { return setter_; }
  // The setter's own store, without merge recording; null for a read-only property and for one
  // with a custom setter name.
  SetterImp setterImp() const noexcept { return setterImp_; }
  // The recording slot that routes the class's setter through merge recording; null for a
  // read-only property (it has no setter) and for one with a custom setter name (never recorded).
  MergeSlot* emptyImp() const noexcept { return emptyImp_; }

  // The property's bit in a model's merge flags; 0 until the class descriptor sets it.
  std::int64_t mergeIdx() const noexcept { return mergeIdx_; }
  // Sets the merge index and arms the recording slot with it (setters record from now on).
  void setMergeIdx(std::int64_t mergeIdx) noexcept;

  // The class that declares the property.
  const Class& declaringClass() const noexcept { return *declaringClass_; }

 private:
  void readAttributes();
  void deriveAccessors();

  const Property* property_;
  KivEncodingType type_ = 0;
  String name_;
  const Class* cls_ = nullptr;
  Selector getter_;
  Selector setter_;
  SetterImp setterImp_ = nullptr;
  MergeSlot* emptyImp_ = nullptr;
  std::int64_t mergeIdx_ = 0;
  const Class* declaringClass_;
};

}  // namespace kiv

#endif  // KIV_MODEL_PROPERTY_INFO_HPP_
