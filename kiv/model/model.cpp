#include "kiv/model/model.hpp"

#include <cstdio>

namespace kiv {

namespace {

Value valueOf(const KivModel& model, const Property& property) {
  return property.accessors.get ? property.accessors.get(model) : Value();
}

// KivModel is registered by name with the model classes.
[[maybe_unused]] const ModelClass& kRegisteredKivModel = KivModel::kivClass();

}  // namespace

const ModelClass& KivModel::kivClass() {
  static const ModelClass& record =
      detail::ModelAccess::makeClass<KivModel>("KivModel", classOf<Object>());
  return record;
}

bool KivModel::isSet(std::string_view name) const {
  const KivProPertyInfo* info = nullptr;
  forEachModelLevel(modelClass(), [&](const ModelClass& level) {
    if (!info) info = level.kiv_classInfo().propDict().objectForKey(name);
  });
  return info && flag_.needMergeAt(info->mergeIdx());
}

Ref<KivModel> KivModel::fromValue(Value&& value) noexcept {
  KivModel* model = in(value);
  if (model) value.detachObject();
  return Ref<KivModel>::adopt(model);
}

void KivModel::setOtherForInfo(const Value& value, const KivProPertyInfo& info) {
  if (!isInstanceOf(info.declaringClass())) return;
  const PropertyAccessors& access = info.property().accessors;
  if (info.cls()) {
    if (!access.set) return;
    if (value.isNull()) {
      access.set(*this, Value());
    } else {
      access.set(*this, value);
    }
  } else if ((info.type() & KivEncodingTypeMask) == KivEncodingTypeUnknown) {
    setValue(value, info.name().view());
  }
}

Value KivModel::objectForInfo(const KivProPertyInfo& info) const {
  Value value = info.cls() ? valueOf(*this, info.property()) : valueForKey(info.name().view());
  if (value.isAbsent()) value = Value::null();
  return value;
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
  if (value.isAbsent() && property->accessors.setNumber) {
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
  std::string text = "<";
  text += modelClass().name();
  text += ": ";
  text += address;
  text += "> ";
  text += values.description();
  return text;
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
