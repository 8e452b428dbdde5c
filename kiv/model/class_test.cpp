#include "kiv/model/class.hpp"

#include <gtest/gtest.h>

#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

class CtBase : public KivModel {
  KIV_MODEL(CtBase, KivModel)
  KIV_PROPERTY(String, name, setName)
};

class CtDerived : public CtBase {
  KIV_MODEL(CtDerived, CtBase)
};

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
                           "Dictionary", "MutableDictionary", "Null", "KivModel", "CtBase",
                           "CtOnlyDeclared", "KivClassMap"}) {
    const Class* cls = Class::named(name);
    ASSERT_NE(cls, nullptr) << name;
    EXPECT_EQ(cls->name(), name);
  }
  EXPECT_EQ(Class::named("string"), nullptr);
  EXPECT_EQ(Class::named("Date"), &classOf<Date>());

  kiv::testing::LogCapture log;
  static const auto* twin = new ModelClass("CtBase", KivModel::kivClass(), {}, nullptr,
                                           detail::ModelAccess::hooks<KivModel>());
  EXPECT_EQ(Class::named("CtBase"), &CtBase::kivClass());
  EXPECT_NE(twin, &CtBase::kivClass());
  EXPECT_TRUE(log.contains("another class is already named CtBase"));

  EXPECT_TRUE(classOf<MutableArray>().isSubclassOfClass(classOf<Array>()));
  EXPECT_FALSE(classOf<Array>().isSubclassOfClass(classOf<MutableArray>()));
  EXPECT_TRUE(classOf<MutableDictionary>().isSubclassOfClass(classOf<Dictionary>()));
  EXPECT_TRUE(CtDerived::kivClass().isSubclassOfClass(classOf<Object>()));
  EXPECT_TRUE(CtBase::kivClass().isSubclassOfClass(CtBase::kivClass()));
  EXPECT_FALSE(CtBase::kivClass().isSubclassOfClass(CtDerived::kivClass()));
  EXPECT_EQ(CtDerived::kivClass().modelSuperclass(), &CtBase::kivClass());
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
  EXPECT_EQ(classOf(Value(makeRef<CtDerived>())), &CtDerived::kivClass());
  EXPECT_EQ(classOf(Value(makeRef<Object>())), nullptr);
  EXPECT_TRUE(isKindOfClass(MutableArray{1}, classOf<Array>()));
  EXPECT_TRUE(isKindOfClass(Value(makeRef<CtDerived>()), CtBase::kivClass()));
  EXPECT_FALSE(isKindOfClass(Value(), classOf<Object>()));

  // Classes travel in Values themselves.
  const Value held(&CtBase::kivClass());
  EXPECT_EQ(ModelClass::fromValue(held), &CtBase::kivClass());
  EXPECT_EQ(ModelClass::fromValue(Value(&classOf<String>())), nullptr);
  EXPECT_EQ(Class::fromValue(Value("CtBase")), nullptr);
  EXPECT_EQ(held.description(), "CtBase");
}

TEST(ClassTest, NewInstancesAreEmptyValuesOrFreshModels) {
  EXPECT_EQ(classOf<String>().newInstance(), Value(""));
  EXPECT_TRUE(classOf<MutableArray>().newInstance().isMutableArray());
  EXPECT_FALSE(classOf<Array>().newInstance().isMutable());
  EXPECT_TRUE(Class::named("Null")->newInstance().isNull());
  EXPECT_TRUE(KivClassMap::kivClass().newInstance().isAbsent());

  EXPECT_EQ(classOf(CtDerived::kivClass().newInstance()), &CtDerived::kivClass());
  const Ref<KivModel> made = CtBase::kivClass().create();
  ASSERT_TRUE(made);
  EXPECT_EQ(&made->modelClass(), &CtBase::kivClass());
  EXPECT_FALSE(CtAbstract::kivClass().create());
}

}  // namespace
}  // namespace kiv
