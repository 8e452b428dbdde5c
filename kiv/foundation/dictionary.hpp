// Dictionary and MutableDictionary: Values that are absent or a map from string keys to Values.
//
// Like every Value, a default Dictionary is absent, and so is `Dictionary{}` (empty braces choose
// the default constructor): Dictionary::emptyDictionary(), MutableDictionary::dictionary() or
// Dictionary{{"a", 1}} make dictionaries.
//
// Mutable containers are handles with reference semantics, like pointers: their changing
// operations are const, as they change the shared dictionary and not the handle.
//
// Dictionaries keep insertion order: iteration, JSON text and the column lists of generated SQL
// follow the order in which keys were first set. Replacing the value of a key keeps its place;
// removing a key closes the gap. Lookups use a hash index once a dictionary has more than a few
// entries. A MutableDictionary is shared by reference: every Value holding it sees its changes.
// Operations on an absent dictionary do nothing and read as empty. Values are never absent:
// setting absent does nothing.
#ifndef KIV_FOUNDATION_DICTIONARY_HPP_
#define KIV_FOUNDATION_DICTIONARY_HPP_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {

class MutableDictionary;

class Dictionary : public Value {
 public:
  // A key and its value, as the constructors take them.
  using Pair = std::pair<std::string_view, Value>;

  // Absent.
  Dictionary() = default;
  // An immutable dictionary of the pairs, in order; absent values are left out and a repeated key
  // keeps its first place and its last value.
  Dictionary(std::initializer_list<Pair> pairs);
  // The one shared empty immutable dictionary.
  static const Dictionary& emptyDictionary();

  // The number of entries; 0 for an absent dictionary.
  std::size_t count() const noexcept { return entries() ? entries()->size() : 0; }
  // Whether there are no entries (an absent dictionary has none).
  bool empty() const noexcept { return count() == 0; }
  // The value under the key, or absent. References stay valid while the dictionary lives and is
  // not changed.
  const Value& objectForKey(std::string_view key) const noexcept;
  // objectForKey(key).
  const Value& operator[](std::string_view key) const noexcept { return objectForKey(key); }
  // The value under the key when `dictionary` is a dictionary, else absent; for walks over
  // Values that may or may not be dictionaries, without copying them.
  static const Value& lookup(const Value& dictionary, std::string_view key) noexcept;
  // The position of the key among the entries (begin()[position]), or -1, given the key's
  // keyHash(): for callers that look the same key up in many dictionaries.
  static std::ptrdiff_t positionOf(const Value& dictionary, std::string_view key, std::uint64_t hash) noexcept;
  // The hash of a key that positionOf() takes; the same for a key in every dictionary.
  static std::uint64_t keyHash(std::string_view key) noexcept;
  // Whether the key has an entry.
  bool containsKey(std::string_view key) const noexcept { return objectForKey(key).isPresent(); }
  // Entries in insertion order, for range-for loops; both nullptr for an absent dictionary. They
  // stay valid while the dictionary lives and is not changed.

  const DictionaryEntry* begin() const noexcept { return entries() ? entries()->data() : nullptr; }
  const DictionaryEntry* end() const noexcept {
    return entries() ? entries()->data() + entries()->size() : nullptr;
  }
  // The keys (strings) in insertion order, as a new immutable array; empty when absent.
  Array allKeys() const;
  // The values in the order of their keys, as a new immutable array; empty when absent.
  Array allValues() const;

  // A shallow copy, immutable or mutable: the copy shares the values but not the entries, so a
  // later change to either dictionary does not show in the other. Absent for an absent dictionary.

  Dictionary copy() const;
  MutableDictionary mutableCopy() const;

  // The dictionary as indented JSON text; absent (not "{}") when it is not a valid JSON object (a
  // value that is a date, data, a model or a non-finite number, anywhere inside) or cannot be
  // written.
  String LxJSON2String() const;
  // The same in compact form.
  String LxJSON2StringNilOptions() const;

  // --- Typed getters of dictionaries ----------------------------------------------------------
  //
  // These are lax: a present key answers whatever it holds, without a kind check, and a stored
  // null is returned as the null (not replaced by the default).

  // The stored value when the key is present, whatever its kind; else the default.
  Value objectForKey(std::string_view key, const Value& defaultValue) const;
  // Exactly objectForKey(key, default): no kind check.

  Value stringForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value arrayForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dictionaryForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dataForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dateForKey(std::string_view key, const Value& defaultValue = Value()) const;
  // Present: the value's intValue (32 bits, then widened: wider values are cut); else the default.
  std::int64_t integerForKey(std::string_view key, std::int64_t defaultValue = 0) const;
  // Present: the value's boolValue, floatValue or doubleValue; else the default.

  bool boolForKey(std::string_view key, bool defaultValue = false) const;
  float floatForKey(std::string_view key, float defaultValue = 0.0f) const;
  double doubleForKey(std::string_view key, double defaultValue = 0.0) const;

  // These answer as on any receiver (see OxDictionaryAdapter): absent and the null give the
  // default; numberForKey checks the kind.

  Value numberForKey(std::string_view key, const Value& defaultValue) const;
  std::int32_t intForKey(std::string_view key, std::int32_t defaultValue) const;
  std::uint64_t unsignedIntegerForKey(std::string_view key, std::uint64_t defaultValue) const;
  std::int64_t longLongValueForKey(std::string_view key, std::int64_t defaultValue) const;

 protected:
  // The entries of the dictionary, or nullptr when it is absent.
  const detail::ElementBuffer<DictionaryEntry>* entries() const noexcept {
    const detail::HeapDictionary* d = ValueAccess::dictionary(*this);
    return d ? &d->entries : nullptr;
  }
  // A Dictionary that takes over the caller's reference to `heap` (mutable or not, as made).
  static Dictionary adopt(detail::HeapDictionary* heap) {
    return Dictionary(Unchecked{}, ValueAccess::adopt(ValueAccess::kDictionaryTag, heap));
  }

 private:
  friend class Value;
  struct Unchecked {};
  Dictionary(Unchecked, const Value& v) : Value(v) {}
};

class MutableDictionary : public Dictionary {
 public:
  // Absent.
  MutableDictionary() = default;
  // A new mutable dictionary of the pairs (see Dictionary's constructor).
  MutableDictionary(std::initializer_list<Pair> pairs);
  // A new, empty mutable dictionary.
  static MutableDictionary dictionary(std::size_t capacity = 0);

  // Sets the value under the key: a new key goes last, a known one keeps its place. An absent
  // value, or an absent String as the key, does nothing.
  void setObject(Value value, std::string_view key) const;
  void setObject(Value value, const String& key) const;
  void setObject(Value value, const char* key) const { setObject(std::move(value), std::string_view(key)); }
  void setObject(Value value, const std::string& key) const {
    setObject(std::move(value), std::string_view(key));
  }
  // Removes the key's entry and closes the gap; a missing key does nothing.
  void removeObjectForKey(std::string_view key) const;
  // Removes the entries of the keys in `keys`; elements that are not strings are skipped.
  void removeObjectsForKeys(const Array& keys) const;
  // Removes every entry.
  void removeAllObjects() const;
  // Sets each entry of `other`, in its order, as setObject does. `other` may be this dictionary.
  void addEntriesFromDictionary(const Dictionary& other) const;

  // --- Setters of any receiver (see OxDictionaryAdapter) --------------------------------------

  // Stores the value unless it is absent or the null.
  void setObjectSafe(const Value& value, std::string_view key) const;

  // setObjectSafe under the typed setters' names: setString and setNumber store any value as it
  // is (no kind check); the others store the number made from their argument.

  void setString(const Value& value, std::string_view key) const { setObjectSafe(value, key); }
  void setNumber(const Value& value, std::string_view key) const { setObjectSafe(value, key); }
  void setInt(std::int32_t value, std::string_view key) const { setNumber(Value(value), key); }
  void setInteger(std::int64_t value, std::string_view key) const { setNumber(Value(value), key); }
  void setLongLongValue(long long value, std::string_view key) const { setNumber(Value(value), key); }
  void setBool(bool value, std::string_view key) const { setNumber(Value(value), key); }
  void setFloat(float value, std::string_view key) const { setNumber(Value(value), key); }
  void setDouble(double value, std::string_view key) const { setNumber(Value(value), key); }

 private:
  friend class Value;
  friend class Dictionary;
  explicit MutableDictionary(const Dictionary& d) : Dictionary(d) {}
  detail::HeapDictionary* heapDictionary() const noexcept { return ValueAccess::dictionary(*this); }
};

inline Dictionary Value::asDictionary() const {
  return isDictionary() ? Dictionary(Dictionary::Unchecked{}, *this) : Dictionary();
}

inline MutableDictionary Value::asMutableDictionary() const {
  return isMutableDictionary() ? MutableDictionary(asDictionary()) : MutableDictionary();
}

}  // namespace kiv

#endif  // KIV_FOUNDATION_DICTIONARY_HPP_
