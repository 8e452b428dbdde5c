#include "kiv/mapping/transform_value.hpp"

#include <gtest/gtest.h>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace kiv {
namespace {

class TvTag : public KivModel {
  KIV_MODEL(TvTag, KivModel)
  KIV_PROPERTY(String, text, setText)
 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}}; }
  // Builds a tag from a dictionary, counting calls; an array builds the null.
  static inline int built = 0;
  static Value kiv_modelWithDictionary(const Value& v) {
    ++built;
    return v.isDictionary() ? Value(kiv_modelFromDictionary<TvTag>(v.asDictionary())) : Value::null();
  }
};

class TvSpecialTag : public TvTag {
  KIV_MODEL(TvSpecialTag, TvTag)
};

class TvOther : public KivModel {
  KIV_MODEL(TvOther, KivModel)
};

const Dictionary kA{{"text", "a"}};
const Dictionary kB{{"text", "b"}};

TEST(KivTransformValueTest, ClassTransformersDecodeDictionariesAndEncodeOnlyTheirClass) {
  const KivClassTransformValue one(TvTag::kivClass());
  const Value a = one.decodeValue(kA);
  ASSERT_EQ(classOf(a), &TvTag::kivClass());
  for (const Value& v : {Value("x"), Value(3), Value(Array{kA}), Value::null(), Value(Dictionary::emptyDictionary())}) {
    EXPECT_TRUE(one.decodeValue(v).isAbsent()) << v.description();
  }
  const Value special = KivClassTransformValue(TvSpecialTag::kivClass()).decodeValue(kB);
  EXPECT_EQ(one.encodeValue(special), kB);  // a subclass encodes
  EXPECT_TRUE(one.encodeValue(Value(makeRef<TvOther>())).isAbsent());
  EXPECT_TRUE(one.encodeValue(kA).isAbsent());

  const KivClassArrayTransformValue many(TvTag::kivClass());
  const Array models = many.decodeValue(Array{kA, "skip", Dictionary::emptyDictionary(), kB}).asArray();
  ASSERT_EQ(models.count(), 2u);
  EXPECT_EQ(models[1].objectAs<TvTag>()->text(), Value("b"));
  EXPECT_EQ(many.decodeValue(Array::emptyArray()), Array::emptyArray());  // empty, not absent
  EXPECT_TRUE(many.decodeValue(kA).isAbsent());
  EXPECT_EQ(many.encodeValue(Array{models[0], "x", Value(makeRef<TvOther>()), special}), (Array{kA, kB}));
}

TEST(KivTransformValueTest, AdapterTransformersGoThroughTheClassOperationWithOppositeFilters) {
  const KivAdapterTansFormValue one(TvTag::kivClass());
  TvTag::built = 0;
  EXPECT_TRUE(one.decodeValue(Dictionary::emptyDictionary()).isAbsent());
  EXPECT_TRUE(one.decodeValue(Array::emptyArray()).isAbsent());
  EXPECT_TRUE(one.decodeValue("text").isAbsent());
  EXPECT_EQ(TvTag::built, 0);
  const Value a = one.decodeValue(kA);
  EXPECT_TRUE(one.decodeValue(Array{1}).isNull());
  EXPECT_EQ(TvTag::built, 2);
  EXPECT_EQ(one.encodeValue(a), kA);
  EXPECT_TRUE(KivAdapterTansFormValue(TvOther::kivClass()).decodeValue(kA).isAbsent());  // no class operation

  const KivAdapterArrayTansFormValue many(TvTag::kivClass());
  const Array models = many.decodeValue(Array{kA, Array{1}, "x", kB}).asArray();
  EXPECT_EQ(models.count(), 2u);                                 // decoding drops the null
  EXPECT_EQ(many.encodeValue(models), Array::emptyArray());      // encoding keeps only nulls
  EXPECT_TRUE(many.encodeValue(a).isAbsent());
}

TEST(KivTransformValueTest, DatesAreSecondsSince1970) {
  const KivDateTransformValue dates;
  EXPECT_EQ(dates.decodeValue(0), Value::date(0));
  EXPECT_EQ(dates.decodeValue("0"), Value::date(0));
  EXPECT_EQ(dates.decodeValue("no number"), Value::date(0));
  EXPECT_EQ(dates.decodeValue("1763712000.25xyz"), Value::date(1763712000.25));
  EXPECT_EQ(dates.decodeValue(1.5), Value::date(1.5));
  EXPECT_TRUE(dates.decodeValue(kA).isAbsent());
  EXPECT_TRUE(dates.decodeValue(Value::null()).isAbsent());
  EXPECT_EQ(dates.encodeValue(Value::date(1.5)).numberKind(), 'd');
  EXPECT_EQ(dates.encodeValue(Value::date(1.5)), Value(1.5));
  EXPECT_TRUE(dates.encodeValue("1.5").isAbsent());
  EXPECT_TRUE(KivTransformValue().decodeValue(kA).isAbsent());
  EXPECT_TRUE(KivTransformValue().encodeValue(kA).isAbsent());
}

}  // namespace
}  // namespace kiv
