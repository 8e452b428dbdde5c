#include "kiv/model/class_info.hpp"

#include <algorithm>

#include "kiv/model/model.hpp"

namespace kiv {

KivClassInfo::KivClassInfo(const Class& cls)
    : cls_(&cls),
      scls_(cls.superclass()),
      propDict_(propertyDictWithClass(cls)),
      setSelDict_(setSelDictfrom(propDict_, cls)) {}

PropertyDict KivClassInfo::propertyDictWithClass(const Class& cls) {
  PropertyDict dict;
  enumeratePropertiesUsingBlock(
      [&](const Property& property, bool&) {
        auto info = makeRef<KivProPertyInfo>(property, cls);
        const std::string_view name = info->name().view();
        dict.setObject(std::move(info), name);
      },
      cls);
  return dict;
}

SetterDict KivClassInfo::setSelDictfrom(const PropertyDict& propDict, const Class& cls) {
  // Merge indexes continue after the properties of every model superclass. The walk ends at
  // KivModel, or at the root for a class that is not a model.
  std::int64_t base = 0;
  for (const Class* c = cls.superclass(); c && c != &KivModel::kivClass(); c = c->superclass()) {
    base += propCountWithClass(*c);
  }
  std::vector<std::string_view> sorted;
  for (const auto& [name, info] : propDict) sorted.push_back(name);
  std::sort(sorted.begin(), sorted.end());

  SetterDict dict;
  for (const auto& [name, info] : propDict) {
    const auto position = std::lower_bound(sorted.begin(), sorted.end(), name) - sorted.begin();
    info->setMergeIdx(base + position);
    dict.setObject(info, info->setter());
  }
  return dict;
}

void KivClassInfo::enumeratePropertiesUsingBlock(
    const std::function<void(const Property& property, bool& stop)>& block, const Class& cls) {
  if (&cls == &KivModel::kivClass()) return;
  bool stop = false;
  for (const Property& property : cls.properties()) {
    block(property, stop);
    if (stop) return;
  }
}

std::int64_t KivClassInfo::propCountWithClass(const Class& cls) {
  std::int64_t count = 0;
  enumeratePropertiesUsingBlock([&](const Property&, bool&) { ++count; }, cls);
  return count;
}

}  // namespace kiv
