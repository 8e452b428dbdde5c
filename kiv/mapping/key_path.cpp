#include "kiv/mapping/key_path.hpp"

#include <utility>
#include <vector>

#include "kiv/foundation/value_heap.hpp"
#include "kiv/mapping/internal/nesting_guard.hpp"

namespace kiv {
namespace {

std::vector<std::string_view> split(std::string_view path) {
  std::vector<std::string_view> components;
  std::size_t start = 0;
  for (std::size_t dot; (dot = path.find('.', start)) != std::string_view::npos; start = dot + 1) {
    components.push_back(path.substr(start, dot - start));
  }
  components.push_back(path.substr(start));
  return components;
}

// Whether a write may replace `existing` by `value`: the same kind, booleans a kind of their own.
bool sameKind(const Value& existing, const Value& value) {
  return existing.kind() == value.kind() && existing.isBoolean() == value.isBoolean();
}

// The walk of a dotted key path over Values (nodes are const Value*) or over a parsed document
// (nodes are JSONElements), from `current` through each component of `path`.
bool isAbsent(const Value* v) { return v->isAbsent(); }
bool isAbsent(const JSONElement& e) { return !e; }
bool isNull(const Value* v) { return v->isNull(); }
bool isNull(const JSONElement& e) { return e.isNull(); }
bool isDictionary(const Value* v) { return v->isDictionary(); }
bool isDictionary(const JSONElement& e) { return e.isDictionary(); }
const Value* entry(const Value* dictionary, std::string_view key) { return &Dictionary::lookup(*dictionary, key); }
JSONElement entry(const JSONElement& object, std::string_view key) { return object.fieldValue(key); }
const Value* absent(const Value*) { return &detail::absentValue(); }
JSONElement absent(const JSONElement&) { return JSONElement(); }

template <class Node>
Node walk(Node current, std::string_view path) {
  std::size_t start = 0;
  while (true) {
    // Absent ends the walk as absent, and a null met on the way is the result.
    if (isAbsent(current) || isNull(current)) return current;
    if (!isDictionary(current)) return absent(current);
    const std::size_t dot = path.find('.', start);
    current = entry(current, path.substr(start, dot - start));
    if (dot == std::string_view::npos) return current;
    start = dot + 1;
  }
}

void setPlainKey(const MutableDictionary& receiver, const Value& value, std::string_view key) {
  const Value& existing = receiver.objectForKey(key);
  if (existing.isAbsent()) {
    receiver.setObject(value, key);
  } else if (existing.isDictionary() && value.isDictionary()) {
    const NestingGuard nesting;  // a dictionary that holds itself would merge without end
    if (nesting.tooDeep()) return;
    const MutableDictionary nested = existing.asMutableDictionary();
    // The writes may grow the merged dictionary itself (when it is, or is inside, `nested`):
    // merge the pairs it held when the write began.
    const Dictionary pairs = value.isMutable() ? value.asDictionary().copy() : value.asDictionary();
    for (const DictionaryEntry& e : pairs) kiv_setValue(nested, e.value, e.key.view());
  } else if (sameKind(existing, value)) {
    receiver.setObject(value, key);
  }
}

// Takes the value by copy: it may sit inside the receiver, in a dictionary that the walk replaces.
void setDottedPath(const MutableDictionary& receiver, Value value, std::string_view path) {
  const std::vector<std::string_view> components = split(path);
  MutableDictionary top = receiver;

  const std::string_view first = components.front();
  if (top.objectForKey(first).isNothing()) top.setObject(MutableDictionary::dictionary(), first);
  Value current = top.objectForKey(first);
  if (!current.isMutableDictionary()) return;

  for (std::size_t i = 1; i + 1 < components.size(); ++i) {
    const std::string_view component = components[i];
    if (top.objectForKey(component).isNothing() && current.isPresent()) {
      if (!current.isMutableDictionary()) return;
      current.asMutableDictionary().setObject(MutableDictionary::dictionary(), component);
    }
    if (current.isAbsent()) continue;  // a walk that lost its dictionary carries nothing on
    if (!current.isDictionary()) return;
    current = current.asDictionary().objectForKey(component);
  }

  if (current.isPresent() && !current.isMutableDictionary()) return;
  current.asMutableDictionary().setObject(std::move(value), components.back());
}

}  // namespace

const Value& kiv_valueForKey(const Dictionary& receiver, std::string_view keyPath) {
  if (keyPath.find('.') == std::string_view::npos) return receiver.objectForKey(keyPath);
  return *walk(&static_cast<const Value&>(receiver), keyPath);
}

const Value& kiv_valueForRestOfKeyPath(const Value& entry, std::string_view restOfPath) {
  return *walk(&entry, restOfPath);
}

JSONElement kiv_valueForKey(const JSONElement& receiver, std::string_view keyPath) {
  if (keyPath.find('.') == std::string_view::npos) return receiver.fieldValue(keyPath);
  return walk(receiver, keyPath);
}

JSONElement kiv_valueForRestOfKeyPath(const JSONElement& entry, std::string_view restOfPath) {
  return walk(entry, restOfPath);
}

void kiv_setValue(const MutableDictionary& receiver, const Value& value, std::string_view keyPath) {
  if (value.isAbsent() || receiver.isAbsent()) return;
  if (keyPath.find('.') == std::string_view::npos) {
    setPlainKey(receiver, value, keyPath);
  } else {
    setDottedPath(receiver, value, keyPath);
  }
}

void kiv_setValue(const MutableDictionary& receiver, const Value& value, const Value& keyPath) {
  if (keyPath.isString()) kiv_setValue(receiver, value, keyPath.stringView());
}

}  // namespace kiv
