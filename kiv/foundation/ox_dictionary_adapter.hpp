// OxDictionaryAdapter: typed getters with defaults, and safe setters, on any receiver.
//
// A receiver is a Value or an OxDictionaryAccessor (a row, a memory cache). Rules:
// - A dictionary answers the getters that it also answers itself (objectForKey, stringForKey,
//   arrayForKey, dictionaryForKey, dataForKey, dateForKey, integerForKey, boolForKey,
//   floatForKey, doubleForKey) by its own, laxer rules: see Dictionary.
// - Otherwise objectForKey(key, default) takes the accessor's value, or for a Value receiver that
//   is not a dictionary (the null included) answers absent, not the default. A missing value and
//   the null then give the default.
// - Kind-checked getters (string, array, dictionary, data, date, number) return the value when it
//   is of that kind, else the caller's default, whatever kind that is.
// - Scalar getters return the value's lenient accessor when it is a number or a string, else the
//   default: the string "12abc" gives 12 through intForKey.
// - Setters store only present, non-null values and keys, into an accessor or a mutable
//   dictionary; other receivers ignore them.
// - The ...ThreadSafety forms lock and unlock their own copy of the lock they are given, so they
//   exclude nothing between threads; callers that need exclusion hold a lock of their own.
#ifndef KIV_FOUNDATION_OX_DICTIONARY_ADAPTER_HPP_
#define KIV_FOUNDATION_OX_DICTIONARY_ADAPTER_HPP_

#include <cstdint>
#include <string_view>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/ox_dictionary_accessor.hpp"
#include "kiv/foundation/spin_lock.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

class OxDictionaryAdapter {
 public:
  // A Value or an accessor, borrowed for the duration of one call.
  class Receiver {
   public:
    // Borrows a Value of any kind, or an accessor, which the setters change although it is
    // passed as const.
    Receiver(const Value& value) : value_(&value) {}
    Receiver(const OxDictionaryAccessor& accessor)
        : accessor_(const_cast<OxDictionaryAccessor*>(&accessor)) {}

    // The borrowed Value, or nullptr when the receiver is an accessor.
    const Value* value() const { return value_; }
    // The borrowed accessor, or nullptr when the receiver is a Value.
    OxDictionaryAccessor* accessor() const { return accessor_; }

   private:
    const Value* value_ = nullptr;
    OxDictionaryAccessor* accessor_ = nullptr;
  };

  // The value under the key: a dictionary's own objectForKey(key, default); an accessor's value, or
  // the default when it is missing or the null; absent for any other Value.
  static Value objectForKey(Receiver receiver, std::string_view key, const Value& defaultValue);

  // The value under the key when it is of the getter's kind, else the default. A dictionary
  // answers all but numberForKey by its own rules, without a kind check.

  static Value stringForKey(Receiver receiver, std::string_view key, const Value& defaultValue);
  static Value arrayForKey(Receiver receiver, std::string_view key, const Value& defaultValue);
  static Value dictionaryForKey(Receiver receiver, std::string_view key, const Value& defaultValue);
  static Value dataForKey(Receiver receiver, std::string_view key, const Value& defaultValue);
  static Value dateForKey(Receiver receiver, std::string_view key, const Value& defaultValue);
  static Value numberForKey(Receiver receiver, std::string_view key, const Value& defaultValue);

  // The value under the key read by the matching lenient accessor (intValue, integerValue,
  // unsignedIntegerValue, longLongValue, boolValue, floatValue, doubleValue) when it is a number
  // or a string, else the default. A dictionary answers integerForKey, boolForKey, floatForKey and
  // doubleForKey by its own rules.

  static std::int32_t intForKey(Receiver receiver, std::string_view key, std::int32_t defaultValue);
  static std::int64_t integerForKey(Receiver receiver, std::string_view key, std::int64_t defaultValue);
  static std::uint64_t unsignedIntegerForKey(Receiver receiver, std::string_view key,
                                             std::uint64_t defaultValue);
  static std::int64_t longLongValueForKey(Receiver receiver, std::string_view key,
                                          std::int64_t defaultValue);
  static bool boolForKey(Receiver receiver, std::string_view key, bool defaultValue);
  static float floatForKey(Receiver receiver, std::string_view key, float defaultValue);
  static double doubleForKey(Receiver receiver, std::string_view key, double defaultValue);

  // Stores the value under the key unless it is absent or the null; only an accessor or a mutable
  // dictionary takes it, other receivers are left alone.
  static void setObjectSafe(Receiver receiver, const Value& value, std::string_view key);

  // setObjectSafe under the typed setters' names: setString and setNumber store any value as it
  // is (no kind check); the others store the number made from their argument.

  static void setString(Receiver receiver, const Value& value, std::string_view key);
  static void setNumber(Receiver receiver, const Value& value, std::string_view key);
  static void setInt(Receiver receiver, std::int32_t value, std::string_view key);
  static void setInteger(Receiver receiver, std::int64_t value, std::string_view key);
  static void setLongLongValue(Receiver receiver, long long value, std::string_view key);
  static void setBool(Receiver receiver, bool value, std::string_view key);
  static void setFloat(Receiver receiver, float value, std::string_view key);
  static void setDouble(Receiver receiver, double value, std::string_view key);

  // objectForKey(key, absent) between locking and unlocking the copy; `defaultValue` is not used.
  static Value objectforKeyThreadSafety(Receiver receiver, std::string_view key, SpinLock lock,
                                        const Value& defaultValue);
  // setObjectSafe between locking and unlocking the copy.
  static void setObjectThreadSafety(Receiver receiver, const Value& value, std::string_view key,
                                    SpinLock lock);
  // Remove every entry, the key's entry, or the entries of the keys (strings) in `keys`, between
  // locking and unlocking the copy. These three change only a mutable dictionary; other receivers,
  // accessors included, are left alone.

  static void removeAllObjectThreadSafety(Receiver receiver, SpinLock lock);
  static void removeObjectThreadSafetyForKey(Receiver receiver, std::string_view key, SpinLock lock);
  static void removeObjectsThreadSafetyForKeys(Receiver receiver, const Array& keys, SpinLock lock);
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_OX_DICTIONARY_ADAPTER_HPP_
