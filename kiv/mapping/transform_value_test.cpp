#include "kiv/mapping/transform_value.hpp"

#include <gtest/gtest.h>

#include <atomic>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/model/model.hpp"

namespace kiv {
namespace {

class TvTag : public KivModel {
  KIV_MODEL(TvTag, KivModel)
  KIV_PROPERTY(String, text, setText)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
};

class TvSpecialTag : public TvTag {
  KIV_MODEL(TvSpecialTag, TvTag)
};

class TvOther : public KivModel {
  KIV_MODEL(TvOther, KivModel)
  KIV_PROPERTY(String, text, setText)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
};

// A class that builds itself from a dictionary through its own class operation, counting calls.
class TvBuilt : public KivModel {
  KIV_MODEL(TvBuilt, KivModel)
  KIV_PROPERTY(String, text, setText)
 public:
  static inline std::atomic<int> calls{0};
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
  static Value kiv_modelWithDictionary(const Value& v) {
    ++calls;
    if (!v.isDictionary()) return Value::null();  // arrays build nothing: answered by the null
    return Value(kiv_modelFromDictionary<TvBuilt>(v.asDictionary()));
  }
};

Ref<TvTag> tag(const char* text) {
  auto t = makeRef<TvTag>();
  TvTag::kiv_classInfo();  // setters record from now on
  t->setText(text);
  return t;
}

TEST(KivTransformValueTest, BaseConvertsNothing) {
  const KivTransformValue base;
  EXPECT_TRUE(base.decodeValue(Dictionary{{"a", 1}}).isAbsent());
  EXPECT_TRUE(base.encodeValue("x").isAbsent());
}

TEST(KivClassTransformValueTest, DecodesDictionariesOnlyAndEncodesModelsOfItsClass) {
  KivClassTransformValue transformer(TvTag::kivClass());
  const Value model = transformer.decodeValue(Dictionary{{"text", "swift"}});
  ASSERT_EQ(classOf(model), &TvTag::kivClass());
  EXPECT_EQ(model.objectAs<TvTag>()->text(), Value("swift"));

  for (const Value& notADictionary : {Value("x"), Value(3), Value(Array{Dictionary{{"text", "a"}}}),
                                      Value::null(), Value()}) {
    EXPECT_TRUE(transformer.decodeValue(notADictionary).isAbsent()) << notADictionary.description();
  }
  EXPECT_TRUE(transformer.decodeValue(Dictionary::emptyDictionary()).isAbsent());

  EXPECT_EQ(transformer.encodeValue(tag("a")), (Dictionary{{"text", "a"}}));
  auto special = makeRef<TvSpecialTag>();
  TvSpecialTag::kiv_classInfo();
  special->setText("s");
  EXPECT_EQ(transformer.encodeValue(special), (Dictionary{{"text", "s"}}));
  auto other = makeRef<TvOther>();
  EXPECT_TRUE(transformer.encodeValue(other).isAbsent());
  EXPECT_TRUE(transformer.encodeValue(Dictionary{{"text", "a"}}).isAbsent());

  transformer.setModelClass(TvOther::kivClass());
  EXPECT_EQ(&transformer.modelClass(), &TvOther::kivClass());
  EXPECT_EQ(classOf(transformer.decodeValue(Dictionary{{"text", "o"}})), &TvOther::kivClass());
}

TEST(KivClassArrayTransformValueTest, KeepsTheModelsOfDictionaryElementsInOrder) {
  const KivClassArrayTransformValue transformer(TvTag::kivClass());
  const Array decoded = transformer
                            .decodeValue(Array{Dictionary{{"text", "a"}}, "skip", Dictionary::emptyDictionary(),
                                               Dictionary{{"text", "b"}}})
                            .asArray();
  ASSERT_EQ(decoded.count(), 2u);
  EXPECT_EQ(decoded[0].objectAs<TvTag>()->text(), Value("a"));
  EXPECT_EQ(decoded[1].objectAs<TvTag>()->text(), Value("b"));

  const Value empty = transformer.decodeValue(Array::emptyArray());
  ASSERT_TRUE(empty.isArray());
  EXPECT_EQ(empty.asArray().count(), 0u);
  EXPECT_TRUE(transformer.decodeValue(Dictionary{{"text", "a"}}).isAbsent());

  auto other = makeRef<TvOther>();
  const Value encoded = transformer.encodeValue(Array{Value(tag("a")), "x", Value(other), Value(tag("b"))});
  EXPECT_EQ(encoded, (Array{Dictionary{{"text", "a"}}, Dictionary{{"text", "b"}}}));
  EXPECT_TRUE(transformer.encodeValue(Value(tag("a"))).isAbsent());
}

TEST(KivAdapterTansFormValueTest, DecodesThroughTheClassOperationOnlyWithEntries) {
  const KivAdapterTansFormValue transformer(TvBuilt::kivClass());
  TvBuilt::calls = 0;
  EXPECT_TRUE(transformer.decodeValue(Dictionary::emptyDictionary()).isAbsent());
  EXPECT_TRUE(transformer.decodeValue(Array::emptyArray()).isAbsent());
  EXPECT_TRUE(transformer.decodeValue("text").isAbsent());
  EXPECT_EQ(TvBuilt::calls, 0);

  const Value model = transformer.decodeValue(Dictionary{{"text", "t"}});
  EXPECT_EQ(model.objectAs<TvBuilt>()->text(), Value("t"));
  EXPECT_TRUE(transformer.decodeValue(Array{1}).isNull());  // arrays reach the class operation
  EXPECT_EQ(TvBuilt::calls, 2);

  // A class without the operation decodes nothing.
  EXPECT_TRUE(KivAdapterTansFormValue(TvTag::kivClass()).decodeValue(Dictionary{{"text", "t"}}).isAbsent());

  EXPECT_EQ(transformer.encodeValue(model), (Dictionary{{"text", "t"}}));
  EXPECT_TRUE(transformer.encodeValue(Value()).isAbsent());
  EXPECT_TRUE(transformer.encodeValue("not a model").isAbsent());
}

TEST(KivAdapterArrayTansFormValueTest, DecodingDropsNullsAndEncodingKeepsOnlyNulls) {
  const KivAdapterArrayTansFormValue transformer(TvBuilt::kivClass());
  const Array decoded =
      transformer.decodeValue(Array{Dictionary{{"text", "a"}}, Array{1}, "x", Dictionary{{"text", "b"}}}).asArray();
  ASSERT_EQ(decoded.count(), 2u);
  EXPECT_EQ(decoded[1].objectAs<TvBuilt>()->text(), Value("b"));

  const Value encoded = transformer.encodeValue(Array{decoded[0], decoded[1]});
  ASSERT_TRUE(encoded.isArray());
  EXPECT_EQ(encoded.asArray().count(), 0u);
  EXPECT_TRUE(transformer.decodeValue(Dictionary{{"text", "a"}}).isAbsent());
  EXPECT_TRUE(transformer.encodeValue(decoded[0]).isAbsent());
}

TEST(KivDateTransformValueTest, ReadsSecondsSince1970FromNumbersAndText) {
  const KivDateTransformValue transformer;
  EXPECT_EQ(transformer.decodeValue(0), Value::date(0));
  EXPECT_EQ(transformer.decodeValue("0"), Value::date(0));
  EXPECT_EQ(transformer.decodeValue("not a number"), Value::date(0));
  EXPECT_EQ(transformer.decodeValue("1763712000.25xyz"), Value::date(1763712000.25));
  EXPECT_DOUBLE_EQ(transformer.decodeValue(1.5).timeIntervalSince1970(), 1.5);
  EXPECT_DOUBLE_EQ(transformer.decodeValue(-86400).timeIntervalSince1970(), -86400);
  EXPECT_TRUE(transformer.decodeValue(Dictionary{{"s", 1}}).isAbsent());
  EXPECT_TRUE(transformer.decodeValue(Value::null()).isAbsent());

  const Value seconds = transformer.encodeValue(Value::date(1.5));
  EXPECT_EQ(seconds.numberKind(), 'd');
  EXPECT_DOUBLE_EQ(seconds.doubleValue(), 1.5);
  EXPECT_TRUE(transformer.encodeValue("1.5").isAbsent());
  EXPECT_TRUE(transformer.encodeValue(1.5).isAbsent());
}

}  // namespace
}  // namespace kiv
