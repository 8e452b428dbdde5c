#include "kiv/foundation/ox_dictionary_adapter.hpp"

#include <mutex>

#include "kiv/foundation/dictionary.hpp"

namespace kiv {
namespace {

using Receiver = OxDictionaryAdapter::Receiver;

// The dictionary a receiver is, or absent.
Dictionary dictionaryOf(Receiver r) { return r.value() ? r.value()->asDictionary() : Dictionary(); }

// The general objectForKey: the accessor's value or, for a Value receiver, a dictionary's entry;
// any other Value receiver answers absent, not the default.
Value generalObjectForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  Value v;
  if (r.accessor()) {
    v = r.accessor()->objectForKey(key);
  } else if (r.value() && r.value()->isDictionary()) {
    v = r.value()->asDictionary().objectForKey(key);
  } else {
    return Value();
  }
  return v.isNothing() ? defaultValue : v;
}

// objectForKey as the receiver answers it: a dictionary by its own rule, anything else by the
// general one.
Value lookup(Receiver r, std::string_view key, const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.objectForKey(key, defaultValue);
  return generalObjectForKey(r, key, defaultValue);
}

template <class Check>
Value kindChecked(Receiver r, std::string_view key, const Value& defaultValue, Check isKind) {
  const Value v = lookup(r, key, defaultValue);
  return isKind(v) ? v : defaultValue;
}

// The scalar the value reads as through `read`, when the value answers numeric accessors.
template <class T, class Read>
T scalar(Receiver r, std::string_view key, T defaultValue, Read read) {
  const Value v = lookup(r, key, Value());
  return v.isNumber() || v.isString() ? read(v) : defaultValue;
}

}  // namespace

Value OxDictionaryAdapter::objectForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  return lookup(r, key, defaultValue);
}

Value OxDictionaryAdapter::stringForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.stringForKey(key, defaultValue);
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isString(); });
}

Value OxDictionaryAdapter::arrayForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.arrayForKey(key, defaultValue);
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isArray(); });
}

Value OxDictionaryAdapter::dictionaryForKey(Receiver r, std::string_view key,
                                            const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.dictionaryForKey(key, defaultValue);
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isDictionary(); });
}

Value OxDictionaryAdapter::dataForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.dataForKey(key, defaultValue);
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isData(); });
}

Value OxDictionaryAdapter::dateForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.dateForKey(key, defaultValue);
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isDate(); });
}

Value OxDictionaryAdapter::numberForKey(Receiver r, std::string_view key, const Value& defaultValue) {
  return kindChecked(r, key, defaultValue, [](const Value& v) { return v.isNumber(); });
}

std::int32_t OxDictionaryAdapter::intForKey(Receiver r, std::string_view key,
                                            std::int32_t defaultValue) {
  return scalar(r, key, defaultValue, [](const Value& v) { return v.intValue(); });
}

std::int64_t OxDictionaryAdapter::integerForKey(Receiver r, std::string_view key,
                                                std::int64_t defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.integerForKey(key, defaultValue);
  return scalar(r, key, defaultValue, [](const Value& v) { return v.integerValue(); });
}

std::uint64_t OxDictionaryAdapter::unsignedIntegerForKey(Receiver r, std::string_view key,
                                                         std::uint64_t defaultValue) {
  return scalar(r, key, defaultValue, [](const Value& v) { return v.unsignedIntegerValue(); });
}

std::int64_t OxDictionaryAdapter::longLongValueForKey(Receiver r, std::string_view key,
                                                      std::int64_t defaultValue) {
  return scalar(r, key, defaultValue, [](const Value& v) { return v.longLongValue(); });
}

bool OxDictionaryAdapter::boolForKey(Receiver r, std::string_view key, bool defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.boolForKey(key, defaultValue);
  return scalar(r, key, defaultValue, [](const Value& v) { return v.boolValue(); });
}

float OxDictionaryAdapter::floatForKey(Receiver r, std::string_view key, float defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.floatForKey(key, defaultValue);
  return scalar(r, key, defaultValue, [](const Value& v) { return v.floatValue(); });
}

double OxDictionaryAdapter::doubleForKey(Receiver r, std::string_view key, double defaultValue) {
  if (const Dictionary d = dictionaryOf(r)) return d.doubleForKey(key, defaultValue);
  return scalar(r, key, defaultValue, [](const Value& v) { return v.doubleValue(); });
}

void OxDictionaryAdapter::setObjectSafe(Receiver r, const Value& value, std::string_view key) {
  if (value.isNothing()) return;
  if (r.accessor()) {
    r.accessor()->setObject(value, key);
  } else if (r.value()) {
    r.value()->asMutableDictionary().setObject(value, key);
  }
}

void OxDictionaryAdapter::setString(Receiver r, const Value& value, std::string_view key) {
  setObjectSafe(r, value, key);
}
void OxDictionaryAdapter::setNumber(Receiver r, const Value& value, std::string_view key) {
  setObjectSafe(r, value, key);
}
void OxDictionaryAdapter::setInt(Receiver r, std::int32_t value, std::string_view key) {
  setNumber(r, Value(value), key);
}
void OxDictionaryAdapter::setInteger(Receiver r, std::int64_t value, std::string_view key) {
  setNumber(r, Value(value), key);
}
void OxDictionaryAdapter::setLongLongValue(Receiver r, long long value, std::string_view key) {
  setNumber(r, Value(value), key);
}
void OxDictionaryAdapter::setBool(Receiver r, bool value, std::string_view key) {
  setNumber(r, Value(value), key);
}
void OxDictionaryAdapter::setFloat(Receiver r, float value, std::string_view key) {
  setNumber(r, Value(value), key);
}
void OxDictionaryAdapter::setDouble(Receiver r, double value, std::string_view key) {
  setNumber(r, Value(value), key);
}

Value OxDictionaryAdapter::objectforKeyThreadSafety(Receiver r, std::string_view key, SpinLock lock,
                                                    const Value& /*defaultValue*/) {
  std::lock_guard<SpinLock> guard(lock);
  return objectForKey(r, key, Value());
}

void OxDictionaryAdapter::setObjectThreadSafety(Receiver r, const Value& value, std::string_view key,
                                                SpinLock lock) {
  std::lock_guard<SpinLock> guard(lock);
  setObjectSafe(r, value, key);
}

void OxDictionaryAdapter::removeAllObjectThreadSafety(Receiver r, SpinLock lock) {
  std::lock_guard<SpinLock> guard(lock);
  if (r.value()) r.value()->asMutableDictionary().removeAllObjects();
}

void OxDictionaryAdapter::removeObjectThreadSafetyForKey(Receiver r, std::string_view key,
                                                         SpinLock lock) {
  std::lock_guard<SpinLock> guard(lock);
  if (r.value()) r.value()->asMutableDictionary().removeObjectForKey(key);
}

void OxDictionaryAdapter::removeObjectsThreadSafetyForKeys(Receiver r, const Array& keys,
                                                           SpinLock lock) {
  std::lock_guard<SpinLock> guard(lock);
  if (r.value()) r.value()->asMutableDictionary().removeObjectsForKeys(keys);
}

// --- The accessor's members answer through the adapter --------------------------------------

Value OxDictionaryAccessor::objectForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::objectForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::stringForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::stringForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::arrayForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::arrayForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::dictionaryForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::dictionaryForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::dataForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::dataForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::dateForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::dateForKey(*this, key, defaultValue);
}
Value OxDictionaryAccessor::numberForKey(std::string_view key, const Value& defaultValue) const {
  return OxDictionaryAdapter::numberForKey(*this, key, defaultValue);
}
std::int32_t OxDictionaryAccessor::intForKey(std::string_view key, std::int32_t defaultValue) const {
  return OxDictionaryAdapter::intForKey(*this, key, defaultValue);
}
std::int64_t OxDictionaryAccessor::integerForKey(std::string_view key, std::int64_t defaultValue) const {
  return OxDictionaryAdapter::integerForKey(*this, key, defaultValue);
}
std::uint64_t OxDictionaryAccessor::unsignedIntegerForKey(std::string_view key,
                                                          std::uint64_t defaultValue) const {
  return OxDictionaryAdapter::unsignedIntegerForKey(*this, key, defaultValue);
}
std::int64_t OxDictionaryAccessor::longLongValueForKey(std::string_view key,
                                                       std::int64_t defaultValue) const {
  return OxDictionaryAdapter::longLongValueForKey(*this, key, defaultValue);
}
bool OxDictionaryAccessor::boolForKey(std::string_view key, bool defaultValue) const {
  return OxDictionaryAdapter::boolForKey(*this, key, defaultValue);
}
float OxDictionaryAccessor::floatForKey(std::string_view key, float defaultValue) const {
  return OxDictionaryAdapter::floatForKey(*this, key, defaultValue);
}
double OxDictionaryAccessor::doubleForKey(std::string_view key, double defaultValue) const {
  return OxDictionaryAdapter::doubleForKey(*this, key, defaultValue);
}
void OxDictionaryAccessor::setObjectSafe(const Value& value, std::string_view key) {
  OxDictionaryAdapter::setObjectSafe(*this, value, key);
}

}  // namespace kiv
