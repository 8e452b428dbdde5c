// KivContext: the process-wide entry point to the storage by application type.
//
// Set-up, once, at start and before other threads use the context, in this order:
//
//   kiv::KivContext& context = kiv::KivContext::shareInstance();
//   context.registerMapper(&AppMap::kivClass());   // the application's KivClassMap subclass
//   context.registerDbPath(path);                  // opens the file, checks the schema version
//   context.registerClass(kiv::Array{1, 2});       // application types; creates their tables
//
// Every operation then checks that its type (or its model's class) was registered and forwards
// to the context's KivStorage; unregistered types and classes are refused silently (nothing
// happens, the result is absent, null or false). Every type is mapped to its class afresh by the
// class map on each call.
#ifndef KIV_STORAGE_CONTEXT_HPP_
#define KIV_STORAGE_CONTEXT_HPP_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {

class KivContext {
 public:
  // The one shared context, made on first call (thread-safe) and kept for the life of the
  // process. At normal exit it waits for its background writes.
  static KivContext& shareInstance();

  // A context of its own, with a new storage and no registrations.
  KivContext() = default;
  // Not copyable: a context owns its storage.
  KivContext(const KivContext&) = delete;
  KivContext& operator=(const KivContext&) = delete;

  // --- Registration -----------------------------------------------------------------------------

  // Gives the class map to the storage, which uses it when it is KivClassMap or a subclass and
  // ignores anything else (an earlier class map stays).
  void registerMapper(const Class* mapper);
  // Gives the path to the storage, which ignores an empty one.
  void registerDbPath(const String& path);
  // Maps the application types (numbers) to classes with the class map's classMaps, makes sure
  // their tables exist, and adds them to the registered classes. Ignored when the array is empty
  // or no class map is registered. May be called again for more types.
  void registerClass(const Array& types);

  // registerClass() for the model classes T... themselves: their tables made, the classes added
  // to the registered ones. Ignored when no class map is registered.
  template <DeclaredModel... T>
  void registerClasses() {
    registerClassList(Array{Value(&T::kivClass())...});
  }

  // Whether the type maps to a registered class (false without a class map).
  bool mapType(std::int64_t type) const;

  // --- Reads (refused: absent, or null) ---------------------------------------------------------

  // The storage's allModels(), modelWith() and modelsWith() for the type's class; absent (null for
  // modelWith) when the type is refused.

  Array allModels(std::int64_t type);
  Ref<KivModel> modelWith(const Value& keyValue, std::int64_t type);
  Array modelsWith(const Array& keyValues, std::int64_t type);

  // The completion is never called when the type is refused.
  void modelWith(const Value& keyValue, std::int64_t type, KivStorage::Completion completion);
  // The storage's modelsQuery() for the type's class, with no limit; absent when the type is
  // refused.
  Array modelsQuery(std::string_view condition, std::int64_t type);
  // The same with at most `limit` models (0: no limit).
  Array modelsQuery(std::string_view condition, std::int32_t limit, std::int64_t type);

  // --- Typed reads: refused (null or empty) unless T itself is registered ------------------------

  // The storage's typed reads (KivStorage::modelWith<T>() and the others) when T's own class is
  // registered (registering a superclass is not enough); the completion is never called when T
  // is refused.

  template <DeclaredModel T>
  Ref<T> modelWith(const Value& keyValue) {
    return isRegistered(T::kivClass()) ? storage_.modelWith<T>(keyValue) : nullptr;
  }
  template <DeclaredModel T>
  void modelWith(const Value& keyValue, std::function<void(Ref<T>)> completion) {
    if (isRegistered(T::kivClass())) storage_.modelWith<T>(keyValue, std::move(completion));
  }
  template <DeclaredModel T>
  std::vector<Ref<T>> modelsWith(const Array& keyValues) {
    return isRegistered(T::kivClass()) ? storage_.modelsWith<T>(keyValues) : std::vector<Ref<T>>();
  }
  template <DeclaredModel T>
  std::vector<Ref<T>> allModels() {
    return isRegistered(T::kivClass()) ? storage_.allModels<T>() : std::vector<Ref<T>>();
  }
  template <DeclaredModel T>
  std::vector<Ref<T>> modelsQuery(std::string_view condition, std::int32_t limit = 0) {
    return isRegistered(T::kivClass()) ? storage_.modelsQuery<T>(condition, limit) : std::vector<Ref<T>>();
  }

  // --- Writes -----------------------------------------------------------------------------------

  // Refused unless the model's own class (not a superclass) is registered.
  void saveModel(const Ref<KivModel>& model);
  // Refused for an empty array, or unless the first model's class is registered; the other
  // models are not checked and all go into the first model's table.
  void saveModels(const Array& models);
  // The same check; every model goes into its own class's table with one REPLACE each.
  void quickSaveModels(const Array& models);
  // Typed: refused for no models, or unless T is registered; every model goes into T's table.
  template <DeclaredModel T>
  void saveModels(std::span<const Ref<T>> models) {
    if (!models.empty() && isRegistered(T::kivClass())) storage_.setModels(models);
  }
  template <DeclaredModel T>
  void saveModels(const std::vector<Ref<T>>& models) {
    saveModels(std::span<const Ref<T>>(models));
  }
  // Typed: refused as saveModels(); every model goes into its own class's table.
  template <DeclaredModel T>
  void quickSaveModels(std::span<const Ref<T>> models) {
    if (!models.empty() && isRegistered(T::kivClass())) storage_.batchModels(models);
  }
  template <DeclaredModel T>
  void quickSaveModels(const std::vector<Ref<T>>& models) {
    quickSaveModels(std::span<const Ref<T>>(models));
  }
  // Blocks until the background writes of saveModel() have reached the table.
  void waitUntilBackgroundWritesFinish();

  // --- Change observation (see change.hpp) ------------------------------------------------------

  // Observes the changes of every class, of the model class T, or of the type's class (an empty
  // observation when the type is refused).
  [[nodiscard]] KivObservation observe(KivChangeObserver observer) { return storage_.observe(std::move(observer)); }
  template <class T>
  [[nodiscard]] KivObservation observe(KivChangeObserver observer) {
    return storage_.observe<T>(std::move(observer));
  }
  [[nodiscard]] KivObservation observe(std::int64_t type, KivChangeObserver observer);

  // --- Deletes and old data ---------------------------------------------------------------------

  // The storage's deleteWith(), deleteWithCondition() and deleteAllWithClass() for the type's
  // class; nothing happens when the type is refused.

  void removeModelWith(const Value& keyValue, std::int64_t type);
  void removeModelWithCondition(std::string_view condition, std::int64_t type);
  void removeAllWithType(std::int64_t type);

  // Not checked: drops the obsolete tables that the class map names.
  void clearOldTables();
  // The storage's result, false when the type is refused.
  [[nodiscard]] bool clearOldDatas(std::int64_t type);

  // The context's storage.
  KivStorage& storage() noexcept { return storage_; }

 private:
  // Makes the classes' tables and adds them to the registered ones (registration's second half).
  void registerClassList(const Array& classes);
  // The registered class of the type, or null when the type is refused.
  const ModelClass* registeredClass(std::int64_t type) const;
  bool isRegistered(const ModelClass& cls) const;
  bool acceptsFirstModel(const Array& models) const;

  KivStorage storage_;
  // The class map is the storage's. The registered classes are read without a lock on every
  // call: registration publishes a new sorted list and keeps the earlier ones (a late
  // registration is safe while other threads read).
  std::mutex registrationMutex_;
  std::vector<std::unique_ptr<const std::vector<const ModelClass*>>> classLists_;
  std::atomic<const std::vector<const ModelClass*>*> classCache_{nullptr};
};

}  // namespace kiv

#endif  // KIV_STORAGE_CONTEXT_HPP_
