#include "kiv/model/model_class.hpp"

#include <atomic>
#include <mutex>
#include <string>

#include "kiv/foundation/log.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/model/class_info.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

namespace {

// Guards the building of every class descriptor.
SpinLock& classInfoLock() {
  static SpinLock lock;
  return lock;
}

#ifdef NDEBUG
std::atomic<KivHookNameCheck> hookNameCheck{KivHookNameCheck::kLog};
#else
std::atomic<KivHookNameCheck> hookNameCheck{KivHookNameCheck::kStop};
#endif

// Whether the class or a model superclass declares a property of the name.
bool chainDeclares(const ModelClass& cls, std::string_view name) {
  bool found = false;
  forEachModelLevel(cls, [&](const ModelClass& level) { found = found || level.propertyNamed(name); });
  return found;
}

}  // namespace

void setKivHookNameCheck(KivHookNameCheck check) noexcept { hookNameCheck.store(check); }

ModelClass::ModelClass(std::string_view name, std::string_view qualifiedName, const Class& superclass,
                       std::span<const Property> properties, Create create, const ModelHooks& hooks)
    : Class(name, &superclass, properties, nullptr),
      qualifiedName_(qualifiedName),
      modelSuperclass_(dynamic_cast<const ModelClass*>(&superclass)),
      create_(create),
      hooks_(hooks) {
  // Class names must be unique: they name tables, and classes are found by them.
  const auto* other = dynamic_cast<const ModelClass*>(Class::named(name));
  if (other && other != this) {
    abortWithAssertion("two model classes are named " + std::string(name) + ": " +
                       std::string(other->qualifiedName()) + " and " + std::string(qualifiedName));
  }
}

Ref<KivModel> ModelClass::create() const { return create_ ? create_() : Ref<KivModel>(); }

Value ModelClass::newInstance() const { return Value(create()); }

const KivClassInfo& ModelClass::kiv_classInfo() const {
  // Once built, a descriptor never changes: later look-ups read it without the lock.
  if (const KivClassInfo* info = classInfo_.load(std::memory_order_acquire)) return *info;
  if (modelSuperclass_ && modelSuperclass_->modelSuperclass_) modelSuperclass_->kiv_classInfo();
  bool built = false;
  {
    std::lock_guard<SpinLock> lock(classInfoLock());
    if (!classInfo_.load(std::memory_order_relaxed)) {
      classInfo_.store(makeRef<KivClassInfo>(*this).detach(), std::memory_order_release);
      built = true;
    }
  }
  const KivClassInfo& info = *classInfo_.load(std::memory_order_acquire);
  if (built) {
    checkHookNames();
    describePropertyClasses(info);
  }
  return info;
}

void ModelClass::describePropertyClasses(const KivClassInfo& info) {
  for (const auto& [name, property] : info.propDict()) {
    for (const Class* cls : {property->cls(), property->elementClass()}) {
      if (const auto* modelClass = dynamic_cast<const ModelClass*>(cls)) modelClass->kiv_classInfo();
    }
  }
}

void ModelClass::checkHookNames() const {
  bool wrong = false;
  const auto check = [&](const char* hook, const Value& name) {
    if (!name.isString() || chainDeclares(*this, name.stringView())) return;
    wrong = true;
    log("Kiv: " + std::string(hook) + " of " + std::string(this->name()) + " names " + std::string(name.stringView()) +
        ", which is no property of " + std::string(this->name()) + " or its superclasses");
  };
  for (const DictionaryEntry& entry : kiv_jsonKeyPathsByProperty()) check("kiv_jsonKeyPathsByProperty", entry.key);
  for (const Value& name : kiv_dbStoreProperty()) check("kiv_dbStoreProperty", name);
  check("kiv_key", kiv_key());
  for (const DictionaryEntry& entry : kiv_valueTransform()) check("kiv_valueTransform", entry.key);
  if (wrong && hookNameCheck.load() == KivHookNameCheck::kStop) {
    abortWithAssertion("the hooks of " + std::string(qualifiedName_) + " name no property (see the lines above)");
  }
}

const ModelClass* ModelClass::fromValue(const Value& value) noexcept {
  return dynamic_cast<const ModelClass*>(value.object());
}

}  // namespace kiv
