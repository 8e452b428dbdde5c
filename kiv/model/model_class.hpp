// ModelClass: the runtime record of a model class (KivModel or a class declared with KIV_MODEL).
//
// Besides what every class record knows, it makes new models, answers the class's hooks and keeps
// the class's descriptor. The hooks are the static members of the model class (see model.hpp)
// captured when the record is made, so a class that does not declare a hook answers with the
// nearest superclass's. Every hook is called afresh on each use; results are not cached.
#ifndef KIV_MODEL_MODEL_CLASS_HPP_
#define KIV_MODEL_MODEL_CLASS_HPP_

#include <atomic>
#include <span>
#include <string_view>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class.hpp"

namespace kiv {

class KivClassInfo;
class KivModel;

// The class-level hooks of one model class, as the record calls them: each calls the static
// member named below, the class's own or the nearest superclass's.
struct ModelHooks {
  // Calls kiv_jsonKeyPathsByProperty.
  Dictionary (*jsonKeyPathsByProperty)();
  // Calls kiv_key.
  Value (*key)();
  // Calls kiv_dbStoreProperty.
  Array (*dbStoreProperty)();
  // Calls kiv_valueTransform.
  Dictionary (*valueTransform)();
  // Only for classes that declare kiv_finishedModel (themselves or through a superclass other
  // than KivModel); null otherwise.
  void (*finishedModel)(KivModel& model, const Dictionary& dict);
  // Only for classes that declare kiv_modelWithDictionary; null otherwise.
  Value (*modelWithDictionary)(const Value& dictionary);
};

// How a class's hooks that name something other than a property of the class chain are reported
// when the class is first described (see ModelClass::kiv_classInfo): a log line each, and with
// kStop the process then stops with an assertion. The default is kStop in builds without NDEBUG,
// kLog otherwise.
enum class KivHookNameCheck { kLog, kStop };
// Sets how hook names are reported from now on (for classes described after the call).
void setKivHookNameCheck(KivHookNameCheck check) noexcept;

class ModelClass : public Class {
 public:
  // Makes a new model of the class (see create()).
  using Create = Ref<KivModel> (*)();

  // `create` may be null for a class without instances. `name`, `qualifiedName` and `properties`
  // must live for the process. Registers the record by `name`; a second model class of the same
  // name stops the process with an assertion naming both classes by `qualifiedName`.
  ModelClass(std::string_view name, std::string_view qualifiedName, const Class& superclass,
             std::span<const Property> properties, Create create, const ModelHooks& hooks);

  // The name with its namespaces, as the compiler spells the type ("app::FeedItem").
  std::string_view qualifiedName() const noexcept { return qualifiedName_; }

  // The superclass when it is a model class; null for KivModel itself.
  const ModelClass* modelSuperclass() const noexcept { return modelSuperclass_; }

  // A new model of this class, freshly initialised (no property set); null for a class without
  // instances.
  Ref<KivModel> create() const;
  Value newInstance() const override;

  // The class's descriptor, built on first use under one process-wide lock and kept for the
  // process. Building it describes the model superclasses first and the model classes of its
  // properties (Ref<T>, std::vector<Ref<T>>) after, so that the generated setters of all of them
  // record merges from then on, and checks that every name the class's hooks use
  // (the keys of kiv_jsonKeyPathsByProperty and kiv_valueTransform, the strings of
  // kiv_dbStoreProperty, kiv_key) is a property of the chain: each one that is not is logged
  // ("Kiv: <hook> of <class> names <name>, which is no property of <class> or its
  // superclasses"), see KivHookNameCheck.
  const KivClassInfo& kiv_classInfo() const;

  // The class's hooks (see KivModel for what each answers and for the defaults). Each is the
  // class's own static member or the nearest superclass's, called afresh on every use.

  Dictionary kiv_jsonKeyPathsByProperty() const { return hooks_.jsonKeyPathsByProperty(); }
  Value kiv_key() const { return hooks_.key(); }
  Array kiv_dbStoreProperty() const { return hooks_.dbStoreProperty(); }
  Dictionary kiv_valueTransform() const { return hooks_.valueTransform(); }
  void kiv_finishedModel(KivModel& model, const Dictionary& dict) const {
    if (hooks_.finishedModel) hooks_.finishedModel(model, dict);
  }
  // Whether the class (or a superclass) declares kiv_finishedModel, whose KivModel default does
  // nothing: a class that does not may be filled without the dictionary that the hook would get.
  bool overridesFinishedModel() const noexcept { return hooks_.finishedModel != nullptr; }
  // Whether the class (or a superclass) declares kiv_modelWithDictionary, which KivModel itself
  // does not; calling it on a class that does not gives absent.
  bool respondsToModelWithDictionary() const noexcept { return hooks_.modelWithDictionary != nullptr; }
  // The model that the class's kiv_modelWithDictionary makes of `dictionary`; absent when the
  // class does not declare it.
  Value kiv_modelWithDictionary(const Value& dictionary) const {
    return hooks_.modelWithDictionary ? hooks_.modelWithDictionary(dictionary) : Value();
  }

  // The model class that a Value holds as its object, or null.
  static const ModelClass* fromValue(const Value& value) noexcept;

 private:
  // Logs each name of the class's hooks that is no property of the chain.
  void checkHookNames() const;
  // Describes the model classes of the properties (their models are nested in this class's).
  static void describePropertyClasses(const KivClassInfo& info);

  std::string_view qualifiedName_;
  const ModelClass* modelSuperclass_;
  Create create_;
  ModelHooks hooks_;
  mutable std::atomic<const KivClassInfo*> classInfo_{nullptr};
};

// Calls `visit` with `cls` and each of its superclasses up to, not including, KivModel: the class
// levels over which model properties are walked.
template <class Visit>
void forEachModelLevel(const ModelClass& cls, Visit&& visit) {
  for (const ModelClass* c = &cls; c->modelSuperclass(); c = c->modelSuperclass()) visit(*c);
}

}  // namespace kiv

#endif  // KIV_MODEL_MODEL_CLASS_HPP_
