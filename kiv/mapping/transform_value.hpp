// Value transformers: each converts one property's value between its JSON form and its model
// form. decodeValue() turns a JSON-side value into the value to set on the model; encodeValue()
// turns the model's value into the value to write into JSON. A result that is absent means that
// nothing was converted; the adapter then keeps the value as it came.
//
// KivModelAdapter installs a KivClassTransformValue by itself for every property whose class is a
// model class; every other transformer is chosen by the model class's kiv_valueTransform hook,
// which maps property names to transformer objects (Values holding a Ref<KivTransformValue>).
// An application writes its own transformer by deriving from KivTransformValue and overriding
// the two operations.
//
// Transformers hold no mutable state once they are in use: one instance serves every conversion
// of its property, from any thread. (setModelClass() is for setting up, before first use.)
#ifndef KIV_MAPPING_TRANSFORM_VALUE_HPP_
#define KIV_MAPPING_TRANSFORM_VALUE_HPP_

#include "kiv/foundation/json_document.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

// The base: converts nothing in either direction.
class KivTransformValue : public Object {
 public:
  KivTransformValue() = default;

  // The model-side value for a JSON-side value, or absent.
  virtual Value decodeValue(const Value& value) const;
  // The JSON-side value for a model-side value, or absent.
  virtual Value encodeValue(const Value& value) const;

  // decodeValue() of the element's Value, for mapping JSON text straight to models. Transformers
  // of Kiv's own may answer without building the Value, with the same result.
  virtual Value decodeJSONValue(const JSONElement& element) const;
};

// A nested model: a dictionary decodes to a model of `modelClass` (absent for an empty
// dictionary); a model of that class or a subclass encodes to its JSON dictionary. Only encoding
// tests the class.
class KivClassTransformValue : public KivTransformValue {
 public:
  // A transformer for models of `modelClass`.
  explicit KivClassTransformValue(const ModelClass& modelClass) : modelClass_(&modelClass) {}

  // The class that dictionaries decode to and that encoding accepts (with its subclasses).
  const ModelClass& modelClass() const noexcept { return *modelClass_; }
  // Replaces the class; only before the transformer is first used (see above).
  void setModelClass(const ModelClass& modelClass) noexcept { modelClass_ = &modelClass; }

  Value decodeValue(const Value& value) const override;
  Value encodeValue(const Value& value) const override;
  Value decodeJSONValue(const JSONElement& element) const override;

 private:
  const ModelClass* modelClass_;
};

// An array of nested models: an array decodes to a new array of the models made from its
// dictionary elements, in order (other elements, and elements that make no model, are left out);
// an array encodes to a new array of the JSON dictionaries of its elements that are models of the
// class or a subclass. Anything but an array gives absent.
class KivClassArrayTransformValue : public KivTransformValue {
 public:
  // A transformer for arrays of models of `modelClass`.
  explicit KivClassArrayTransformValue(const ModelClass& modelClass) : modelClass_(&modelClass) {}

  Value decodeValue(const Value& value) const override;
  Value encodeValue(const Value& value) const override;
  Value decodeJSONValue(const JSONElement& element) const override;

 private:
  const ModelClass* modelClass_;
};

// Converts through the model class's own class operations: a dictionary or an array with at least
// one entry decodes by the class's kiv_modelWithDictionary (which KivModel does not provide: a
// class without it decodes nothing); a model encodes by kiv_dictionaryFromModel, whatever its
// class (other values give absent).
class KivAdapterTansFormValue : public KivTransformValue {
 public:
  // A transformer that decodes through `modelClass`'s kiv_modelWithDictionary.
  explicit KivAdapterTansFormValue(const ModelClass& modelClass) : modelClass_(&modelClass) {}

  Value decodeValue(const Value& value) const override;
  Value encodeValue(const Value& value) const override;

 private:
  const ModelClass* modelClass_;
};

// KivAdapterTansFormValue over the elements of an array, with opposite filters in its two
// directions, kept as designed: decoding keeps the results that are neither absent nor the null;
// encoding keeps only the results that are the null, so encoding an array of models gives an
// empty array. Anything but an array gives absent.
class KivAdapterArrayTansFormValue : public KivTransformValue {
 public:
  // A transformer that converts each element as KivAdapterTansFormValue(modelClass) does.
  explicit KivAdapterArrayTansFormValue(const ModelClass& modelClass)
      : adapter_(makeRef<KivAdapterTansFormValue>(modelClass)) {}

  Value decodeValue(const Value& value) const override;
  Value encodeValue(const Value& value) const override;

 private:
  Ref<KivAdapterTansFormValue> adapter_;  // converts each element
};

// Dates as seconds since 1970-01-01 00:00 UTC: a number, or a string read as a decimal number from
// its start (text that is no number reads as 0, the epoch), decodes to that date; a date encodes
// to the double-precision number of its seconds. Other kinds give absent, and so do numbers and
// texts too large for an instant ("1e400", infinity, not a number): no row or JSON text could hold
// such a date, and a nested model that held one would be left out of its row whole.
class KivDateTransformValue : public KivTransformValue {
 public:
  KivDateTransformValue() = default;

  Value decodeValue(const Value& value) const override;
  Value encodeValue(const Value& value) const override;
};

}  // namespace kiv

#endif  // KIV_MAPPING_TRANSFORM_VALUE_HPP_
