#include "kiv/foundation/string.hpp"

namespace kiv {

const String& String::emptyString() {
  static const String empty("");
  return empty;
}

Value String::objectFromJSONString() const { return kiv::objectFromJSONString(view()); }

}  // namespace kiv
