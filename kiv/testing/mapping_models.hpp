// The models of the mapping tests: a small linked model, a record with a property of each role
// the adapter knows (dotted paths, nested models, transformers, stored and unstored names), a
// subclass of each, and a model with a property of every type.
#ifndef KIV_TESTING_MAPPING_MODELS_HPP_
#define KIV_TESTING_MAPPING_MODELS_HPP_

#include <cstdint>

#include "kiv/foundation/data.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"
#include "kiv/model/model.hpp"

namespace kiv::testing {

// A name and a link to another of its kind. It provides the optional class operation
// kiv_modelWithDictionary, counting its calls (an array builds the null).
class Child : public KivModel {
  KIV_MODEL(Child, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(Ref<Child>, next, setNext)

 public:
  static inline int built = 0;
  // The 3 is no key path.
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}, {"next", "next"}, {"x", 3}}; }
  static Value kiv_modelWithDictionary(const Value& v) {
    ++built;
    return v.isDictionary() ? Value(kiv_modelFromDictionary<Child>(v.asDictionary())) : Value::null();
  }
};

// Inherits Child's key paths: its own level has records without descriptors.
class SubChild : public Child {
  KIV_MODEL(SubChild, Child)
};

// Upper-cases text on the way in and lower-cases it on the way out: an application's own
// transformer.
class ShoutTransform : public KivTransformValue {
 public:
  Value decodeValue(const Value& v) const override { return v.isString() ? Value(v.uppercaseString()) : Value(); }
  Value encodeValue(const Value& v) const override { return v.isString() ? Value(v.lowercaseString()) : Value(); }
};

class Record : public KivModel {
  KIV_MODEL(Record, KivModel)
  KIV_PROPERTY(std::int64_t, uid, setUid)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(std::int32_t, age, setAge)
  KIV_PROPERTY(bool, active, setActive)
  KIV_PROPERTY(std::int32_t, likes, setLikes)
  KIV_PROPERTY(Ref<Child>, profile, setProfile)
  KIV_PROPERTY(Ref<Child>, rawProfile, setRawProfile)
  KIV_PROPERTY(Array, tags, setTags)
  KIV_PROPERTY(MutableArray, drafts, setDrafts)
  KIV_PROPERTY(Dictionary, extra, setExtra)
  KIV_PROPERTY(Date, born, setBorn)
  KIV_PROPERTY(String, nick, setNick)
  KIV_PROPERTY(String, shout, setShout)
  KIV_PROPERTY(String, secret, setSecret)
  KIV_PROPERTY(String, unmapped, setUnmapped)

 public:
  static inline int finished = 0;
  static inline int storeCalls = 0;
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"uid", "id"},         {"name", "name"},       {"age", "age"},         {"active", "active"},
            {"likes", "counts.likes"}, {"profile", "profile"}, {"rawProfile", "raw"}, {"tags", "tags"},
            {"drafts", "drafts"},  {"extra", "extra"},     {"born", "born"},       {"nick", "names.nick"},
            {"shout", "shout"},    {"secret", "secret"}};
  }
  // rawProfile's transformer converts nothing, so it replaces the automatic model transformer.
  static Dictionary kiv_valueTransform() {
    return {{"born", Value(makeRef<KivDateTransformValue>())},
            {"shout", Value(makeRef<ShoutTransform>())},
            {"rawProfile", Value(makeRef<KivTransformValue>())}};
  }
  static void kiv_finishedModel(KivModel&, const Dictionary&) { ++finished; }
  // "secret" is mapped but not stored, "unmapped" stored but not mapped; 7 is no name.
  static Array kiv_dbStoreProperty() {
    ++storeCalls;
    return {"uid", "name", "tags", "extra", "born", "profile", "nick", "unmapped", 7};
  }
};

// Maps a property of its own, and stores under "name" a number where its superclass stores text.
class SubRecord : public Record {
  KIV_MODEL(SubRecord, Record)
  KIV_PROPERTY(String, level, setLevel)
  KIV_PROPERTY(std::int32_t, nAME, setNAME)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"level", "admin.level"}, {"nAME", "n"}}; }
  static Array kiv_dbStoreProperty() { return {"nAME"}; }
};

// A property of every type, each mapped under its own name; nothing is stored.
class Everything : public KivModel {
  KIV_MODEL(Everything, KivModel)
  KIV_PROPERTY(bool, b, setB)
  KIV_PROPERTY(std::int8_t, i8, setI8)
  KIV_PROPERTY(std::uint8_t, u8, setU8)
  KIV_PROPERTY(std::int16_t, i16, setI16)
  KIV_PROPERTY(std::uint16_t, u16, setU16)
  KIV_PROPERTY(std::int32_t, i32, setI32)
  KIV_PROPERTY(std::uint32_t, u32, setU32)
  KIV_PROPERTY(std::int64_t, i64, setI64)
  KIV_PROPERTY(std::uint64_t, u64, setU64)
  KIV_PROPERTY(float, f, setF)
  KIV_PROPERTY(double, d, setD)
  KIV_PROPERTY(String, str, setStr)
  KIV_PROPERTY(Number, num, setNum)
  KIV_PROPERTY(Date, date, setDate)
  KIV_PROPERTY(Data, data, setData)
  KIV_PROPERTY(Array, arr, setArr)
  KIV_PROPERTY(MutableArray, marr, setMarr)
  KIV_PROPERTY(Dictionary, dict, setDict)
  KIV_PROPERTY(MutableDictionary, mdict, setMdict)
  KIV_PROPERTY(Ref<Child>, child, setChild)
  KIV_PROPERTY(Value, any, setAny)

 public:
  static constexpr const char* kNames[] = {"b",    "i8",  "u8",   "i16",  "u16",   "i32",   "u32",
                                           "i64",  "u64", "f",    "d",    "str",   "num",   "date",
                                           "data", "arr", "marr", "dict", "mdict", "child", "any"};
  static Dictionary kiv_jsonKeyPathsByProperty() {
    const MutableDictionary paths = MutableDictionary::dictionary();
    for (const char* name : kNames) paths.setObject(name, name);
    return paths;
  }
};

// Whether the model's property `name` was set.
inline bool isSet(const KivModel& model, std::string_view name) {
  const PropertyDict& properties = model.modelClass().kiv_classInfo().propDict();
  return model.kivFlag().needMergeAt(properties.objectForKey(name)->mergeIdx());
}

// The dictionary of JSON text.
inline Dictionary json(std::string_view text) { return parseJSON(text).asDictionary(); }

}  // namespace kiv::testing

#endif  // KIV_TESTING_MAPPING_MODELS_HPP_
