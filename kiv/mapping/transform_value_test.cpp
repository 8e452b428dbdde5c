#include "kiv/mapping/transform_value.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "kiv/testing/mapping_models.hpp"

namespace kiv::testing {
namespace {

const Dictionary kA{{"name", "a"}};
const Dictionary kB{{"name", "b"}};

TEST(KivTransformValueTest, ClassTransformersDecodeDictionariesAndEncodeOnlyTheirClass) {
  const KivClassTransformValue one(Child::kivClass());
  const Value a = one.decodeValue(kA);
  ASSERT_EQ(classOf(a), &Child::kivClass());
  for (const Value& v : {Value("x"), Value(3), Value(Array{kA}), Value::null(), Value(Dictionary::emptyDictionary())}) {
    EXPECT_TRUE(one.decodeValue(v).isAbsent()) << v.description();
  }
  const Value sub = KivClassTransformValue(SubChild::kivClass()).decodeValue(kB);
  EXPECT_EQ(one.encodeValue(sub), kB);  // a subclass encodes
  const Value other(makeRef<Record>());
  EXPECT_TRUE(one.encodeValue(other).isAbsent());
  EXPECT_TRUE(one.encodeValue(kA).isAbsent());

  const KivClassArrayTransformValue many(Child::kivClass());
  const Array models = many.decodeValue(Array{kA, "skip", Dictionary::emptyDictionary(), kB}).asArray();
  ASSERT_EQ(models.count(), 2u);
  EXPECT_EQ(models[1].objectAs<Child>()->name(), Value("b"));
  EXPECT_EQ(many.decodeValue(Array::emptyArray()), Array::emptyArray());  // empty, not absent
  EXPECT_TRUE(many.decodeValue(kA).isAbsent());
  EXPECT_EQ(many.encodeValue(Array{models[0], "x", other, sub}), (Array{kA, kB}));
}

TEST(KivTransformValueTest, AdapterTransformersGoThroughTheClassOperationWithOppositeFilters) {
  const KivAdapterTansFormValue one(Child::kivClass());
  Child::built = 0;
  EXPECT_TRUE(one.decodeValue(Dictionary::emptyDictionary()).isAbsent());
  EXPECT_TRUE(one.decodeValue(Array::emptyArray()).isAbsent());
  EXPECT_TRUE(one.decodeValue("text").isAbsent());
  EXPECT_EQ(Child::built, 0);
  const Value a = one.decodeValue(kA);
  EXPECT_TRUE(one.decodeValue(Array{1}).isNull());
  EXPECT_EQ(Child::built, 2);
  EXPECT_EQ(one.encodeValue(a), kA);
  EXPECT_TRUE(KivAdapterTansFormValue(Record::kivClass()).decodeValue(kA).isAbsent());  // no class operation

  const KivAdapterArrayTansFormValue many(Child::kivClass());
  const Array models = many.decodeValue(Array{kA, Array{1}, "x", kB}).asArray();
  EXPECT_EQ(models.count(), 2u);                             // decoding drops the null
  EXPECT_EQ(many.encodeValue(models), Array::emptyArray());  // encoding keeps only nulls
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
  for (const Value& beyond : {Value("1e400"), Value("135696E3333E133u"), Value(HUGE_VAL), Value(-HUGE_VAL), Value(NAN)}) {
    EXPECT_TRUE(dates.decodeValue(beyond).isAbsent()) << beyond.description();
  }
  EXPECT_EQ(dates.encodeValue(Value::date(1.5)).numberKind(), 'd');
  EXPECT_EQ(dates.encodeValue(Value::date(1.5)), Value(1.5));
  EXPECT_TRUE(dates.encodeValue("1.5").isAbsent());
  EXPECT_TRUE(KivTransformValue().decodeValue(kA).isAbsent());
  EXPECT_TRUE(KivTransformValue().encodeValue(kA).isAbsent());
}

}  // namespace
}  // namespace kiv::testing
