// JSON text to Values, over simdjson's on-demand parser: simdjson finds the structure and
// validates the UTF-8 of the whole text; the Values are built directly as the parser walks it.
//
// Children are collected on per-thread scratch stacks and moved into exactly sized containers
// when their parent closes, so every container is allocated once.
#include <simdjson.h>

#include <charconv>
#include <vector>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {
namespace {

namespace od = simdjson::ondemand;
using simdjson::error_code;

// Keys repeat across the objects of a document ("screen_name" in every user). Keys too long to
// live inside a Value are shared through this table for the length of one parse, so that each
// distinct key is allocated once.
class KeyTable {
 public:
  String intern(std::string_view key) {
    if (key.size() <= ValueAccess::kInlineCapacity) return String(key);
    const std::uint64_t hash = detail::hashBytes(key.data(), key.size());
    for (std::size_t slot = hash & kMask, probes = 0; probes < kMaxProbes;
         slot = (slot + 1) & kMask, ++probes) {
      Slot& s = slots_[slot];
      if (s.key.isAbsent()) {
        used_.push_back(slot);
        s.hash = hash;
        s.key = String(key);
        return s.key;
      }
      if (s.hash == hash && s.key.view() == key) return s.key;
    }
    return String(key);  // a crowded neighbourhood: give up sharing rather than search long
  }

  void clear() {
    for (std::size_t slot : used_) slots_[slot].key = String();
    used_.clear();
  }

 private:
  static constexpr std::size_t kSlots = 1024;
  static constexpr std::size_t kMask = kSlots - 1;
  static constexpr std::size_t kMaxProbes = 8;
  struct Slot {
    std::uint64_t hash = 0;
    String key;
  };
  std::vector<Slot> slots_ = std::vector<Slot>(kSlots);
  std::vector<std::size_t> used_;
};

// Walks the document with an explicit stack of open containers rather than by recursion, so that
// no input, however deep, can exhaust the thread's stack.
class Builder {
 public:
  void start(JSONContainers containers) { mutable_ = containers == JSONContainers::kMutable; }

  // Builds the top-level container of the document.
  error_code build(od::document& doc, od::json_type type, Value& out) {
    error_code e = type == od::json_type::object ? openObject(doc.get_object(), String())
                                                 : openArray(doc.get_array(), String());
    while (!e && !frames_.empty()) e = step();
    if (e) {
      reset();
      return e;
    }
    out = std::move(result_);
    return simdjson::SUCCESS;
  }

  void finish() { keys_.clear(); }

 private:
  // An open container: its iterator (simdjson's iterators know their own end) and the scratch
  // position where its children begin.
  struct Frame {
    bool isObject;
    od::object_iterator field;
    od::array_iterator element;
    std::size_t base;
    String key;  // the container's key in its parent object
  };

  // Runs the innermost open container on: its scalar children are built in a tight loop; a
  // container child is opened (and finished by later steps); at its end the container closes.
  error_code step() {
    Frame& f = frames_.back();
    return f.isObject ? stepObject(f) : stepArray(f);
  }

  error_code stepObject(Frame& f) {
    for (; f.field != od::object_iterator(); ++f.field) {
      od::field field;
      if (error_code e = (*f.field).get(field)) return e;
      std::string_view key;
      if (error_code e = field.unescaped_key().get(key)) return e;
      od::value value = field.value();
      od::json_type type;
      if (error_code e = value.type().get(type)) return e;
      if (type == od::json_type::object) return openObject(value.get_object(), keys_.intern(key));
      if (type == od::json_type::array) return openArray(value.get_array(), keys_.intern(key));
      Value scalar;
      if (error_code e = buildScalar(value, type, scalar)) return e;
      entries_.push_back({keys_.intern(key), std::move(scalar)});
    }
    return close(makeDictionary(f.base));
  }

  error_code stepArray(Frame& f) {
    for (; f.element != od::array_iterator(); ++f.element) {
      od::value value;
      if (error_code e = (*f.element).get(value)) return e;
      od::json_type type;
      if (error_code e = value.type().get(type)) return e;
      if (type == od::json_type::object) return openObject(value.get_object(), String());
      if (type == od::json_type::array) return openArray(value.get_array(), String());
      Value scalar;
      if (error_code e = buildScalar(value, type, scalar)) return e;
      elements_.push_back(std::move(scalar));
    }
    return close(makeArray(f.base));
  }

  template <class Object>
  error_code openObject(Object&& result, String key) {
    if (frames_.size() >= kMaxJSONDepth) return simdjson::DEPTH_ERROR;
    od::object object;
    if (error_code e = std::forward<Object>(result).get(object)) return e;
    Frame f{true, {}, {}, entries_.size(), std::move(key)};
    if (error_code e = object.begin().get(f.field)) return e;
    frames_.push_back(std::move(f));
    return simdjson::SUCCESS;
  }

  template <class Array>
  error_code openArray(Array&& result, String key) {
    if (frames_.size() >= kMaxJSONDepth) return simdjson::DEPTH_ERROR;
    od::array array;
    if (error_code e = std::forward<Array>(result).get(array)) return e;
    Frame f{false, {}, {}, elements_.size(), std::move(key)};
    if (error_code e = array.begin().get(f.element)) return e;
    frames_.push_back(std::move(f));
    return simdjson::SUCCESS;
  }

  // Ends the innermost container, whose value is `done`: hands it to its parent, whose iterator
  // moves past it, or makes it the result.
  error_code close(Value done) {
    String key = std::move(frames_.back().key);
    frames_.pop_back();
    if (frames_.empty()) {
      result_ = std::move(done);
    } else if (Frame& parent = frames_.back(); parent.isObject) {
      entries_.push_back({std::move(key), std::move(done)});
      ++parent.field;
    } else {
      elements_.push_back(std::move(done));
      ++parent.element;
    }
    return simdjson::SUCCESS;
  }

  error_code buildScalar(od::value value, od::json_type type, Value& out) {
    switch (type) {
      case od::json_type::string: {
        std::string_view s;
        if (error_code e = value.get_string().get(s)) return e;
        out = Value(s);
        return simdjson::SUCCESS;
      }
      case od::json_type::number: return buildNumber(value, out);
      case od::json_type::boolean: {
        bool b;
        if (error_code e = value.get_bool().get(b)) return e;
        out = Value(b);
        return simdjson::SUCCESS;
      }
      case od::json_type::null: {
        bool isNull;
        if (error_code e = value.is_null().get(isNull)) return e;
        if (!isNull) return simdjson::N_ATOM_ERROR;
        out = Value::null();
        return simdjson::SUCCESS;
      }
      default: return simdjson::INCORRECT_TYPE;
    }
  }

  error_code buildNumber(od::value value, Value& out) {
    od::number number;
    if (error_code e = value.get_number().get(number)) {
      // An integer beyond 64 bits: keep it as the nearest double, as large integers have no
      // other kind here.
      double d;
      if (value.get_double().get(d)) return e;
      out = Value(d);
      return simdjson::SUCCESS;
    }
    switch (number.get_number_type()) {
      case od::number_type::signed_integer: out = Value(static_cast<long long>(number.get_int64())); break;
      case od::number_type::unsigned_integer:
        out = Value(static_cast<unsigned long long>(number.get_uint64()));
        break;
      default: out = Value(number.get_double()); break;
    }
    return simdjson::SUCCESS;
  }

  Value makeDictionary(std::size_t base) {
    if (entries_.size() == base && !mutable_) return Dictionary::emptyDictionary();
    DictionaryEntry* first = entries_.data() + base;
    detail::HeapDictionary* heap =
        detail::makeDictionary(first, entries_.data() + entries_.size(), mutable_);
    entries_.resize(base);
    return ValueAccess::adopt(ValueAccess::kDictionaryTag, heap);
  }

  Value makeArray(std::size_t base) {
    if (elements_.size() == base && !mutable_) return Array::emptyArray();
    auto* heap = detail::HeapArray::make(elements_.size() - base, mutable_);
    for (std::size_t i = base; i < elements_.size(); ++i) heap->items.push_back(std::move(elements_[i]));
    elements_.resize(base);
    return ValueAccess::adopt(ValueAccess::kArrayTag, heap);
  }

  // Drops everything collected for a document that failed.
  void reset() {
    frames_.clear();
    entries_.clear();
    elements_.clear();
    result_ = Value();
  }

  bool mutable_ = false;
  KeyTable keys_;
  std::vector<Frame> frames_;
  std::vector<DictionaryEntry> entries_;
  std::vector<Value> elements_;
  Value result_;
};

struct ThreadParser {
  // simdjson's own depth limit sits above the builder's, which therefore always speaks first
  // (with a clean error, where simdjson's development checks would assert).
  // (Should this first allocation fail, iterate() allocates as it needs.)
  ThreadParser() {
    const error_code allocated = parser.allocate(64 * 1024, kMaxJSONDepth + 8);
    static_cast<void>(allocated);
  }

  od::parser parser;
  Builder builder;
  std::string padded;
};

ThreadParser& threadParser() {
  thread_local ThreadParser p;
  return p;
}

void setError(Error* error, error_code e, std::string_view what) {
  if (!error) return;
  error->domain = "KivJSON";
  error->code = static_cast<int>(e);
  error->message = std::string(what);
}

// Parses the top level, which must be an array or an object followed by nothing but blanks.
error_code parseTopLevel(ThreadParser& p, std::string_view text, Value& out) {
  // The parser reads up to SIMDJSON_PADDING bytes past the end; give it a padded copy.
  p.padded.assign(text);
  p.padded.append(simdjson::SIMDJSON_PADDING, '\0');
  od::document doc;
  if (error_code e = p.parser.iterate(p.padded.data(), text.size(), p.padded.size()).get(doc)) return e;
  od::json_type type;
  if (error_code e = doc.type().get(type)) return e;
  if (type != od::json_type::object && type != od::json_type::array) return simdjson::TAPE_ERROR;
  error_code e = p.builder.build(doc, type, out);
  if (!e && !doc.current_location().error()) e = simdjson::TRAILING_CONTENT;
  return e;
}

}  // namespace

Value parseJSON(std::string_view text, JSONContainers containers, Error* error) {
  ThreadParser& p = threadParser();
  Value out;
  p.builder.start(containers);
  const error_code e = parseTopLevel(p, text, out);
  p.builder.finish();
  if (p.padded.capacity() > (std::size_t{1} << 24)) std::string().swap(p.padded);
  if (e) {
    setError(error, e,
             e == simdjson::TAPE_ERROR ? "the top level is not an array or an object"
                                       : simdjson::error_message(e));
    return Value();
  }
  return out;
}

Value objectFromJSONString(std::string_view text) {
  return parseJSON(text, JSONContainers::kMutable);
}

}  // namespace kiv
