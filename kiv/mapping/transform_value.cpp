#include "kiv/mapping/transform_value.hpp"

#include <cmath>
#include <typeinfo>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/model/class.hpp"

namespace kiv {

namespace {

// A new mutable array of `convert` of each element of `array`, in order, keeping the results that
// `keep` accepts.
template <class Convert, class Keep>
Value mapArray(const Array& array, Convert&& convert, Keep&& keep) {
  const MutableArray out = MutableArray::array(array.count());
  for (const Value& element : array) {
    Value converted = convert(element);
    if (keep(converted)) out.addObject(std::move(converted));
  }
  return out;
}

bool isPresent(const Value& v) { return v.isPresent(); }

// Whether `transformer` is exactly of class T: a subclass may decode otherwise.
template <class T>
bool isExactly(const KivTransformValue& transformer) {
  return typeid(transformer) == typeid(T);
}

}  // namespace

Value KivTransformValue::decodeValue(const Value&) const { return Value(); }

Value KivTransformValue::encodeValue(const Value&) const { return Value(); }

Value KivTransformValue::decodeJSONValue(const JSONElement& element) const { return decodeValue(element.value()); }

Value KivClassTransformValue::decodeValue(const Value& value) const {
  return Value(KivModelAdapter::modelOfClass(*modelClass_, value.asDictionary()));
}

Value KivClassTransformValue::decodeJSONValue(const JSONElement& element) const {
  if (!isExactly<KivClassTransformValue>(*this)) return KivTransformValue::decodeJSONValue(element);
  return Value(KivModelAdapter::modelOfClass(*modelClass_, element));
}

Value KivClassTransformValue::encodeValue(const Value& value) const {
  if (!isKindOfClass(value, *modelClass_)) return Value();
  return KivModelAdapter::JSONDictionaryFromModel(value.objectAs<KivModel>().get());
}

Value KivClassArrayTransformValue::decodeValue(const Value& value) const {
  if (!value.isArray()) return Value();
  return mapArray(
      value.asArray(),
      [this](const Value& e) { return Value(KivModelAdapter::modelOfClass(*modelClass_, e.asDictionary())); },
      isPresent);
}

Value KivClassArrayTransformValue::decodeJSONValue(const JSONElement& element) const {
  if (!isExactly<KivClassArrayTransformValue>(*this)) return KivTransformValue::decodeJSONValue(element);
  if (!element.isArray()) return Value();
  const MutableArray out = MutableArray::array(element.count());
  element.forEachElement([&](const JSONElement& e) { out.addObject(Value(KivModelAdapter::modelOfClass(*modelClass_, e))); });
  return out;
}

Value KivClassArrayTransformValue::encodeValue(const Value& value) const {
  if (!value.isArray()) return Value();
  return mapArray(
      value.asArray(),
      [this](const Value& e) -> Value {
        if (!isKindOfClass(e, *modelClass_)) return Value();
        return KivModelAdapter::JSONDictionaryFromModel(e.objectAs<KivModel>().get());
      },
      isPresent);
}

Value KivAdapterTansFormValue::decodeValue(const Value& value) const {
  const bool hasEntries = value.asDictionary().count() > 0 || value.asArray().count() > 0;
  return hasEntries ? modelClass_->kiv_modelWithDictionary(value) : Value();
}

Value KivAdapterTansFormValue::encodeValue(const Value& value) const {
  if (value.isAbsent()) return Value();
  return KivModelAdapter::JSONDictionaryFromModel(value.objectAs<KivModel>().get());
}

Value KivAdapterArrayTansFormValue::decodeValue(const Value& value) const {
  if (!value.isArray()) return Value();
  return mapArray(
      value.asArray(), [this](const Value& e) { return adapter_->decodeValue(e); },
      [](const Value& v) { return !v.isNothing(); });
}

Value KivAdapterArrayTansFormValue::encodeValue(const Value& value) const {
  if (!value.isArray()) return Value();
  return mapArray(
      value.asArray(), [this](const Value& e) { return adapter_->encodeValue(e); },
      [](const Value& v) { return v.isNull(); });
}

Value KivDateTransformValue::decodeValue(const Value& value) const {
  if (!value.isNumber() && !value.isString()) return Value();
  const double seconds = value.doubleValue();
  return std::isfinite(seconds) ? Value::date(seconds) : Value();
}

Value KivDateTransformValue::encodeValue(const Value& value) const {
  return value.isDate() ? Value(value.timeIntervalSince1970()) : Value();
}

}  // namespace kiv
