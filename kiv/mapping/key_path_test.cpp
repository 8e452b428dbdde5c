#include "kiv/mapping/key_path.hpp"

#include <gtest/gtest.h>

#include <string>

#include "kiv/foundation/json.hpp"

namespace kiv {
namespace {

MutableDictionary json(const char* text) { return objectFromJSONString(text).asMutableDictionary(); }

TEST(KeyPathReadTest, WalksNestedDictionariesAndStopsAtTheFirstObstacle) {
  const struct { const char* in; const char* path; Value found; } cases[] = {
      {R"({"a":null})", "a.b", Value::null()},  // a null met on the way is the result
      {R"({"a":"x"})", "a.b", Value()},
      {R"({"a":{"b":1}})", "a.b", 1},
      {R"({"a":{"b":null}})", "a.b", Value::null()},
      {R"({})", "a.b", Value()},
      {R"({"a":{"b":null}})", "a.b.c", Value::null()},
      {R"({"a.b":1})", "a", Value()},
      {R"({"a.b":1})", "a.b", Value()},  // dotted keys always split
      {R"({"list":[5]})", "list.0", Value()},
      {R"({"a":{"":{"b":2}}})", "a..b", 2},
      {R"({"a":{"":3}})", "a.", 3},
  };
  for (const auto& c : cases) EXPECT_EQ(kiv_valueForKey(json(c.in), c.path), c.found) << c.in << " " << c.path;
  EXPECT_TRUE(kiv_valueForKey(Dictionary(), "a.b").isAbsent());
}

TEST(KeyPathWriteTest, MergesDictionariesNeverChangesAKindAndChecksMiddleComponentsAtTheTopLevel) {
  const struct { const char* in; Value value; Value keyPath; const char* out; } cases[] = {
      {"{}", 1, "a.b.c", R"({"a":{"b":{"c":1}}})"},
      // The existence test for a middle component looks at the top level: without a top-level
      // "b" a nested "b" is replaced by a new dictionary; with one, the nested "b" is used as it is.
      {R"({"a":{"b":{"x":2}}})", 1, "a.b.c", R"({"a":{"b":{"c":1}}})"},
      {R"({"a":{"b":"text"}})", 1, "a.b.c", R"({"a":{"b":{"c":1}}})"},
      {R"({"a":{},"b":7})", 1, "a.b.c", R"({"a":{},"b":7})"},
      {R"({"a":{"b":"text"},"b":1})", 1, "a.b.c", R"({"a":{"b":"text"},"b":1})"},
      {R"({"a":"text"})", 1, "a.b", R"({"a":"text"})"},
      {R"({"a":null})", 1, "a.b", R"({"a":{"b":1}})"},
      {R"({"a":{"b":"text"}})", 5, "a.b", R"({"a":{"b":5}})"},  // no kind guard on the last component
      {R"({"a":{"x":1}})", Dictionary{{"y", 2}}, "a", R"({"a":{"x":1,"y":2}})"},
      {R"({"a":{"x":{"p":1}}})", Dictionary{{"x", Dictionary{{"q", 2}}}, {"n.m", 3}}, "a",
       R"({"a":{"x":{"p":1,"q":2},"n":{"m":3}}})"},
      {R"({"text":"old"})", 5, "text", R"({"text":"old"})"},
      {R"({"text":"old"})", "new", "text", R"({"text":"new"})"},
      {R"({"null":null})", 5, "null", R"({"null":null})"},
      {R"({"flag":false})", 1, "flag", R"({"flag":false})"},  // booleans are a kind of their own
      {R"({"flag":true})", false, "flag", R"({"flag":false})"},
      {R"({"count":1})", 2.5, "count", R"({"count":2.5})"},  // any number replaces a number
      {"{}", Value::null(), "a", R"({"a":null})"},
      {"{}", Value(), "a", "{}"},
      {"{}", 1, Value(3), "{}"},  // a key path that is not a string
  };
  for (const auto& c : cases) {
    const MutableDictionary d = json(c.in);
    kiv_setValue(d, c.value, c.keyPath);
    EXPECT_EQ(d, json(c.out)) << c.in << " " << c.keyPath.description() << " = " << c.value.description();
  }

  // A step into a dictionary that is not mutable leaves the receiver alone.
  const MutableDictionary frozen = MutableDictionary{{"a", Dictionary{{"b", MutableDictionary::dictionary()}}}};
  kiv_setValue(frozen, 1, "a.b.c");
  EXPECT_EQ(frozen, (Dictionary{{"a", Dictionary{{"b", Dictionary::emptyDictionary()}}}}));
  kiv_setValue(MutableDictionary(), 1, "a.b");  // an absent receiver
}

// Merging a dictionary into the entry that holds that very dictionary writes each of its pairs as
// they were when the write began, though the writes grow it.
TEST(KeyPathWriteTest, MergingADictionaryIntoItselfReadsItsPairsAsTheyWere) {
  const MutableDictionary inner = MutableDictionary::dictionary();
  for (int i = 0; i < 200; ++i) inner.setObject(i, "k" + std::to_string(i) + ".z");
  const MutableDictionary root{{"a", inner}};
  kiv_setValue(root, inner, "a");
  ASSERT_EQ(inner.count(), 400u);
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(kiv_valueForKey(inner, "k" + std::to_string(i) + ".z"), Value(i)) << i;
  }

  // A dictionary that holds itself merges into itself a bounded number of times.
  const MutableDictionary loop{{"n", 1}};
  loop.setObject(loop, "self");
  const MutableDictionary top{{"a", loop}};
  kiv_setValue(top, loop, "a");
  EXPECT_EQ(loop.count(), 2u);
  loop.removeObjectForKey("self");  // break the cycle
}

// The value written may be read from the receiver itself, from a dictionary that the write
// replaces on its way (the top level has no "b", so a fresh "a.b" is made).
TEST(KeyPathWriteTest, WritesAValueReadFromADictionaryThatTheWalkReplaces) {
  const MutableDictionary d = json(R"({"a": {"b": {"c": "a text longer than a short string"}}})");
  kiv_setValue(d, kiv_valueForKey(d, "a.b.c"), "a.b.c");
  EXPECT_EQ(d, json(R"({"a": {"b": {"c": "a text longer than a short string"}}})"));
}

}  // namespace
}  // namespace kiv
