// What sloppy or hostile payloads do to the mapping: values of every wrong kind for every
// property type, nulls, broken key paths and a payload of 50 MB.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "kiv/foundation/data.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace kiv {
namespace {

class BadChild : public KivModel {
  KIV_MODEL(BadChild, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(Ref<BadChild>, child, setChild)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}, {"child", "child"}}; }
};

class BadAll : public KivModel {
  KIV_MODEL(BadAll, KivModel)
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
  KIV_PROPERTY(Ref<BadChild>, child, setChild)
  KIV_PROPERTY(Value, any, setAny)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    const MutableDictionary paths = MutableDictionary::dictionary();
    for (const char* name : kNames) paths.setObject(name, name);
    return paths;
  }
  static constexpr const char* kNames[] = {"b", "i8",  "u8",  "i16",  "u16",  "i32",   "u32",
                                           "i64", "u64", "f",  "d",    "str",  "num",   "date",
                                           "data", "arr", "marr", "dict", "mdict", "child", "any"};
};

bool isSet(const BadAll& model, std::string_view name) {
  const KivProPertyInfo* info = BadAll::kiv_classInfo().propDict().objectForKey(name);
  return model.kivFlag().needMergeAt(info->mergeIdx());
}

TEST(BadInputTest, EveryKindIntoEveryPropertyTypeSetsOnlyWhatFits) {
  BadChild::kiv_classInfo();
  const std::vector<Value> inputs = {
      Value::null(), Value("text"), Value("12abc"), Value(""), Value(true), Value(-1),
      Value(1e300), Value(-1.5), Value(18446744073709551615ull), Value(std::nan("")),
      Value::date(5), Value::data("\x01\x02", 2), Value(Array{1}), Value(MutableArray{1}),
      Value(Dictionary{{"name", "n"}}), Value(MutableDictionary{{"x", 1}}), Value(makeRef<BadChild>())};
  for (const Value& input : inputs) {
    const MutableDictionary json = MutableDictionary::dictionary();
    for (const char* name : BadAll::kNames) json.setObject(input, name);
    const Ref<BadAll> model = kiv_modelFromDictionary<BadAll>(json);
    ASSERT_TRUE(model) << input.description();
    for (const char* name : BadAll::kNames) {
      SCOPED_TRACE(std::string(name) + " from " + input.description());
      const KivProPertyInfo& info = *BadAll::kiv_classInfo().propDict().objectForKey(name);
      const Value held = model->valueForKey(name);
      if ((info.type() & KivEncodingTypeMask) != KivEncodingTypeObject) {
        EXPECT_TRUE(isSet(*model, name));  // numbers and booleans read every kind leniently
      } else if (std::string_view(name) == "child") {
        // A dictionary becomes a child through the automatic transformer; a model is kept.
        EXPECT_EQ(isSet(*model, name), input.isDictionary() || input.isModel());
      } else if (info.cls()) {
        EXPECT_EQ(isSet(*model, name), isKindOfClass(input, *info.cls()));
        EXPECT_TRUE(!isSet(*model, name) || held.isIdenticalTo(input));
      } else {
        EXPECT_FALSE(isSet(*model, name));  // a plain object type is never written from JSON
      }
    }
    EXPECT_EQ(model->i64(), input.longLongValue());
    EXPECT_EQ(model->f(), std::isfinite(input.floatValue()) ? input.floatValue() : 0.0f);
    // Whatever went in comes back out without failing.
    EXPECT_TRUE(kiv_dictionaryFromModel(model).isPresent());
    EXPECT_TRUE(KivModelAdapter::DBDictionaryFromModel(model.get()).isPresent());
  }
}

class BadPaths : public KivModel {
  KIV_MODEL(BadPaths, KivModel)
  KIV_PROPERTY(std::int32_t, count, setCount)
  KIV_PROPERTY(String, label, setLabel)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"count", "a.b.count"}, {"label", "a.b.label"}}; }
};

TEST(BadInputTest, DottedPathsThroughArraysScalarsAndNulls) {
  const PropertyDict& props = BadPaths::kiv_classInfo().propDict();
  auto countSet = [&](const BadPaths& m) { return m.kivFlag().needMergeAt(props.objectForKey("count")->mergeIdx()); };
  for (const char* text : {R"({"a": [{"b": {"count": 1}}]})", R"({"a": {"b": 3}})", R"({"a": "b"})",
                           R"({"a": {"b": []}})", R"({"a.b.count": 4})", R"({"a": {}})", "{\"b\": 1}"}) {
    const Ref<BadPaths> m = kiv_modelFromDictionary<BadPaths>(parseJSON(text).asDictionary());
    ASSERT_TRUE(m) << text;
    EXPECT_FALSE(countSet(*m)) << text;
  }
  // A null met on the way is the value found: 0 for a number, nothing for a string.
  const Ref<BadPaths> m = kiv_modelFromDictionary<BadPaths>(parseJSON(R"({"a": {"b": null}})").asDictionary());
  EXPECT_TRUE(countSet(*m));
  EXPECT_EQ(m->count(), 0);
  EXPECT_TRUE(m->label().isAbsent());
}

class BadStatus : public KivModel {
  KIV_MODEL(BadStatus, KivModel)
  KIV_PROPERTY(std::int64_t, statusId, setStatusId)
  KIV_PROPERTY(String, text, setText)
  KIV_PROPERTY(std::int32_t, likes, setLikes)
  KIV_PROPERTY(Ref<BadChild>, user, setUser)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"statusId", "id"}, {"text", "text"}, {"likes", "counts.likes"}, {"user", "user"}};
  }
};

TEST(BadInputTest, FiftyMegabytePayloadMapsWhole) {
  const std::string filler(300, 'x');
  std::string text = "{\"statuses\": [";
  int written = 0;
  while (text.size() < 50u * 1024 * 1024) {
    if (written) text += ',';
    const std::string n = std::to_string(written);
    // Every tenth status is sloppy: an id as text, a null count, a user that is a string.
    if (written % 10 == 9) {
      text += R"({"id": ")" + n + R"(", "text": null, "counts": {"likes": null}, "user": ")" + filler + "\"}";
    } else {
      text += R"({"id": )" + n + R"(, "text": ")" + filler + R"(", "counts": {"likes": )" + n +
              R"(}, "user": {"name": "u)" + n + "\"}}";
    }
    ++written;
  }
  text += "]}";
  const Array statuses = parseJSON(text).asDictionary()["statuses"].asArray();
  ASSERT_EQ(statuses.count(), static_cast<std::size_t>(written));
  int mapped = 0;
  for (const Value& status : statuses) {
    const Ref<BadStatus> s = kiv_modelFromDictionary<BadStatus>(status.asDictionary());
    ASSERT_TRUE(s);
    ASSERT_EQ(s->statusId(), mapped);
    if (mapped % 10 == 9) {
      ASSERT_TRUE(s->text().isAbsent());
      ASSERT_EQ(s->likes(), 0);
      ASSERT_FALSE(s->user());
    } else {
      ASSERT_EQ(s->likes(), mapped);
      ASSERT_EQ(s->user()->name(), Value("u" + std::to_string(mapped)));
    }
    ++mapped;
  }
  EXPECT_EQ(mapped, written);
}

}  // namespace
}  // namespace kiv
