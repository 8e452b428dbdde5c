// The JSON side of KivModelAdapter.
#include "kiv/mapping/model_adapter.hpp"

#include "kiv/mapping/internal/class_cache.hpp"
#include "kiv/mapping/internal/json_read_plan.hpp"
#include "kiv/mapping/internal/nesting_guard.hpp"
#include "kiv/mapping/key_path.hpp"

namespace kiv {

namespace {

// The models of the array's elements that make one, in order; absent for anything but an array.
Array modelsOfArray(const ModelClass& cls, const JSONElement& array) {
  if (!array.isArray()) return Array();
  std::vector<Value> models;
  models.reserve(array.count());
  array.forEachElement([&](const JSONElement& e) { models.emplace_back(KivModelAdapter::modelOfClass(cls, e)); });
  return Array::fromVector(std::move(models));
}

void writeLevel(const MutableDictionary& out, const PropertyMapping& mapping, const KivModel& model) {
  for (const PropertyMapping::Entry& entry : mapping) {
    Value value = entry.record->JSONValue(model);
    if (value.isAbsent()) continue;
    const std::string_view keyPath = entry.keyPath.view();
    if (keyPath.find('.') == std::string_view::npos && out.objectForKey(keyPath).isAbsent()) {
      // A new plain key is stored as kiv_setValue would store it, under the mapping's own key
      // string, which the output then shares instead of copying.
      out.setObject(std::move(value), entry.keyPath);
    } else {
      kiv_setValue(out, value, keyPath);
    }
  }
}

}  // namespace

ClassCache<PropertyMapping>& KivModelAdapter::propertyCache() {
  static auto* cache = new ClassCache<PropertyMapping>();  // lives for the process
  return *cache;
}

const PropertyMapping& KivModelAdapter::cachePropertyDict(const ModelClass& cls) {
  const KivClassInfo& info = cls.kiv_classInfo();
  const Dictionary transformers = cls.kiv_valueTransform();
  auto mapping = makeRef<PropertyMapping>();
  for (const DictionaryEntry& binding : cls.kiv_jsonKeyPathsByProperty()) {
    if (!binding.value.isString()) continue;  // only text is a key path
    auto record = makeRef<KivValue>();
    const KivProPertyInfo* property = info.propDict().objectForKey(binding.key.view());
    record->setProperty(Ref<const KivProPertyInfo>(property));
    if (const auto* modelClass = property ? dynamic_cast<const ModelClass*>(property->cls()) : nullptr) {
      record->setTransAble(true);
      record->setTransformValue(makeRef<KivClassTransformValue>(*modelClass));
    }
    if (const auto* elementClass = property ? dynamic_cast<const ModelClass*>(property->elementClass()) : nullptr) {
      record->setTransAble(true);
      record->setTransformValue(makeRef<KivClassArrayTransformValue>(*elementClass));
    }
    if (auto transformer = transformers.objectForKey(binding.key.view()).objectAs<KivTransformValue>()) {
      record->setTransAble(true);
      record->setTransformValue(std::move(transformer));
    }
    mapping->setObject(std::move(record), binding.value.asString());
  }
  return propertyCache().insert(cls, std::move(mapping));
}

const PropertyMapping& KivModelAdapter::propertyMappingFor(const ModelClass& cls) {
  const PropertyMapping* cached = propertyCache().objectForKey(cls);
  return cached ? *cached : cachePropertyDict(cls);
}

Ref<KivModel> KivModelAdapter::modelOfClass(const ModelClass& cls, const Dictionary& json) {
  if (json.empty()) return nullptr;
  const NestingGuard nesting;
  if (nesting.tooDeep()) return nullptr;
  Ref<KivModel> model = cls.create();
  if (!model) return nullptr;
  readPlanFor(cls).fill(*model, json);
  cls.kiv_finishedModel(*model, json);
  return model;
}

const JSONReadPlan& KivModelAdapter::readPlanFor(const ModelClass& cls) {
  static auto* cache = new ClassCache<JSONReadPlan>();  // lives for the process
  if (const JSONReadPlan* cached = cache->objectForKey(cls)) return *cached;
  std::vector<const PropertyMapping*> levels;
  forEachModelLevel(cls, [&](const ModelClass& level) { levels.push_back(&propertyMappingFor(level)); });
  return cache->insert(cls, makeRef<JSONReadPlan>(levels));
}

Ref<KivModel> KivModelAdapter::modelOfClass(const ModelClass& cls, const JSONElement& json) {
  if (!json.isDictionary() || json.count() == 0) return nullptr;
  if (cls.overridesFinishedModel()) return modelOfClass(cls, json.value().asDictionary());
  const NestingGuard nesting;
  if (nesting.tooDeep()) return nullptr;
  Ref<KivModel> model = cls.create();
  if (!model) return nullptr;
  readPlanFor(cls).fill(*model, json);
  return model;
}

Ref<KivModel> KivModelAdapter::modelOfClassFromJSONText(const ModelClass& cls, std::string_view text) {
  const JSONDocument document(text);
  return modelOfClass(cls, document.root());
}

Array KivModelAdapter::modelsOfClassFromJSONText(const ModelClass& cls, std::string_view text) {
  const JSONDocument document(text);
  return modelsOfArray(cls, document.root());
}

Array KivModelAdapter::modelsOfClassFromJSONText(const ModelClass& cls, std::string_view text,
                                                 std::string_view keyPath) {
  const JSONDocument document(text);
  return modelsOfArray(cls, kiv_valueForKey(document.root(), keyPath));
}

MutableDictionary KivModelAdapter::JSONDictionaryFromModel(const KivModel* model) {
  if (!model) return MutableDictionary();
  const NestingGuard nesting;
  if (nesting.tooDeep()) return MutableDictionary();
  std::size_t mapped = 0;
  forEachModelLevel(model->modelClass(), [&](const ModelClass& level) { mapped += propertyMappingFor(level).count(); });
  const MutableDictionary out = MutableDictionary::dictionary(mapped);  // room for every plain key path
  forEachModelLevel(model->modelClass(), [&](const ModelClass& level) {
    writeLevel(out, propertyMappingFor(level), *model);
  });
  return out;
}

}  // namespace kiv
