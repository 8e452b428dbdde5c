#include "kiv/model/model_class.hpp"

#include <mutex>

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

}  // namespace

ModelClass::ModelClass(std::string_view name, const Class& superclass,
                       std::span<const Property> properties, Create create, const ModelHooks& hooks)
    : Class(name, &superclass, properties, nullptr),
      modelSuperclass_(dynamic_cast<const ModelClass*>(&superclass)),
      create_(create),
      hooks_(hooks) {}

Ref<KivModel> ModelClass::create() const { return create_ ? create_() : Ref<KivModel>(); }

Value ModelClass::newInstance() const { return Value(create()); }

const KivClassInfo& ModelClass::kiv_classInfo() const {
  // Once built, a descriptor never changes: later look-ups read it without the lock.
  if (const KivClassInfo* info = classInfo_.load(std::memory_order_acquire)) return *info;
  std::lock_guard<SpinLock> lock(classInfoLock());
  if (!classInfo_.load(std::memory_order_relaxed)) {
    classInfo_.store(makeRef<KivClassInfo>(*this).detach(), std::memory_order_release);
  }
  return *classInfo_.load(std::memory_order_relaxed);
}

const ModelClass* ModelClass::fromValue(const Value& value) noexcept {
  return dynamic_cast<const ModelClass*>(value.object());
}

}  // namespace kiv
