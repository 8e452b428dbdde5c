#include "kiv/mapping/json_read_plan.hpp"

#include <array>
#include <cstring>

#include "kiv/mapping/key_path.hpp"

namespace kiv {

namespace {

// Objects with at most this many distinct first keys are read with scratch on the stack.
constexpr std::size_t kStackKeys = 32;

}  // namespace

JSONReadPlan::JSONReadPlan(const std::vector<const PropertyMapping*>& levels) {
  for (const PropertyMapping* mapping : levels) {
    for (const PropertyMapping::Entry& entry : *mapping) {
      if (!entry.record->property()) continue;  // a record without a descriptor sets nothing
      const std::string_view path = entry.keyPath.view();
      const std::size_t dot = path.find('.');
      const std::string_view first = path.substr(0, dot);
      std::ptrdiff_t index = -1;
      for (std::size_t i = 0; i < firstKeys_.size(); ++i) {
        if (firstKeys_[i].view() == first) index = static_cast<std::ptrdiff_t>(i);
      }
      if (index < 0) {
        index = static_cast<std::ptrdiff_t>(firstKeys_.size());
        firstKeys_.push_back(String(first));
      }
      const bool dotted = dot != std::string_view::npos;
      steps_.push_back({entry.record.get(), static_cast<std::size_t>(index),
                        dotted ? String(path.substr(dot + 1)) : String(), dotted});
    }
  }
  std::size_t slots = 16;
  while (slots < firstKeys_.size() * 4) slots *= 2;
  buckets_.assign(slots, 0);
  for (std::size_t i = 0; i < firstKeys_.size(); ++i) {
    std::size_t b = bucketOf(firstKeys_[i].view(), slots - 1);
    while (buckets_[b] != 0) b = (b + 1) & (slots - 1);
    buckets_[b] = static_cast<std::uint32_t>(i + 1);
  }
}

std::size_t JSONReadPlan::bucketOf(std::string_view key, std::size_t mask) noexcept {
  if (key.empty()) return 0;
  const auto first = static_cast<unsigned char>(key.front());
  const auto last = static_cast<unsigned char>(key.back());
  return (key.size() * 131 + first * 31 + last) & mask;
}

std::ptrdiff_t JSONReadPlan::firstKeyIndex(std::string_view key) const noexcept {
  const std::size_t mask = buckets_.size() - 1;
  for (std::size_t b = bucketOf(key, mask); buckets_[b] != 0; b = (b + 1) & mask) {
    const std::size_t i = buckets_[b] - 1;
    if (firstKeys_[i].view() == key) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

void JSONReadPlan::fill(KivModel& model, const JSONElement& object) const {
  std::array<JSONElement, kStackKeys> onStack{};
  std::vector<JSONElement> onHeap;
  JSONElement* found = onStack.data();
  if (firstKeys_.size() > kStackKeys) {
    onHeap.resize(firstKeys_.size());
    found = onHeap.data();
  }
  // A repeated key's last value is the one its dictionary keeps.
  object.forEachField([&](std::string_view key, const JSONElement& value) {
    if (const std::ptrdiff_t i = firstKeyIndex(key); i >= 0) found[i] = value;
  });
  for (const Step& step : steps_) {
    const JSONElement& first = found[step.firstKey];
    if (!first) continue;
    if (step.dotted) {
      step.record->setJSONValue(model, kiv_valueForRestOfKeyPath(first, step.restOfPath.view()));
    } else {
      step.record->setJSONValue(model, first);
    }
  }
}

}  // namespace kiv
