#include "kiv/model/model.hpp"

#include <cmath>
#include <cstdio>

namespace kiv {

namespace {

// A finite number as it is, NaN and infinities as 0.
double finiteOrZero(double v) { return std::isfinite(v) ? v : 0.0; }

Value valueOf(const KivModel& model, const Property& property) {
  return property.accessors.get ? property.accessors.get(model) : Value();
}

// The scalar of a number or boolean type code read from `value`, in the member of the code's
// group; false for codes that are not numbers.
bool readScalar(KivEncodingType code, const Value& value, ScalarArgument& out) {
  switch (code) {
    case KivEncodingTypeBool: out.b = value.boolValue(); return true;
    case KivEncodingTypeInt8: out.i = value.charValue(); return true;
    case KivEncodingTypeUInt8: out.u = value.unsignedCharValue(); return true;
    case KivEncodingTypeInt16: out.i = value.shortValue(); return true;
    case KivEncodingTypeUInt16: out.u = value.unsignedShortValue(); return true;
    case KivEncodingTypeInt32: out.i = value.intValue(); return true;
    case KivEncodingTypeUInt32: out.u = value.unsignedIntValue(); return true;
    case KivEncodingTypeInt64: out.i = value.longLongValue(); return true;
    case KivEncodingTypeUInt64: out.u = value.unsignedLongLongValue(); return true;
    case KivEncodingTypeFloat: out.d = finiteOrZero(value.floatValue()); return true;
    case KivEncodingTypeDouble: out.d = finiteOrZero(value.doubleValue()); return true;
    case KivEncodingTypeLongDouble: out.ld = finiteOrZero(value.doubleValue()); return true;
    default: return false;
  }
}

bool isNumberCode(KivEncodingType code) {
  return code >= KivEncodingTypeBool && code <= KivEncodingTypeLongDouble;
}

// KivModel is registered by name with the model classes.
[[maybe_unused]] const ModelClass& kRegisteredKivModel = KivModel::kivClass();

}  // namespace

const ModelClass& KivModel::kivClass() {
  static const ModelClass& record =
      detail::ModelAccess::makeClass<KivModel>("KivModel", classOf<Object>());
  return record;
}

void KivModel::kiv_setValue(const Value& value, const KivProPertyInfo& info) {
  if (!isInstanceOf(info.declaringClass())) return;
  const PropertyAccessors& access = info.property().accessors;
  if (info.cls()) {
    if (access.set) access.set(*this, value.isNull() ? Value() : value);
    return;
  }
  const KivEncodingType code = info.type() & KivEncodingTypeMask;
  if (code == KivEncodingTypeUnknown) {
    setValue(value, info.name().view());
    return;
  }
  ScalarArgument scalar;
  if (!access.setScalar || !readScalar(code, value, scalar)) return;
  if (code == KivEncodingTypeInt32) {
    // A 32-bit signed property is set twice: with the signed reading, then with the unsigned
    // reading of the same bits, which stores the same value.
    access.setScalar(*this, scalar);
    scalar.i = value.unsignedIntValue();
  }
  access.setScalar(*this, scalar);
}

Value KivModel::kiv_valueForInfo(const KivProPertyInfo& info) const {
  if (!isInstanceOf(info.declaringClass()) || !flag_.needMergeAt(info.mergeIdx())) return Value();
  // A NaN or infinite number comes back as itself, as key-value access would read it.
  Value value;
  if (info.cls() || isNumberCode(info.type() & KivEncodingTypeMask)) {
    value = valueOf(*this, info.property());
  }
  if (value.isAbsent() && !info.cls()) value = valueForKey(info.name().view());
  return value.isAbsent() ? Value::null() : value;
}

void KivModel::mergeFrom(const KivModel& other) {
  const ModelClass& theirs = other.modelClass();
  const ModelClass* start = &modelClass();
  if (start != &theirs && start->isSubclassOfClass(theirs)) start = &theirs;
  forEachModelLevel(*start, [&](const ModelClass& level) {
    if (!theirs.isSubclassOfClass(level)) return;  // a level that `other` does not have
    for (const auto& [name, info] : level.kiv_classInfo().propDict()) {
      if (!other.flag_.needMergeAt(info->mergeIdx())) continue;
      kiv_setValue(other.kiv_valueForInfo(*info), *info);
      flag_.setMergeFlagAt(info->mergeIdx());
    }
  });
}

const Property* KivModel::propertyForKey(std::string_view key) const noexcept {
  for (const Class* c = &modelClass(); c; c = c->superclass()) {
    if (const Property* property = c->propertyNamed(key)) return property;
  }
  return nullptr;
}

Value KivModel::valueForKey(std::string_view key) const {
  const Property* property = propertyForKey(key);
  return property ? valueOf(*this, *property) : Value();
}

void KivModel::setValue(const Value& value, std::string_view key) {
  const Property* property = propertyForKey(key);
  if (!property || !property->accessors.set) return;
  if (value.isAbsent() && property->accessors.setScalar) {
    setNilValueForKey(key);
    return;
  }
  property->accessors.set(*this, value);
}

void KivModel::setNilValueForKey(std::string_view key) { setValue(Value(std::int32_t{0}), key); }

std::string KivModel::description() const {
  const MutableDictionary values = MutableDictionary::dictionary();
  forEachModelLevel(modelClass(), [&](const ModelClass& level) {
    for (const Property& property : level.properties()) {
      const Value value = valueOf(*this, property);
      values.setObject(value.isAbsent() ? Value::null() : value, std::string_view(property.name));
    }
  });
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + std::string(modelClass().name()) + ": " + address + "> " + values.description();
}

std::size_t KivModel::hash() const {
  std::size_t hash = 0;
  forEachModelLevel(modelClass(), [&](const ModelClass& level) {
    for (const Property& property : level.properties()) {
      const Value value = valueOf(*this, property);
      if (value.isPresent()) hash ^= value.hash();
    }
  });
  return hash;
}

bool KivModel::isEqual(const Object& other) const {
  if (this == &other) return true;
  const auto* model = dynamic_cast<const KivModel*>(&other);
  if (!model || &model->modelClass() != &modelClass()) return false;
  for (const Property& property : modelClass().properties()) {
    const Value mine = valueOf(*this, property);
    const Value theirs = valueOf(*model, property);
    if (mine.isAbsent() && theirs.isAbsent()) continue;
    if (mine.isAbsent() || !mine.isEqual(theirs)) return false;
  }
  return true;
}

}  // namespace kiv
