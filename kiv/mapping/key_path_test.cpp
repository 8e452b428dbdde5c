#include "kiv/mapping/key_path.hpp"

#include <gtest/gtest.h>

#include "kiv/foundation/json.hpp"

namespace kiv {
namespace {

MutableDictionary json(const char* text) { return objectFromJSONString(text).asMutableDictionary(); }

TEST(KeyPathReadTest, WalksNestedDictionariesAndStopsAtTheFirstObstacle) {
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a":null})"), "a.b").isNull());
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a":"x"})"), "a.b").isAbsent());
  EXPECT_EQ(kiv_valueForKey(json(R"({"a":{"b":1}})"), "a.b").intValue(), 1);
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a":{"b":null}})"), "a.b").isNull());
  EXPECT_TRUE(kiv_valueForKey(json(R"({})"), "a.b").isAbsent());
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a":{"b":null}})"), "a.b.c").isNull());
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a.b":1})"), "a").isAbsent());
  EXPECT_TRUE(kiv_valueForKey(json(R"({"a.b":1})"), "a.b").isAbsent());  // dotted keys always split
  EXPECT_TRUE(kiv_valueForKey(json(R"({"list":[5]})"), "list.0").isAbsent());
  EXPECT_EQ(kiv_valueForKey(json(R"({"a":{"":{"b":2}}})"), "a..b").intValue(), 2);
  EXPECT_EQ(kiv_valueForKey(json(R"({"a":{"":3}})"), "a.").intValue(), 3);
  EXPECT_TRUE(kiv_valueForKey(Dictionary(), "a.b").isAbsent());
}

TEST(KeyPathWriteTest, DottedPathsCreateNestedDictionaries) {
  const MutableDictionary empty = json("{}");
  kiv_setValue(empty, 1, "a.b.c");
  EXPECT_EQ(empty, json(R"({"a":{"b":{"c":1}}})"));

  // The existence test for a middle component looks at the top level.
  const MutableDictionary nested = json(R"({"a":{"b":{"x":2}}})");
  kiv_setValue(nested, 1, "a.b.c");
  EXPECT_EQ(nested, json(R"({"a":{"b":{"c":1}}})"));

  const MutableDictionary topLevelB = json(R"({"a":{},"b":7})");
  kiv_setValue(topLevelB, 1, "a.b.c");
  EXPECT_EQ(topLevelB, json(R"({"a":{},"b":7})"));

  const MutableDictionary nullFirst = json(R"({"a":null})");
  kiv_setValue(nullFirst, 1, "a.b");
  EXPECT_EQ(nullFirst, json(R"({"a":{"b":1}})"));

  const MutableDictionary lastWins = json(R"({"a":{"b":"text"}})");
  kiv_setValue(lastWins, 5, "a.b");  // no kind guard on the last component of a path
  EXPECT_EQ(lastWins, json(R"({"a":{"b":5}})"));
}

TEST(KeyPathWriteTest, PlainKeysMergeDictionariesAndNeverChangeAKind) {
  const MutableDictionary merge = json(R"({"a":{"x":1}})");
  kiv_setValue(merge, Dictionary{{"y", 2}}, "a");
  EXPECT_EQ(merge, json(R"({"a":{"x":1,"y":2}})"));

  const MutableDictionary deep = json(R"({"a":{"x":{"p":1}}})");
  kiv_setValue(deep, Dictionary{{"x", Dictionary{{"q", 2}}}, {"n.m", 3}}, "a");
  EXPECT_EQ(deep, json(R"({"a":{"x":{"p":1,"q":2},"n":{"m":3}}})"));

  const MutableDictionary d = json(R"({"text":"old","null":null,"flag":true,"count":1})");
  kiv_setValue(d, 5, "text");
  kiv_setValue(d, "new", "text");
  kiv_setValue(d, 5, "null");
  kiv_setValue(d, 1, "flag");      // booleans are a kind of their own
  kiv_setValue(d, false, "flag");
  kiv_setValue(d, 2.5, "count");   // any number replaces a number
  EXPECT_EQ(d, json(R"({"text":"new","null":null,"flag":false,"count":2.5})"));
  EXPECT_TRUE(d["flag"].isBoolean());

  const MutableDictionary fresh = json("{}");
  kiv_setValue(fresh, Value::null(), "a");
  kiv_setValue(fresh, Value(), "b");
  kiv_setValue(fresh, 1, Value(3));  // a key path that is not a string
  EXPECT_EQ(fresh, json(R"({"a":null})"));
}

TEST(KeyPathWriteTest, StepsIntoThingsThatAreNotMutableDictionariesLeaveTheReceiverAlone) {
  const MutableDictionary frozenFirst = MutableDictionary{{"a", Dictionary{{"b", MutableDictionary::dictionary()}}}};
  kiv_setValue(frozenFirst, 1, "a.b.c");
  EXPECT_EQ(frozenFirst, (Dictionary{{"a", Dictionary{{"b", Dictionary::emptyDictionary()}}}}));

  const MutableDictionary stringFirst = json(R"({"a":"text"})");
  kiv_setValue(stringFirst, 1, "a.b");
  EXPECT_EQ(stringFirst, json(R"({"a":"text"})"));

  // The top level has a "b", so the walk reads the nested "b" as it is: a string.
  const MutableDictionary stringMiddle = json(R"({"a":{"b":"text"},"b":1})");
  kiv_setValue(stringMiddle, 1, "a.b.c");
  EXPECT_EQ(stringMiddle, json(R"({"a":{"b":"text"},"b":1})"));

  // Without a top-level "b", a nested "b" of another kind is replaced by a new dictionary.
  const MutableDictionary replaced = json(R"({"a":{"b":"text"}})");
  kiv_setValue(replaced, 1, "a.b.c");
  EXPECT_EQ(replaced, json(R"({"a":{"b":{"c":1}}})"));

  kiv_setValue(MutableDictionary(), 1, "a.b");  // an absent receiver
}

}  // namespace
}  // namespace kiv
