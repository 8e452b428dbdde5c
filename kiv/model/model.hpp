// KivModel: the base class of every model, and the macros that declare models.
//
// A model class derives from KivModel (or from another model class) and declares itself and its
// properties, one line each:
//
//   class FeedItem : public kiv::KivModel {
//     KIV_MODEL(FeedItem, kiv::KivModel)
//     KIV_PROPERTY(int64_t, itemId, setItemId)
//     KIV_PROPERTY(kiv::String, title, setTitle)
//     KIV_PROPERTY(kiv::Ref<FeedUser>, author, setAuthor)
//    public:
//     static kiv::Dictionary kiv_jsonKeyPathsByProperty();
//     static kiv::Value kiv_key() { return "itemId"; }
//   };
//
// KIV_MODEL(Class, Super) declares the class's record, Class::kivClass(), and its descriptor,
// Class::kiv_classInfo(); Super is the direct superclass (the compiler checks that Class is the
// class the macro is written in and that Super is one of its bases). KIV_PROPERTY(Type, name,
// setName) declares the field `name_`, the getter `name()` and the setter `setName(value)`, and
// records the property with its attribute text (see declared_property.hpp). The setter's name is
// written out so that it can be found in the source; it must be "set" + the capitalised name,
// which is checked at compile time. KIV_PROPERTY_ACCESSORS(Type, name, getter, setter) names the
// accessors freely: a getter other than `name` gives the attribute "G", a setter other than
// setName gives "S", and such a setter never records merges. KIV_READONLY_PROPERTY(Type, name)
// declares the field and the getter only; the class sets `name_` itself. Weak references are not
// offered: objects are reference-counted only. A type that contains a comma needs an alias.
// Properties are numbered in declaration order by the macros themselves (at most 256 per class),
// whatever else the class body declares between them. Each macro leaves the access at public:
// fields and bookkeeping are private, accessors public.
//
// Merge flags. Every model object records which of its properties have been set: a generated
// setter marks the property's merge bit before it stores the value (one load and one bit set),
// from the first kiv_classInfo() of the property's class on; before that, setters record
// nothing. Setters of a custom name never record; neither do stores that bypass the setter.
// Recording is not synchronised: one model object is set from one thread at a time.
//
// Hooks are static members with the defaults below; a class that declares one hides its
// superclass's, and a class that does not answers with the nearest superclass's. The record of
// the class (ModelClass) calls them. A class may also declare
// `static kiv::Value kiv_modelWithDictionary(const kiv::Value&)`, which KivModel does not.
//
// Models register their class record by name before main(); describing or looking up a model
// class from another static initialiser is not supported.
#ifndef KIV_MODEL_MODEL_HPP_
#define KIV_MODEL_MODEL_HPP_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class_info.hpp"
#include "kiv/model/declared_property.hpp"
#include "kiv/model/flag.hpp"
#include "kiv/model/merge_slot.hpp"
#include "kiv/model/model_class.hpp"
#include "kiv/model/property_info.hpp"

namespace kiv {

class KivModel : public Object {
 public:
  KivModel() = default;

  // The record of KivModel itself; every model class has its own kivClass().
  static const ModelClass& kivClass();
  // The record of this object's class (while a base class is being constructed, that base).
  const ModelClass& modelClass() const noexcept { return *class_; }
  bool isModelObject() const noexcept final { return true; }

  // The model that the value holds, or null; the value's reference moves into the result.
  static Ref<KivModel> fromValue(Value&& value) noexcept;
  // The model that the value holds, or null, borrowed: valid while the value holds it.
  static KivModel* in(const Value& value) noexcept {
    const Object* object = value.object();
    return object && object->isModelObject() ? const_cast<KivModel*>(static_cast<const KivModel*>(object)) : nullptr;
  }

  // --- Hooks (static; see above) ------------------------------------------------------------

  // Property name to JSON key path; absent: no property is mapped.
  static Dictionary kiv_jsonKeyPathsByProperty() { return Dictionary(); }
  // The name of the primary-key property; absent: no key.
  static Value kiv_key() { return Value(); }
  // The names of the properties to store; absent: none.
  static Array kiv_dbStoreProperty() { return Array(); }
  // Property name to transformer object; absent: no explicit transformers.
  static Dictionary kiv_valueTransform() { return Dictionary(); }
  // Called after a model of the class has been filled from `dict`; does nothing.
  static void kiv_finishedModel(KivModel& /*model*/, const Dictionary& /*dict*/) {}
  // The class's descriptor (ModelClass::kiv_classInfo()).
  static const KivClassInfo& kiv_classInfo() { return kivClass().kiv_classInfo(); }

  // --- Merge flags and descriptor access ----------------------------------------------------

  // The object's merge flags: which of its properties have been set (see above).
  const KivFlag& kivFlag() const noexcept { return flag_; }

  // Sets one property from a value, through its setter:
  // - an object property whose class is known gets the value unconverted (the null as absent;
  //   a value of another kind stores absent);
  // - a number or boolean property gets the value read leniently as its declared type (the
  //   type whose code the descriptor holds): a 32-bit signed property is set twice, with the
  //   signed and then with the unsigned 32-bit reading of the value (the same bits, except for
  //   strings, whose unsigned reading takes the whole string: "4294967295" stores -1 and
  //   "12abc" stores 0); 64-bit integers keep every digit (numbers hold 64-bit integers
  //   exactly, so no separate decimal reading is needed); a NaN or infinite float, double or
  //   long double becomes 0;
  // - any other object, block, class, selector, pointer, structure, union, C string or array
  //   property is not set;
  // - a property of unknown type is set by key-value access under its name.
  // Nothing happens for a descriptor of a class that this object is not an instance of.
  void kiv_setValue(const Value& value, const KivProPertyInfo& info) {
    // Numbers, the common case, go straight to their generated accessor.
    const auto setNumber = info.property().accessors.setNumber;
    if (!info.cls() && setNumber && isNumberCode(info.type() & KivEncodingTypeMask) &&
        isInstanceOf(info.declaringClass())) {
      setNumber(*this, value);
    } else {
      setOtherForInfo(value, info);
    }
  }
  // The value of one property: absent when it was never set on this object; else the object, a
  // number of the property's kind, or the value read by key-value access under its name; the
  // null when that is absent.
  Value kiv_valueForInfo(const KivProPertyInfo& info) const {
    if (!flag_.needMergeAt(info.mergeIdx()) || !isInstanceOf(info.declaringClass())) return Value();
    // Numbers, the common case, are boxed in place (a NaN or infinite one comes back as itself,
    // as key-value access would read it).
    const auto get = info.property().accessors.get;
    if (!info.cls() && get && isNumberCode(info.type() & KivEncodingTypeMask)) return get(*this);
    return objectForInfo(info);
  }
  // Whether the property of the name, declared by this object's class or a superclass, was set on
  // this object; false for an unknown name.
  bool isSet(std::string_view name) const;
  // Copies the properties that are set on `other` into this object and marks them set, over
  // the class levels that both objects have, starting at this object's class (at other's class
  // when this object's class derives from it). Unset properties of `other` change nothing.
  void mergeFrom(const KivModel& other);

  // --- Key-value access by property name, through the class chain -----------------------------

  // The property's value; absent for an unknown key and for types without a Value form.
  Value valueForKey(std::string_view key) const override;
  // Sets the property through its setter (read-only properties directly, without recording);
  // absent for a number or boolean property calls setNilValueForKey(). Unknown keys do nothing.
  void setValue(const Value& value, std::string_view key) override;
  // Sets the 32-bit integer 0 under the key instead.
  virtual void setNilValueForKey(std::string_view key);

  // "<ClassName: 0x...> {...}": every declared property along the class chain, absent as null.
  std::string description() const override;
  // The exclusive-or of the hashes of every declared property's value along the class chain
  // (absent counts 0).
  std::size_t hash() const override;
  // Equal when `other` is this object, or an object of exactly this class whose own properties
  // (those of this class, not its superclasses) equal this object's one by one (both absent
  // agree). The comparison stops after this object's class: inherited properties are not
  // compared, so equal objects may still differ in hash().
  bool isEqual(const Object& other) const override;

 protected:
  // Marks the merge bit of a generated setter's property (see MergeSlot).
  void kivMarkSet(const MergeSlot& slot) noexcept { slot.mark(flag_); }

  // Records the class of an object under construction. Every model class has one (KIV_MODEL)
  // and each is initialised with its class's members, so the most derived class stamps last.
  struct ClassStamp {
    // Stamps `cls` as the class of `model`.
    ClassStamp(KivModel* model, const ModelClass& cls) noexcept { model->class_ = &cls; }
  };

 private:
  bool isInstanceOf(const Class& cls) const noexcept {
    return class_ == &cls || class_->isSubclassOfClass(cls);
  }
  static bool isNumberCode(KivEncodingType code) noexcept {
    return code >= KivEncodingTypeBool && code <= KivEncodingTypeLongDouble;
  }
  // kiv_setValue() and kiv_valueForInfo() of a property that is not a number.
  void setOtherForInfo(const Value& value, const KivProPertyInfo& info);
  Value objectForInfo(const KivProPertyInfo& info) const;
  const Property* propertyForKey(std::string_view key) const noexcept;

  const ModelClass* class_ = &kivClass();
  KivFlag flag_;
};

namespace detail {

// What the declaration macros need from a model class T; a friend of every model class.
struct ModelAccess {
  template <class T>
  static constexpr int propertyCount() {
    if constexpr (requires { T::kivPropertiesBefore(PropertyRank<kMaxPropertiesPerClass>{}); }) {
      return decltype(T::kivPropertiesBefore(PropertyRank<kMaxPropertiesPerClass>{}))::value;
    } else {
      return 0;  // KivModel itself
    }
  }

  template <class T, std::size_t... I>
  static constexpr std::array<Property, sizeof...(I)> propertyList(std::index_sequence<I...>) {
    return {T::kivProperty(PropertyIndex<static_cast<int>(I)>{})...};
  }

  // T's own properties in declaration order.
  template <class T>
  static constexpr auto kProperties =
      propertyList<T>(std::make_index_sequence<propertyCount<T>()>{});

  template <class T>
  static ModelHooks hooks() {
    ModelHooks hooks{
        [] { return Value(T::kiv_jsonKeyPathsByProperty()).asDictionary(); },
        [] { return Value(T::kiv_key()); },
        [] { return Value(T::kiv_dbStoreProperty()).asArray(); },
        [] { return Value(T::kiv_valueTransform()).asDictionary(); },
        nullptr,
        nullptr,
    };
    // Compared when the record is made: the addresses of functions are no constant expressions.
    if (&T::kiv_finishedModel != &KivModel::kiv_finishedModel) {
      hooks.finishedModel = [](KivModel& model, const Dictionary& dict) { T::kiv_finishedModel(model, dict); };
    }
    if constexpr (requires(const Value& v) { T::kiv_modelWithDictionary(v); }) {
      hooks.modelWithDictionary = [](const Value& v) { return Value(T::kiv_modelWithDictionary(v)); };
    }
    return hooks;
  }

  template <class T>
  static constexpr ModelClass::Create factory() {
    if constexpr (std::is_default_constructible_v<T> && !std::is_abstract_v<T>) {
      return []() -> Ref<KivModel> { return makeRef<T>(); };
    } else {
      return nullptr;
    }
  }

  template <class T>
  static const ModelClass& makeClass(std::string_view name, const Class& superclass) {
    return *new ModelClass(name, qualifiedTypeName<T>(), superclass, kProperties<T>, factory<T>(), hooks<T>());
  }

  // Whether T declares KIV_MODEL itself (a class that does not answers with its superclass's
  // record, so it cannot be told apart from it).
  template <class T>
  static constexpr bool declaresModel() {
    if constexpr (requires { typename T::kivSelf; }) {
      return std::is_same_v<typename T::kivSelf, T>;
    } else {
      return false;
    }
  }
};

}  // namespace detail

// A model class that declares KIV_MODEL itself (KivModel included): what the typed calls take.
template <class T>
concept DeclaredModel = std::is_base_of_v<KivModel, T> && (std::is_same_v<T, KivModel> || detail::ModelAccess::declaresModel<T>());

// The model as a T, or null when it is none (its class is not T or a subclass of T).
template <DeclaredModel T>
Ref<T> modelCast(Ref<KivModel> model) noexcept {
  if (!model || !model->modelClass().isSubclassOfClass(T::kivClass())) return nullptr;
  return Ref<T>::adopt(static_cast<T*>(model.detach()));
}

// The models of the array that are T's, in order (other elements are left out).
template <DeclaredModel T>
std::vector<Ref<T>> modelsOf(const Array& models) {
  std::vector<Ref<T>> out;
  out.reserve(models.count());
  for (const Value& element : models) {
    if (Ref<T> model = modelCast<T>(Ref<KivModel>(KivModel::in(element)))) out.push_back(std::move(model));
  }
  return out;
}

}  // namespace kiv

// Declares the model class `Class`, a direct subclass of the model class `Super`.
#define KIV_MODEL(Class, Super)                                                               \
 private:                                                                                     \
  friend struct ::kiv::detail::ModelAccess;                                                   \
  using kivSelf = Class;                                                                      \
  [[no_unique_address]] ClassStamp kivStamp{this, kivClass()};                                \
  void kivCheckDeclaration() {                                                                \
    static_assert(std::is_same_v<std::remove_cvref_t<decltype(*this)>, Class>,                \
                  "KIV_MODEL must name the class it is written in");                          \
    static_assert(std::is_base_of_v<Super, Class> && !std::is_same_v<Super, Class>,           \
                  "KIV_MODEL must name the class's superclass");                             \
  }                                                                                           \
  static ::kiv::detail::PropertyCount<0> kivPropertiesBefore(::kiv::detail::PropertyRank<0>); \
                                                                                              \
 public:                                                                                      \
  static const ::kiv::ModelClass& kivClass() {                                                \
    static const ::kiv::ModelClass& record =                                                  \
        ::kiv::detail::ModelAccess::makeClass<Class>(#Class, Super::kivClass());              \
    return record;                                                                            \
  }                                                                                           \
  static const ::kiv::KivClassInfo& kiv_classInfo() { return kivClass().kiv_classInfo(); }   \
                                                                                              \
 private:                                                                                     \
  static inline const ::kiv::ModelClass& kivRegistration = kivClass();                        \
                                                                                              \
 public:

// Declares a property with the getter `name()` and the recording setter `setter(value)`, which
// must be named "set" + the capitalised name.
#define KIV_PROPERTY(Type, name, setter)                                                      \
  static_assert(::kiv::detail::isDefaultSetterName(#name, #setter),                           \
                "KIV_PROPERTY(" #Type ", " #name ", " #setter "): the setter must be set + "  \
                "the capitalised name; KIV_PROPERTY_ACCESSORS declares other names");         \
  KIV_PROPERTY_ACCESSORS(Type, name, name, setter)

// Declares a property with freely named accessors.
#define KIV_PROPERTY_ACCESSORS(Type, name, getter, setter)                                    \
 private:                                                                                     \
  Type name##_{};                                                                             \
  static inline ::kiv::MergeSlot kivSlot_##name;                                              \
  KIV_DETAIL_PROPERTY_INDEX(name)                                                             \
  static constexpr ::kiv::Property kivProperty(                                               \
      ::kiv::detail::PropertyIndex<kivIndex_##name>) {                                        \
    return ::kiv::detail::declaredProperty<kivSelf, Type, &kivSelf::name##_,                  \
                                           &kivSelf::setter, #name, #getter, #setter>(        \
        &kivSlot_##name);                                                                     \
  }                                                                                           \
                                                                                              \
 public:                                                                                      \
  ::kiv::detail::GetterResult<Type> getter() const { return name##_; }                        \
  void setter(Type value) {                                                                   \
    kivMarkSet(kivSlot_##name);                                                               \
    name##_ = std::move(value);                                                               \
  }

// Declares a read-only property: the field `name_` and the getter `name()`.
#define KIV_READONLY_PROPERTY(Type, name)                                                     \
 private:                                                                                     \
  Type name##_{};                                                                             \
  KIV_DETAIL_PROPERTY_INDEX(name)                                                             \
  static constexpr ::kiv::Property kivProperty(                                               \
      ::kiv::detail::PropertyIndex<kivIndex_##name>) {                                        \
    return ::kiv::detail::declaredProperty<kivSelf, Type, &kivSelf::name##_, nullptr, #name,  \
                                           #name, "">(nullptr);                               \
  }                                                                                           \
                                                                                              \
 public:                                                                                      \
  ::kiv::detail::GetterResult<Type> name() const { return name##_; }

// The index of property `name` among its class's own (the number declared before it), and the
// overload that counts it (see PropertyRank).
#define KIV_DETAIL_PROPERTY_INDEX(name)                                                       \
  static constexpr int kivIndex_##name = decltype(kivPropertiesBefore(                        \
      ::kiv::detail::PropertyRank<::kiv::detail::kMaxPropertiesPerClass>{}))::value;          \
  static_assert(kivIndex_##name < ::kiv::detail::kMaxPropertiesPerClass,                      \
                "a model class declares at most 256 properties of its own");                  \
  static ::kiv::detail::PropertyCount<kivIndex_##name + 1> kivPropertiesBefore(               \
      ::kiv::detail::PropertyRank<kivIndex_##name + 1>);

#endif  // KIV_MODEL_MODEL_HPP_
