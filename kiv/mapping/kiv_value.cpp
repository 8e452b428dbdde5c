#include "kiv/mapping/kiv_value.hpp"

#include <utility>

#include "kiv/model/class.hpp"

namespace kiv {

void KivValue::setJSONValue(KivModel& model, const Value& json) const {
  if (!property_ || json.isAbsent()) return;
  Value decoded;
  if (const KivTransformValue* transformer = appliedTransformer()) decoded = transformer->decodeValue(json);
  setDecoded(model, decoded.isNothing() ? json : decoded);
}

void KivValue::setJSONValue(KivModel& model, const JSONElement& json) const {
  if (!property_ || !json) return;
  Value decoded;
  if (const KivTransformValue* transformer = appliedTransformer()) decoded = transformer->decodeJSONValue(json);
  setDecoded(model, decoded.isNothing() ? json.value() : decoded);
}

void KivValue::setDecoded(KivModel& model, const Value& value) const {
  if (property_->cls() && !isKindOfClass(value, *property_->cls())) return;
  model.kiv_setValue(value, *property_);
}

Value KivValue::JSONValue(const KivModel& model) const {
  if (!property_) return Value();
  Value value = model.kiv_valueForInfo(*property_);
  const KivTransformValue* transformer = appliedTransformer();
  if (transformer && value.isPresent() && !value.isNull()) {
    Value encoded = transformer->encodeValue(value);
    if (encoded.isPresent()) value = std::move(encoded);
  }
  return value;
}

}  // namespace kiv
