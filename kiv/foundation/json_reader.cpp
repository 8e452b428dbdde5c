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

class Builder {
 public:
  void start(JSONContainers containers) { mutable_ = containers == JSONContainers::kMutable; }
  void finish() { keys_.clear(); }

  error_code build(od::value value, Value& out, int depth) {
    od::json_type type;
    if (error_code e = value.type().get(type)) return e;
    switch (type) {
      case od::json_type::object: return buildObject(value, out, depth);
      case od::json_type::array: return buildArray(value, out, depth);
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
    }
    return simdjson::INCORRECT_TYPE;
  }

  template <class Container>
  error_code buildContainer(Container container, Value& out, int depth) {
    if constexpr (std::is_same_v<Container, od::object>) {
      return buildObjectFields(container, out, depth);
    } else {
      return buildArrayElements(container, out, depth);
    }
  }

 private:
  error_code buildObject(od::value value, Value& out, int depth) {
    od::object object;
    if (error_code e = value.get_object().get(object)) return e;
    return buildObjectFields(object, out, depth);
  }

  error_code buildArray(od::value value, Value& out, int depth) {
    od::array array;
    if (error_code e = value.get_array().get(array)) return e;
    return buildArrayElements(array, out, depth);
  }

  error_code buildObjectFields(od::object object, Value& out, int depth) {
    if (depth >= kMaxJSONDepth) return simdjson::DEPTH_ERROR;
    const std::size_t base = entries_.size();
    for (auto field : object) {
      std::string_view key;
      if (error_code e = field.unescaped_key().get(key)) return unwind(e, base);
      // Build the child first: its own children grow the scratch stacks.
      Value child;
      if (error_code e = build(field.value(), child, depth + 1)) return unwind(e, base);
      entries_.push_back({keys_.intern(key), std::move(child)});
    }
    out = makeDictionary(base);
    return simdjson::SUCCESS;
  }

  error_code buildArrayElements(od::array array, Value& out, int depth) {
    if (depth >= kMaxJSONDepth) return simdjson::DEPTH_ERROR;
    const std::size_t base = elements_.size();
    for (auto element : array) {
      od::value v;
      if (error_code e = element.get(v)) return unwind(e, base, elements_);
      Value child;
      if (error_code e = build(v, child, depth + 1)) return unwind(e, base, elements_);
      elements_.push_back(std::move(child));
    }
    if (elements_.size() == base && !mutable_) {
      out = Array::emptyArray();
      return simdjson::SUCCESS;
    }
    auto* heap = detail::HeapArray::make(elements_.size() - base, mutable_);
    for (std::size_t i = base; i < elements_.size(); ++i) heap->items.push_back(std::move(elements_[i]));
    elements_.resize(base);
    out = ValueAccess::adopt(ValueAccess::kArrayTag, heap);
    return simdjson::SUCCESS;
  }

  error_code buildNumber(od::value value, Value& out) {
    od::number number;
    if (error_code e = value.get_number().get(number)) return e;
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

  error_code unwind(error_code e, std::size_t base) {
    entries_.resize(base);
    return e;
  }
  error_code unwind(error_code e, std::size_t base, std::vector<Value>& stack) {
    stack.resize(base);
    return e;
  }

  bool mutable_ = false;
  KeyTable keys_;
  std::vector<DictionaryEntry> entries_;
  std::vector<Value> elements_;
};

struct ThreadParser {
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
  error_code e = simdjson::TAPE_ERROR;
  if (type == od::json_type::object) {
    od::object object;
    e = doc.get_object().get(object);
    if (!e) e = p.builder.buildContainer(object, out, 0);
  } else if (type == od::json_type::array) {
    od::array array;
    e = doc.get_array().get(array);
    if (!e) e = p.builder.buildContainer(array, out, 0);
  }
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
