// JSONReadPlan: how a model class reads its mapped properties from a JSON object, a dictionary or
// an object of a parsed document, built by KivModelAdapter from the class chain's
// PropertyMappings.
//
// Filling a model sets the properties in the defined order (levels from the class up, records in
// mapping order), each from the value that kiv_valueForKey finds at its key path. An object of a
// document, which has no index, is walked once, keeping the last value of each key that starts a
// mapped path (a table of those keys rejects most other keys without comparing their bytes). So
// a model filled from an object of a document equals the model filled from the object's
// dictionary, and the unmapped fields of a document are never turned into Values. A dictionary's
// entry is looked for first where the last dictionary read held it, and otherwise by its key with
// the key's hash computed once for the class.
//
// Immutable once built; the records it points to live in the process-wide property cache.
#ifndef KIV_MAPPING_INTERNAL_JSON_READ_PLAN_HPP_
#define KIV_MAPPING_INTERNAL_JSON_READ_PLAN_HPP_

#include <cstddef>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/mapping/kiv_value.hpp"
#include "kiv/mapping/property_mapping.hpp"
#include "kiv/model/model.hpp"

namespace kiv {

class JSONReadPlan : public Object {
 public:
  // A plan for the mappings of a class's levels, from the class up to, not including, KivModel.
  explicit JSONReadPlan(const std::vector<const PropertyMapping*>& levels);

  // Sets the model's mapped properties from the object's fields.
  void fill(KivModel& model, const JSONElement& object) const;
  void fill(KivModel& model, const Dictionary& object) const;

 private:
  // One record to set: the key its path starts with (an index into firstKeys_) and the rest of
  // the path after the first "." (empty for a plain key).
  struct Step {
    const KivValue* record;
    std::size_t firstKey;
    String restOfPath;
    bool dotted;
  };

  // A slot of the table of first keys: the key's length, its first 8 bytes (zero-filled) and its
  // index in firstKeys_ + 1 (0 for an empty slot), so that a lookup compares bytes only for keys
  // longer than 8 whose length and first 8 bytes match.
  struct Slot {
    std::uint64_t prefix = 0;
    std::uint32_t size = 0;
    std::uint32_t index = 0;
  };

  // The index of the key among firstKeys_, or -1.
  std::ptrdiff_t firstKeyIndex(std::string_view key) const noexcept;

  // Sets each step's property from the value at its key path, given by firstValue(i) the value
  // of first key i (a JSONElement or a Value).
  template <class FirstValue>
  void setSteps(KivModel& model, FirstValue&& firstValue) const;

  // The entry of first key i in a dictionary, or absent.
  const Value& firstValue(const Dictionary& object, std::size_t i) const noexcept;

  std::vector<String> firstKeys_;
  std::vector<std::uint64_t> firstKeyHashes_;  // Dictionary::keyHash() of each
  // Where each first key was found in the last dictionary read: dictionaries of one kind usually
  // hold their keys in the same order, so a lookup mostly compares one key. Only a guess: any
  // thread may overwrite it.
  mutable std::unique_ptr<std::atomic<std::uint32_t>[]> positionHints_;
  std::vector<Slot> slots_;  // open addressing; the count is a power of two
  int shift_ = 0;            // 64 - log2 of the slot count
  std::vector<Step> steps_;
};

}  // namespace kiv

#endif  // KIV_MAPPING_INTERNAL_JSON_READ_PLAN_HPP_
