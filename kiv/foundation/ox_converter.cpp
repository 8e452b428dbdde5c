// The typed getters of dictionaries: lax, with no kind checks, and a stored null is a value.
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/ox_dictionary_adapter.hpp"

namespace kiv {

Value Dictionary::objectForKey(std::string_view key, const Value& defaultValue) const {
  const Value& v = objectForKey(key);
  return v.isPresent() ? v : defaultValue;
}

Value Dictionary::stringForKey(std::string_view key, const Value& defaultValue) const {
  return objectForKey(key, defaultValue);
}
Value Dictionary::arrayForKey(std::string_view key, const Value& defaultValue) const {
  return objectForKey(key, defaultValue);
}
Value Dictionary::dictionaryForKey(std::string_view key, const Value& defaultValue) const {
  return objectForKey(key, defaultValue);
}
Value Dictionary::dataForKey(std::string_view key, const Value& defaultValue) const {
  return objectForKey(key, defaultValue);
}
Value Dictionary::dateForKey(std::string_view key, const Value& defaultValue) const {
  return objectForKey(key, defaultValue);
}

std::int64_t Dictionary::integerForKey(std::string_view key, std::int64_t defaultValue) const {
  const Value& v = objectForKey(key);
  return v.isPresent() ? v.intValue() : defaultValue;
}

bool Dictionary::boolForKey(std::string_view key, bool defaultValue) const {
  const Value& v = objectForKey(key);
  return v.isPresent() ? v.boolValue() : defaultValue;
}

float Dictionary::floatForKey(std::string_view key, float defaultValue) const {
  const Value& v = objectForKey(key);
  return v.isPresent() ? v.floatValue() : defaultValue;
}

double Dictionary::doubleForKey(std::string_view key, double defaultValue) const {
  const Value& v = objectForKey(key);
  return v.isPresent() ? v.doubleValue() : defaultValue;
}

Value Dictionary::numberForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::numberForKey(*this, key, defaultValue);
}
std::int32_t Dictionary::intForKey(std::string_view key, std::int32_t defaultValue) const {
  return OxDictionaryAdapter::intForKey(*this, key, defaultValue);
}
std::uint64_t Dictionary::unsignedIntegerForKey(std::string_view key, std::uint64_t defaultValue) const {
  return OxDictionaryAdapter::unsignedIntegerForKey(*this, key, defaultValue);
}
std::int64_t Dictionary::longLongValueForKey(std::string_view key, std::int64_t defaultValue) const {
  return OxDictionaryAdapter::longLongValueForKey(*this, key, defaultValue);
}

void MutableDictionary::setObjectSafe(const Value& value, std::string_view key) const {
  OxDictionaryAdapter::setObjectSafe(*this, value, key);
}

}  // namespace kiv
