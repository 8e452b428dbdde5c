// KivValue: the mapping record of one property: its descriptor, its transformer and whether the
// transformer is applied; and the two moves of a value between a model and its JSON form that
// both sides of KivModelAdapter make through a record.
//
// KivModelAdapter builds one record per mapped key path of a class level and shares it between
// threads once it is in the property cache; records are not changed after that.
#ifndef KIV_MAPPING_KIV_VALUE_HPP_
#define KIV_MAPPING_KIV_VALUE_HPP_

#include <utility>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/mapping/transform_value.hpp"
#include "kiv/model/model.hpp"
#include "kiv/model/property_info.hpp"

namespace kiv {

class KivValue : public Object {
 public:
  KivValue() = default;

  // The mapped property's descriptor; null when the class level does not declare the name.
  const KivProPertyInfo* property() const noexcept { return property_.get(); }
  // Sets the descriptor; only while the record is being built.
  void setProperty(Ref<const KivProPertyInfo> property) noexcept { property_ = std::move(property); }

  // The transformer; null when there is none.
  const KivTransformValue* transformValue() const noexcept { return transformValue_.get(); }
  // Sets the transformer; only while the record is being built.
  void setTransformValue(Ref<const KivTransformValue> transformValue) noexcept {
    transformValue_ = std::move(transformValue);
  }

  // Whether the transformer is applied; false for a new record.
  bool transAble() const noexcept { return transAble_; }
  // Sets whether the transformer is applied; only while the record is being built.
  void setTransAble(bool transAble) noexcept { transAble_ = transAble; }

  // Sets the property on the model from a JSON-side value: the transformer's result when it gives
  // one that is neither absent nor the null, else the value as it came; skipped when the property
  // has a class that the value is not of, when the record has no descriptor, and for absent.
  void setJSONValue(KivModel& model, const Value& json) const;
  // The same for the element of a parsed document, with the same result as for its Value, which
  // is built only when it is needed.
  void setJSONValue(KivModel& model, const JSONElement& json) const;
  // The property's value on the model in JSON form: absent when the record has no descriptor or
  // the property was never set on the model; else the value after the transformer (the null, and
  // values that the transformer does not convert, stay as they are).
  Value JSONValue(const KivModel& model) const;

 private:
  // The transformer when it is to be applied, else null.
  const KivTransformValue* appliedTransformer() const noexcept {
    return transAble_ ? transformValue_.get() : nullptr;
  }
  // Sets the property to `value` (the decoded value, or the JSON value as it came) unless the
  // property has a class that the value is not of.
  void setDecoded(KivModel& model, const Value& value) const;

  Ref<const KivProPertyInfo> property_;
  Ref<const KivTransformValue> transformValue_;
  bool transAble_ = false;
};

}  // namespace kiv

#endif  // KIV_MAPPING_KIV_VALUE_HPP_
