// What sloppy or hostile payloads do to the mapping: values of every wrong kind for every
// property type, nulls, broken key paths and a payload of 50 MB.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kiv/testing/mapping_models.hpp"

namespace kiv::testing {
namespace {

TEST(BadInputTest, EveryKindIntoEveryPropertyTypeSetsOnlyWhatFits) {
  Child::kiv_classInfo();
  const std::vector<Value> inputs = {
      Value::null(), Value("text"), Value("12abc"), Value(""), Value(true), Value(-1),
      Value(1e300), Value(-1.5), Value(18446744073709551615ull), Value(std::nan("")),
      Value::date(5), Value::data("\x01\x02", 2), Value(Array{1}), Value(MutableArray{1}),
      Value(Dictionary{{"name", "n"}}), Value(MutableDictionary{{"x", 1}}), Value(makeRef<Child>())};
  for (const Value& input : inputs) {
    const MutableDictionary json = MutableDictionary::dictionary();
    for (const char* name : Everything::kNames) json.setObject(input, name);
    const Ref<Everything> model = kiv_modelFromDictionary<Everything>(json);
    ASSERT_TRUE(model) << input.description();
    for (const char* name : Everything::kNames) {
      SCOPED_TRACE(std::string(name) + " from " + input.description());
      const KivProPertyInfo& info = *Everything::kiv_classInfo().propDict().objectForKey(name);
      if ((info.type() & KivEncodingTypeMask) != KivEncodingTypeObject) {
        EXPECT_TRUE(isSet(*model, name));  // numbers and booleans read every kind leniently
      } else if (std::string_view(name) == "child") {
        // A dictionary becomes a child through the automatic transformer; a model is kept.
        EXPECT_EQ(isSet(*model, name), input.isDictionary() || input.isModel());
      } else if (info.cls()) {
        EXPECT_EQ(isSet(*model, name), isKindOfClass(input, *info.cls()));
        EXPECT_TRUE(!isSet(*model, name) || model->valueForKey(name).isIdenticalTo(input));
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

TEST(BadInputTest, DottedPathsThroughArraysScalarsAndNulls) {
  for (const char* text : {R"({"counts": [{"likes": 1}]})", R"({"counts": 3})", R"({"counts": "likes"})",
                           R"({"counts": []})", R"({"counts.likes": 4})", R"({"counts": {}})", R"({"likes": 5})"}) {
    const Ref<Record> r = kiv_modelFromDictionary<Record>(json(text));
    ASSERT_TRUE(r) << text;
    EXPECT_FALSE(isSet(*r, "likes")) << text;
  }
  // A null met on the way is the value found: 0 for a number, nothing for a string.
  const Ref<Record> r = kiv_modelFromDictionary<Record>(json(R"({"counts": null, "names": null})"));
  EXPECT_TRUE(isSet(*r, "likes"));
  EXPECT_EQ(r->likes(), 0);
  EXPECT_FALSE(isSet(*r, "nick"));
}

TEST(BadInputTest, FiftyMegabytePayloadMapsWhole) {
  const std::string filler(300, 'x');
  std::string text = "{\"records\": [";
  int written = 0;
  while (text.size() < 50u * 1024 * 1024) {
    if (written) text += ',';
    const std::string n = std::to_string(written);
    // Every tenth record is sloppy: an id as text, a null count, a profile that is a string.
    if (written % 10 == 9) {
      text += R"({"id": ")" + n + R"(", "name": null, "counts": {"likes": null}, "profile": ")" + filler + "\"}";
    } else {
      text += R"({"id": )" + n + R"(, "name": ")" + filler + R"(", "counts": {"likes": )" + n +
              R"(}, "profile": {"name": "u)" + n + "\"}}";
    }
    ++written;
  }
  text += "]}";
  const Array records = parseJSON(text).asDictionary()["records"].asArray();
  ASSERT_EQ(records.count(), static_cast<std::size_t>(written));
  int mapped = 0;
  for (const Value& json : records) {
    const Ref<Record> r = kiv_modelFromDictionary<Record>(json.asDictionary());
    ASSERT_TRUE(r);
    ASSERT_EQ(r->uid(), mapped);
    if (mapped % 10 == 9) {
      ASSERT_TRUE(r->name().isAbsent());
      ASSERT_EQ(r->likes(), 0);
      ASSERT_FALSE(r->profile());
    } else {
      ASSERT_EQ(r->likes(), mapped);
      ASSERT_EQ(r->profile()->name(), Value("u" + std::to_string(mapped)));
    }
    ++mapped;
  }
  EXPECT_EQ(mapped, written);
}

}  // namespace
}  // namespace kiv::testing
