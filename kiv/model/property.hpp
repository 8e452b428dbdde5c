// Property: the runtime's record of one declared property of a model class.
//
// The declaration macros (model.hpp) make one Property per KIV_PROPERTY line, at compile time:
// the property's name, its attribute text (for example "T@\"String\",C,N,V_title" or
// "Tq,R,N,V_count"), the recording slot of its generated setter and type-erased accessors. A
// class record lists its own Properties in declaration order; property descriptors
// (KivProPertyInfo) are built from them.
#ifndef KIV_MODEL_PROPERTY_HPP_
#define KIV_MODEL_PROPERTY_HPP_

#include <string_view>
#include <vector>

#include "kiv/foundation/value.hpp"
#include "kiv/model/merge_slot.hpp"

namespace kiv {

class Class;

class KivModel;

// Type-erased access to one property of a model object of the declaring class (or a subclass).
struct PropertyAccessors {
  // The value as a Value: numbers of the declared kind, objects as they are held, absent for
  // types without a Value form (pointers, structures, selectors, ...).
  Value (*get)(const KivModel& model) = nullptr;
  // Stores a Value through the property's setter: numbers read leniently as the declared type,
  // objects as their typed view (a value of another kind stores absent). A read-only
  // property's field is stored directly, without recording. Null for types without a Value
  // form.
  void (*set)(KivModel& model, const Value& value) = nullptr;
  // Stores a number read from a Value as descriptors set numbers (KivModel::kiv_setValue):
  // leniently, NaN and infinities as 0, and a 32-bit signed integer twice, with the signed and
  // then with the unsigned reading of the value. Only for numbers and booleans.
  void (*setNumber)(KivModel& model, const Value& value) = nullptr;
};

struct Property {
  // The declared name.
  const char* name = nullptr;
  // The attribute text, its entries separated by commas (see copyAttributeList); null for none.
  const char* attributes = nullptr;
  // The generated setter's recording slot; null for a read-only property, which has no setter.
  MergeSlot* mergeSlot = nullptr;
  // Access to the property's value on an object of the declaring class.
  PropertyAccessors accessors;
  // For an array of models (std::vector<Ref<T>>), T's record; null otherwise. A function, as T
  // may still be incomplete where the property is declared.
  const Class& (*elementClass)() = nullptr;
};

// One entry of an attribute text: its name character and its value ("T" and "@\"String\"").
struct PropertyAttribute {
  char name;  // the entry's first character, such as 'T', 'R' or 'V'
  std::string_view value;  // the rest of the entry, possibly empty
};

// The attribute text split at commas outside double quotes, in order; empty for no text. The
// views point into the property's attribute text.
std::vector<PropertyAttribute> copyAttributeList(const Property& property);

}  // namespace kiv

#endif  // KIV_MODEL_PROPERTY_HPP_
