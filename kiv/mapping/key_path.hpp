// Key paths: reading and writing values in nested dictionaries by dotted paths such as
// "user.profile.name".
//
// A key without "." is an ordinary key. A key with "." is split at every "." (empty components
// included: "a..b" is a, "" and b); there is no escaping, no array index and no wildcard. Both
// operations are lenient: a path that runs into a missing entry or a non-dictionary yields
// nothing, and a write that cannot be made is dropped.
#ifndef KIV_MAPPING_KEY_PATH_HPP_
#define KIV_MAPPING_KEY_PATH_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

// The value at the key path: the entry itself for a plain key (absent, the null or a value);
// for a dotted path, absent as soon as a step meets a missing entry or a non-dictionary, and the
// null as soon as a step meets a null (callers rely on seeing it). The reference lives as long
// as the receiver and its nested dictionaries do, unchanged.
const Value& kiv_valueForKey(const Dictionary& receiver, std::string_view keyPath);
// The rest of the walk for a dotted path: from `entry`, the receiver's entry for the path's first
// component, through the components of `restOfPath`, the path after its first ".".
const Value& kiv_valueForRestOfKeyPath(const Value& entry, std::string_view restOfPath);
// The same over a parsed document: the element that the Values of the receiver would give, read
// in place (a null element when the walk meets a null, absent when it finds nothing).
JSONElement kiv_valueForKey(const JSONElement& receiver, std::string_view keyPath);
// The rest of the walk over a parsed document, from the receiver's element for the path's first
// component.
JSONElement kiv_valueForRestOfKeyPath(const JSONElement& entry, std::string_view restOfPath);

// Writes the value at the key path, changing the receiver and dictionaries nested in it in
// place. An absent value does nothing; the null is written.
// - Plain key: stored when the key has no entry; when both the entry and the value are
//   dictionaries, the value's pairs, as they are when the write begins, are written into the entry
//   one by one (their keys are key paths too), so dictionaries merge (the value may be the entry
//   itself, which the writes then grow; merges nested deeper than kMaxJSONDepth, which only a
//   dictionary that holds itself reaches, stop there); otherwise the entry is replaced only when it has the
//   value's kind (numbers and booleans are different kinds), so a write never changes the kind
//   of an existing entry.
// - Dotted path: the first component's entry is created as a new mutable dictionary when it is
//   missing or the null. A middle component's dictionary is created when the receiver itself
//   (the top level, not the current dictionary) has no entry of that name or holds the null
//   there: this asymmetry is deliberate. The last component is stored unconditionally.
// A step that meets something that is not a mutable dictionary where it must store, or not a
// dictionary where it must read, ends the write there and leaves the rest unchanged.
void kiv_setValue(const MutableDictionary& receiver, const Value& value, std::string_view keyPath);
// The same with the key path given as a Value: a key path that is not a string does nothing.
void kiv_setValue(const MutableDictionary& receiver, const Value& value, const Value& keyPath);
inline void kiv_setValue(const MutableDictionary& receiver, const Value& value, const char* keyPath) {
  kiv_setValue(receiver, value, std::string_view(keyPath));
}
inline void kiv_setValue(const MutableDictionary& receiver, const Value& value,
                         const std::string& keyPath) {
  kiv_setValue(receiver, value, std::string_view(keyPath));
}

}  // namespace kiv

#endif  // KIV_MAPPING_KEY_PATH_HPP_
