// OxDictionaryAccessor: an object that answers objectForKey and setObject:forKey like a
// dictionary (rows of the collection database, memory caches), and so answers the general typed
// getters and setters of OxDictionaryAdapter as members.
#ifndef KIV_FOUNDATION_OX_DICTIONARY_ACCESSOR_HPP_
#define KIV_FOUNDATION_OX_DICTIONARY_ACCESSOR_HPP_

#include <cstdint>
#include <string_view>

#include "kiv/foundation/value.hpp"

namespace kiv {

class OxDictionaryAccessor {
 public:
  virtual ~OxDictionaryAccessor() = default;

  // The value under the key, or absent.
  Value objectForKey(std::string_view key) const { return accessorObjectForKey(key); }
  // Stores the value under the key.
  void setObject(const Value& value, std::string_view key) { accessorSetObject(value, key); }

  // The general typed getters (see OxDictionaryAdapter): a missing value and the null give the
  // default; kind-checked getters give the default for a value of another kind; scalar getters
  // read numbers and strings leniently.

  Value objectForKey(std::string_view key, const Value& defaultValue) const;
  Value stringForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value arrayForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dictionaryForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dataForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value dateForKey(std::string_view key, const Value& defaultValue = Value()) const;
  Value numberForKey(std::string_view key, const Value& defaultValue = Value()) const;
  std::int32_t intForKey(std::string_view key, std::int32_t defaultValue = 0) const;
  std::int64_t integerForKey(std::string_view key, std::int64_t defaultValue = 0) const;
  std::uint64_t unsignedIntegerForKey(std::string_view key, std::uint64_t defaultValue = 0) const;
  std::int64_t longLongValueForKey(std::string_view key, std::int64_t defaultValue = 0) const;
  bool boolForKey(std::string_view key, bool defaultValue = false) const;
  float floatForKey(std::string_view key, float defaultValue = 0.0f) const;
  double doubleForKey(std::string_view key, double defaultValue = 0.0) const;

  // Stores the value unless it is absent or the null.
  void setObjectSafe(const Value& value, std::string_view key);

 protected:
  // What a subclass provides: the value under the key (or absent), and storing a value under the
  // key. objectForKey and setObject call them as they are; the getters and setObjectSafe go
  // through them.

  virtual Value accessorObjectForKey(std::string_view key) const = 0;
  virtual void accessorSetObject(const Value& value, std::string_view key) = 0;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_OX_DICTIONARY_ACCESSOR_HPP_
