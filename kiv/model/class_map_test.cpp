#include "kiv/model/class_map.hpp"

#include <gtest/gtest.h>

#include "kiv/model/model_test_support.hpp"

namespace kiv {
namespace {

using testing::User;

class CmAppMap : public KivClassMap {
  KIV_CLASS_MAP(CmAppMap, KivClassMap)
 public:
  static std::int64_t kiv_Version() { return 3; }
  static const ModelClass* classMap(std::int64_t type) {
    return type == 3 ? &User::kivClass() : nullptr;
  }
  static Array modelsDependOnModel(const ModelClass&) {
    return Array{Value(&User::kivClass()), "not a class"};
  }
  static bool kiv_keepsDataOnSchemaChange(const ModelClass& cls) { return &cls == &User::kivClass(); }
};

// Inherits classMap from CmAppMap and replaces only what it declares.
class CmNextMap : public CmAppMap {
  KIV_CLASS_MAP(CmNextMap, CmAppMap)
 public:
  static double kiv_clearTimeInterval() { return 60; }
  static Array classMaps(const Array&) { return Array{"replaced"}; }
};

TEST(ClassMapTest, BaseClassAnswersTheDefaults) {
  const ClassMapClass& base = KivClassMap::kivClass();
  EXPECT_EQ(base.kiv_Version(), 1);
  EXPECT_EQ(base.kiv_clearTimeInterval(), 2592000.0);
  EXPECT_EQ(base.classMap(3), nullptr);
  EXPECT_TRUE(base.classMaps(Array{1, 2, 3}).empty());
  EXPECT_TRUE(base.modelsDependOnModel(User::kivClass()).isAbsent());
  EXPECT_TRUE(base.clearTableforClass(User::kivClass()).isAbsent());
  EXPECT_FALSE(base.kiv_keepsDataOnSchemaChange(User::kivClass()));
  EXPECT_FALSE(base.kiv_keepsDataOnVersionChange());

  // A fresh, empty, mutable array on every call.
  const Array first = base.oldTabels();
  ASSERT_TRUE(first.isMutableArray());
  EXPECT_TRUE(first.empty());
  first.asMutableArray().addObject("kiv_old");
  EXPECT_TRUE(base.oldTabels().empty());
}

TEST(ClassMapTest, ClassMapsAsksTheRegisteredClassForEachType) {
  const ClassMapClass& app = CmAppMap::kivClass();
  EXPECT_EQ(app.kiv_Version(), 3);
  EXPECT_EQ(app.kiv_clearTimeInterval(), 2592000.0);
  const Array classes = app.classMaps(Array{3, 99, "3", 3.7});
  ASSERT_EQ(classes.count(), 3u);  // duplicates kept, unknown types skipped, in order
  for (const Value& cls : classes) EXPECT_EQ(ModelClass::fromValue(cls), &User::kivClass());
  EXPECT_EQ(app.modelsDependOnModel(User::kivClass()).count(), 2u);

  const ClassMapClass& next = CmNextMap::kivClass();
  EXPECT_EQ(next.kiv_Version(), 3);
  EXPECT_EQ(next.kiv_clearTimeInterval(), 60.0);
  EXPECT_EQ(next.classMap(3), &User::kivClass());
  EXPECT_EQ(next.classMaps(Array{3}), Array{"replaced"});
  EXPECT_TRUE(next.kiv_keepsDataOnSchemaChange(User::kivClass()));
  EXPECT_FALSE(next.kiv_keepsDataOnSchemaChange(KivModel::kivClass()));
  EXPECT_FALSE(next.kiv_keepsDataOnVersionChange());
}

TEST(ClassMapTest, ApplicationClassMapsAreRecognisedByTheirRecord) {
  const Value registered(&CmNextMap::kivClass());
  const ClassMapClass* map = ClassMapClass::fromValue(registered);
  ASSERT_NE(map, nullptr);
  EXPECT_TRUE(map->isSubclassOfClass(KivClassMap::kivClass()));
  EXPECT_TRUE(map->isSubclassOfClass(CmAppMap::kivClass()));
  EXPECT_EQ(Class::named("CmNextMap"), map);
  EXPECT_EQ(ClassMapClass::fromValue(Value(&User::kivClass())), nullptr);
  EXPECT_FALSE(User::kivClass().isSubclassOfClass(KivClassMap::kivClass()));
}

}  // namespace
}  // namespace kiv
