// JSON text to Values, over simdjson's document parser: simdjson validates the whole text (UTF-8,
// structure, numbers) and lays it out as a flat tape, with strings unescaped and numbers parsed;
// the Values are then built from the tape in one walk.
//
// The tape knows how many children each container has, so every container is allocated once, at
// its exact size, and its children are built straight into it.
#include <simdjson.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {

namespace dom = simdjson::dom;
using simdjson::error_code;

// --- Elements ---------------------------------------------------------------------------------

static_assert(sizeof(dom::element) <= sizeof(JSONElement) && std::is_trivially_copyable_v<dom::element>,
              "a JSONElement holds a simdjson element");

struct JSONElementAccess {
  static JSONElement wrap(const dom::element& e) noexcept {
    JSONElement out;
    std::memcpy(out.handle_, &e, sizeof e);
    return out;
  }
  static dom::element unwrap(const JSONElement& e) noexcept {
    dom::element out;
    std::memcpy(static_cast<void*>(&out), e.handle_, sizeof out);
    return out;
  }
  // A default element is all zero bytes; an element of a document never is (it names the document).
  static bool isAbsent(const JSONElement& e) noexcept {
    static constexpr unsigned char kZero[sizeof e.handle_] = {};
    return std::memcmp(e.handle_, kZero, sizeof kZero) == 0;
  }
};

namespace {

using Access = JSONElementAccess;

// The object or array that an element of that type holds.
dom::object asObject(dom::element e) noexcept {
  dom::object object;
  [[maybe_unused]] const error_code checked = e.get(object);
  return object;
}
dom::array asArray(dom::element e) noexcept {
  dom::array array;
  [[maybe_unused]] const error_code checked = e.get(array);
  return array;
}

bool isContainer(dom::element_type type) noexcept {
  return type == dom::element_type::OBJECT || type == dom::element_type::ARRAY;
}

// The number of children of a container; the tape's count stops at 0xFFFFFF.
template <class Container>
std::size_t childCount(const Container& c) noexcept {
  const std::size_t n = c.size();
  if (n < 0xFFFFFF) return n;
  std::size_t counted = 0;
  for (auto it = c.begin(); it != c.end(); ++it) ++counted;
  return counted;
}

// --- Keys -------------------------------------------------------------------------------------

// Keys repeat across the objects of a document ("screen_name" in every user). Keys too long to
// live inside a Value are shared through this table, so each distinct key is allocated once per
// document; and since every long key of an object comes from here, two keys are equal exactly
// when their Values are identical, which finding repeated keys relies on.
class KeyTable {
 public:
  String intern(std::string_view key) {
    if (key.size() <= ValueAccess::kInlineCapacity) return String(key);
    if ((used_.size() + 1) * 2 > slots_.size()) grow();
    const std::uint64_t hash = detail::hashBytes(key.data(), key.size());
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
      Slot& s = slots_[i];
      if (s.key.isAbsent()) {
        s.hash = hash;
        s.key = String(key);
        used_.push_back(i);
        return s.key;
      }
      if (s.hash == hash && s.key.view() == key) return s.key;
    }
  }

  // Forgets every key; a table grown for a document with many keys goes back to its first size.
  void clear() {
    if (slots_.size() > kInitialSlots) {
      slots_ = std::vector<Slot>(kInitialSlots);
    } else {
      for (std::size_t i : used_) slots_[i] = Slot();
    }
    used_.clear();
  }

 private:
  static constexpr std::size_t kInitialSlots = 256;
  struct Slot {
    std::uint64_t hash = 0;
    String key;
  };

  void grow() {
    std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size() * 2));
    used_.clear();
    const std::size_t mask = slots_.size() - 1;
    for (Slot& s : old) {
      if (s.key.isAbsent()) continue;
      std::size_t i = s.hash & mask;
      while (slots_[i].key.isPresent()) i = (i + 1) & mask;
      slots_[i] = std::move(s);
      used_.push_back(i);
    }
  }

  std::vector<Slot> slots_ = std::vector<Slot>(kInitialSlots);
  std::vector<std::size_t> used_;
};

// --- Repeated keys ----------------------------------------------------------------------------

// A repeated key keeps its first place and its last value. Objects are built with every field
// first and tidied when they close; keys are compared by identity (see KeyTable).
class RepeatedKeys {
 public:
  void remove(detail::ElementBuffer<DictionaryEntry>& entries) {
    const std::size_t n = entries.size();
    if (n < 2) return;
    std::size_t kept = n <= kLinearLimit ? removeByScan(entries) : removeByTable(entries);
    while (entries.size() > kept) entries.pop_back();
  }

 private:
  static constexpr std::size_t kLinearLimit = 8;

  static bool sameKey(const DictionaryEntry& a, const DictionaryEntry& b) noexcept {
    return ValueAccess::rawWord(a.key, 0) == ValueAccess::rawWord(b.key, 0) &&
           ValueAccess::rawWord(a.key, 1) == ValueAccess::rawWord(b.key, 1);
  }

  // Moves entry `from` to its place: onto an earlier entry of the same key, or to `kept`, the
  // end of the entries kept so far. Returns whether it was kept.
  static bool place(detail::ElementBuffer<DictionaryEntry>& entries, std::size_t from, std::size_t kept,
                    std::ptrdiff_t earlier) {
    if (earlier >= 0) {
      entries[static_cast<std::size_t>(earlier)].value = std::move(entries[from].value);
      return false;
    }
    if (from != kept) entries[kept] = std::move(entries[from]);
    return true;
  }

  static std::size_t removeByScan(detail::ElementBuffer<DictionaryEntry>& entries) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      std::ptrdiff_t earlier = -1;
      for (std::size_t j = 0; j < kept; ++j) {
        if (sameKey(entries[j], entries[i])) {
          earlier = static_cast<std::ptrdiff_t>(j);
          break;
        }
      }
      kept += place(entries, i, kept, earlier);
    }
    return kept;
  }

  std::size_t removeByTable(detail::ElementBuffer<DictionaryEntry>& entries) {
    std::size_t slots = 32;
    while (slots < entries.size() * 2) slots *= 2;
    positions_.assign(slots, 0);
    const std::size_t mask = slots - 1;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::uint64_t hash =
          (ValueAccess::rawWord(entries[i].key, 0) * 0x9E3779B97F4A7C15ULL) ^
          (ValueAccess::rawWord(entries[i].key, 1) * 0xC2B2AE3D27D4EB4FULL);
      std::size_t slot = (hash >> 32) & mask;
      std::ptrdiff_t earlier = -1;
      for (; positions_[slot] != 0; slot = (slot + 1) & mask) {
        const std::size_t at = positions_[slot] - 1;
        if (sameKey(entries[at], entries[i])) {
          earlier = static_cast<std::ptrdiff_t>(at);
          break;
        }
      }
      if (place(entries, i, kept, earlier)) positions_[slot] = static_cast<std::uint32_t>(++kept);
    }
    return kept;
  }

  std::vector<std::uint32_t> positions_;
};

// --- Building Values --------------------------------------------------------------------------

// What building needs besides the document: scratch space kept per thread. Building calls no code
// that could build again on the same thread, so one set serves every document of the thread.
struct BuildScratch {
  KeyTable keys;
  RepeatedKeys repeated;

  // An open container: the one being filled, and the iterator over what is still to add.
  struct Frame {
    detail::HeapDictionary* dictionary;  // one of these two is set
    detail::HeapArray* array;
    dom::object::iterator field, fieldEnd;
    dom::array::iterator element, elementEnd;
  };
  std::vector<Frame> frames;
};

BuildScratch& buildScratch() {
  thread_local BuildScratch scratch;
  return scratch;
}

// Builds the Values of one element with an explicit stack of open containers rather than by
// recursion, so that no document, however deep, can exhaust the thread's stack.
class ValueBuilder {
 public:
  ValueBuilder(BuildScratch& scratch, bool isMutable) : s_(scratch), mutable_(isMutable) {}

  Value build(dom::element root) {
    s_.frames.clear();
    if (!isContainer(root.type())) return scalar(root);
    Value result = open(root);
    while (!s_.frames.empty()) {
      BuildScratch::Frame& f = s_.frames.back();
      if (f.dictionary ? fillDictionary(f) : fillArray(f)) {
        if (f.dictionary) s_.repeated.remove(f.dictionary->entries);
        s_.frames.pop_back();
      }
    }
    return result;
  }

 private:
  static Value scalar(dom::element e) {
    switch (e.type()) {
      case dom::element_type::STRING: return Value(e.get_string().value_unsafe());
      case dom::element_type::INT64: return Value(static_cast<long long>(e.get_int64().value_unsafe()));
      case dom::element_type::UINT64:
        return Value(static_cast<unsigned long long>(e.get_uint64().value_unsafe()));
      case dom::element_type::DOUBLE: return Value(e.get_double().value_unsafe());
      case dom::element_type::BOOL: return Value(e.get_bool().value_unsafe());
      default: return Value::null();
    }
  }

  // The Value of a container, made at its final size; a frame to fill it is pushed unless it is
  // empty.
  Value open(dom::element e) {
    if (e.type() == dom::element_type::OBJECT) {
      const dom::object object = asObject(e);
      const std::size_t n = childCount(object);
      if (n == 0 && !mutable_) return Dictionary::emptyDictionary();
      detail::HeapDictionary* d = detail::HeapDictionary::make(n, mutable_);
      if (n) s_.frames.push_back({d, nullptr, object.begin(), object.end(), {}, {}});
      return ValueAccess::adopt(ValueAccess::kDictionaryTag, d);
    }
    const dom::array array = asArray(e);
    const std::size_t n = childCount(array);
    if (n == 0 && !mutable_) return Array::emptyArray();
    detail::HeapArray* a = detail::HeapArray::make(n, mutable_);
    if (n) s_.frames.push_back({nullptr, a, {}, {}, array.begin(), array.end()});
    return ValueAccess::adopt(ValueAccess::kArrayTag, a);
  }

  // Adds the object's fields in order, until one opens a container that must be filled first
  // (false) or the object is complete (true). `f` is not used after a container is opened, since
  // opening may move the frames.
  bool fillDictionary(BuildScratch::Frame& f) {
    detail::ElementBuffer<DictionaryEntry>& entries = f.dictionary->entries;
    while (f.field != f.fieldEnd) {
      String key = s_.keys.intern(f.field.key());
      const dom::element value = f.field.value();
      ++f.field;
      if (!isContainer(value.type())) {
        entries.push_back({std::move(key), scalar(value)});
        continue;
      }
      const std::size_t depth = s_.frames.size();
      entries.push_back({std::move(key), open(value)});
      if (s_.frames.size() != depth) return false;
    }
    return true;
  }

  bool fillArray(BuildScratch::Frame& f) {
    detail::ElementBuffer<Value>& items = f.array->items;
    while (f.element != f.elementEnd) {
      const dom::element value = *f.element;
      ++f.element;
      if (!isContainer(value.type())) {
        items.push_back(scalar(value));
        continue;
      }
      const std::size_t depth = s_.frames.size();
      items.push_back(open(value));
      if (s_.frames.size() != depth) return false;
    }
    return true;
  }

  BuildScratch& s_;
  bool mutable_;
};

// --- Parsers ----------------------------------------------------------------------------------

// Texts up to this size leave the parser's buffers (about 14 bytes per byte of text, touched only
// as far as a document needs) with the thread for the next document; larger ones release them.
constexpr std::size_t kRetainedCapacity = std::size_t{4} << 20;
constexpr std::size_t kInitialCapacity = std::size_t{64} << 10;

}  // namespace

namespace detail {

struct JSONParserState {
  JSONParserState() { reset(); }

  // A fresh parser, whose depth limit is the reader's: simdjson stops deeper documents itself.
  void reset() {
    parser = dom::parser();
    const error_code allocated = parser.allocate(kInitialCapacity, kMaxJSONDepth);
    static_cast<void>(allocated);  // should it fail, parsing allocates as it needs
  }

  dom::parser parser;
  bool inUse = false;
  bool owned = false;  // made for one document, while the thread's own parser was busy
};

}  // namespace detail

namespace {

using detail::JSONParserState;

JSONParserState* acquireParser() {
  thread_local JSONParserState threadParser;
  if (!threadParser.inUse) {
    threadParser.inUse = true;
    return &threadParser;
  }
  auto* own = new JSONParserState();
  own->owned = true;
  return own;
}

void releaseParser(JSONParserState* p) {
  if (p->owned) {
    delete p;
    return;
  }
  if (p->parser.capacity() > kRetainedCapacity) p->reset();
  buildScratch().keys.clear();
  p->inUse = false;
}

// Whether the text of an integer ("-12", "345") fits a 64-bit integer, signed or unsigned.
bool fitsIn64Bits(std::string_view digits) {
  const char* first = digits.data();
  const char* last = first + digits.size();
  if (digits.front() == '-') {
    std::int64_t v;
    return std::from_chars(first, last, v).ec != std::errc::result_out_of_range;
  }
  std::uint64_t v;
  return std::from_chars(first, last, v).ec != std::errc::result_out_of_range;
}

// simdjson refuses integers beyond 64 bits, which Kiv reads as the nearest double. The same text
// with ".0" after each such integer reads that way; every other token, and so the validity of the
// text, is unchanged. Empty when the text has no such integer.
std::string widenLongIntegers(std::string_view text) {
  std::string out;
  bool changed = false;
  auto isNumberChar = [](char c) { return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E'; };
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t j = i + 1;
    if (text[i] == '"') {
      while (j < text.size() && text[j] != '"') j += text[j] == '\\' ? 2 : 1;
      j = std::min(j + 1, text.size());
    } else if (isNumberChar(text[i])) {
      while (j < text.size() && isNumberChar(text[j])) ++j;
    }
    const std::string_view token = text.substr(i, j - i);
    out.append(token);
    const std::size_t sign = token.front() == '-' ? 1 : 0;
    if (token.size() > sign && token.find_first_not_of("0123456789", sign) == std::string_view::npos &&
        !fitsIn64Bits(token)) {
      out.append(".0");
      changed = true;
    }
    i = j;
  }
  return changed ? out : std::string();
}

error_code parseInto(dom::parser& parser, std::string_view text, dom::element& root) {
  error_code e = parser.parse(text.data(), text.size(), true).get(root);
  if (e != simdjson::NUMBER_ERROR) return e;
  const std::string widened = widenLongIntegers(text);
  if (widened.empty()) return e;
  return parser.parse(widened.data(), widened.size(), true).get(root);
}

void setError(Error* error, int code, std::string_view what) {
  if (!error) return;
  error->domain = "KivJSON";
  error->code = code;
  error->message = std::string(what);
}

}  // namespace

// --- JSONElement --------------------------------------------------------------------------------

Kind JSONElement::kind() const noexcept {
  if (Access::isAbsent(*this)) return Kind::kAbsent;
  switch (Access::unwrap(*this).type()) {
    case dom::element_type::OBJECT: return Kind::kDictionary;
    case dom::element_type::ARRAY: return Kind::kArray;
    case dom::element_type::STRING: return Kind::kString;
    case dom::element_type::NULL_VALUE: return Kind::kNull;
    default: return Kind::kNumber;
  }
}

Value JSONElement::value(JSONContainers containers) const {
  if (Access::isAbsent(*this)) return Value();
  return ValueBuilder(buildScratch(), containers == JSONContainers::kMutable).build(Access::unwrap(*this));
}

std::size_t JSONElement::count() const noexcept {
  switch (kind()) {
    case Kind::kDictionary: return childCount(asObject(Access::unwrap(*this)));
    case Kind::kArray: return childCount(asArray(Access::unwrap(*this)));
    default: return 0;
  }
}

JSONElement JSONElement::fieldValue(std::string_view key) const noexcept {
  JSONElement found;
  if (!isDictionary()) return found;
  const dom::object object = asObject(Access::unwrap(*this));
  for (auto it = object.begin(); it != object.end(); ++it) {
    if (it.key_equals(key)) found = Access::wrap(it.value());
  }
  return found;
}

void JSONElement::visitFields(void* context, FieldVisitor visitor) const {
  if (!isDictionary()) return;
  const dom::object object = asObject(Access::unwrap(*this));
  for (auto it = object.begin(); it != object.end(); ++it) visitor(context, it.key(), Access::wrap(it.value()));
}

void JSONElement::visitElements(void* context, ElementVisitor visitor) const {
  if (!isArray()) return;
  for (const dom::element e : asArray(Access::unwrap(*this))) visitor(context, Access::wrap(e));
}

// --- JSONDocument -------------------------------------------------------------------------------

JSONDocument::JSONDocument(std::string_view text, Error* error) : parser_(acquireParser()) {
  dom::element root;
  if (const error_code e = parseInto(parser_->parser, text, root)) {
    setError(error, static_cast<int>(e), simdjson::error_message(e));
    return;
  }
  if (!isContainer(root.type())) {
    setError(error, static_cast<int>(simdjson::INCORRECT_TYPE), "the top level is not an array or an object");
    return;
  }
  root_ = Access::wrap(root);
}

JSONDocument::~JSONDocument() { releaseParser(parser_); }

// --- parseJSON ----------------------------------------------------------------------------------

Value parseJSON(std::string_view text, JSONContainers containers, Error* error) {
  const JSONDocument document(text, error);
  return document.root().value(containers);
}

Value objectFromJSONString(std::string_view text) {
  return parseJSON(text, JSONContainers::kMutable);
}

}  // namespace kiv
