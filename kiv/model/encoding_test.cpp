#include "kiv/model/encoding.hpp"

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(EncodingTest, FirstCharacterAfterQualifiersDecidesTheTypeCode) {
  const struct {
    const char* encoding;
    KivEncodingType type;
  } cases[] = {
      {"v", KivEncodingTypeVoid},        {"B", KivEncodingTypeBool},
      {"c", KivEncodingTypeInt8},        {"C", KivEncodingTypeUInt8},
      {"s", KivEncodingTypeInt16},       {"S", KivEncodingTypeUInt16},
      {"i", KivEncodingTypeInt32},       {"I", KivEncodingTypeUInt32},
      {"l", KivEncodingTypeInt32},       {"L", KivEncodingTypeUInt32},
      {"q", KivEncodingTypeInt64},       {"Q", KivEncodingTypeUInt64},
      {"f", KivEncodingTypeFloat},       {"d", KivEncodingTypeDouble},
      {"D", KivEncodingTypeLongDouble},  {"@", KivEncodingTypeObject},
      {"@\"String\"", KivEncodingTypeObject}, {"#", KivEncodingTypeClass},
      {":", KivEncodingTypeSEL},         {"@?", KivEncodingTypeBlock},
      {"^i", KivEncodingTypePointer},    {"{Point=dd}", KivEncodingTypeStruct},
      {"(U=if)", KivEncodingTypeUnion},  {"*", KivEncodingTypeCString},
      {"[4i]", KivEncodingTypeCArray},   {"b8", KivEncodingTypeUnknown},
      {"?", KivEncodingTypeUnknown},     {"x", KivEncodingTypeUnknown},
  };
  for (const auto& c : cases) EXPECT_EQ(KivEncodingGetType(c.encoding), c.type) << c.encoding;
}

TEST(EncodingTest, BlockIsExactlyAtQuestionMark) {
  EXPECT_EQ(KivEncodingGetType("@?"), KivEncodingTypeBlock);
  EXPECT_EQ(KivEncodingGetType("@?x"), KivEncodingTypeObject);
  EXPECT_EQ(KivEncodingGetType("r@?"), KivEncodingTypeQualifierConst | KivEncodingTypeBlock);
}

TEST(EncodingTest, QualifiersCollectInAnyOrderAndAloneGiveNoTypeCode) {
  EXPECT_EQ(KivEncodingGetType(static_cast<const char*>(nullptr)), 0u);
  EXPECT_EQ(KivEncodingGetType(""), 0u);
  EXPECT_EQ(KivEncodingGetType("r"), KivEncodingTypeQualifierConst);
  EXPECT_EQ(KivEncodingGetType("rn@"), 0x300u | KivEncodingTypeObject);
  EXPECT_EQ(KivEncodingGetType("VRONonr*"),
            0x7F00u | KivEncodingTypeCString);
  EXPECT_EQ(KivEncodingGetType("rrr"), KivEncodingTypeQualifierConst);
  // "R" leading an encoding is the byref qualifier, never a property bit.
  EXPECT_EQ(KivEncodingGetType("Rq") & KivEncodingTypePropertyMask, 0u);
}

}  // namespace
}  // namespace kiv
