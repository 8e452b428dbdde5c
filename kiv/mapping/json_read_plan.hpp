// JSONReadPlan: how a model class reads its mapped properties straight from an object of a parsed
// JSON document, built by KivModelAdapter from the class chain's PropertyMappings.
//
// Filling a model from an object walks the object's fields once, keeping the last value of each
// key that starts a mapped key path, and then sets the properties in the order of the dictionary
// path (levels from the class up, records in mapping order), each from the element that
// kiv_valueForKey would find. So a model filled from an object equals the model filled from the
// object's dictionary, while the unmapped fields are never turned into Values.
//
// Immutable once built; the records it points to live in the process-wide property cache.
#ifndef KIV_MAPPING_JSON_READ_PLAN_HPP_
#define KIV_MAPPING_JSON_READ_PLAN_HPP_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

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

 private:
  // One record to set: the key its path starts with (an index into firstKeys_) and the rest of
  // the path after the first "." (empty for a plain key).
  struct Step {
    const KivValue* record;
    std::size_t firstKey;
    String restOfPath;
    bool dotted;
  };

  // The index of the key among firstKeys_, or -1.
  std::ptrdiff_t firstKeyIndex(std::string_view key) const noexcept;
  static std::size_t bucketOf(std::string_view key, std::size_t mask) noexcept;

  std::vector<String> firstKeys_;
  // An open-addressing table of firstKeys_ indexes + 1 (0 is empty), by a cheap hash of the key.
  std::vector<std::uint32_t> buckets_;
  std::vector<Step> steps_;
};

}  // namespace kiv

#endif  // KIV_MAPPING_JSON_READ_PLAN_HPP_
