// KivClassMap: the application's storage configuration, as static hooks of a class.
//
// The library never makes a class map. An application derives a class from KivClassMap,
// declares it with KIV_CLASS_MAP, declares the hooks it needs as static members, and registers
// the class itself (its record, AppMap::kivClass()) with the storage:
//
//   class AppMap : public kiv::KivClassMap {
//     KIV_CLASS_MAP(AppMap, kiv::KivClassMap)
//    public:
//     static std::int64_t kiv_Version() { return 3; }
//     static const kiv::ModelClass* classMap(std::int64_t type) {
//       return type == 1 ? &FeedItem::kivClass() : nullptr;
//     }
//   };
//
// The record (ClassMapClass) answers every hook with the class's own declaration or, when the
// class does not declare it, with the nearest superclass's. Every hook is asked afresh each time
// it is needed; the library caches no answer.
#ifndef KIV_MODEL_CLASS_MAP_HPP_
#define KIV_MODEL_CLASS_MAP_HPP_

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/model/class.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

// The hooks of one class map, as its record calls them: each calls the static member named below,
// the class map's own or the nearest superclass's.
struct ClassMapHooks {
  // Calls kiv_Version.
  std::int64_t (*version)();
  // Calls kiv_clearTimeInterval.
  double (*clearTimeInterval)();
  // Calls classMap.
  const ModelClass* (*classMap)(std::int64_t type);
  // Calls classMaps; null when the class map does not declare its own classMaps.
  Array (*classMaps)(const Array& types);
  // Calls modelsDependOnModel.
  Array (*modelsDependOnModel)(const ModelClass& cls);
  // Calls clearTableforClass.
  Array (*clearTableforClass)(const ModelClass& cls);
  // Calls oldTabels.
  Array (*oldTabels)();
  // Calls kiv_keepsDataOnSchemaChange.
  bool (*keepsDataOnSchemaChange)(const ModelClass& cls);
  // Calls kiv_keepsDataOnVersionChange.
  bool (*keepsDataOnVersionChange)();
};

// The runtime record of a class map (KivClassMap or a class declared with KIV_CLASS_MAP): a class
// record that also answers the class map's hooks. Made once per class map by its kivClass().
class ClassMapClass : public Class {
 public:
  // `name` must live for the process.
  ClassMapClass(std::string_view name, const Class& superclass, const ClassMapHooks& hooks);

  // The class map's hooks (see KivClassMap for what each answers). Each is the class's own static
  // member or the nearest superclass's, asked afresh on every call.

  std::int64_t kiv_Version() const { return hooks_.version(); }
  double kiv_clearTimeInterval() const { return hooks_.clearTimeInterval(); }
  const ModelClass* classMap(std::int64_t type) const { return hooks_.classMap(type); }
  // The class map's own classMaps when it declares one; else the model classes of the types in
  // order, each from this class map's classMap (duplicates kept, types without a class skipped).
  Array classMaps(const Array& types) const;

  // The remaining hooks of the class map, answered in the same way.

  Array modelsDependOnModel(const ModelClass& cls) const { return hooks_.modelsDependOnModel(cls); }
  Array clearTableforClass(const ModelClass& cls) const { return hooks_.clearTableforClass(cls); }
  Array oldTabels() const { return hooks_.oldTabels(); }
  bool kiv_keepsDataOnSchemaChange(const ModelClass& cls) const { return hooks_.keepsDataOnSchemaChange(cls); }
  bool kiv_keepsDataOnVersionChange() const { return hooks_.keepsDataOnVersionChange(); }

  // The class map that a Value holds as its object, or null.
  static const ClassMapClass* fromValue(const Value& value) noexcept;

 private:
  ClassMapHooks hooks_;
};

class KivClassMap {
 public:
  KivClassMap() = delete;

  // The record of KivClassMap itself; every class map declared with KIV_CLASS_MAP has its own.
  static const ClassMapClass& kivClass();

  // The schema version of all model tables.
  static std::int64_t kiv_Version() { return 1; }
  // The age in seconds after which stored rows are old: 30 days.
  static double kiv_clearTimeInterval() { return 2592000.0; }
  // The model class of an application type; none for every type.
  static const ModelClass* classMap(std::int64_t /*type*/) { return nullptr; }
  // The model classes of the types, by classMap (see ClassMapClass::classMaps); declare it only
  // to replace that walk.
  static Array classMaps(const Array& types);
  // The model classes whose tables depend on `cls`'s table; none.
  static Array modelsDependOnModel(const ModelClass& /*cls*/) { return Array(); }
  // The names of the tables to empty when `cls`'s table is created; none.
  static Array clearTableforClass(const ModelClass& /*cls*/) { return Array(); }
  // The names of obsolete tables to drop: a new empty array on every call.
  static Array oldTabels() { return MutableArray::array(); }

  // Changing your models without losing what is stored (both off by default).
  //
  // Whether `cls`'s table keeps its rows when its columns no longer match the class. Off, a
  // registration drops such a table and creates it afresh. On, it brings the table up to date
  // in one transaction: a new stored property becomes a new column (ALTER TABLE ... ADD COLUMN;
  // existing rows leave it unset); a property no longer stored, a column type or key column that
  // changed make it rebuild the table with the current columns and copy every row's kept columns
  // (their values as SQLite stores them into the new column types), then re-create the key's
  // unique index. Types are compared as well as names, and the columns compared are those the
  // table is made with (a stored name that declares no property is no column). If any step fails,
  // for instance kept rows that repeat a new key, nothing changes, and one log line names the
  // table and the reason. Either way, once the table changed, the tables of modelsDependOnModel
  // are created afresh and those of clearTableforClass emptied.
  static bool kiv_keepsDataOnSchemaChange(const ModelClass& /*cls*/) { return false; }
  // Whether a raised (or lowered) kiv_Version keeps the stored models. Off, every table whose
  // name starts with "kiv" is dropped. On, in one transaction that also writes the new version:
  // each model table of the version the file was at is copied, with its rows and its key's
  // unique index, to its name at the new version (to be brought up to date by its class's
  // registration, as above, where kiv_keepsDataOnSchemaChange allows), the JSON cache table is
  // kept, and every other "kiv" table is dropped as before. If any step fails, nothing changes
  // (the version stays, to be tried again at the next registration) and one log line says why.
  static bool kiv_keepsDataOnVersionChange() { return false; }
};

namespace detail {

struct ClassMapAccess {
  template <class T>
  static constexpr bool declaresClassMaps() {
    using Base = decltype(&KivClassMap::classMaps);
    if constexpr (std::is_same_v<decltype(&T::classMaps), Base>) {
      return &T::classMaps != &KivClassMap::classMaps;
    } else {
      return true;
    }
  }

  template <class T>
  static const ClassMapClass& makeClass(std::string_view name, const Class& superclass) {
    ClassMapHooks hooks{
        [] { return static_cast<std::int64_t>(T::kiv_Version()); },
        [] { return static_cast<double>(T::kiv_clearTimeInterval()); },
        [](std::int64_t type) -> const ModelClass* { return T::classMap(type); },
        nullptr,
        [](const ModelClass& cls) { return Value(T::modelsDependOnModel(cls)).asArray(); },
        [](const ModelClass& cls) { return Value(T::clearTableforClass(cls)).asArray(); },
        [] { return Value(T::oldTabels()).asArray(); },
        [](const ModelClass& cls) { return static_cast<bool>(T::kiv_keepsDataOnSchemaChange(cls)); },
        [] { return static_cast<bool>(T::kiv_keepsDataOnVersionChange()); },
    };
    if constexpr (declaresClassMaps<T>()) {
      hooks.classMaps = [](const Array& types) { return Value(T::classMaps(types)).asArray(); };
    }
    return *new ClassMapClass(name, superclass, hooks);
  }
};

}  // namespace detail
}  // namespace kiv

// Declares the class map `Class`, a direct subclass of the class map `Super`.
#define KIV_CLASS_MAP(Class, Super)                                                           \
 public:                                                                                      \
  static const ::kiv::ClassMapClass& kivClass() {                                             \
    static const ::kiv::ClassMapClass& record =                                               \
        ::kiv::detail::ClassMapAccess::makeClass<Class>(#Class, Super::kivClass());           \
    return record;                                                                            \
  }                                                                                           \
                                                                                              \
 private:                                                                                     \
  void kivCheckDeclaration() {                                                                \
    static_assert(std::is_same_v<std::remove_cvref_t<decltype(*this)>, Class>,                \
                  "KIV_CLASS_MAP must name the class it is written in");                      \
    static_assert(std::is_base_of_v<Super, Class> && !std::is_same_v<Super, Class>,           \
                  "KIV_CLASS_MAP must name the class's superclass");                         \
  }                                                                                           \
  static inline const ::kiv::ClassMapClass& kivRegistration = kivClass();

#endif  // KIV_MODEL_CLASS_MAP_HPP_
