#include "kiv/model/class_info.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "kiv/model/model.hpp"

namespace kiv {
namespace {

class CiFirst : public KivModel {
  KIV_MODEL(CiFirst, KivModel)
  KIV_PROPERTY(int, b, setB)
  KIV_PROPERTY(int, a, setA)
  KIV_PROPERTY(int, C, setC)
};

class CiSecond : public CiFirst {
  KIV_MODEL(CiSecond, CiFirst)
  KIV_PROPERTY(String, e, setE)
  KIV_PROPERTY(String, d, setD)
  KIV_READONLY_PROPERTY(std::int64_t, count)
};

class CiEmpty : public CiSecond {
  KIV_MODEL(CiEmpty, CiSecond)
};

class CiLast : public CiEmpty {
  KIV_MODEL(CiLast, CiEmpty)
  KIV_PROPERTY(double, f, setF)
};

std::int64_t mergeIdx(const KivClassInfo& info, std::string_view name) {
  const KivProPertyInfo* property = info.propDict().objectForKey(name);
  return property ? property->mergeIdx() : -100;
}

TEST(ClassInfoTest, MergeIndexesFollowNameByteOrderAndContinueDownTheChain) {
  const KivClassInfo& first = CiFirst::kiv_classInfo();
  EXPECT_EQ(mergeIdx(first, "C"), 0);  // upper case sorts before lower case
  EXPECT_EQ(mergeIdx(first, "a"), 1);
  EXPECT_EQ(mergeIdx(first, "b"), 2);

  const KivClassInfo& second = CiSecond::kiv_classInfo();
  EXPECT_EQ(second.propDict().count(), 3u);  // inherited properties are not its own
  EXPECT_EQ(mergeIdx(second, "count"), 3);
  EXPECT_EQ(mergeIdx(second, "d"), 4);
  EXPECT_EQ(mergeIdx(second, "e"), 5);
  EXPECT_EQ(second.scls(), &CiFirst::kivClass());

  const KivClassInfo& empty = CiEmpty::kiv_classInfo();
  EXPECT_EQ(empty.propDict().count(), 0u);
  EXPECT_EQ(empty.setSelDict().count(), 0u);
  EXPECT_EQ(mergeIdx(CiLast::kiv_classInfo(), "f"), 6);  // the empty level counts nothing
}

TEST(ClassInfoTest, PropDictKeepsDeclarationOrderAndSetSelDictKeysBySetter) {
  const KivClassInfo& first = CiFirst::kiv_classInfo();
  std::vector<std::string> names;
  for (const auto& [name, info] : first.propDict()) names.emplace_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"b", "a", "C"}));

  EXPECT_EQ(first.setSelDict().objectForKey(Selector::named("setC:")),
            first.propDict().objectForKey("C"));
  EXPECT_EQ(first.setSelDict().objectForKey(Selector::named("setc:")), nullptr);

  // A read-only property has no setter method but still a setter selector.
  const KivClassInfo& second = CiSecond::kiv_classInfo();
  EXPECT_EQ(second.setSelDict().objectForKey(Selector::named("setCount:")),
            second.propDict().objectForKey("count"));
  EXPECT_EQ(second.setSelDict().count(), 3u);
}

TEST(ClassInfoTest, EnumerationStopsWhenAskedAndSkipsKivModel) {
  std::vector<std::string> seen;
  KivClassInfo::enumeratePropertiesUsingBlock(
      [&](const Property& property, bool& stop) {
        seen.emplace_back(property.name);
        stop = seen.size() == 2;
      },
      CiFirst::kivClass());
  EXPECT_EQ(seen, (std::vector<std::string>{"b", "a"}));

  EXPECT_EQ(KivClassInfo::propCountWithClass(CiFirst::kivClass()), 3);
  EXPECT_EQ(KivClassInfo::propCountWithClass(CiEmpty::kivClass()), 0);
  EXPECT_EQ(KivClassInfo::propCountWithClass(KivModel::kivClass()), 0);
}

// Three levels of 50, 50 and 40 properties: 140 along the chain.
#define CI_TEN(p, P, d)                                                                   \
  KIV_PROPERTY(int, p##d##0, set##P##d##0) KIV_PROPERTY(int, p##d##1, set##P##d##1)       \
  KIV_PROPERTY(int, p##d##2, set##P##d##2) KIV_PROPERTY(int, p##d##3, set##P##d##3)       \
  KIV_PROPERTY(int, p##d##4, set##P##d##4) KIV_PROPERTY(int, p##d##5, set##P##d##5)       \
  KIV_PROPERTY(int, p##d##6, set##P##d##6) KIV_PROPERTY(int, p##d##7, set##P##d##7)       \
  KIV_PROPERTY(int, p##d##8, set##P##d##8) KIV_PROPERTY(int, p##d##9, set##P##d##9)

class CiWideA : public KivModel {
  KIV_MODEL(CiWideA, KivModel)
  CI_TEN(a, A, 0) CI_TEN(a, A, 1) CI_TEN(a, A, 2) CI_TEN(a, A, 3) CI_TEN(a, A, 4)
};
class CiWideB : public CiWideA {
  KIV_MODEL(CiWideB, CiWideA)
  CI_TEN(b, B, 0) CI_TEN(b, B, 1) CI_TEN(b, B, 2) CI_TEN(b, B, 3) CI_TEN(b, B, 4)
};
class CiWideC : public CiWideB {
  KIV_MODEL(CiWideC, CiWideB)
  CI_TEN(c, C, 0) CI_TEN(c, C, 1) CI_TEN(c, C, 2) CI_TEN(c, C, 3)
};

TEST(ClassInfoTest, LongChainsNumberDenselyAndShareBitsFrom128On) {
  std::set<std::int64_t> indexes;
  for (const ModelClass* level :
       {&CiWideC::kivClass(), &CiWideB::kivClass(), &CiWideA::kivClass()}) {
    for (const auto& [name, info] : level->kiv_classInfo().propDict()) {
      indexes.insert(info->mergeIdx());
    }
  }
  ASSERT_EQ(indexes.size(), 140u);
  EXPECT_EQ(*indexes.begin(), 0);
  EXPECT_EQ(*indexes.rbegin(), 139);
  EXPECT_EQ(mergeIdx(CiWideB::kiv_classInfo(), "b20"), 70);
  EXPECT_EQ(mergeIdx(CiWideC::kiv_classInfo(), "c35"), 135);

  auto model = makeRef<CiWideC>();
  model->setB20(1);
  EXPECT_EQ(model->kivFlag().flag1(), 0u);
  EXPECT_EQ(model->kivFlag().flag2(), 1u << 6);

  // Index 135 uses bit 7 of flag2, which index 71 (b21) uses too.
  model->setC35(2);
  EXPECT_TRUE(model->kivFlag().needMergeAt(71));
  const KivProPertyInfo& b21 = *CiWideB::kiv_classInfo().propDict().objectForKey("b21");
  EXPECT_EQ(model->kiv_valueForInfo(b21), Value(0));
}

}  // namespace
}  // namespace kiv
