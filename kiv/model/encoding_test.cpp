#include "kiv/model/encoding.hpp"

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(EncodingTest, QualifiersCollectAndTheFirstCharacterAfterThemDecidesTheTypeCode) {
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
      {":", KivEncodingTypeSEL},         {"^i", KivEncodingTypePointer},
      {"{Point=dd}", KivEncodingTypeStruct}, {"(U=if)", KivEncodingTypeUnion},
      {"*", KivEncodingTypeCString},     {"[4i]", KivEncodingTypeCArray},
      {"b8", KivEncodingTypeUnknown},    {"?", KivEncodingTypeUnknown},
      {"x", KivEncodingTypeUnknown},     {"", 0},
      // A block is exactly "@?".
      {"@?", KivEncodingTypeBlock},      {"@?x", KivEncodingTypeObject},
      {"r@?", KivEncodingTypeQualifierConst | KivEncodingTypeBlock},
      // Qualifiers in any order, repeated, or alone; "R" here is byref, never a property bit.
      {"r", KivEncodingTypeQualifierConst}, {"rrr", KivEncodingTypeQualifierConst},
      {"rn@", 0x300u | KivEncodingTypeObject}, {"VRONonr*", 0x7F00u | KivEncodingTypeCString},
      {"Rq", KivEncodingTypeQualifierByref | KivEncodingTypeInt64},
  };
  for (const auto& c : cases) EXPECT_EQ(KivEncodingGetType(c.encoding), c.type) << c.encoding;
  EXPECT_EQ(KivEncodingGetType(static_cast<const char*>(nullptr)), 0u);
}

}  // namespace
}  // namespace kiv
