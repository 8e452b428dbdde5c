#include "kiv/foundation/string.hpp"

namespace kiv {

const String& String::emptyString() {
  static const String empty("");  // inline: nothing to destroy
  return empty;
}

Value String::objectFromJSONString() const { return kiv::objectFromJSONString(view()); }

}  // namespace kiv
