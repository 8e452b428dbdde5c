#include "kiv/model/property_info.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kiv/model/model_test_support.hpp"

namespace kiv {
namespace {

using testing::Kinds;
using testing::User;

std::string attributesOf(std::string_view name) {
  const Property* property = Kinds::kivClass().propertyNamed(name);
  return property ? property->attributes : "(no property)";
}

TEST(PropertyInfoTest, AttributeTextFollowsTheDeclaredTypeAndAccessors) {
  EXPECT_EQ(attributesOf("text"), "T@\"String\",C,N,V_text");
  EXPECT_EQ(attributesOf("i64"), "Tq,N,V_i64");
  EXPECT_EQ(attributesOf("total"), "Tq,R,N,V_total");
  EXPECT_EQ(attributesOf("on"), "TB,N,GisOn,V_on");
  EXPECT_EQ(attributesOf("score"), "Ti,N,SassignScore:,V_score");
  EXPECT_EQ(attributesOf("owner"), "T@\"User\",&,N,V_owner");
  EXPECT_EQ(attributesOf("titled"), "T@\"Titled\",&,N,V_titled");
  EXPECT_EQ(attributesOf("list"), "T@\"MutableArray\",&,N,V_list");
  EXPECT_EQ(attributesOf("any"), "T@,&,N,V_any");
  EXPECT_EQ(attributesOf("cname"), "Tr*,N,V_cname");
  EXPECT_EQ(attributesOf("pointer"), "T^i,N,V_pointer");
  EXPECT_EQ(attributesOf("point"), "T{?},N,V_point");
  EXPECT_EQ(attributesOf("both"), "T(?),N,V_both");
  EXPECT_EQ(attributesOf("triple"), "T[3i],N,V_triple");
  EXPECT_EQ(attributesOf("block"), "T@?,C,N,V_block");
  EXPECT_EQ(attributesOf("kind"), "T#,&,N,V_kind");
  EXPECT_EQ(attributesOf("action"), "T:,N,V_action");
  EXPECT_EQ(attributesOf("ld"), "TD,N,V_ld");
  EXPECT_EQ(attributesOf("level"), "TS,N,V_level");
  EXPECT_EQ(attributesOf("letter"), "Tc,N,V_letter");
  EXPECT_EQ(attributesOf("u64"), "TQ,N,V_u64");
}

// The bits of the type come from the attribute text (above) through the parser (below); these
// are the classes and selectors the descriptor resolves. Recording is tested with the models.
TEST(PropertyInfoTest, DescriptorsResolveClassesAndAccessorNames) {
  const PropertyDict& props = Kinds::kiv_classInfo().propDict();
  EXPECT_EQ(props.objectForKey("list")->cls(), &classOf<MutableArray>());
  EXPECT_EQ(props.objectForKey("owner")->cls(), &User::kivClass());
  EXPECT_EQ(props.objectForKey("total")->setter(), Selector::named("setTotal:"));  // read-only
  EXPECT_EQ(props.objectForKey("on")->getter(), Selector::named("isOn"));
  EXPECT_EQ(props.objectForKey("on")->setter(), Selector::named("setOn:"));
  EXPECT_EQ(props.objectForKey("score")->setter(), Selector::named("assignScore:"));
}

// Descriptors of hand-written attribute texts, as another declaration could produce them.
Ref<KivProPertyInfo> describe(const char* name, const char* attributes) {
  static std::vector<std::unique_ptr<Property>> keepAlive;
  keepAlive.push_back(std::make_unique<Property>(Property{name, attributes, nullptr, {}}));
  return makeRef<KivProPertyInfo>(*keepAlive.back(), User::kivClass());
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
