#include "kiv/foundation/dictionary.hpp"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace kiv {
namespace {

std::vector<std::string> keysOf(const Dictionary& d) {
  std::vector<std::string> keys;
  for (const DictionaryEntry& e : d) keys.push_back(e.key.str());
  return keys;
}

TEST(DictionaryTest, KeepsInsertionOrderThroughReplaceAndRemove) {
  const MutableDictionary d = MutableDictionary::dictionary();
  d.setObject(1, "zeta");
  d.setObject(2, "alpha");
  d.setObject(3, "mid");
  d.setObject(4, "zeta");  // replacing keeps the place
  EXPECT_EQ(keysOf(d), (std::vector<std::string>{"zeta", "alpha", "mid"}));
  EXPECT_EQ(d["zeta"].intValue(), 4);
  d.removeObjectForKey("alpha");
  EXPECT_EQ(keysOf(d), (std::vector<std::string>{"zeta", "mid"}));
  d.setObject(Value(), "mid");  // absent values are not stored
  EXPECT_EQ(d["mid"].intValue(), 3);
  EXPECT_EQ((Dictionary{{"b", 1}, {"a", 2}, {"b", 3}}).count(), 2u);
  EXPECT_EQ(keysOf(Dictionary{{"b", 1}, {"a", 2}, {"b", 3}}), (std::vector<std::string>{"b", "a"}));
  EXPECT_EQ((Dictionary{{"b", 1}, {"a", 2}, {"b", 3}})["b"].intValue(), 3);
}

// The hash index must agree with a plain map through every kind of change, on both sides of
// the size where it starts to be used.
TEST(DictionaryTest, LookupsAgreeWithAReferenceMapThroughRandomChanges) {
  std::mt19937 random(7);
  const MutableDictionary d = MutableDictionary::dictionary();
  std::map<std::string, int> reference;
  for (int step = 0; step < 5000; ++step) {
    const std::string key = "key-number-" + std::to_string(random() % 60);
    switch (random() % 5) {
      case 0:
        d.removeObjectForKey(key);
        reference.erase(key);
        break;
      case 1:
        if (random() % 50 == 0) {
          d.removeAllObjects();
          reference.clear();
        }
        break;
      default:
        d.setObject(step, key);
        reference[key] = step;
    }
    ASSERT_EQ(d.count(), reference.size());
    const std::string probe = "key-number-" + std::to_string(random() % 60);
    const auto it = reference.find(probe);
    ASSERT_EQ(d[probe].isPresent(), it != reference.end()) << probe;
    if (it != reference.end()) {
      ASSERT_EQ(d[probe].intValue(), it->second);
    }
  }
}

TEST(DictionaryTest, MutableDictionariesAreSharedAndCopiesAreNot) {
  const MutableDictionary d{{"a", 1}};
  const Value alias = d;
  d.setObject(2, "b");
  EXPECT_EQ(alias.asDictionary().count(), 2u);

  const Dictionary frozen = d.copy();
  const MutableDictionary other = d.mutableCopy();
  d.setObject(3, "c");
  EXPECT_EQ(frozen.count(), 2u);
  EXPECT_EQ(other.count(), 2u);
  EXPECT_FALSE(frozen.isMutable());
  EXPECT_TRUE(frozen.asMutableDictionary().isAbsent());

  d.addEntriesFromDictionary(d);  // with itself: nothing changes, nothing breaks
  EXPECT_EQ(d.count(), 3u);
  d.removeObjectsForKeys(Array{"a", 5, "c"});
  EXPECT_EQ(keysOf(d), (std::vector<std::string>{"b"}));
}

TEST(DictionaryTest, AbsentDictionariesIgnoreChangesAndReadAsEmpty) {
  const MutableDictionary absent;
  absent.setObject(1, "a");
  absent.removeAllObjects();
  EXPECT_EQ(absent.count(), 0u);
  EXPECT_TRUE(absent["a"].isAbsent());
  EXPECT_EQ(absent.begin(), absent.end());
  EXPECT_TRUE(absent.copy().isAbsent());
  EXPECT_TRUE(Dictionary::lookup(Value(5), "a").isAbsent());
}

TEST(DictionaryTest, KeysAndValuesComeInOrder) {
  const Dictionary d{{"x", 1}, {"y", "two"}};
  EXPECT_EQ(d.allKeys(), (Array{"x", "y"}));
  EXPECT_EQ(d.allValues(), (Array{1, "two"}));
  EXPECT_TRUE(Dictionary::emptyDictionary().isPresent());
  EXPECT_EQ(Dictionary::emptyDictionary().count(), 0u);
}

TEST(ArrayTest, ChangesOfMutableArrays) {
  const MutableArray a = MutableArray::array();
  for (int i = 0; i < 10; ++i) a.addObject(i);  // grows beyond its first block
  a.addObject(Value());                         // absent is never an element
  EXPECT_EQ(a.count(), 10u);
  a.insertObject("first", 0);
  a.insertObject("last", 1000);
  a.removeObjectAtIndex(1);
  a.replaceObjectAtIndex(1, "one");
  a.removeLastObject();
  EXPECT_EQ(a, (Array{"first", "one", 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_TRUE(a[99].isAbsent());
  EXPECT_TRUE(a.containsObject(9.0));
  a.addObjectsFromArray(a);
  EXPECT_EQ(a.count(), 20u);
  a.removeAllObjects();
  EXPECT_TRUE(a.empty());
  EXPECT_EQ((Array{1, Value(), 2}).count(), 2u);
}

TEST(ArrayTest, LowerSetSkipsOtherKinds) {
  EXPECT_EQ((Array{"Name", "NAME", 3}).lowerSet(), (std::set<std::string>{"name"}));
  EXPECT_TRUE(Array::emptyArray().lowerSet().empty());
  EXPECT_TRUE(Array().lowerSet().empty());
}

}  // namespace
}  // namespace kiv
