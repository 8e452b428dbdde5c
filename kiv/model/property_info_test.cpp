#include "kiv/model/property_info.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kiv/model/model.hpp"

namespace kiv {
namespace {

// An object known by its interface only: no class record of that name exists.
class PiTitled : public Object {};

class PiUser : public KivModel {
  KIV_MODEL(PiUser, KivModel)
  KIV_PROPERTY(String, name, setName)
};

struct PiPoint {
  double x, y;
};
union PiUnion {
  int i;
  float f;
};
enum class PiLevel : std::uint16_t { kLow, kHigh };
using PiTriple = std::array<int, 3>;

class PiAll : public KivModel {
  KIV_MODEL(PiAll, KivModel)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(std::int64_t, count, setCount)
  KIV_READONLY_PROPERTY(std::int64_t, total)
  KIV_PROPERTY_ACCESSORS(bool, on, isOn, setOn)
  KIV_PROPERTY_ACCESSORS(int, score, score, assignScore)
  KIV_PROPERTY(Ref<PiUser>, owner, setOwner)
  KIV_PROPERTY(Ref<PiTitled>, titled, setTitled)
  KIV_PROPERTY(MutableArray, items, setItems)
  KIV_PROPERTY(Value, any, setAny)
  KIV_PROPERTY(const char*, cname, setCname)
  KIV_PROPERTY(int*, pointer, setPointer)
  KIV_PROPERTY(PiPoint, point, setPoint)
  KIV_PROPERTY(PiUnion, both, setBoth)
  KIV_PROPERTY(PiTriple, triple, setTriple)
  KIV_PROPERTY(std::function<void()>, block, setBlock)
  KIV_PROPERTY(const Class*, kind, setKind)
  KIV_PROPERTY(Selector, action, setAction)
  KIV_PROPERTY(long double, wide, setWide)
  KIV_PROPERTY(PiLevel, level, setLevel)
  KIV_PROPERTY(char, letter, setLetter)
  KIV_PROPERTY(unsigned long, big, setBig)
};

std::string attributesOf(std::string_view name) {
  const Property* property = PiAll::kivClass().propertyNamed(name);
  return property ? property->attributes : "(no property)";
}

TEST(PropertyInfoTest, AttributeTextFollowsTheDeclaredTypeAndAccessors) {
  EXPECT_EQ(attributesOf("title"), "T@\"String\",C,N,V_title");
  EXPECT_EQ(attributesOf("count"), "Tq,N,V_count");
  EXPECT_EQ(attributesOf("total"), "Tq,R,N,V_total");
  EXPECT_EQ(attributesOf("on"), "TB,N,GisOn,V_on");
  EXPECT_EQ(attributesOf("score"), "Ti,N,SassignScore:,V_score");
  EXPECT_EQ(attributesOf("owner"), "T@\"PiUser\",&,N,V_owner");
  EXPECT_EQ(attributesOf("titled"), "T@\"PiTitled\",&,N,V_titled");
  EXPECT_EQ(attributesOf("items"), "T@\"MutableArray\",&,N,V_items");
  EXPECT_EQ(attributesOf("any"), "T@,&,N,V_any");
  EXPECT_EQ(attributesOf("cname"), "Tr*,N,V_cname");
  EXPECT_EQ(attributesOf("pointer"), "T^i,N,V_pointer");
  EXPECT_EQ(attributesOf("point"), "T{?},N,V_point");
  EXPECT_EQ(attributesOf("both"), "T(?),N,V_both");
  EXPECT_EQ(attributesOf("triple"), "T[3i],N,V_triple");
  EXPECT_EQ(attributesOf("block"), "T@?,C,N,V_block");
  EXPECT_EQ(attributesOf("kind"), "T#,&,N,V_kind");
  EXPECT_EQ(attributesOf("action"), "T:,N,V_action");
  EXPECT_EQ(attributesOf("wide"), "TD,N,V_wide");
  EXPECT_EQ(attributesOf("level"), "TS,N,V_level");
  EXPECT_EQ(attributesOf("letter"), "Tc,N,V_letter");
  EXPECT_EQ(attributesOf("big"), "TQ,N,V_big");
}

TEST(PropertyInfoTest, DeclaredPropertiesResolveClassesAndRouteDefaultSetters) {
  const PropertyDict& props = PiAll::kiv_classInfo().propDict();
  EXPECT_EQ(props.objectForKey("items")->cls(), &classOf<MutableArray>());
  EXPECT_EQ(props.objectForKey("owner")->cls(), &PiUser::kivClass());
  // Unknown names (an interface), plain objects and non-objects have no class.
  for (const char* name : {"titled", "any", "count", "kind", "block", "point"}) {
    EXPECT_EQ(props.objectForKey(name)->cls(), nullptr) << name;
  }
  EXPECT_EQ(props.objectForKey("cname")->type() & 0xFFFF,
            KivEncodingTypeQualifierConst | KivEncodingTypeCString);

  const KivProPertyInfo& title = *props.objectForKey("title");
  EXPECT_EQ(title.type(), KivEncodingTypeObject | KivEncodingTypePropertyCopy |
                              KivEncodingTypePropertyNonatomic);
  EXPECT_EQ(title.cls(), &classOf<String>());
  EXPECT_EQ(title.setter(), Selector::named("setTitle:"));
  ASSERT_NE(title.emptyImp(), nullptr);
  EXPECT_TRUE(title.emptyImp()->isArmed());
  EXPECT_NE(title.setterImp(), nullptr);

  const KivProPertyInfo& total = *props.objectForKey("total");  // read-only
  EXPECT_EQ(total.type(), KivEncodingTypeInt64 | KivEncodingTypePropertyReadonly |
                              KivEncodingTypePropertyNonatomic);
  EXPECT_EQ(total.setter(), Selector::named("setTotal:"));
  EXPECT_EQ(total.setterImp(), nullptr);

  const KivProPertyInfo& on = *props.objectForKey("on");
  EXPECT_EQ(on.getter(), Selector::named("isOn"));
  EXPECT_EQ(on.setter(), Selector::named("setOn:"));
  EXPECT_NE(on.emptyImp(), nullptr);

  const KivProPertyInfo& score = *props.objectForKey("score");
  EXPECT_EQ(score.setter(), Selector::named("assignScore:"));
  EXPECT_EQ(score.emptyImp(), nullptr);
  EXPECT_EQ(score.setterImp(), nullptr);
}

// Descriptors of hand-written attribute texts, as another declaration could produce them.
Ref<KivProPertyInfo> describe(const char* name, const char* attributes) {
  static std::vector<std::unique_ptr<Property>> keepAlive;
  keepAlive.push_back(std::make_unique<Property>(Property{name, attributes, nullptr, {}}));
  return makeRef<KivProPertyInfo>(*keepAlive.back(), PiUser::kivClass());
}

TEST(PropertyInfoTest, AttributeListSetsBitsSelectorsAndClass) {
  const auto all = describe("x", "T@,R,C,&,N,W,D,V_x");
  EXPECT_EQ(all->type(), KivEncodingTypeObject | KivEncodingTypePropertyReadonly |
                            KivEncodingTypePropertyCopy | KivEncodingTypePropertyRetain |
                            KivEncodingTypePropertyNonatomic | KivEncodingTypePropertyWeak |
                            KivEncodingTypePropertyDynamic);
  EXPECT_EQ(all->cls(), nullptr);  // a plain "@" is too short to name a class
  EXPECT_EQ(all->setter(), Selector::named("setX:"));

  EXPECT_EQ(describe("p", "T@\"String<Proto>\",&,N,V_p")->cls(), nullptr);
  // A comma inside the quoted name does not split the list.
  EXPECT_EQ(describe("box", "T@\"Box<int, 2>\",&,N,V_box")->type(),
            KivEncodingTypeObject | KivEncodingTypePropertyRetain |
                KivEncodingTypePropertyNonatomic);
  // The type attribute starts the code afresh: bits gathered before it are dropped.
  EXPECT_EQ(describe("y", "N,Tq")->type(), KivEncodingTypeInt64);

  const auto nothing = describe(nullptr, "");
  EXPECT_EQ(nothing->type(), 0u);
  EXPECT_TRUE(nothing->name().isAbsent());
  EXPECT_FALSE(nothing->getter());
  EXPECT_FALSE(nothing->setter());
}

}  // namespace
}  // namespace kiv
