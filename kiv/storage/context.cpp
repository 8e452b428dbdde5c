#include "kiv/storage/context.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kiv {

KivContext& KivContext::shareInstance() {
  // Never destroyed, so that threads still using it at exit find it alive; its pending writes
  // are waited for at normal exit instead.
  static KivContext* const context = [] {
    auto* made = new KivContext();
    std::atexit([] { shareInstance().waitUntilBackgroundWritesFinish(); });
    return made;
  }();
  return *context;
}

// --- Registration -------------------------------------------------------------------------------

void KivContext::registerMapper(const Class* mapper) { storage_.registerMapper(mapper); }

void KivContext::registerDbPath(const String& path) { storage_.registerDbPath(path); }

void KivContext::registerClass(const Array& types) {
  const ClassMapClass* classMap = storage_.mapper();
  if (types.empty() || !classMap) return;
  registerClassList(classMap->classMaps(types));
}

void KivContext::registerClassList(const Array& classes) {
  if (!storage_.mapper()) return;
  storage_.configDataBase(classes);
  std::lock_guard<std::mutex> guard(registrationMutex_);
  const std::vector<const ModelClass*>* current = classCache_.load(std::memory_order_acquire);
  auto next = std::make_unique<std::vector<const ModelClass*>>();
  if (current) *next = *current;
  for (const Value& element : classes) {
    if (const ModelClass* cls = ModelClass::fromValue(element)) next->push_back(cls);
  }
  std::sort(next->begin(), next->end());
  next->erase(std::unique(next->begin(), next->end()), next->end());
  classCache_.store(next.get(), std::memory_order_release);
  classLists_.push_back(std::move(next));
}

bool KivContext::mapType(std::int64_t type) const { return registeredClass(type) != nullptr; }

const ModelClass* KivContext::registeredClass(std::int64_t type) const {
  const ClassMapClass* classMap = storage_.mapper();
  if (!classMap) return nullptr;
  const ModelClass* cls = classMap->classMap(type);
  return cls && isRegistered(*cls) ? cls : nullptr;
}

bool KivContext::isRegistered(const ModelClass& cls) const {
  const std::vector<const ModelClass*>* classes = classCache_.load(std::memory_order_acquire);
  return classes && std::binary_search(classes->begin(), classes->end(), &cls);
}

bool KivContext::acceptsFirstModel(const Array& models) const {
  const Ref<KivModel> first = models.firstObject().objectAs<KivModel>();
  return first && isRegistered(first->modelClass());
}

// --- Forwarding ---------------------------------------------------------------------------------

Array KivContext::allModels(std::int64_t type) {
  const ModelClass* cls = registeredClass(type);
  return cls ? storage_.allModels(*cls) : Array();
}

Ref<KivModel> KivContext::modelWith(const Value& keyValue, std::int64_t type) {
  const ModelClass* cls = registeredClass(type);
  return cls ? storage_.modelWith(keyValue, *cls) : nullptr;
}

Array KivContext::modelsWith(const Array& keyValues, std::int64_t type) {
  const ModelClass* cls = registeredClass(type);
  return cls ? storage_.modelsWith(keyValues, *cls) : Array();
}

void KivContext::modelWith(const Value& keyValue, std::int64_t type, KivStorage::Completion completion) {
  if (const ModelClass* cls = registeredClass(type)) storage_.modelWith(keyValue, *cls, std::move(completion));
}

Array KivContext::modelsQuery(std::string_view condition, std::int64_t type) {
  return modelsQuery(condition, 0, type);
}

Array KivContext::modelsQuery(std::string_view condition, std::int32_t limit, std::int64_t type) {
  const ModelClass* cls = registeredClass(type);
  return cls ? storage_.modelsQuery(condition, limit, *cls) : Array();
}

void KivContext::saveModel(const Ref<KivModel>& model) {
  if (model && isRegistered(model->modelClass())) storage_.setModel(model);
}

void KivContext::saveModels(const Array& models) {
  if (acceptsFirstModel(models)) storage_.setModels(models);
}

void KivContext::quickSaveModels(const Array& models) {
  if (acceptsFirstModel(models)) storage_.batchModels(models);
}

void KivContext::waitUntilBackgroundWritesFinish() { storage_.waitUntilBackgroundWritesFinish(); }

KivObservation KivContext::observe(std::int64_t type, KivChangeObserver observer) {
  const ModelClass* cls = registeredClass(type);
  return cls ? storage_.observe(*cls, std::move(observer)) : KivObservation();
}

void KivContext::removeModelWith(const Value& keyValue, std::int64_t type) {
  if (const ModelClass* cls = registeredClass(type)) storage_.deleteWith(keyValue, *cls);
}

void KivContext::removeModelWithCondition(std::string_view condition, std::int64_t type) {
  if (const ModelClass* cls = registeredClass(type)) storage_.deleteWithCondition(condition, *cls);
}

void KivContext::removeAllWithType(std::int64_t type) {
  if (const ModelClass* cls = registeredClass(type)) storage_.deleteAllWithClass(*cls);
}

void KivContext::clearOldTables() { storage_.clearOldTables(); }

bool KivContext::clearOldDatas(std::int64_t type) {
  const ModelClass* cls = registeredClass(type);
  return cls && storage_.clearOldDatas(*cls);
}

}  // namespace kiv
