// Value: the dynamic value that flows through dictionaries, models and rows.
//
// A Value is absent (nothing, the default), the null, a number, a string, a date, binary data, an
// array, a dictionary or a model object. It is 16 bytes wide. Nulls, numbers, dates and strings of
// up to 14 bytes live inside it; longer strings, data, arrays, dictionaries and objects live on the
// heap and are shared by an atomic reference count, so copying a Value never copies its payload.
//
// Every kind answers every accessor without failing. Numbers convert by the machine conversions;
// the null reads as the number 0; a string reads as the number it spells (see the accessors); the
// other kinds, and absent, read as 0, false, or absent. Numbers remember the C type they were made
// from as one kind character: c C s S i I q Q f d B.
//
// Values are immutable, except the mutable forms of arrays and dictionaries, which have reference
// semantics: every Value that shares a mutable container sees its changes. Containers are not
// synchronised; a container that is being changed belongs to one thread at a time.
//
// Typed views (String, Number, Date, Data, Array, MutableArray, Dictionary, MutableDictionary) are
// Values that are absent or of their kind; they live in headers of their own.
#ifndef KIV_FOUNDATION_VALUE_HPP_
#define KIV_FOUNDATION_VALUE_HPP_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "kiv/foundation/object.hpp"

namespace kiv {

class String;
class Number;
class Date;
class Data;
class Array;
class MutableArray;
class Dictionary;
class MutableDictionary;

// What a Value holds: absent, the null, or one of the kinds of payload.
enum class Kind : std::uint8_t {
  kAbsent,
  kNull,
  kNumber,
  kString,
  kDate,
  kData,
  kArray,
  kDictionary,
  kModel,
};

// The name of a kind, for messages: "absent", "null", "number", ...
const char* kindName(Kind kind);

namespace detail {

// The header of every heap payload but objects: a reference count and, for arrays and
// dictionaries, whether they are mutable.
struct HeapBase {
  // A payload shared by the whole process for its whole life (the empty immutable containers)
  // holds this count, which copies and releases leave alone.
  static constexpr std::uint32_t kImmortal = 0xFFFFFFFF;

  std::atomic<std::uint32_t> refs{1};
  bool isMutable = false;
  // The size class of the payload's block (see allocateBlock()); 0 for a block of another size.
  std::uint8_t sizeClass = 0;
};

// Bytes of a string or of data, allocated in one block with the header.
struct HeapBytes : HeapBase {
  std::size_t size = 0;
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  const char* bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  std::string_view view() const noexcept { return {bytes(), size}; }

  // Blocks come from malloc, so that a writer can grow one with realloc and then hand it over.
  static HeapBytes* make(const void* bytes, std::size_t size);
  static void destroy(HeapBytes* b) noexcept;
  // Takes over a malloc'd block whose first sizeof(HeapBytes) bytes are room for the header and
  // whose next `size` bytes are the content.
  static HeapBytes* adoptBlock(void* block, std::size_t size) noexcept;
};

}  // namespace detail

class Value {
 public:
  // Absent.
  constexpr Value() noexcept : raw_{} {}
  // The null.
  static Value null() noexcept;

  // Numbers. Each records the kind character of its C type. The boolean takes exactly a bool:
  // a pointer (or anything else that merely converts to bool) is not a boolean.
  template <class B, class = std::enable_if_t<std::is_same_v<B, bool>>>
  Value(B v) noexcept : Value(NumberTag{}, 'B', static_cast<std::int64_t>(v)) {}
  Value(char v) noexcept : Value(NumberTag{}, 'c', static_cast<std::int64_t>(static_cast<signed char>(v))) {}
  Value(signed char v) noexcept : Value(NumberTag{}, 'c', static_cast<std::int64_t>(v)) {}
  Value(unsigned char v) noexcept : Value(NumberTag{}, 'C', static_cast<std::uint64_t>(v)) {}
  Value(short v) noexcept : Value(NumberTag{}, 's', static_cast<std::int64_t>(v)) {}
  Value(unsigned short v) noexcept : Value(NumberTag{}, 'S', static_cast<std::uint64_t>(v)) {}
  Value(int v) noexcept : Value(NumberTag{}, 'i', static_cast<std::int64_t>(v)) {}
  Value(unsigned v) noexcept : Value(NumberTag{}, 'I', static_cast<std::uint64_t>(v)) {}
  Value(long v) noexcept : Value(NumberTag{}, 'q', static_cast<std::int64_t>(v)) {}
  Value(unsigned long v) noexcept : Value(NumberTag{}, 'Q', static_cast<std::uint64_t>(v)) {}
  Value(long long v) noexcept : Value(NumberTag{}, 'q', static_cast<std::int64_t>(v)) {}
  Value(unsigned long long v) noexcept : Value(NumberTag{}, 'Q', static_cast<std::uint64_t>(v)) {}
  Value(float v) noexcept : Value(NumberTag{}, 'f', static_cast<double>(v)) {}
  Value(double v) noexcept : Value(NumberTag{}, 'd', v) {}
  // A number of the given kind character, made from the value's bits in the widest type of its
  // group (signed, unsigned, floating). An unknown kind character gives 'q'.
  static Value numberOfKind(char kind, std::int64_t v) noexcept;
  static Value numberOfKind(char kind, std::uint64_t v) noexcept;
  static Value numberOfKind(char kind, double v) noexcept;

  // Strings (UTF-8 text; any bytes, NUL included, are kept as given). A null `const char*` gives
  // absent.
  Value(const char* text);
  Value(std::string_view text);
  Value(const std::string& text) : Value(std::string_view(text)) {}

  // A date: seconds since 1970-01-01 00:00 UTC.
  static Value date(double secondsSince1970) noexcept;
  // Binary data, copied.
  static Value data(const void* bytes, std::size_t size);

  // A model object (or any Object); a null reference gives absent. A raw pointer to an object
  // must be wrapped explicitly; pointers to anything else do not make a Value.
  template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
  Value(const Ref<T>& object) noexcept : Value(static_cast<const Object*>(object.get())) {}
  // The same, taking over the reference.
  template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
  Value(Ref<T>&& object) noexcept : Value(AdoptObject{}, static_cast<const Object*>(object.detach())) {}
  // An object from a raw pointer: the Value counts a reference of its own, and the caller keeps
  // the one it holds. A nullptr gives absent.
  explicit Value(const Object* object) noexcept;

  // Copying shares the payload: one more reference, never a copy of the bytes. Moving hands the
  // payload over and leaves the source absent; swapping exchanges two values without touching a
  // count. The destructor drops the value's reference.

  Value(const Value& other) noexcept : raw_{} {
    std::memcpy(raw_, other.raw_, sizeof raw_);
    if (const Object* held = object()) {
      held->retain();
    } else if (isHeap()) {
      retainHeap();
    }
  }
  Value(Value&& other) noexcept : raw_{} {
    std::memcpy(raw_, other.raw_, sizeof raw_);
    other.raw_[kTagByte] = kAbsentTag;
  }
  Value& operator=(const Value& other) noexcept {
    Value copy(other);
    swap(copy);
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    Value moved(static_cast<Value&&>(other));
    swap(moved);
    return *this;
  }
  ~Value() {
    if (const Object* held = object()) {
      held->release();
    } else if (isHeap()) {
      releaseHeap();
    }
  }
  void swap(Value& other) noexcept {
    unsigned char tmp[16];
    std::memcpy(tmp, raw_, 16);
    std::memcpy(raw_, other.raw_, 16);
    std::memcpy(other.raw_, tmp, 16);
  }

  // --- Kind ---------------------------------------------------------------------------------

  // What the value holds; both kinds of string storage are Kind::kString.
  Kind kind() const noexcept {
    constexpr Kind kByTag[] = {Kind::kAbsent, Kind::kNull,  Kind::kNumber, Kind::kDate,
                               Kind::kString, Kind::kString, Kind::kData,  Kind::kArray,
                               Kind::kDictionary, Kind::kModel};
    return kByTag[tag()];
  }

  // Whether the value is absent, or anything else (the null included). A Value tests true when
  // it is present.

  bool isAbsent() const noexcept { return tag() == kAbsentTag; }
  bool isPresent() const noexcept { return tag() != kAbsentTag; }
  explicit operator bool() const noexcept { return isPresent(); }
  // Whether the value is the null (not absent).
  bool isNull() const noexcept { return tag() == kNullTag; }
  // Absent or the null.
  bool isNothing() const noexcept { return tag() <= kNullTag; }

  // Whether the value is of the kind: a number (booleans included), a string, a date, data, an
  // array, a dictionary (mutable or not), or an object (model objects and any other Object).

  bool isNumber() const noexcept { return tag() == kNumberTag; }
  bool isString() const noexcept { return tag() == kInlineStringTag || tag() == kHeapStringTag; }
  bool isDate() const noexcept { return tag() == kDateTag; }
  bool isData() const noexcept { return tag() == kDataTag; }
  bool isArray() const noexcept { return tag() == kArrayTag; }
  bool isDictionary() const noexcept { return tag() == kDictionaryTag; }
  bool isModel() const noexcept { return tag() == kObjectTag; }

  // Whether the value is a mutable container: an array or a dictionary (isMutable), or the one
  // named. False for every other value, the immutable containers included.

  bool isMutable() const noexcept;
  bool isMutableArray() const noexcept { return isArray() && isMutable(); }
  bool isMutableDictionary() const noexcept { return isDictionary() && isMutable(); }

  // The number's kind character (c C s S i I q Q f d B), or 0 for other kinds.
  char numberKind() const noexcept { return isNumber() ? static_cast<char>(raw_[kAuxByte]) : '\0'; }
  // Whether the value is a number made from a bool (kind 'B').
  bool isBoolean() const noexcept { return numberKind() == 'B'; }
  // Whether the value is a number made from a float or a double (kind 'f' or 'd').
  bool isFloatingPoint() const noexcept { return numberKind() == 'f' || numberKind() == 'd'; }

  // --- Lenient numeric accessors --------------------------------------------------------------
  //
  // Number: the machine conversion of the held value (truncation toward zero from floating point,
  //   saturating at the 64-bit range, then wrap-around to narrower widths).
  // Null: the accessor of the number 0.
  // String: intValue, longLongValue, integerValue, floatValue and doubleValue read the longest
  //   numeric prefix after leading white space ("12abc" gives 12, "abc" 0, on overflow the nearest
  //   limit); boolValue is true when the first non-blank character is Y, y, T, t or a digit 1 to 9.
  //   The other accessors read stringNumber(), the whole-string parse, and give 0 when the string
  //   is not entirely a number: "12abc" gives 12 through intValue but 0 through longValue.
  // Other kinds and absent: 0.

  std::int8_t charValue() const noexcept;
  std::uint8_t unsignedCharValue() const noexcept;
  std::int16_t shortValue() const noexcept;
  std::uint16_t unsignedShortValue() const noexcept;
  std::int32_t intValue() const noexcept;
  std::uint32_t unsignedIntValue() const noexcept;
  std::int64_t longValue() const noexcept;
  std::uint64_t unsignedLongValue() const noexcept;
  std::int64_t longLongValue() const noexcept;
  std::uint64_t unsignedLongLongValue() const noexcept;
  std::int64_t integerValue() const noexcept;
  std::uint64_t unsignedIntegerValue() const noexcept;
  bool boolValue() const noexcept;
  float floatValue() const noexcept;
  double doubleValue() const noexcept;

  // The value as a string: a string itself; a number's text ("12", "1.5", a boolean "1" or "0");
  // the null's "0" (not ""). Absent for other kinds.
  String stringValue() const;
  // The value as a number: a number itself; the null's integer 0; for a string, the number that
  // the whole string spells ("42", "-1.5", "1e3"; "." is the decimal separator) or absent.
  // Absent for other kinds.
  Number stringNumber() const;
  // Equality as numbers, through stringNumber(); false when either side is no number.
  bool isEqualToNumber(const Value& number) const;

  // --- String operations ----------------------------------------------------------------------
  //
  // A string answers them on its text; a number answers them on its "%@" text (the number 5 has
  // length 1); other kinds answer 0, false or absent.

  bool respondsToStringOperations() const noexcept { return isString() || isNumber(); }
  // The length in UTF-16 code units, as the platform's strings count it.
  std::size_t length() const;

  // Whether the text equals, begins with, ends with or contains the argument, byte for byte.

  bool isEqualToString(std::string_view text) const;
  bool hasPrefix(std::string_view prefix) const;
  bool hasSuffix(std::string_view suffix) const;
  bool containsString(std::string_view text) const;
  // The text with its ASCII letters made lower case; other bytes stay as they are.
  String lowercaseString() const;
  // The text with its ASCII letters made upper case; other bytes stay as they are.
  String uppercaseString() const;

  // Whether the value is a string of at least one character.
  bool isNotEmpty() const noexcept;

  // --- Payload access -------------------------------------------------------------------------

  // The bytes of a string; empty for other kinds. The view lives as long as this Value.
  std::string_view stringView() const noexcept {
    if (tag() == kInlineStringTag) return {reinterpret_cast<const char*>(raw_), raw_[kAuxByte]};
    if (tag() == kHeapStringTag) return static_cast<const detail::HeapBytes*>(heap())->view();
    return {};
  }
  // Seconds since 1970 of a date; 0 for other kinds.
  double timeIntervalSince1970() const noexcept;
  // The referenced object of the model kind, or nullptr.
  const Object* object() const noexcept {
    if (tag() != kObjectTag) return nullptr;
    const Object* held;
    std::memcpy(&held, raw_, sizeof held);
    return held;
  }
  // The same as a counted reference; null for other kinds.
  Ref<Object> objectRef() const noexcept;
  // The object as a T (by dynamic_cast), counted; null when the value holds no T.
  template <class T>
  Ref<T> objectAs() const& noexcept {
    return Ref<T>(const_cast<T*>(dynamic_cast<const T*>(object())));
  }
  // The same from a value that goes away: its reference moves into the result, when there is one.
  template <class T>
  Ref<T> objectAs() && noexcept {
    T* found = const_cast<T*>(dynamic_cast<const T*>(object()));
    if (!found) return nullptr;
    detachObject();
    return Ref<T>::adopt(found);
  }
  // Leaves the value absent without releasing its object, whose reference the caller takes over;
  // returns the object, or nullptr (and changes nothing) when the value holds none.
  const Object* detachObject() noexcept {
    const Object* held = object();
    if (held) raw_[kTagByte] = kAbsentTag;
    return held;
  }

  // Typed views: the value itself when it is of the kind, absent otherwise. Defined in the view's
  // own header.

  String asString() const;
  Number asNumber() const;
  Date asDate() const;
  Data asData() const;
  Array asArray() const;
  MutableArray asMutableArray() const;
  Dictionary asDictionary() const;
  MutableDictionary asMutableDictionary() const;

  // --- Identity -------------------------------------------------------------------------------

  // Equality as the platform's isEqual: numbers compare numerically (booleans as 0 and 1), strings
  // by bytes, dates by instant, data by bytes, arrays element by element, dictionaries by their
  // sets of entries (order is ignored), objects by Object::isEqual. Absent equals only absent.
  bool isEqual(const Value& other) const;
  friend bool operator==(const Value& a, const Value& b) { return a.isEqual(b); }
  // Equality that also asks the kinds to agree: isEqual, except that a boolean equals only a
  // boolean and an integer only an integer, a floating-point number only a floating-point number
  // (true is not 1, 1 is not 1.0), throughout arrays and dictionaries too.
  bool strictEquals(const Value& other) const;
  // A hash consistent with isEqual.
  std::size_t hash() const;
  // Whether both refer to the same heap payload (or hold identical inline payloads).
  bool isIdenticalTo(const Value& other) const noexcept;

  // The "%@" text: a string itself; numbers "12", "1.5"; the null "<null>"; dates
  // "2001-01-01 00:00:00 +0000"; data "<0102abcd>"; arrays and dictionaries in the platform's
  // property-list layout; objects their description(). Absent gives "(null)".
  std::string description() const;

 protected:
  struct NumberTag {};
  // A number of kind character `kind` whose payload word holds `v`: an std::int64_t, an
  // std::uint64_t or a double, by the kind's group.
  template <class Payload>
  Value(NumberTag, char kind, Payload v) noexcept : raw_{} {
    std::memcpy(raw_, &v, sizeof v);
    raw_[kAuxByte] = static_cast<unsigned char>(kind);
    raw_[kTagByte] = kNumberTag;
  }

  // Layout: bytes 0..7 hold the payload word (integer, double or heap pointer) or bytes 0..13 an
  // inline string; byte 14 holds the number kind or the inline string length; byte 15 the tag.

  static constexpr int kAuxByte = 14;
  static constexpr int kTagByte = 15;
  // The longest string, in bytes, that the value holds inline.
  static constexpr std::size_t kInlineCapacity = 14;
  // What the tag byte holds: the kinds, with strings split by where their bytes live. The tags
  // from kHeapStringTag on refer to heap payloads (isHeap()), and kind() maps tags by position.
  enum Tag : unsigned char {
    kAbsentTag = 0,
    kNullTag,
    kNumberTag,
    kDateTag,
    kInlineStringTag,
    // Heap kinds from here on.
    kHeapStringTag,
    kDataTag,
    kArrayTag,
    kDictionaryTag,
    kObjectTag,
  };

  // The tag byte.
  unsigned char tag() const noexcept { return raw_[kTagByte]; }
  // Whether the value holds a counted reference: to a heap payload or to an object.
  bool isHeap() const noexcept { return tag() >= kHeapStringTag; }
  // The header of the heap payload; only for heap tags other than kObjectTag.
  detail::HeapBase* heap() const noexcept {
    detail::HeapBase* p;
    std::memcpy(&p, raw_, sizeof p);
    return p;
  }
  // Takes over one reference to the heap object.
  static Value adoptHeap(Tag tag, const void* heapObject) noexcept;
  struct AdoptObject {};
  // Takes over one reference to the object (none for a null pointer, which gives absent).
  Value(AdoptObject, const Object* object) noexcept;

  // The payload word as the number group stores it (signed, unsigned, floating point); a date's
  // seconds are a double.

  std::int64_t rawInt() const noexcept {
    std::int64_t v;
    std::memcpy(&v, raw_, sizeof v);
    return v;
  }
  std::uint64_t rawUnsigned() const noexcept {
    std::uint64_t v;
    std::memcpy(&v, raw_, sizeof v);
    return v;
  }
  double rawDouble() const noexcept {
    double v;
    std::memcpy(&v, raw_, sizeof v);
    return v;
  }

 private:
  friend struct ValueAccess;
  friend struct NumberReader;
  void retainHeap() const noexcept;
  void releaseHeap() noexcept;

  alignas(8) unsigned char raw_[16];
};

static_assert(sizeof(Value) == 16, "Value is two words");

// The hash functor for unordered containers keyed by Value: Value::hash().
struct ValueHash {
  // The hash of `v`, consistent with ValueEqual.
  std::size_t operator()(const Value& v) const { return v.hash(); }
};
// The equality functor for unordered containers keyed by Value: Value::isEqual().
struct ValueEqual {
  // Whether `a` and `b` are equal values.
  bool operator()(const Value& a, const Value& b) const { return a.isEqual(b); }
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_VALUE_HPP_
