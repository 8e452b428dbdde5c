#include "kiv/foundation/value.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <new>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/internal/lenient_number.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {

const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::kAbsent: return "absent";
    case Kind::kNull: return "null";
    case Kind::kNumber: return "number";
    case Kind::kString: return "string";
    case Kind::kDate: return "date";
    case Kind::kData: return "data";
    case Kind::kArray: return "array";
    case Kind::kDictionary: return "dictionary";
    case Kind::kModel: return "model";
  }
  return "unknown";
}

// --- Object ---------------------------------------------------------------------------------

std::string Object::description() const {
  char buf[32];
  std::snprintf(buf, sizeof buf, "<Object: %p>", static_cast<const void*>(this));
  return buf;
}

std::size_t Object::hash() const { return std::hash<const void*>()(this); }

bool Object::isEqual(const Object& other) const { return this == &other; }

Value Object::valueForKey(std::string_view) const { return Value(); }

void Object::setValue(const Value&, std::string_view) {}

// --- Heap payloads --------------------------------------------------------------------------

namespace detail {

HeapBytes* HeapBytes::make(const void* bytes, std::size_t size) {
  const Block block = allocateBlock(sizeof(HeapBytes) + size);
  if (size) std::memcpy(static_cast<char*>(block.memory) + sizeof(HeapBytes), bytes, size);
  HeapBytes* b = adoptBlock(block.memory, size);
  b->sizeClass = block.sizeClass;
  return b;
}

HeapBytes* HeapBytes::adoptBlock(void* block, std::size_t size) noexcept {
  auto* b = new (block) HeapBytes();
  b->size = size;
  return b;
}

void HeapBytes::destroy(HeapBytes* b) noexcept {
  const std::uint8_t sizeClass = b->sizeClass;
  b->~HeapBytes();
  freeBlock(b, sizeClass);
}

}  // namespace detail

// --- Construction ---------------------------------------------------------------------------

Value Value::null() noexcept {
  Value v;
  v.raw_[kTagByte] = kNullTag;
  return v;
}

namespace {

enum class NumberGroup { kSigned, kUnsigned, kFloating };

NumberGroup groupOf(char kind) noexcept {
  switch (kind) {
    case 'C': case 'S': case 'I': case 'Q': return NumberGroup::kUnsigned;
    case 'f': case 'd': return NumberGroup::kFloating;
    default: return NumberGroup::kSigned;
  }
}

bool isKnownKind(char kind) noexcept {
  return kind && std::strchr("cCsSiIqQfdB", kind) != nullptr;
}

}  // namespace

Value Value::numberOfKind(char kind, std::int64_t v) noexcept {
  if (!isKnownKind(kind)) kind = 'q';
  switch (kind) {
    case 'c': return Value(static_cast<signed char>(v));
    case 'C': return Value(static_cast<unsigned char>(v));
    case 's': return Value(static_cast<short>(v));
    case 'S': return Value(static_cast<unsigned short>(v));
    case 'i': return Value(static_cast<int>(v));
    case 'I': return Value(static_cast<unsigned>(v));
    case 'Q': return Value(static_cast<unsigned long long>(v));
    case 'f': return Value(static_cast<float>(v));
    case 'd': return Value(static_cast<double>(v));
    case 'B': return Value(v != 0);
    default: return Value(static_cast<long long>(v));
  }
}

Value Value::numberOfKind(char kind, std::uint64_t v) noexcept {
  if (groupOf(kind) == NumberGroup::kFloating) return numberOfKind(kind, static_cast<double>(v));
  return numberOfKind(kind, static_cast<std::int64_t>(v));
}

Value Value::numberOfKind(char kind, double v) noexcept {
  if (kind == 'f') return Value(static_cast<float>(v));
  if (kind == 'd') return Value(v);
  if (groupOf(kind) == NumberGroup::kUnsigned) return numberOfKind(kind, lenient::doubleToUInt64(v));
  return numberOfKind(kind, lenient::doubleToInt64(v));
}

Value::Value(const char* text) : Value(text ? std::string_view(text) : std::string_view()) {
  if (!text) raw_[kTagByte] = kAbsentTag;
}

Value::Value(std::string_view text) : raw_{} {
  if (text.size() <= kInlineCapacity) {
    if (!text.empty()) std::memcpy(raw_, text.data(), text.size());
    raw_[kAuxByte] = static_cast<unsigned char>(text.size());
    raw_[kTagByte] = kInlineStringTag;
    return;
  }
  detail::HeapBytes* b = detail::HeapBytes::make(text.data(), text.size());
  std::memcpy(raw_, &b, sizeof b);
  raw_[kTagByte] = kHeapStringTag;
}

Value Value::date(double secondsSince1970) noexcept {
  Value v;
  std::memcpy(v.raw_, &secondsSince1970, sizeof secondsSince1970);
  v.raw_[kTagByte] = kDateTag;
  return v;
}

Value Value::data(const void* bytes, std::size_t size) {
  return adoptHeap(kDataTag, detail::HeapBytes::make(bytes, size));
}

Value::Value(const Object* object) noexcept : Value(AdoptObject{}, object) {
  if (object) object->retain();
}

Value::Value(AdoptObject, const Object* object) noexcept : raw_{} {
  if (!object) return;
  std::memcpy(raw_, &object, sizeof object);
  raw_[kTagByte] = kObjectTag;
}

Value Value::adoptHeap(Tag tag, const void* heapObject) noexcept {
  Value v;
  std::memcpy(v.raw_, &heapObject, sizeof heapObject);
  v.raw_[kTagByte] = tag;
  return v;
}

void Value::retainHeap() const noexcept {
  detail::HeapBase* h = heap();
  if (h->refs.load(std::memory_order_relaxed) != detail::HeapBase::kImmortal) h->refs.fetch_add(1, std::memory_order_relaxed);
}

void Value::releaseHeap() noexcept {
  detail::HeapBase* h = heap();
  // A sole owner needs no read-modify-write: nobody else can add a reference to it.
  const std::uint32_t refs = h->refs.load(std::memory_order_acquire);
  if (refs == detail::HeapBase::kImmortal) return;
  if (refs != 1 && h->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  switch (tag()) {
    case kHeapStringTag:
    case kDataTag: detail::HeapBytes::destroy(static_cast<detail::HeapBytes*>(h)); break;
    case kArrayTag: detail::HeapArray::destroy(static_cast<detail::HeapArray*>(h)); break;
    case kDictionaryTag: detail::HeapDictionary::destroy(static_cast<detail::HeapDictionary*>(h)); break;
    default: break;
  }
}

// --- Kind -----------------------------------------------------------------------------------

bool Value::isMutable() const noexcept {
  return (isArray() || isDictionary()) && heap()->isMutable;
}

// --- Payload access -------------------------------------------------------------------------

double Value::timeIntervalSince1970() const noexcept { return isDate() ? rawDouble() : 0.0; }

Ref<Object> Value::objectRef() const noexcept { return Ref<Object>(const_cast<Object*>(object())); }

// --- Numeric accessors ----------------------------------------------------------------------
//
// Every integer accessor goes through one 64-bit reading of the value and then wraps to its
// width; the floating accessors through one double reading.

// Reads a number's held value as the widest type of each group, by machine conversion.
struct NumberReader {
  static std::int64_t asInt64(const Value& n) noexcept {
    switch (groupOf(n.numberKind())) {
      case NumberGroup::kUnsigned: return static_cast<std::int64_t>(n.rawUnsigned());
      case NumberGroup::kFloating: return lenient::doubleToInt64(n.rawDouble());
      default: return n.rawInt();
    }
  }
  static std::uint64_t asUInt64(const Value& n) noexcept {
    switch (groupOf(n.numberKind())) {
      case NumberGroup::kUnsigned: return n.rawUnsigned();
      case NumberGroup::kFloating: return lenient::doubleToUInt64(n.rawDouble());
      default: return static_cast<std::uint64_t>(n.rawInt());
    }
  }
  static double asDouble(const Value& n) noexcept {
    switch (groupOf(n.numberKind())) {
      case NumberGroup::kUnsigned: return static_cast<double>(n.rawUnsigned());
      case NumberGroup::kFloating: return n.rawDouble();
      default: return static_cast<double>(n.rawInt());
    }
  }
};

namespace {

// The number that a value reads as through the whole-string parser: a number itself; the null's
// 0; a string's parse (absent when it is no number); absent for every other kind.
Value parsedNumber(const Value& v) {
  if (v.isNumber()) return v;
  if (v.isNull()) return Value(0);
  if (v.isString()) return lenient::parseWholeNumber(v.stringView());
  return Value();
}

template <class Int>
Int integerOfNumber(const Value& n) {
  if constexpr (std::is_signed_v<Int>) {
    return static_cast<Int>(NumberReader::asInt64(n));
  } else {
    return static_cast<Int>(NumberReader::asUInt64(n));
  }
}

template <class Int>
Int parsedInteger(const Value& v) {
  if (v.isNumber()) return integerOfNumber<Int>(v);
  if (!v.isString()) return 0;
  const Value n = lenient::parseWholeNumber(v.stringView());
  return n.isNumber() ? integerOfNumber<Int>(n) : 0;
}

}  // namespace

std::int8_t Value::charValue() const noexcept { return parsedInteger<std::int8_t>(*this); }
std::uint8_t Value::unsignedCharValue() const noexcept { return parsedInteger<std::uint8_t>(*this); }
std::int16_t Value::shortValue() const noexcept { return parsedInteger<std::int16_t>(*this); }
std::uint16_t Value::unsignedShortValue() const noexcept { return parsedInteger<std::uint16_t>(*this); }
std::uint32_t Value::unsignedIntValue() const noexcept { return parsedInteger<std::uint32_t>(*this); }
std::int64_t Value::longValue() const noexcept { return parsedInteger<std::int64_t>(*this); }
std::uint64_t Value::unsignedLongValue() const noexcept { return parsedInteger<std::uint64_t>(*this); }
std::uint64_t Value::unsignedLongLongValue() const noexcept {
  return parsedInteger<std::uint64_t>(*this);
}
std::uint64_t Value::unsignedIntegerValue() const noexcept {
  return parsedInteger<std::uint64_t>(*this);
}

std::int32_t Value::intValue() const noexcept {
  if (isNumber()) return static_cast<std::int32_t>(NumberReader::asInt64(*this));
  if (isString()) return lenient::scanInt(stringView());
  return 0;
}

std::int64_t Value::longLongValue() const noexcept {
  if (isNumber()) return NumberReader::asInt64(*this);
  if (isString()) return lenient::scanLongLong(stringView());
  return 0;
}

std::int64_t Value::integerValue() const noexcept { return longLongValue(); }

bool Value::boolValue() const noexcept {
  if (isNumber()) {
    return isFloatingPoint() ? rawDouble() != 0.0 : rawUnsigned() != 0;
  }
  if (isString()) return lenient::scanBool(stringView());
  return false;
}

float Value::floatValue() const noexcept {
  if (isNumber()) return static_cast<float>(NumberReader::asDouble(*this));
  if (isString()) return lenient::scanFloat(stringView());
  return 0.0f;
}

double Value::doubleValue() const noexcept {
  if (isNumber()) return NumberReader::asDouble(*this);
  if (isString()) return lenient::scanDouble(stringView());
  return 0.0;
}

String Value::stringValue() const {
  if (isString()) return asString();
  if (isNumber() || isNull()) return String(parsedNumber(*this).description());
  return String();
}

Number Value::stringNumber() const { return parsedNumber(*this).asNumber(); }

// --- Numeric equality and hashing -----------------------------------------------------------

namespace {

__extension__ using Int128 = __int128;

// The exact integer a number holds, when it holds one in [-2^63, 2^64).
bool exactInteger(const Value& n, Int128* out) {
  switch (groupOf(n.numberKind())) {
    case NumberGroup::kUnsigned: *out = n.unsignedLongLongValue(); return true;
    case NumberGroup::kSigned: *out = n.longLongValue(); return true;
    case NumberGroup::kFloating: {
      const double d = n.doubleValue();
      if (!(d == std::trunc(d)) || d < -9223372036854775808.0 || d >= 18446744073709551616.0) {
        return false;
      }
      *out = d < 0 ? Int128(static_cast<std::int64_t>(d)) : Int128(static_cast<std::uint64_t>(d));
      return true;
    }
  }
  return false;
}

bool numbersEqual(const Value& a, const Value& b) {
  Int128 x, y;
  const bool ax = exactInteger(a, &x);
  const bool bx = exactInteger(b, &y);
  if (ax && bx) return x == y;
  if (ax != bx) return false;  // an integer never equals a non-integral double
  return a.doubleValue() == b.doubleValue();
}

std::size_t mix(std::uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  x *= 0xc4ceb9fe1a85ec53ULL;
  x ^= x >> 33;
  return static_cast<std::size_t>(x);
}

std::size_t numberHash(const Value& n) {
  Int128 x;
  if (exactInteger(n, &x)) {
    return mix(static_cast<std::uint64_t>(x) ^ (static_cast<std::uint64_t>(x >> 64) * 31));
  }
  const double d = n.doubleValue();
  std::uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return mix(bits);
}

}  // namespace

bool Value::isEqualToNumber(const Value& number) const {
  const Value mine = parsedNumber(*this);
  const Value theirs = parsedNumber(number);
  return mine.isNumber() && theirs.isNumber() && numbersEqual(mine, theirs);
}

bool Value::isIdenticalTo(const Value& other) const noexcept {
  if (tag() != other.tag()) return false;
  if (isHeap()) return heap() == other.heap();
  return std::memcmp(raw_, other.raw_, sizeof raw_) == 0;
}

namespace {

// Whether the arrays hold pairwise equal elements, by `equal`.
bool sameElements(const Array& a, const Array& b, bool (Value::*equal)(const Value&) const) {
  if (a.count() != b.count()) return false;
  for (std::size_t i = 0; i < a.count(); ++i) {
    if (!(a[i].*equal)(b[i])) return false;
  }
  return true;
}

// Whether the dictionaries hold the same keys with equal values, by `equal` (order is ignored).
bool sameEntries(const Dictionary& a, const Dictionary& b, bool (Value::*equal)(const Value&) const) {
  if (a.count() != b.count()) return false;
  for (const DictionaryEntry& e : a) {
    if (!(e.value.*equal)(b.objectForKey(e.key.view()))) return false;
  }
  return true;
}

}  // namespace

bool Value::isEqual(const Value& other) const {
  if (isIdenticalTo(other)) return true;
  const Kind k = kind();
  if (k != other.kind()) return false;
  switch (k) {
    case Kind::kAbsent:
    case Kind::kNull: return true;
    case Kind::kNumber: return numbersEqual(*this, other);
    case Kind::kString: return stringView() == other.stringView();
    case Kind::kDate: return rawDouble() == other.rawDouble();
    case Kind::kData: return asData().view() == other.asData().view();
    case Kind::kArray: return sameElements(asArray(), other.asArray(), &Value::isEqual);
    case Kind::kDictionary: return sameEntries(asDictionary(), other.asDictionary(), &Value::isEqual);
    case Kind::kModel: return object()->isEqual(*other.object());
  }
  return false;
}

std::size_t Value::hash() const {
  switch (kind()) {
    case Kind::kAbsent: return 0;
    case Kind::kNull: return 0x6e756c6c;
    case Kind::kNumber: return numberHash(*this);
    case Kind::kString: {
      const std::string_view s = stringView();
      return static_cast<std::size_t>(detail::hashBytes(s.data(), s.size()));
    }
    case Kind::kDate: return mix(rawUnsigned() ^ 0x64617465);
    case Kind::kData: {
      const std::string_view s = asData().view();
      return static_cast<std::size_t>(detail::hashBytes(s.data(), s.size()) ^ 0x64617461);
    }
    case Kind::kArray: return asArray().count();
    case Kind::kDictionary: return asDictionary().count();
    case Kind::kModel: return object()->hash();
  }
  return 0;
}

// --- String operations ----------------------------------------------------------------------

namespace {

// Calls f with the text that a value answers string operations on, or returns `otherwise`.
template <class F, class R>
R onText(const Value& v, R otherwise, F f) {
  if (v.isString()) return f(v.stringView());
  if (v.isNumber()) {
    const std::string text = v.description();
    return f(std::string_view(text));
  }
  return otherwise;
}

std::string mapAscii(std::string_view s, bool upper) {
  std::string out(s);
  for (char& c : out) {
    if (upper && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (!upper && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

}  // namespace

std::size_t Value::length() const {
  return onText(*this, std::size_t{0}, [](std::string_view s) {
    std::size_t units = 0;
    for (unsigned char c : s) {
      if ((c & 0xC0) != 0x80) ++units;  // a lead or ASCII byte starts a character
      if (c >= 0xF0) ++units;           // four-byte sequences need a surrogate pair
    }
    return units;
  });
}

bool Value::strictEquals(const Value& other) const {
  const Kind k = kind();
  if (k != other.kind()) return false;
  switch (k) {
    case Kind::kNumber: {
      // 'B' a boolean, 'f' and 'd' floating point, every other kind an integer.
      const auto group = [](char c) { return c == 'B' ? 0 : (c == 'f' || c == 'd') ? 1 : 2; };
      return group(numberKind()) == group(other.numberKind()) && isEqual(other);
    }
    case Kind::kArray: return sameElements(asArray(), other.asArray(), &Value::strictEquals);
    case Kind::kDictionary: return sameEntries(asDictionary(), other.asDictionary(), &Value::strictEquals);
    default:
      return isEqual(other);
  }
}

bool Value::isEqualToString(std::string_view text) const {
  return onText(*this, false, [&](std::string_view s) { return s == text; });
}

bool Value::hasPrefix(std::string_view prefix) const {
  return onText(*this, false, [&](std::string_view s) { return s.starts_with(prefix); });
}

bool Value::hasSuffix(std::string_view suffix) const {
  return onText(*this, false, [&](std::string_view s) { return s.ends_with(suffix); });
}

bool Value::containsString(std::string_view text) const {
  return onText(*this, false,
                [&](std::string_view s) { return s.find(text) != std::string_view::npos; });
}

String Value::lowercaseString() const {
  return onText(*this, String(), [](std::string_view s) { return String(mapAscii(s, false)); });
}

String Value::uppercaseString() const {
  return onText(*this, String(), [](std::string_view s) { return String(mapAscii(s, true)); });
}

bool Value::isNotEmpty() const noexcept { return isString() && !stringView().empty(); }

}  // namespace kiv
