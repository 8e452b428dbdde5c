#include "kiv/foundation/value.hpp"

#include <gtest/gtest.h>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"

namespace kiv {
namespace {

TEST(ValueTest, Smoke) {
  Value v = objectFromJSONString(R"({"a":[1,2.5,"x",null,true],"b":{"c":"long string value here"}})");
  ASSERT_TRUE(v.isDictionary());
  EXPECT_EQ(v.asDictionary().LxJSON2StringNilOptions().str(),
            R"({"a":[1,2.5,"x",null,true],"b":{"c":"long string value here"}})");
}

}  // namespace
}  // namespace kiv
