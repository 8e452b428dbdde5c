// ValueKind: the foundation's typed views that are classes of their own in the model runtime.
//
// Each view has a class record named as below (class.hpp); a property of that type encodes as
// "@\"<name>\"" and reads a Value as the view does (absent when the Value is of another kind).
#ifndef KIV_MODEL_VALUE_KIND_HPP_
#define KIV_MODEL_VALUE_KIND_HPP_

#include <string_view>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/string.hpp"

namespace kiv {

template <class View>
struct ValueKind;

// Declares the ValueKind of `View`: kName, its class name; kMutable, whether the view is of a
// mutable container; and from(value), the Value read as the view.
#define KIV_VALUE_KIND(View, isMutableKind)                              \
  template <>                                                           \
  struct ValueKind<View> {                                              \
    static constexpr std::string_view kName = #View;                    \
    static constexpr bool kMutable = isMutableKind;                     \
    static View from(const Value& value) { return value.as##View(); }   \
  }

// The value kinds: each typed view, and whether it is a mutable container.

KIV_VALUE_KIND(String, false);
KIV_VALUE_KIND(Number, false);
KIV_VALUE_KIND(Date, false);
KIV_VALUE_KIND(Data, false);
KIV_VALUE_KIND(Array, false);
KIV_VALUE_KIND(MutableArray, true);
KIV_VALUE_KIND(Dictionary, false);
KIV_VALUE_KIND(MutableDictionary, true);

#undef KIV_VALUE_KIND

// Whether T is one of the typed views above.
template <class T>
concept IsValueKind = requires { ValueKind<T>::kName; };

}  // namespace kiv

#endif  // KIV_MODEL_VALUE_KIND_HPP_
