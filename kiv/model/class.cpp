#include "kiv/model/class.hpp"

#include <mutex>
#include <string>
#include <unordered_map>

#include "kiv/foundation/log.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

namespace {

class Registry {
 public:
  void add(const Class& cls) {
    bool added;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      added = byName_.emplace(cls.name(), &cls).second;
    }
    if (!added) {
      log("Kiv: another class is already named " + std::string(cls.name()) +
          "; looking it up by name finds the first one");
    }
  }
  const Class* find(std::string_view name) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = byName_.find(name);
    return it == byName_.end() ? nullptr : it->second;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::string_view, const Class*> byName_;
};

Registry& registry() {
  static auto* instance = new Registry();
  return *instance;
}

class BuiltInClass final : public Class {
 public:
  BuiltInClass(std::string_view name, const Class* superclass, Factory factory)
      : Class(name, superclass, {}, factory) {}
};

// The root and the value kinds, made together on first use.
struct BuiltInClasses {
  BuiltInClass object{"Object", nullptr, nullptr};
  BuiltInClass string{ValueKind<String>::kName, &object, [] { return Value(""); }};
  BuiltInClass number{ValueKind<Number>::kName, &object, [] { return Value(0); }};
  BuiltInClass date{ValueKind<Date>::kName, &object, [] { return Value(Date::now()); }};
  BuiltInClass data{ValueKind<Data>::kName, &object, [] { return Value::data(nullptr, 0); }};
  BuiltInClass array{ValueKind<Array>::kName, &object, [] { return Value(Array::fromVector({})); }};
  BuiltInClass mutableArray{ValueKind<MutableArray>::kName, &array,
                            [] { return Value(MutableArray::array()); }};
  BuiltInClass dictionary{ValueKind<Dictionary>::kName, &object,
                          [] { return Value(MutableDictionary::dictionary().copy()); }};
  BuiltInClass mutableDictionary{ValueKind<MutableDictionary>::kName, &dictionary,
                                 [] { return Value(MutableDictionary::dictionary()); }};
  BuiltInClass null{"Null", &object, [] { return Value::null(); }};
};

const BuiltInClasses& builtIns() {
  static auto* classes = new BuiltInClasses();
  return *classes;
}

}  // namespace

Class::Class(std::string_view name, const Class* superclass, std::span<const Property> properties,
             Factory factory)
    : name_(name), superclass_(superclass), properties_(properties), factory_(factory) {
  retain();  // never released: records live for the process, whoever holds them
  registry().add(*this);
}

bool Class::isSubclassOfClass(const Class& other) const noexcept {
  for (const Class* c = this; c; c = c->superclass_) {
    if (c == &other) return true;
  }
  return false;
}

const Property* Class::propertyNamed(std::string_view name) const noexcept {
  for (const Property& p : properties_) {
    if (p.name && name == p.name) return &p;
  }
  return nullptr;
}

Value Class::newInstance() const { return factory_ ? factory_() : Value(); }

const Class* Class::named(std::string_view name) {
  builtIns();  // the value kinds are registered before anyone looks for them
  return registry().find(name);
}

const Class* Class::fromValue(const Value& value) noexcept {
  return dynamic_cast<const Class*>(value.object());
}

std::string Class::description() const { return std::string(name_); }

const Class* classOf(const Value& value) noexcept {
  const BuiltInClasses& b = builtIns();
  switch (value.kind()) {
    case Kind::kAbsent: return nullptr;
    case Kind::kNull: return &b.null;
    case Kind::kNumber: return &b.number;
    case Kind::kString: return &b.string;
    case Kind::kDate: return &b.date;
    case Kind::kData: return &b.data;
    case Kind::kArray: return value.isMutable() ? &b.mutableArray : &b.array;
    case Kind::kDictionary: return value.isMutable() ? &b.mutableDictionary : &b.dictionary;
    case Kind::kModel: {
      const auto* model = dynamic_cast<const KivModel*>(value.object());
      return model ? &model->modelClass() : nullptr;
    }
  }
  return nullptr;
}

bool isKindOfClass(const Value& value, const Class& cls) noexcept {
  const Class* own = classOf(value);
  return own && own->isSubclassOfClass(cls);
}

template <>
const Class& classOf<Object>() { return builtIns().object; }
template <>
const Class& classOf<String>() { return builtIns().string; }
template <>
const Class& classOf<Number>() { return builtIns().number; }
template <>
const Class& classOf<Date>() { return builtIns().date; }
template <>
const Class& classOf<Data>() { return builtIns().data; }
template <>
const Class& classOf<Array>() { return builtIns().array; }
template <>
const Class& classOf<MutableArray>() { return builtIns().mutableArray; }
template <>
const Class& classOf<Dictionary>() { return builtIns().dictionary; }
template <>
const Class& classOf<MutableDictionary>() { return builtIns().mutableDictionary; }

}  // namespace kiv
