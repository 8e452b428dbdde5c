// How a property declared in C++ (KIV_PROPERTY and its variants, model.hpp) becomes a Property
// record: its attribute text, derived at compile time from the C++ type and the declared
// accessor names, and its type-erased accessors. Internal to the declaration macros.
//
// Type encodings by C++ type:
//   bool "B"; integers by size and signedness "c" "C" "s" "S" "i" "I" "q" "Q" (char is "c");
//   float "f", double "d", long double "D"; an enum as its underlying type; std::optional of a
//   number as the number (the property holds nothing until set); std::vector<Ref<T>> of a model
//   class T "@\"Array\"" (an array of T's, mapped with the array transformer of T);
//   String, Number, Date, Data, Array, MutableArray, Dictionary, MutableDictionary
//   "@\"<view name>\""; Value (any object) "@"; Ref<T> "@\"<T's unqualified name>\"" (a class
//   name when T is a model class, else a name that no class has: an object known only by its
//   interface, which descriptors never write); a pointer to a class record "#"; Selector ":";
//   std::function "@?"; char* "*" and const char* "r*"; other pointers "^" and the pointee's
//   code ("^v", "^i", "^{?}"); std::array<T, N> "[N<T>]"; other unions "(?)"; other classes and
//   structures "{?}".
// Attributes, in order: "T" and the encoding; "R" when read-only; "C" for the immutable views
// and std::function, "&" for the mutable views, Value, Ref<T> and classes; "N"; "G" and the
// getter's name when it is not the property's name; "S" and the setter's selector when it is
// not "set" + capitalised name + ":"; "V_" + the name.
#ifndef KIV_MODEL_DECLARED_PROPERTY_HPP_
#define KIV_MODEL_DECLARED_PROPERTY_HPP_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class.hpp"
#include "kiv/model/property.hpp"
#include "kiv/model/selector.hpp"
#include "kiv/model/value_kind.hpp"

namespace kiv::detail {

// A string literal as a template argument.
template <std::size_t N>
struct Literal {
  constexpr Literal(const char (&s)[N]) { std::copy_n(s, N, text); }
  constexpr std::string_view view() const { return {text, N - 1}; }
  char text[N];
};

// The tag that numbers the properties of one class in declaration order.
template <int N>
struct PropertyIndex {};

// How the declaration macros count the properties declared so far in a class body, without a
// global counter. Every property declares an overload kivPropertiesBefore(PropertyRank<i + 1>)
// returning PropertyCount<i + 1>, where i is its own index; a call with the highest rank then
// selects the overload of the highest rank declared so far, since a rank converts to each lower
// one and a nearer base wins. Inside the class body a declaration sees only the members declared
// before it, so each property finds its index; from outside, the class's property count.
inline constexpr int kMaxPropertiesPerClass = 256;
// PropertyRank<N> derives from PropertyRank<N - 1>, spelled through type_identity_t (the same
// class) so that Doxygen does not take the base for the template itself.
template <int N>
struct PropertyRank : std::type_identity_t<PropertyRank<N - 1>> {};
template <>
struct PropertyRank<0> {};
template <int N>
using PropertyCount = std::integral_constant<int, N>;

template <class T>
struct RefTarget {};
template <class T>
struct RefTarget<Ref<T>> {
  using type = T;
};
template <class T>
inline constexpr bool kIsRef = requires { typename RefTarget<T>::type; };
// An array of models: std::vector<Ref<T>>.
template <class T>
struct ModelVector {};
template <class T>
struct ModelVector<std::vector<Ref<T>>> {
  using element = T;
};
template <class T>
inline constexpr bool kIsModelVector = requires { typename ModelVector<T>::element; };
template <class T>
inline constexpr bool kIsFunction = false;
template <class Signature>
inline constexpr bool kIsFunction<std::function<Signature>> = true;
template <class T>
inline constexpr bool kIsStdArray = false;
template <class T, std::size_t N>
inline constexpr bool kIsStdArray<std::array<T, N>> = true;

template <class T>
inline constexpr bool kIsClassPointer =
    std::is_pointer_v<T> && std::is_convertible_v<T, const Class*>;
// Numbers and booleans: the types that descriptors convert values into.
template <class T>
inline constexpr bool kIsNumber = std::is_arithmetic_v<T> || std::is_enum_v<T>;
// A number that may be missing: std::optional of a number, held empty until it is set.
template <class T>
inline constexpr bool kIsOptionalNumber = false;
template <class T>
inline constexpr bool kIsOptionalNumber<std::optional<T>> = kIsNumber<T>;
// The types that key-value access reads and writes as Values.
template <class T>
inline constexpr bool kHasValueForm = kIsNumber<T> || kIsOptionalNumber<T> || IsValueKind<T> ||
                                      std::is_same_v<T, Value> || kIsRef<T> || kIsModelVector<T> ||
                                      kIsClassPointer<T>;

// The unqualified name of a type, read from the compiler's text of this function's signature
// (works for incomplete types, so models may refer to each other).
template <class T>
constexpr std::string_view typeName() {
  std::string_view text = __PRETTY_FUNCTION__;
  const std::size_t begin = text.find("T = ") + 4;
  text = text.substr(begin, text.find_first_of(";]", begin) - begin);
  const std::size_t qualifier = text.rfind("::", text.find('<'));
  return qualifier == std::string_view::npos ? text : text.substr(qualifier + 2);
}

// The name of a type with its namespaces, as the compiler spells it ("app::FeedItem").
template <class T>
constexpr std::string_view qualifiedTypeName() {
  std::string_view text = __PRETTY_FUNCTION__;
  const std::size_t begin = text.find("T = ") + 4;
  return text.substr(begin, text.find_first_of(";]", begin) - begin);
}

// The encoding character of an integer type.
template <class T>
constexpr char integerCode() {
  constexpr bool isSigned = std::is_signed_v<T> || std::is_same_v<T, char>;
  switch (sizeof(T)) {
    case 1: return isSigned ? 'c' : 'C';
    case 2: return isSigned ? 's' : 'S';
    case 4: return isSigned ? 'i' : 'I';
    default: return isSigned ? 'q' : 'Q';
  }
}

// A text built during constant evaluation, in a fixed buffer: std::string is not usable in
// constant expressions with every compiler and standard library (clang with libstdc++, and
// libc++ before version 15, refuse it).
struct ConstantText {
  static constexpr std::size_t kCapacity = 512;

  constexpr ConstantText& operator+=(char c) {
    if (size < kCapacity) chars[size] = c;
    ++size;  // counts on past the capacity, so that an overlong text can be refused
    return *this;
  }
  constexpr ConstantText& operator+=(std::string_view more) {
    for (const char c : more) *this += c;
    return *this;
  }
  constexpr bool fits() const { return size < kCapacity; }  // with room for a terminating NUL
  constexpr std::string_view view() const { return {chars.data(), fits() ? size : kCapacity}; }

  std::array<char, kCapacity> chars{};
  std::size_t size = 0;
};

constexpr void appendDecimal(ConstantText& text, std::size_t n) {
  char digits[20] = {};
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n);
  while (count) text += digits[--count];
}

template <class T>
constexpr void appendEncoding(ConstantText& text);

template <class Pointee>
constexpr void appendPointerEncoding(ConstantText& text) {
  using P = std::remove_cv_t<Pointee>;
  if constexpr (std::is_same_v<P, char>) {
    text += std::is_const_v<Pointee> ? "r*" : "*";
  } else if constexpr (std::is_convertible_v<Pointee*, const Class*>) {
    text += '#';
  } else if constexpr (std::is_arithmetic_v<P> || std::is_void_v<P>) {
    text += std::is_const_v<Pointee> ? "r^" : "^";
    appendEncoding<P>(text);
  } else {
    text += "^{?}";
  }
}

template <class T>
constexpr void appendEncoding(ConstantText& text) {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_enum_v<U>) {
    appendEncoding<std::underlying_type_t<U>>(text);
  } else if constexpr (kIsOptionalNumber<U>) {
    appendEncoding<typename U::value_type>(text);
  } else if constexpr (kIsModelVector<U>) {
    text += "@\"";
    text += ValueKind<Array>::kName;
    text += '"';
  } else if constexpr (std::is_same_v<U, bool>) {
    text += 'B';
  } else if constexpr (std::is_integral_v<U>) {
    text += integerCode<U>();
  } else if constexpr (std::is_same_v<U, float>) {
    text += 'f';
  } else if constexpr (std::is_same_v<U, double>) {
    text += 'd';
  } else if constexpr (std::is_same_v<U, long double>) {
    text += 'D';
  } else if constexpr (std::is_void_v<U>) {
    text += 'v';
  } else if constexpr (std::is_pointer_v<U>) {
    appendPointerEncoding<std::remove_pointer_t<U>>(text);
  } else if constexpr (IsValueKind<U>) {
    text += "@\"";
    text += ValueKind<U>::kName;
    text += '"';
  } else if constexpr (std::is_same_v<U, Value>) {
    text += '@';
  } else if constexpr (kIsRef<U>) {
    text += "@\"";
    text += typeName<typename RefTarget<U>::type>();
    text += '"';
  } else if constexpr (std::is_same_v<U, Selector>) {
    text += ':';
  } else if constexpr (kIsFunction<U>) {
    text += "@?";
  } else if constexpr (kIsStdArray<U>) {
    text += '[';
    appendDecimal(text, std::tuple_size_v<U>);
    appendEncoding<typename U::value_type>(text);
    text += ']';
  } else if constexpr (std::is_union_v<U>) {
    text += "(?)";
  } else {
    text += "{?}";
  }
}

template <class T>
constexpr std::string_view memoryAttribute() {
  if constexpr (IsValueKind<T>) {
    return ValueKind<T>::kMutable ? ",&" : ",C";
  } else if constexpr (kIsModelVector<T>) {
    return ",C";
  } else if constexpr (std::is_same_v<T, Value> || kIsRef<T> || kIsClassPointer<T>) {
    return ",&";
  } else if constexpr (kIsFunction<T>) {
    return ",C";
  } else {
    return "";
  }
}

// Whether `setter` is "set" + `name` with its first character capitalised (ASCII):
// "userName" and "setUserName".
constexpr bool isDefaultSetterName(std::string_view name, std::string_view setter) {
  if (setter.size() != name.size() + 3 || setter.substr(0, 3) != "set") return false;
  if (name.empty()) return true;
  const char first = name.front();
  const char capital = (first >= 'a' && first <= 'z') ? static_cast<char>(first - 'a' + 'A') : first;
  return setter[3] == capital && setter.substr(4) == name.substr(1);
}

template <class T>
constexpr ConstantText attributeText(std::string_view name, std::string_view getter,
                                     std::string_view setter, bool readonly) {
  ConstantText text;
  text += 'T';
  appendEncoding<T>(text);
  if (readonly) text += ",R";
  text += memoryAttribute<T>();
  text += ",N";
  if (getter != name) {
    text += ",G";
    text += getter;
  }
  if (!readonly && !isDefaultSetterName(name, setter)) {
    text += ",S";
    text += setter;
    text += ':';
  }
  text += ",V_";
  text += name;
  return text;
}

// The attribute text as a NUL-terminated constant array of its own size.
template <class T, Literal Name, Literal Getter, Literal Setter, bool Readonly>
struct AttributeText {
  static constexpr ConstantText kText =
      attributeText<T>(Name.view(), Getter.view(), Setter.view(), Readonly);
  static_assert(kText.fits(), "attribute text too long");
  static constexpr std::array<char, kText.view().size() + 1> kChars = [] {
    std::array<char, kText.view().size() + 1> chars{};
    std::copy_n(kText.view().begin(), kText.view().size(), chars.begin());
    return chars;
  }();
};

// --- Values in and out --------------------------------------------------------------------------

// The C type whose Value constructor records the integer type's kind character.
template <class T>
using CanonicalInteger = std::conditional_t<
    integerCode<T>() == 'c', signed char,
    std::conditional_t<integerCode<T>() == 'C', unsigned char,
    std::conditional_t<integerCode<T>() == 's', short,
    std::conditional_t<integerCode<T>() == 'S', unsigned short,
    std::conditional_t<integerCode<T>() == 'i', int,
    std::conditional_t<integerCode<T>() == 'I', unsigned,
    std::conditional_t<integerCode<T>() == 'q', long long, unsigned long long>>>>>>>;

template <class T>
Value box(const T& v) {
  if constexpr (kIsOptionalNumber<T>) {
    return v ? box(*v) : Value();
  } else if constexpr (kIsModelVector<T>) {
    const MutableArray array = MutableArray::array(v.size());
    for (const auto& model : v) array.addObject(Value(model));
    return array;
  } else if constexpr (std::is_enum_v<T>) {
    return box(static_cast<std::underlying_type_t<T>>(v));
  } else if constexpr (std::is_same_v<T, long double>) {
    return Value(static_cast<double>(v));
  } else if constexpr (std::is_same_v<T, bool> || std::is_floating_point_v<T>) {
    return Value(v);
  } else if constexpr (std::is_integral_v<T>) {
    return Value(static_cast<CanonicalInteger<T>>(v));
  } else if constexpr (IsValueKind<T> || std::is_same_v<T, Value> || kIsRef<T>) {
    return Value(v);
  } else if constexpr (kIsClassPointer<T>) {
    return v ? Value(static_cast<const Object*>(v)) : Value();
  } else {
    return Value();
  }
}

// The value read as T, as key-value access reads it: numbers leniently, objects as their view.
template <class T>
T unbox(const Value& v) {
  if constexpr (kIsOptionalNumber<T>) {
    return T(unbox<typename T::value_type>(v));
  } else if constexpr (kIsModelVector<T>) {
    T models;
    for (const Value& element : v.asArray()) {
      if (auto model = element.template objectAs<typename ModelVector<T>::element>()) models.push_back(std::move(model));
    }
    return models;
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(unbox<std::underlying_type_t<T>>(v));
  } else if constexpr (std::is_same_v<T, bool>) {
    return v.boolValue();
  } else if constexpr (std::is_integral_v<T>) {
    switch (integerCode<T>()) {
      case 'c': return static_cast<T>(v.charValue());
      case 'C': return static_cast<T>(v.unsignedCharValue());
      case 's': return static_cast<T>(v.shortValue());
      case 'S': return static_cast<T>(v.unsignedShortValue());
      case 'i': return static_cast<T>(v.intValue());
      case 'I': return static_cast<T>(v.unsignedIntValue());
      case 'q': return static_cast<T>(v.longLongValue());
      default: return static_cast<T>(v.unsignedLongLongValue());
    }
  } else if constexpr (std::is_same_v<T, float>) {
    return v.floatValue();
  } else if constexpr (std::is_floating_point_v<T>) {
    return v.doubleValue();
  } else if constexpr (IsValueKind<T>) {
    return ValueKind<T>::from(v);
  } else if constexpr (std::is_same_v<T, Value>) {
    return v;
  } else if constexpr (kIsRef<T>) {
    return v.template objectAs<typename RefTarget<T>::type>();
  } else {
    static_assert(kIsClassPointer<T>);
    return dynamic_cast<T>(Class::fromValue(v));
  }
}

// The encoding character of a number or boolean type (enums as their underlying type).
template <class T>
constexpr char numberCode() {
  if constexpr (kIsOptionalNumber<T>) {
    return numberCode<typename T::value_type>();
  } else if constexpr (std::is_enum_v<T>) {
    return numberCode<std::underlying_type_t<T>>();
  } else {
    ConstantText text;
    appendEncoding<T>(text);
    return text.chars[0];
  }
}

// The value as descriptors set a number: read as key-value access reads it, except that a NaN or
// infinite floating-point value (after narrowing to the declared type) is 0.
template <class T>
T descriptorNumber(const Value& v) {
  if constexpr (kIsOptionalNumber<T>) {
    return T(descriptorNumber<typename T::value_type>(v));
  } else if constexpr (std::is_floating_point_v<T>) {
    const double d = std::is_same_v<T, float> ? double{v.floatValue()} : v.doubleValue();
    return std::isfinite(d) ? static_cast<T>(d) : T{0};
  } else {
    return unbox<T>(v);
  }
}

// The accessors of field `Field` of model class C, stored through `Setter` (a member function
// pointer), or directly when `Setter` is nullptr (read-only properties).
template <class C, class T, auto Field, auto Setter>
struct Accessors {
  static void store(KivModel& model, T value) {
    C& self = static_cast<C&>(model);
    if constexpr (std::is_null_pointer_v<decltype(Setter)>) {
      self.*Field = std::move(value);
    } else {
      (self.*Setter)(std::move(value));
    }
  }
  static Value get(const KivModel& model) { return box(static_cast<const C&>(model).*Field); }
  static void set(KivModel& model, const Value& value) { store(model, unbox<T>(value)); }
  static void setNumber(KivModel& model, const Value& value) {
    store(model, descriptorNumber<T>(value));
    // A 32-bit signed property is set a second time from the unsigned reading of the value:
    // the same bits, so the same value for every number that fits.
    if constexpr (numberCode<T>() == 'i') store(model, T(static_cast<std::int32_t>(value.unsignedIntValue())));
  }

  static constexpr PropertyAccessors table() {
    if constexpr (kIsNumber<T> || kIsOptionalNumber<T>) {
      return {&get, &set, &setNumber};
    } else if constexpr (kHasValueForm<T>) {
      return {&get, &set, nullptr};
    } else {
      return {&get, nullptr, nullptr};
    }
  }
};

// The record of a model class T, for an array of T's (T may be incomplete where it is named).
template <class T>
const Class& elementClassOf() {
  return T::kivClass();
}

// The Property of one declared property of class C.
template <class C, class T, auto Field, auto Setter, Literal Name, Literal GetterName,
          Literal SetterName>
constexpr Property declaredProperty(MergeSlot* slot) {
  constexpr bool readonly = std::is_null_pointer_v<decltype(Setter)>;
  using Text = AttributeText<T, Name, GetterName, SetterName, readonly>;
  const Class& (*elementClass)() = nullptr;
  if constexpr (kIsModelVector<T>) elementClass = &elementClassOf<typename ModelVector<T>::element>;
  return Property{Name.text, Text::kChars.data(), slot, Accessors<C, T, Field, Setter>::table(), elementClass};
}

// What a generated getter returns: numbers and pointers by value, everything else by reference.
template <class T>
using GetterResult = std::conditional_t<std::is_scalar_v<T>, T, const T&>;

}  // namespace kiv::detail

#endif  // KIV_MODEL_DECLARED_PROPERTY_HPP_
