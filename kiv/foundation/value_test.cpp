#include "kiv/foundation/value.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/string.hpp"

namespace kiv {
namespace {

TEST(ValueTest, CopiesShareHeapPayloadsAndInlineStringsStopAtFourteenBytes) {
  EXPECT_EQ(sizeof(Value), 16u);
  const Value longText(std::string_view("fifteen bytes!!"));
  const Value copy = longText;  // NOLINT: the copy is the point
  EXPECT_TRUE(copy.isIdenticalTo(longText));
  EXPECT_EQ(copy.stringView(), "fifteen bytes!!");

  const Value fourteen(std::string_view("fourteen bytes"));
  EXPECT_EQ(fourteen.stringView().size(), 14u);
  EXPECT_EQ(fourteen.stringView(), "fourteen bytes");

  const std::string withNul("a\0b", 3);
  EXPECT_EQ(Value(withNul).stringView(), withNul);
  EXPECT_EQ(Value(std::string(40, 'x') + std::string(1, '\0')).stringView().size(), 41u);

  Value moved = std::move(copy);
  EXPECT_EQ(moved.stringView(), "fifteen bytes!!");
}

TEST(ValueTest, AbsentAndNullAreDistinct) {
  const Value absent;
  const Value null = Value::null();
  EXPECT_TRUE(absent.isAbsent());
  EXPECT_FALSE(absent.isNull());
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(null.isPresent());
  EXPECT_TRUE(absent.isNothing() && null.isNothing());
  EXPECT_FALSE(absent == null);
  EXPECT_EQ(Value(static_cast<const char*>(nullptr)).kind(), Kind::kAbsent);
}

TEST(ValueTest, NumbersRememberTheirKindCharacter) {
  EXPECT_EQ(Value(true).numberKind(), 'B');
  EXPECT_EQ(Value(static_cast<signed char>(1)).numberKind(), 'c');
  EXPECT_EQ(Value(static_cast<unsigned char>(1)).numberKind(), 'C');
  EXPECT_EQ(Value(static_cast<short>(1)).numberKind(), 's');
  EXPECT_EQ(Value(static_cast<unsigned short>(1)).numberKind(), 'S');
  EXPECT_EQ(Value(1).numberKind(), 'i');
  EXPECT_EQ(Value(1u).numberKind(), 'I');
  EXPECT_EQ(Value(1L).numberKind(), 'q');
  EXPECT_EQ(Value(1LL).numberKind(), 'q');
  EXPECT_EQ(Value(1UL).numberKind(), 'Q');
  EXPECT_EQ(Value(1.0f).numberKind(), 'f');
  EXPECT_EQ(Value(1.0).numberKind(), 'd');
  EXPECT_EQ(Value::numberOfKind('S', std::int64_t{70000}).unsignedShortValue(), 70000 - 65536);
  EXPECT_EQ(Value::numberOfKind('x', std::int64_t{5}).numberKind(), 'q');
}

TEST(ValueTest, NumberAccessorsUseMachineConversionsWithoutUndefinedBehaviour) {
  EXPECT_EQ(Value(300).charValue(), 44);  // wrap-around
  EXPECT_EQ(Value(-1).unsignedIntValue(), 4294967295u);
  EXPECT_EQ(Value(-1.9).intValue(), -1);  // truncation toward zero
  EXPECT_EQ(Value(2.9).longLongValue(), 2);
  EXPECT_EQ(Value(1e30).longValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value(-1e30).longLongValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
  EXPECT_EQ(Value(1e30).unsignedLongLongValue(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Value(18446744073709551615ULL).longLongValue(), -1);
  EXPECT_DOUBLE_EQ(Value(18446744073709551615ULL).doubleValue(), 18446744073709551615.0);
  EXPECT_TRUE(Value(0.5).boolValue());
  EXPECT_FALSE(Value(0.0).boolValue());
  EXPECT_EQ(Value(true).intValue(), 1);
  EXPECT_FLOAT_EQ(Value(1.5).floatValue(), 1.5f);
}

TEST(ValueTest, NullReadsAsTheNumberZero) {
  const Value null = Value::null();
  EXPECT_EQ(null.intValue(), 0);
  EXPECT_FALSE(null.boolValue());
  EXPECT_EQ(null.doubleValue(), 0.0);
  EXPECT_EQ(null.stringValue().str(), "0");
  EXPECT_EQ(null.stringNumber().numberKind(), 'i');
  EXPECT_EQ(null.stringNumber().intValue(), 0);
  EXPECT_TRUE(null.isEqualToNumber(Value(0)));
  EXPECT_FALSE(null.isEqualToNumber(Value(1)));
}

TEST(ValueTest, StringsSplitBetweenTheirOwnScanningAndTheWholeStringParser) {
  const Value s42("42");
  EXPECT_EQ(s42.longValue(), 42);
  EXPECT_EQ(s42.unsignedIntValue(), 42u);
  EXPECT_EQ(s42.intValue(), 42);
  EXPECT_TRUE(s42.stringValue().isIdenticalTo(s42));
  EXPECT_TRUE(s42.isEqualToNumber(Value(42)));

  const Value prefixed("42abc");
  EXPECT_EQ(prefixed.intValue(), 42);           // scanning
  EXPECT_EQ(prefixed.longLongValue(), 42);      // scanning
  EXPECT_EQ(prefixed.longValue(), 0);           // whole-string parser
  EXPECT_EQ(prefixed.unsignedCharValue(), 0);   // whole-string parser
  EXPECT_TRUE(prefixed.stringNumber().isAbsent());
  EXPECT_FALSE(prefixed.isEqualToNumber(Value(42)));

  const Value empty("");
  EXPECT_EQ(empty.intValue(), 0);
  EXPECT_EQ(empty.longValue(), 0);
  EXPECT_EQ(empty.doubleValue(), 0.0);
  EXPECT_FALSE(empty.boolValue());
  EXPECT_TRUE(empty.stringNumber().isAbsent());

  EXPECT_EQ(Value(" 7").intValue(), 7);
  EXPECT_EQ(Value(" 7").longValue(), 0);  // the parser takes no blanks
  EXPECT_EQ(Value("abc").intValue(), 0);
  EXPECT_EQ(Value("-12").shortValue(), -12);
  EXPECT_EQ(Value("-1").unsignedIntValue(), 4294967295u);
  EXPECT_EQ(Value("1.9").longValue(), 1);
  EXPECT_EQ(Value("99999999999").intValue(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(Value("-99999999999999999999").longLongValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Value("18446744073709551615").unsignedLongLongValue(), 18446744073709551615ULL);
  EXPECT_DOUBLE_EQ(Value("  1.5e3x").doubleValue(), 1500.0);
  EXPECT_DOUBLE_EQ(Value("-.5").doubleValue(), -0.5);
  EXPECT_DOUBLE_EQ(Value("1e999").doubleValue(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(Value("inf").doubleValue(), 0.0);
  EXPECT_EQ(Value("1e5").stringNumber().doubleValue(), 100000.0);
  EXPECT_EQ(Value("9223372036854775808").stringNumber().numberKind(), 'Q');
  EXPECT_EQ(Value("99999999999999999999").stringNumber().numberKind(), 'd');
}

TEST(ValueTest, StringBoolValueLooksAtTheFirstNonBlankCharacter) {
  for (const char* yes : {"Yes", "y", "True", "t", " 9", "1abc"}) EXPECT_TRUE(Value(yes).boolValue()) << yes;
  for (const char* no : {"No", "false", "0", "", "   ", "-1", "abc"}) EXPECT_FALSE(Value(no).boolValue()) << no;
}

TEST(ValueTest, NumbersAnswerStringOperationsOnTheirText) {
  const Value five(5);
  EXPECT_TRUE(five.respondsToStringOperations());
  EXPECT_EQ(five.length(), 1u);
  EXPECT_TRUE(five.isEqualToString("5"));
  EXPECT_TRUE(Value(1.5).hasPrefix("1."));
  EXPECT_EQ(Value("Straße").length(), 6u);    // UTF-16 units, not bytes
  EXPECT_EQ(Value("\xF0\x9F\x98\x80").length(), 2u);  // one emoji, a surrogate pair
  EXPECT_EQ(Value("MiXeD").lowercaseString().str(), "mixed");
  EXPECT_FALSE(Value::date(0).respondsToStringOperations());
  EXPECT_EQ(Value::date(0).length(), 0u);
  EXPECT_TRUE(Value::date(0).lowercaseString().isAbsent());
}

TEST(ValueTest, KindsWithoutNumericAccessorsReadAsZero) {
  const Array array{Value(1)};
  EXPECT_EQ(array.intValue(), 0);
  EXPECT_TRUE(array.stringValue().isAbsent());
  EXPECT_TRUE(array.stringNumber().isAbsent());
  EXPECT_EQ(Value::date(5).doubleValue(), 0.0);
  EXPECT_EQ(Value().intValue(), 0);
}

TEST(ValueTest, EqualityFollowsKindsAndNumericValue) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_EQ(Value(true), Value(1));
  EXPECT_NE(Value(1), Value(1.5));
  EXPECT_NE(Value("1"), Value(1));
  EXPECT_EQ(Value(-1), Value(-1LL));
  EXPECT_NE(Value(-1), Value(18446744073709551615ULL));  // same bits, different numbers
  EXPECT_EQ(Value(4294967296.0), Value(4294967296LL));
  EXPECT_EQ(Value::date(1.5), Value::date(1.5));
  EXPECT_NE(Value::date(1.5), Value(1.5));
  EXPECT_EQ(Data("ab", 2), Data("ab", 2));
  EXPECT_EQ((Array{1, "x"}), (Array{1.0, "x"}));
  EXPECT_NE((Array{1, "x"}), (Array{"x", 1}));
  EXPECT_EQ((Dictionary{{"a", 1}, {"b", 2}}), (Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_NE((Dictionary{{"a", 1}}), (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(Value::null(), Value::null());
}

TEST(ValueTest, EqualValuesHashAlike) {
  EXPECT_EQ(Value(1).hash(), Value(1.0).hash());
  EXPECT_EQ(Value(true).hash(), Value(1ULL).hash());
  EXPECT_EQ(Value(std::string(20, 'k')).hash(), Value(std::string(20, 'k')).hash());
  EXPECT_EQ((Dictionary{{"a", 1}, {"b", 2}}).hash(), (Dictionary{{"b", 2}, {"a", 1}}).hash());
  EXPECT_NE(Value("42").hash(), Value(42).hash());
}

TEST(ValueTest, DescriptionIsThePercentAtTextOfEveryKind) {
  EXPECT_EQ(Value(12).description(), "12");
  EXPECT_EQ(Value(1.5).description(), "1.5");
  EXPECT_EQ(Value(3.0).description(), "3");
  EXPECT_EQ(Value(0.1f).description(), "0.1");
  EXPECT_EQ(Value(true).description(), "1");
  EXPECT_EQ(Value(18446744073709551615ULL).description(), "18446744073709551615");
  EXPECT_EQ(Value::null().description(), "<null>");
  EXPECT_EQ(Value().description(), "(null)");
  EXPECT_EQ(Value("text").description(), "text");
  EXPECT_EQ(Value::date(978307200.75).description(), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(Value::data("\x01\x02\xab\xcd\xef", 5).description(), "<0102abcd ef>");
  EXPECT_EQ((Array{1, "two words"}).description(), "(\n    1,\n    \"two words\"\n)");
  EXPECT_EQ((Dictionary{{"a", Array::emptyArray()}, {"b", Value::null()}}).description(),
            "{\n    a = (\n    );\n    b = <null>;\n}");
}

TEST(ValueTest, TypedViewsAreAbsentForOtherKinds) {
  const Value s("x");
  EXPECT_TRUE(s.asString().isPresent());
  EXPECT_TRUE(s.asNumber().isAbsent());
  EXPECT_TRUE(s.asDictionary().isAbsent());
  EXPECT_TRUE(Value(1).asNumber().isPresent());
  EXPECT_TRUE(Date::dateWithTimeIntervalSince1970(3).asDate().isPresent());
  EXPECT_EQ(Date::dateWithTimeIntervalSince1970(3).timeIntervalSince1970(), 3.0);
  EXPECT_TRUE((Array{1}).asMutableArray().isAbsent());
  EXPECT_TRUE((MutableArray{1}).asArray().isPresent());
  EXPECT_TRUE(String::emptyString().isNotEmpty() == false);
  EXPECT_TRUE(Value(" ").isNotEmpty());
  EXPECT_FALSE(Value(3).isNotEmpty());
  EXPECT_FALSE(Value().isNotEmpty());
}

class Counted : public Object {
 public:
  explicit Counted(int* destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  std::string description() const override { return "<Counted>"; }

 private:
  int* destroyed_;
};

// A pointer is not a boolean. Text makes a string and an object pointer makes a Value when asked
// explicitly; every other pointer, and an implicit object pointer, does not compile (so that
// dict.setObject(model.get(), key) cannot store `true`).
static_assert(std::is_convertible_v<const char*, Value> && std::is_constructible_v<Value, const Counted*>);
static_assert(!std::is_convertible_v<Counted*, Value> && !std::is_constructible_v<Value, const Value*>);
static_assert(!std::is_constructible_v<Value, int*> && !std::is_constructible_v<Value, void (*)()>);
static_assert(!std::is_constructible_v<Value, int Counted::*>);
template <class T>
concept StorableInDictionary = requires(const MutableDictionary& d, const T& object) { d.setObject(object, "k"); };
static_assert(StorableInDictionary<Ref<Counted>> && StorableInDictionary<bool>);
static_assert(!StorableInDictionary<Counted*> && !StorableInDictionary<const Value*>);

TEST(ValueTest, ModelValuesKeepTheirObjectAlive) {
  int destroyed = 0;
  {
    Value holder;
    {
      const Ref<Counted> object = makeRef<Counted>(&destroyed);
      holder = Value(object);
      EXPECT_EQ(object->retainCount(), 2u);
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_TRUE(holder.isModel());
    EXPECT_EQ(holder.description(), "<Counted>");
    EXPECT_TRUE(holder.objectAs<Counted>());
    EXPECT_EQ(holder, holder.objectRef());
  }
  EXPECT_EQ(destroyed, 1);
  EXPECT_TRUE(Value(Ref<Counted>()).isAbsent());
}

TEST(ValueTest, StrictEqualityAsksTheKindsToAgree) {
  EXPECT_TRUE(Value(true) == Value(1));
  EXPECT_FALSE(Value(true).strictEquals(Value(1)));
  EXPECT_TRUE(Value(1) == Value(1.0));
  EXPECT_FALSE(Value(1).strictEquals(Value(1.0)));
  EXPECT_TRUE(Value(1).strictEquals(Value(static_cast<long long>(1))));
  EXPECT_TRUE(Value(1.5f).strictEquals(Value(1.5)));
  EXPECT_FALSE(Value("1").strictEquals(Value(1)));
  EXPECT_TRUE((Array{1, "a"}).strictEquals(Array{1, "a"}));
  EXPECT_FALSE((Array{1, "a"}).strictEquals(Array{1.0, "a"}));
  EXPECT_TRUE((Dictionary{{"k", true}}).strictEquals(Dictionary{{"k", true}}));
  EXPECT_FALSE((Dictionary{{"k", true}}).strictEquals(Dictionary{{"k", 1}}));
  EXPECT_TRUE(Value::null().strictEquals(Value::null()));
}

}  // namespace
}  // namespace kiv
