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
#include <memory>
#include <mutex>
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

  // Whether the type maps to a registered class (false without a class map).
  bool mapType(std::int64_t type) const;

  // --- Reads (refused: absent, or null) ---------------------------------------------------------

  Array allModels(std::int64_t type);
  Ref<KivModel> modelWith(const Value& keyValue, std::int64_t type);
  Array modelsWith(const Array& keyValues, std::int64_t type);
  // The completion is never called when the type is refused.
  void modelWith(const Value& keyValue, std::int64_t type, KivStorage::Completion completion);
  // No limit.
  Array modelsQuery(std::string_view condition, std::int64_t type);
  Array modelsQuery(std::string_view condition, std::int32_t limit, std::int64_t type);

  // --- Writes -----------------------------------------------------------------------------------

  // Refused unless the model's own class (not a superclass) is registered.
  void saveModel(const Ref<KivModel>& model);
  // Refused for an empty array, or unless the first model's class is registered; the other
  // models are not checked and all go into the first model's table.
  void saveModels(const Array& models);
  // The same check; every model goes into its own class's table with one REPLACE each.
  void quickSaveModels(const Array& models);
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

  void removeModelWith(const Value& keyValue, std::int64_t type);
  void removeModelWithCondition(std::string_view condition, std::int64_t type);
  void removeAllWithType(std::int64_t type);
  // Not checked: drops the obsolete tables that the class map names.
  void clearOldTables();
  // The storage's result, false when the type is refused.
  bool clearOldDatas(std::int64_t type);

  // The context's storage.
  KivStorage& storage() noexcept { return storage_; }

 private:
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
