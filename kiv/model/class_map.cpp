#include "kiv/model/class_map.hpp"

namespace kiv {

namespace {

// KivClassMap is registered by name with the application's class maps.
[[maybe_unused]] const ClassMapClass& kRegisteredKivClassMap = KivClassMap::kivClass();

}  // namespace

ClassMapClass::ClassMapClass(std::string_view name, const Class& superclass,
                             const ClassMapHooks& hooks)
    : Class(name, &superclass, {}, nullptr), hooks_(hooks) {}

Array ClassMapClass::classMaps(const Array& types) const {
  if (hooks_.classMaps) return hooks_.classMaps(types);
  const MutableArray classes = MutableArray::array();
  for (const Value& type : types) {
    if (const ModelClass* cls = classMap(type.integerValue())) classes.addObject(Value(cls));
  }
  return classes;
}

const ClassMapClass* ClassMapClass::fromValue(const Value& value) noexcept {
  return dynamic_cast<const ClassMapClass*>(value.object());
}

Array KivClassMap::classMaps(const Array& types) { return kivClass().classMaps(types); }

const ClassMapClass& KivClassMap::kivClass() {
  static const ClassMapClass& record =
      detail::ClassMapAccess::makeClass<KivClassMap>("KivClassMap", classOf<Object>());
  return record;
}

}  // namespace kiv
