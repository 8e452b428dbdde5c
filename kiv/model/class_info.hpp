// KivClassInfo: the descriptors of the properties that one model class declares itself, by
// name (propDict) and by setter selector (setSelDict), with merge indexes that are unique along
// the class's chain of model superclasses.
//
// The class deriving directly from KivModel numbers its own N properties 0 to N-1 in the byte
// order of their names, its subclass continues at N, and so on. Inherited properties are not in
// a class's descriptor: code that needs them walks the superclass chain, asking each level for
// its own descriptor, and stops at KivModel.
//
// Only ModelClass::kiv_classInfo() builds descriptors (once per class, under the process-wide
// lock); building one arms the recording slots of the class's setters.
#ifndef KIV_MODEL_CLASS_INFO_HPP_
#define KIV_MODEL_CLASS_INFO_HPP_

#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/foundation/object.hpp"
#include "kiv/model/class.hpp"
#include "kiv/model/property_info.hpp"
#include "kiv/model/selector.hpp"

namespace kiv {

// Descriptors under keys, in the order they were stored; storing under a present key replaces
// the descriptor and keeps its place. Immutable once built.
template <class Key>
class DescriptorDict {
 public:
  // A key and the descriptor stored under it.
  using Entry = std::pair<Key, Ref<KivProPertyInfo>>;

  // The descriptor under the key, or null.
  const KivProPertyInfo* objectForKey(const Key& key) const noexcept {
    for (const Entry& e : entries_) {
      if (e.first == key) return e.second.get();
    }
    return nullptr;
  }
  // The number of descriptors.
  std::size_t count() const noexcept { return entries_.size(); }

  // The entries in the order they were stored, for range-for loops.

  const Entry* begin() const noexcept { return entries_.data(); }
  const Entry* end() const noexcept { return entries_.data() + entries_.size(); }

  // Stores `info` under the key: in place of the descriptor already there, else at the end.
  void setObject(Ref<KivProPertyInfo> info, const Key& key) {
    for (Entry& e : entries_) {
      if (e.first == key) {
        e.second = std::move(info);
        return;
      }
    }
    entries_.emplace_back(key, std::move(info));
  }

 private:
  std::vector<Entry> entries_;
};

// By property name; the keys view the descriptors' own names.
using PropertyDict = DescriptorDict<std::string_view>;
// By setter selector.
using SetterDict = DescriptorDict<Selector>;

class KivClassInfo : public Object {
 public:
  // Describes `cls` and gives its properties their merge indexes, which arms the recording slots
  // of their setters. Only ModelClass::kiv_classInfo() should call it (see above).
  explicit KivClassInfo(const Class& cls);

  // The class described.
  const Class& cls() const noexcept { return *cls_; }
  // Its superclass; null for the root.
  const Class* scls() const noexcept { return scls_; }
  // The descriptors of the class's own properties by name, in declaration order.
  const PropertyDict& propDict() const noexcept { return propDict_; }
  // The same descriptors by setter selector, in declaration order.
  const SetterDict& setSelDict() const noexcept { return setSelDict_; }

  // The descriptors of the properties that `cls` declares itself, by name, in declaration order.
  static PropertyDict propertyDictWithClass(const Class& cls);
  // Gives each descriptor of `propDict` its merge index (see above) and returns them by setter.
  static SetterDict setSelDictfrom(const PropertyDict& propDict, const Class& cls);
  // Calls `block` with each property that `cls` declares itself, in declaration order, until the
  // block sets `stop`. Does nothing for KivModel itself.
  static void enumeratePropertiesUsingBlock(
      const std::function<void(const Property& property, bool& stop)>& block, const Class& cls);
  // How many properties `cls` declares itself.
  static std::int64_t propCountWithClass(const Class& cls);

 private:
  const Class* cls_;
  const Class* scls_;
  PropertyDict propDict_;
  SetterDict setSelDict_;
};

}  // namespace kiv

#endif  // KIV_MODEL_CLASS_INFO_HPP_
