// KivModelAdapter: converts between JSON-shaped dictionaries and model objects, and between model
// objects and the row dictionaries of their tables. Class-level operations only.
//
// JSON side. A model class binds its properties to places in a dictionary with its
// kiv_jsonKeyPathsByProperty hook (property name to key path, dotted paths reaching into nested
// dictionaries); a class that does not declare key paths maps nothing. For each class level the
// adapter builds once, and keeps for the process, a PropertyMapping from key path to KivValue
// record: the level's own descriptor of the property (records for names that the level does not
// declare itself have none and are skipped), a KivClassTransformValue for a property whose class
// is a model class, or the transformer that the level's kiv_valueTransform hook names for the
// property instead. Filling a model and writing a dictionary walk the levels from the model's
// class up to, not including, KivModel.
//
// Database side. A property is stored when its level lists it in kiv_dbStoreProperty and maps it
// in kiv_jsonKeyPathsByProperty. A row maps the lower-cased property name to the value as JSON
// writes it (after the property's transformer), with arrays and dictionaries as JSON text; a row
// is read back by rebuilding the JSON dictionary at the properties' key paths and filling a model
// from it, so transformers decode stored values as they decode received JSON.
//
// Nothing is reported: a missing key path leaves the property unset, a value of the wrong class
// is skipped, a transformer that converts nothing leaves the value as it came. Models and
// dictionaries nested deeper than kMaxJSONDepth (only possible in hand-built, cyclic data) are
// not followed: the nested conversion gives nothing. All operations are thread-safe; a model
// being filled or read belongs to the calling thread.
#ifndef KIV_MAPPING_MODEL_ADAPTER_HPP_
#define KIV_MAPPING_MODEL_ADAPTER_HPP_

#include <string_view>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/mapping/property_mapping.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

template <class T>
class ClassCache;
class JSONReadPlan;

class KivModelAdapter {
 public:
  KivModelAdapter() = delete;

  // --- JSON side ------------------------------------------------------------------------------

  // The process-wide cache of class levels' mappings, filled on first use of each level.
  static ClassCache<PropertyMapping>& propertyCache();
  // Builds the mapping of the class level `cls` from its hooks (asked of `cls`, so a level that
  // does not declare a hook answers with its superclass's), stores it in the cache and returns
  // the mapping that the cache holds for the level.
  static const PropertyMapping& cachePropertyDict(const ModelClass& cls);
  // The cached mapping of the class level, built on first use.
  static const PropertyMapping& propertyMappingFor(const ModelClass& cls);

  // A new model of class `cls` with every mapped property set whose key path leads to a value of
  // the property's class (after its transformer; numbers and booleans convert leniently, the null
  // sets 0), then handed to the class's kiv_finishedModel hook. Null for an absent or empty
  // dictionary (no model is made and no hook is called) and for a class without instances.
  static Ref<KivModel> modelOfClass(const ModelClass& cls, const Dictionary& json);
  // The same for an object of a parsed JSON document, with the same result as for its dictionary
  // (null for anything but a non-empty object). A class that does not declare kiv_finishedModel
  // is filled straight from the document, building Values only for the mapped fields (and nested
  // models the same way, through their KivClassTransformValue or KivClassArrayTransformValue);
  // for a class that does, the object's dictionary is built for the hook.
  static Ref<KivModel> modelOfClass(const ModelClass& cls, const JSONElement& json);
  // modelOfClass() of the object that JSON text parses to; null when the text does not parse
  // (see parseJSON) or holds no object.
  static Ref<KivModel> modelOfClassFromJSONText(const ModelClass& cls, std::string_view text);
  // The models of the objects in the array that JSON text holds at its top level, or at the key
  // path of its top-level object, in order (elements that make no model are left out, as
  // KivClassArrayTransformValue leaves them out); absent when the text does not parse or holds no
  // array there.
  static Array modelsOfClassFromJSONText(const ModelClass& cls, std::string_view text);
  static Array modelsOfClassFromJSONText(const ModelClass& cls, std::string_view text, std::string_view keyPath);
  // The cached plan for reading the class's models straight from a parsed document, built on
  // first use.
  static const JSONReadPlan& readPlanFor(const ModelClass& cls);

  // A new dictionary holding each mapped property that is set on the model, at its key path
  // (after its transformer); a property set to no value is written as the null. Absent for a
  // null model.
  static MutableDictionary JSONDictionaryFromModel(const KivModel* model);

  // --- Database side --------------------------------------------------------------------------

  // The names that the class level lists in kiv_dbStoreProperty (empty when it lists none), as
  // the class answered on first request.
  static Array dbPropertyPaths(const ModelClass& cls);
  // A new row of the model's stored properties that are set, under their lower-cased names: the
  // value after the property's transformer, arrays and dictionaries as their JSON text (a
  // dictionary that is no valid JSON leaves the property out), the null as the null. A name seen
  // again at a superclass level is written with the kind-guarded write of kiv_setValue. Absent
  // for a null model.
  static MutableDictionary DBDictionaryFromModel(const KivModel* model);
  // A new model of class `cls` from a row: each stored property's column (by exact lower-cased
  // name; missing and null columns are skipped, strings that are JSON array or object text come
  // back as containers) is written at the property's key path, and the dictionary so made goes
  // through modelOfClass(). Null for an absent or empty row.
  static Ref<KivModel> modelFromDBDictionary(const Dictionary& row, const ModelClass& cls);
};

// --- The convenience operations of model classes ---------------------------------------------

// modelOfClass() for `cls`.
inline Ref<KivModel> kiv_modelFromDictionary(const ModelClass& cls, const Dictionary& json) {
  return KivModelAdapter::modelOfClass(cls, json);
}
// modelOfClass() for the model class T, typed: kiv_modelFromDictionary<FeedItem>(dict). T must
// declare its own KIV_MODEL (a class that does not would be made as its superclass).
template <DeclaredModel T>
Ref<T> kiv_modelFromDictionary(const Dictionary& json) {
  return modelCast<T>(KivModelAdapter::modelOfClass(T::kivClass(), json));
}
// modelFromDBDictionary() for the model class T, typed.
template <DeclaredModel T>
Ref<T> modelFromDBDictionary(const Dictionary& row) {
  return modelCast<T>(KivModelAdapter::modelFromDBDictionary(row, T::kivClass()));
}
// modelsOfClassFromJSONText() for the model class T, typed:
// kiv_modelsFromJSONText<Status>(responseText, "statuses").
template <DeclaredModel T, class... KeyPath>
std::vector<Ref<T>> kiv_modelsFromJSONText(std::string_view text, KeyPath... keyPath) {
  return modelsOf<T>(KivModelAdapter::modelsOfClassFromJSONText(T::kivClass(), text, keyPath...));
}
// JSONDictionaryFromModel().
inline MutableDictionary kiv_dictionaryFromModel(const KivModel* model) {
  return KivModelAdapter::JSONDictionaryFromModel(model);
}
template <class T>
MutableDictionary kiv_dictionaryFromModel(const Ref<T>& model) {
  return KivModelAdapter::JSONDictionaryFromModel(model.get());
}

}  // namespace kiv

#endif  // KIV_MAPPING_MODEL_ADAPTER_HPP_
