#include "kiv/foundation/json.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

TEST(JSONReadTest, BuildsValuesOfTheRightKinds) {
  const Value v = parseJSON(
      R"({"i":-5,"big":9223372036854775808,"huge":123456789012345678901234567890,)"
      R"("f":2.5,"e":1e3,"t":true,"n":null,"s":"x\u00e9\u0000y","a":[],"o":{}})");
  const Dictionary d = v.asDictionary();
  ASSERT_TRUE(d);
  EXPECT_EQ(d["i"].numberKind(), 'q');
  EXPECT_EQ(d["big"].numberKind(), 'Q');
  EXPECT_EQ(d["big"].unsignedLongLongValue(), 9223372036854775808ULL);
  EXPECT_EQ(d["huge"].numberKind(), 'd');
  EXPECT_DOUBLE_EQ(d["huge"].doubleValue(), 1.2345678901234568e29);
  EXPECT_EQ(d["f"].numberKind(), 'd');
  EXPECT_EQ(d["e"].doubleValue(), 1000.0);
  EXPECT_TRUE(d["t"].isBoolean());
  EXPECT_TRUE(d["n"].isNull());
  EXPECT_EQ(d["s"].stringView(), std::string_view("x\xC3\xA9\0y", 5));
  EXPECT_TRUE(d["a"].isArray());
  EXPECT_TRUE(d["o"].isDictionary());
}

TEST(JSONReadTest, ContainersAreImmutableUnlessAskedFor) {
  const Value frozen = parseJSON(R"({"a":[1],"b":{},"c":[]})");
  EXPECT_FALSE(frozen.isMutable());
  EXPECT_FALSE(frozen.asDictionary()["a"].isMutable());
  EXPECT_TRUE(frozen.asDictionary()["c"].isIdenticalTo(Array::emptyArray()));

  const Value changeable = objectFromJSONString(R"({"a":[1],"b":{},"c":[]})");
  EXPECT_TRUE(changeable.isMutableDictionary());
  const Dictionary d = changeable.asDictionary();
  EXPECT_TRUE(d["a"].isMutableArray());
  EXPECT_TRUE(d["b"].isMutableDictionary());
  EXPECT_FALSE(d["b"].isIdenticalTo(objectFromJSONString("{\"b\":{}}").asDictionary()["b"]));
  EXPECT_EQ(objectFromJSONString("[1,2]"), (Array{1, 2}));
}

TEST(JSONReadTest, RepeatedKeysKeepTheirFirstPlaceAndLastValue) {
  const Dictionary small = parseJSON(R"({"a":1,"b":2,"a":3})").asDictionary();
  EXPECT_EQ(small.count(), 2u);
  EXPECT_EQ(small.allKeys(), (Array{"a", "b"}));
  EXPECT_EQ(small["a"].intValue(), 3);

  std::string text = "{";
  for (int i = 0; i < 20; ++i) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  text += "\"k3\":\"again\"}";
  const Dictionary large = parseJSON(text).asDictionary();
  EXPECT_EQ(large.count(), 20u);
  EXPECT_EQ(large["k3"].stringView(), "again");
  EXPECT_EQ(large.allKeys()[3].stringView(), "k3");
}

TEST(JSONReadTest, KeysAreTakenAsTheyStand) {
  const Dictionary d = parseJSON(R"({"":1,"a.b":2,"it's":3,"a long key that repeats":{"a long key that repeats":4}})")
                           .asDictionary();
  EXPECT_EQ(d[""].intValue(), 1);
  EXPECT_EQ(d["a.b"].intValue(), 2);
  EXPECT_EQ(d["it's"].intValue(), 3);
  const Value& inner = d["a long key that repeats"];
  EXPECT_EQ(inner.asDictionary()["a long key that repeats"].intValue(), 4);
}

TEST(JSONReadTest, BadInputIsAbsentAndSaysWhy) {
  const char* bad[] = {
      "",        "   ",        "[1,2",          "{\"a\":}",      "{\"a\" 1}",  "[1,]",
      "nul",     "[tru]",      "[01]",          "[1] [2]",       "[1] x",      "\"just a string\"",
      "42",      "null",       "[\"\\x\"]",     "[\"\\ud800\"]", "{1:2}",      "[\"a\tb\"]",
      "[1e]",    "[-]",        "[\"\xC3\x28\"]", "[\"\xFF\"]",   "[\"\xED\xA0\x80\"]",
  };
  for (const char* text : bad) {
    Error error;
    EXPECT_TRUE(parseJSON(text, JSONContainers::kImmutable, &error).isAbsent()) << text;
    EXPECT_EQ(error.domain, "KivJSON") << text;
    EXPECT_FALSE(error.message.empty()) << text;
    EXPECT_TRUE(objectFromJSONString(text).isAbsent()) << text;
  }
  EXPECT_TRUE(parseJSON(std::string_view("[\"a\0b\"]", 7)).isAbsent());  // a raw NUL byte
  EXPECT_TRUE(parseJSON(std::string_view("[1]\0", 4)).isAbsent());
  EXPECT_TRUE(parseJSON(" [1] \n").isPresent());
}

TEST(JSONReadTest, DeepNestingFailsWithoutExhaustingTheStack) {
  for (const char open : {'[', '{'}) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += open == '[' ? "[" : "{\"a\":";
    deep += "1";
    for (int i = 0; i < 100000; ++i) deep += open == '[' ? ']' : '}';
    Error error;
    EXPECT_TRUE(parseJSON(deep, JSONContainers::kImmutable, &error).isAbsent());
    EXPECT_FALSE(error.message.empty());
  }
  std::string allowed(kMaxJSONDepth - 1, '[');
  allowed += std::string(kMaxJSONDepth - 1, ']');
  EXPECT_TRUE(parseJSON(allowed).isArray());
  EXPECT_TRUE(parseJSON(std::string(kMaxJSONDepth, '[') + std::string(kMaxJSONDepth, ']')).isArray());
  const std::string oneTooDeep = std::string(kMaxJSONDepth + 1, '[') + std::string(kMaxJSONDepth + 1, ']');
  EXPECT_TRUE(parseJSON(oneTooDeep).isAbsent());
  EXPECT_TRUE(parseJSON(std::string(100000, '[')).isAbsent());  // truncated and deep
}

// Every finite double is written as text that reads back to the very same double, and stays a
// floating-point number when it is integral.
TEST(JSONNumberTest, EveryDoubleWritesAndReadsBackAsItself) {
  std::vector<double> doubles = {0.0,     -0.0,   0.1,    1.0 / 3,  5e-324, 2.2250738585072014e-308,
                                 1e21,    1e22,   1e300,  -1.5e-10, 3.0,    9007199254740993.0,
                                 123456789012345678.0, 9223372036854775807.0, 18446744073709551616.0,
                                 std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
  std::mt19937_64 random(7);
  while (doubles.size() < 20000) {
    const double d = std::bit_cast<double>(random());
    if (std::isfinite(d)) doubles.push_back(d);
  }
  for (const double d : doubles) {
    const String text = Array{d}.LxJSON2StringNilOptions();
    const Value back = parseJSON(text.view()).asArray()[0];
    ASSERT_EQ(back.numberKind(), 'd') << text.view();
    const double read = back.doubleValue();
    ASSERT_EQ(std::memcmp(&read, &d, sizeof d), 0) << text.view();  // -0.0 keeps its sign
  }
}

TEST(JSONNumberTest, LongNumbersReadAsTheNearestDouble) {
  const Array a = parseJSON("[123456789012345678.5, 9223372036854775807.0, 18446744073709551616.0, "
                            "100000000000000000000000000000000000000.5, 18446744073709551616, "
                            "-9223372036854775809, 1e19]")
                      .asArray();
  ASSERT_EQ(a.count(), 7u);
  const double expected[] = {123456789012345678.5, 9223372036854775807.0, 18446744073709551616.0, 1e38,
                             18446744073709551616.0, -9223372036854775809.0, 1e19};
  for (std::size_t i = 0; i < a.count(); ++i) {
    EXPECT_EQ(a[i].numberKind(), 'd') << i;
    EXPECT_EQ(a[i].doubleValue(), expected[i]) << i;
  }
  // The widest integers keep their kinds; long digit runs inside strings stay text.
  const Dictionary d = parseJSON(R"({"max":18446744073709551615,"min":-9223372036854775808,)"
                                 R"("s":"123456789012345678901234567890","n":[123456789012345678901234567890]})")
                           .asDictionary();
  EXPECT_EQ(d["max"].numberKind(), 'Q');
  EXPECT_EQ(d["min"].longLongValue(), std::numeric_limits<long long>::min());
  EXPECT_EQ(d["s"].stringView(), "123456789012345678901234567890");
  EXPECT_EQ(d["n"].asArray()[0].doubleValue(), 1.2345678901234568e29);
  for (const char* bad : {"[1e400]", "[0123456789012345678901234]", "[-123456789012345678901234567890x]",
                          "[123456789012345678901234567890.]", "[\"a\", 123456789012345678901234567890"}) {
    EXPECT_TRUE(parseJSON(bad).isAbsent()) << bad;
  }
}

TEST(JSONWriteTest, CompactAndIndentedText) {
  const Dictionary d{{"name", "Ann"}, {"tags", Array{1, 2.5, true, Value::null()}}, {"empty", Dictionary::emptyDictionary()}};
  EXPECT_EQ(d.LxJSON2StringNilOptions().str(), R"({"name":"Ann","tags":[1,2.5,true,null],"empty":{}})");
  EXPECT_EQ(d.LxJSON2String().str(),
            "{\n  \"name\" : \"Ann\",\n  \"tags\" : [\n    1,\n    2.5,\n    true,\n    null\n  ],\n"
            "  \"empty\" : {}\n}");
  EXPECT_EQ(Dictionary::emptyDictionary().LxJSON2StringNilOptions().str(), "{}");
  EXPECT_TRUE(Dictionary().LxJSON2StringNilOptions().isAbsent());  // absent, not empty
  EXPECT_EQ(MutableArray::array().LxJSON2String().str(), "[]");
}

TEST(JSONWriteTest, NumbersKeepTheirKindAndStringsAreEscaped) {
  EXPECT_EQ((Array{3.0, 0.1, 1e21, -0.0, 2.5f, 18446744073709551615ULL, static_cast<signed char>(1),
                   123456789012345678.0, 18446744073709551616.0})
                .LxJSON2StringNilOptions()
                .str(),
            "[3.0,0.1,1e+21,-0.0,2.5,18446744073709551615,1,123456789012345680.0,18446744073709551616.0]");
  const std::string tricky = "q\"b\\n\n\t\x01/\xC3\xA9 end of a long enough run";
  const String text = (Array{tricky}).LxJSON2StringNilOptions();
  EXPECT_EQ(text.str(), "[\"q\\\"b\\\\n\\n\\t\\u0001/\xC3\xA9 end of a long enough run\"]");
  EXPECT_EQ(parseJSON(text.view()).asArray()[0].stringView(), tricky);
  EXPECT_EQ((Array{std::string("a\0b", 3)}).LxJSON2StringNilOptions().str(), "[\"a\\u0000b\"]");
}

TEST(JSONWriteTest, StringsMustBeUTF8) {
  const char* valid[] = {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
                         "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E, and ASCII after"};
  for (const char* text : valid) {
    const String json = Array{text}.LxJSON2StringNilOptions();
    EXPECT_EQ(json.str(), "[\"" + std::string(text) + "\"]");
    EXPECT_EQ(parseJSON(json.view()).asArray()[0].stringView(), text);
  }
  const char* invalid[] = {"\x80",         "\xC0\x80",         "\xC1\xBF",         "\xC2",          "\xC2\x41",
                           "\xE0\x80\x80",   "\xE0\x9F\xBF",     "\xED\xA0\x80",     "\xE3\x81",      "\xF0\x80\x80\x80",
                           "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF0\x90\x80", "\xFE"};
  for (const char* bytes : invalid) {
    for (const std::string& text : {std::string(bytes), "long enough ASCII first " + std::string(bytes) + " and after"}) {
      EXPECT_EQ(Array{text}.LxJSON2StringNilOptions().str(), "[]") << text;
    }
  }
}

TEST(JSONWriteTest, ValuesWithoutJSONFormFailTheWholeWrite) {
  EXPECT_EQ((Array{Value::date(0)}).LxJSON2String().str(), "[]");
  EXPECT_EQ((Array{1, Array{Value::date(0)}}).LxJSON2StringNilOptions().str(), "[]");
  EXPECT_TRUE((Dictionary{{"d", Value::date(0)}}).LxJSON2String().isAbsent());
  EXPECT_TRUE((Dictionary{{"x", std::numeric_limits<double>::quiet_NaN()}}).LxJSON2StringNilOptions().isAbsent());
  EXPECT_TRUE((Dictionary{{"x", Value::data("a", 1)}}).LxJSON2StringNilOptions().isAbsent());
  EXPECT_TRUE((Dictionary{{"x", std::string("\xFF")}}).LxJSON2StringNilOptions().isAbsent());
  EXPECT_FALSE(isValidJSONObject(Value("top-level string")));
  EXPECT_TRUE(isValidJSONObject(Array::emptyArray()));
  std::string out = "keep";
  EXPECT_FALSE(writeJSON(Array{Value::date(0)}, out, false));
  EXPECT_EQ(out, "keep");
  Value deep = Array::emptyArray();
  for (int i = 0; i < kMaxJSONDepth + 5; ++i) deep = Array{deep};
  EXPECT_EQ(deep.asArray().LxJSON2StringNilOptions().str(), "[]");
}

// The writer writes exactly the nesting that the reader reads: kMaxJSONDepth containers, but no
// value inside the innermost of them.
TEST(JSONWriterTest, WritesWhatTheReaderReadsBackAtTheNestingLimit) {
  for (const Value& leaf : {Value(1), Value("text"), Value::null(), Value(Array::emptyArray())}) {
    Value deep = leaf.isArray() ? leaf : Array{leaf};  // kMaxJSONDepth containers in all
    for (int i = 1; i < kMaxJSONDepth; ++i) deep = Dictionary{{"k", deep}};
    std::string text;
    const bool written = writeJSON(deep, text, false);
    EXPECT_EQ(written, parseJSON(std::string(kMaxJSONDepth, '[') + (leaf.isArray() ? "" : "1") +
                                 std::string(kMaxJSONDepth, ']')).isPresent())
        << leaf.description();
    if (written) {
      EXPECT_EQ(parseJSON(text), deep) << leaf.description();
    }
  }
}

// Real documents survive a round trip through text unchanged.
TEST(JSONRoundTripTest, SharedDataFiles) {
  for (const char* name : {"twitter.json", "citm_catalog.json"}) {
    const auto path = testing::sharedDataFile(name);
    if (!path) GTEST_SKIP() << name << " is not beside the repository";
    const Value original = parseJSON(*testing::readFile(*path));
    ASSERT_TRUE(original.isDictionary()) << name;
    const String compact = original.asDictionary().LxJSON2StringNilOptions();
    const String pretty = original.asDictionary().LxJSON2String();
    EXPECT_EQ(parseJSON(compact.view()), original) << name;
    EXPECT_EQ(parseJSON(pretty.view()), original) << name;
    EXPECT_EQ(parseJSON(compact.view()).asDictionary().LxJSON2StringNilOptions().view(), compact.view());
  }
}

TEST(JSONRoundTripTest, SampleFeed) {
  const auto text = testing::readFile(testing::sampleDataFile("timeline.json"));
  ASSERT_TRUE(text);
  const Dictionary feed = parseJSON(*text).asDictionary();
  ASSERT_TRUE(feed);
  EXPECT_EQ(parseJSON(feed.LxJSON2StringNilOptions().view()), feed);
}

}  // namespace
}  // namespace kiv
