#include "kiv/model/class.hpp"

#include <gtest/gtest.h>

#include "kiv/model/class_map.hpp"
#include "kiv/model/model_test_support.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::Featured;
using testing::Item;

// Never used in code: found by name only because models register before main().
class CtOnlyDeclared : public KivModel {
  KIV_MODEL(CtOnlyDeclared, KivModel)
};

class CtAbstract : public KivModel {
  KIV_MODEL(CtAbstract, KivModel)
 public:
  virtual void mustOverride() = 0;
};

TEST(ClassTest, LooksUpEveryKindOfClassByNameAndFollowsSuperclasses) {
  for (const char* name : {"Object", "String", "Number", "Date", "Data", "Array", "MutableArray",
                           "Dictionary", "MutableDictionary", "Null", "KivModel", "Item",
                           "CtOnlyDeclared", "KivClassMap"}) {
    const Class* cls = Class::named(name);
    ASSERT_NE(cls, nullptr) << name;
    EXPECT_EQ(cls->name(), name);
  }
  EXPECT_EQ(Class::named("string"), nullptr);
  EXPECT_EQ(Class::named("Date"), &classOf<Date>());

  EXPECT_TRUE(classOf<MutableArray>().isSubclassOfClass(classOf<Array>()));
  EXPECT_FALSE(classOf<Array>().isSubclassOfClass(classOf<MutableArray>()));
  EXPECT_TRUE(classOf<MutableDictionary>().isSubclassOfClass(classOf<Dictionary>()));
  EXPECT_TRUE(Featured::kivClass().isSubclassOfClass(classOf<Object>()));
  EXPECT_TRUE(Item::kivClass().isSubclassOfClass(Item::kivClass()));
  EXPECT_FALSE(Item::kivClass().isSubclassOfClass(Featured::kivClass()));
  EXPECT_EQ(Featured::kivClass().modelSuperclass(), &Item::kivClass());
  EXPECT_EQ(KivModel::kivClass().modelSuperclass(), nullptr);
}

TEST(ClassTest, ClassOfAValueIsItsKindOrItsModelClass) {
  EXPECT_EQ(classOf(Value()), nullptr);
  EXPECT_EQ(classOf(Value::null())->name(), "Null");
  EXPECT_EQ(classOf(Value(true)), &classOf<Number>());
  EXPECT_EQ(classOf(Value("a long string over fourteen bytes")), &classOf<String>());
  EXPECT_EQ(classOf(Value::date(0)), &classOf<Date>());
  EXPECT_EQ(classOf(Value::data("ab", 2)), &classOf<Data>());
  EXPECT_EQ(classOf(Array{1, 2}), &classOf<Array>());
  EXPECT_EQ(classOf(MutableArray{1}), &classOf<MutableArray>());
  EXPECT_EQ(classOf(Dictionary{{"a", 1}}), &classOf<Dictionary>());
  EXPECT_EQ(classOf(MutableDictionary::dictionary()), &classOf<MutableDictionary>());
  EXPECT_EQ(classOf(Value(makeRef<Featured>())), &Featured::kivClass());
  EXPECT_EQ(classOf(Value(makeRef<Object>())), nullptr);
  EXPECT_TRUE(isKindOfClass(MutableArray{1}, classOf<Array>()));
  EXPECT_TRUE(isKindOfClass(Value(makeRef<Featured>()), Item::kivClass()));
  EXPECT_FALSE(isKindOfClass(Value(), classOf<Object>()));

  // Classes travel in Values themselves.
  const Value held(&Item::kivClass());
  EXPECT_EQ(ModelClass::fromValue(held), &Item::kivClass());
  EXPECT_EQ(ModelClass::fromValue(Value(&classOf<String>())), nullptr);
  EXPECT_EQ(Class::fromValue(Value("Item")), nullptr);
  EXPECT_EQ(held.description(), "Item");
}

TEST(ClassTest, NewInstancesAreEmptyValuesOrFreshModels) {
  EXPECT_EQ(classOf<String>().newInstance(), Value(""));
  EXPECT_TRUE(classOf<MutableArray>().newInstance().isMutableArray());
  EXPECT_FALSE(classOf<Array>().newInstance().isMutable());
  EXPECT_TRUE(Class::named("Null")->newInstance().isNull());
  EXPECT_TRUE(KivClassMap::kivClass().newInstance().isAbsent());

  EXPECT_EQ(classOf(Featured::kivClass().newInstance()), &Featured::kivClass());
  const Ref<KivModel> made = Item::kivClass().create();
  ASSERT_TRUE(made);
  EXPECT_EQ(&made->modelClass(), &Item::kivClass());
  EXPECT_FALSE(CtAbstract::kivClass().create());
}

}  // namespace
}  // namespace kiv
