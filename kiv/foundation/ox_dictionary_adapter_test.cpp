// The two getter families: dictionaries answer laxly, everything else through the general rules.
#include "kiv/foundation/ox_dictionary_adapter.hpp"

#include <gtest/gtest.h>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/memory_cache.hpp"

namespace kiv {
namespace {

// A row-like accessor over a dictionary, as the collection layer's rows are.
class Row : public OxDictionaryAccessor {
 public:
  explicit Row(Dictionary d) : d_(std::move(d)) {}

 protected:
  Value accessorObjectForKey(std::string_view key) const override { return d_[key]; }
  void accessorSetObject(const Value& value, std::string_view key) override {
    d_ = d_.mutableCopy();
    d_.asMutableDictionary().setObject(value, key);
  }

 private:
  Dictionary d_;
};

TEST(OxGettersTest, DictionariesReturnStoredNullsAndSkipKindChecks) {
  const Dictionary d{{"null", Value::null()}, {"big", 5000000000LL}, {"three", 3}, {"text", "12abc"}};
  EXPECT_TRUE(d.objectForKey("null", "default").isNull());
  EXPECT_EQ(d.objectForKey("missing", "default").stringView(), "default");
  EXPECT_EQ(d.integerForKey("big", 0), 705032704);  // 32-bit cut, then widened
  EXPECT_EQ(d.integerForKey("null", 9), 0);         // the null's intValue
  EXPECT_EQ(d.stringForKey("three", "default"), Value(3));
  EXPECT_TRUE(d.stringForKey("missing").isAbsent());
  EXPECT_EQ(d.boolForKey("missing"), false);
  EXPECT_DOUBLE_EQ(d.doubleForKey("text"), 12.0);

  // The names only the general family has still use its null and kind rules on a dictionary.
  EXPECT_EQ(d.intForKey("null", 9), 9);
  EXPECT_EQ(d.intForKey("text", 9), 12);
  EXPECT_EQ(d.longLongValueForKey("text", 9), 12);
  EXPECT_EQ(d.unsignedIntegerForKey("text", 9), 0u);  // whole-string parse of "12abc" fails
  EXPECT_EQ(d.numberForKey("text", "default").stringView(), "default");
  EXPECT_EQ(d.numberForKey("big", Value()), Value(5000000000LL));

  // Through the adapter with a dictionary receiver, the dictionary's own rules answer.
  EXPECT_TRUE(OxDictionaryAdapter::objectForKey(Value(d), "null", 7).isNull());
  EXPECT_EQ(OxDictionaryAdapter::stringForKey(Value(d), "three", 7), Value(3));
}

TEST(OxGettersTest, RowsAndCachesUseTheGeneralRules) {
  Row row(Dictionary{{"null", Value::null()}, {"three", 3}, {"text", "12abc"}, {"list", Array{1}}});
  EXPECT_EQ(row.objectForKey("null", 7), Value(7));
  EXPECT_EQ(row.stringForKey("three", "default").stringView(), "default");
  EXPECT_EQ(row.stringForKey("three", 5), Value(5));  // a default of another kind is returned as it is
  EXPECT_EQ(row.intForKey("text", 0), 12);
  EXPECT_EQ(row.integerForKey("list", 4), 4);  // arrays have no numeric accessors
  EXPECT_EQ(row.arrayForKey("list"), (Array{1}));
  EXPECT_TRUE(row.dateForKey("three").isAbsent());

  MemoryCache cache;
  cache.setObject(Value::null(), Value("null"));
  cache.setObject(8, Value("eight"));
  EXPECT_EQ(OxDictionaryAdapter::objectForKey(cache, "null", 7), Value(7));
  EXPECT_EQ(OxDictionaryAdapter::intForKey(cache, "eight", 0), 8);
}

TEST(OxGettersTest, OtherReceiversAnswerAbsentNotTheDefault) {
  EXPECT_TRUE(OxDictionaryAdapter::objectForKey(Value("a string"), "k", 7).isAbsent());
  EXPECT_TRUE(OxDictionaryAdapter::objectForKey(Value::null(), "k", 7).isAbsent());
  EXPECT_EQ(OxDictionaryAdapter::stringForKey(Value::null(), "k", 7), Value(7));
  EXPECT_EQ(OxDictionaryAdapter::intForKey(Value(5), "k", 3), 3);
}

TEST(OxGettersTest, SettersStoreOnlyPresentValuesIntoWritableReceivers) {
  const MutableDictionary d = MutableDictionary::dictionary();
  d.setObjectSafe(Value::null(), "a");
  d.setObjectSafe(Value(), "a");
  EXPECT_EQ(d.count(), 0u);
  d.setInt(-1, "int");
  d.setBool(true, "bool");
  d.setFloat(1.5f, "float");
  d.setLongLongValue(1LL << 40, "long");
  EXPECT_EQ(d["int"].numberKind(), 'i');
  EXPECT_TRUE(d["bool"].isBoolean());
  EXPECT_EQ(d["float"].numberKind(), 'f');
  EXPECT_EQ(d["long"].longLongValue(), 1LL << 40);

  const Dictionary frozen{{"a", 1}};
  OxDictionaryAdapter::setObjectSafe(Value(frozen), 2, "b");
  EXPECT_EQ(frozen.count(), 1u);
  OxDictionaryAdapter::setObjectSafe(Value("string receiver"), 2, "b");  // ignored, no crash

  Row row(Dictionary::emptyDictionary());
  row.setObjectSafe(3, "x");
  EXPECT_EQ(row.intForKey("x", 0), 3);
}

TEST(OxGettersTest, LockFormsLockOnlyTheirOwnCopy) {
  SpinLock lock;
  lock.lock();  // held by the caller: the copies passed below are fresh, so nothing blocks
  const MutableDictionary d{{"a", Value::null()}, {"b", 2}, {"c", 3}};
  EXPECT_TRUE(OxDictionaryAdapter::objectforKeyThreadSafety(Value(d), "a", lock, 9).isNull());
  OxDictionaryAdapter::setObjectThreadSafety(Value(d), 4, "d", lock);
  OxDictionaryAdapter::removeObjectThreadSafetyForKey(Value(d), "a", lock);
  OxDictionaryAdapter::removeObjectsThreadSafetyForKeys(Value(d), Array{"b"}, lock);
  EXPECT_EQ(d.allKeys(), (Array{"c", "d"}));
  Row row(Dictionary{{"k", 1}});
  OxDictionaryAdapter::removeAllObjectThreadSafety(row, lock);  // not a dictionary: untouched
  EXPECT_EQ(row.intForKey("k", 0), 1);
  OxDictionaryAdapter::removeAllObjectThreadSafety(Value(d), lock);
  EXPECT_EQ(d.count(), 0u);
  lock.unlock();
}

}  // namespace
}  // namespace kiv
