#include "kiv/mapping/internal/json_read_plan.hpp"

#include <array>
#include <bit>
#include <cstring>

#include "kiv/foundation/value_heap.hpp"
#include "kiv/mapping/key_path.hpp"

namespace kiv {

namespace {

// Objects with at most this many distinct first keys are read with scratch on the stack.
constexpr std::size_t kStackKeys = 32;

// The first 8 bytes of the key, zero-filled, as a little-endian number; shorter keys are read
// with overlapping loads rather than byte by byte where the machine is little-endian.
std::uint64_t prefixOf(std::string_view key) noexcept {
  const char* p = key.data();
  const std::size_t n = key.size();
  if constexpr (std::endian::native != std::endian::little) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n && i < 8; ++i) v |= std::uint64_t{static_cast<unsigned char>(p[i])} << (8 * i);
    return v;
  }
  if (n >= 8) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
  }
  if (n >= 4) {
    std::uint32_t low, high;
    std::memcpy(&low, p, 4);
    std::memcpy(&high, p + n - 4, 4);
    return low | (std::uint64_t{high} << (8 * (n - 4)));
  }
  if (n == 0) return 0;
  auto byte = [&](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(p[i])} << (8 * i); };
  return byte(0) | byte(n / 2) | byte(n - 1);
}

// Whether the keys are equal: identical short keys (held inline, so equal exactly when their words
// are) or long keys with the same bytes.
bool sameKey(const String& a, const String& b) noexcept {
  if (ValueAccess::rawWord(a, 0) == ValueAccess::rawWord(b, 0) && ValueAccess::rawWord(a, 1) == ValueAccess::rawWord(b, 1)) {
    return true;
  }
  return a.size() > ValueAccess::kInlineCapacity && a.view() == b.view();
}

std::size_t slotOf(std::uint64_t prefix, std::size_t size, int shift) noexcept {
  return static_cast<std::size_t>(((prefix ^ size) * 0x9E3779B97F4A7C15ULL) >> shift);
}

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
        firstKeyHashes_.push_back(Dictionary::keyHash(first));
      }
      const bool dotted = dot != std::string_view::npos;
      steps_.push_back({entry.record.get(), static_cast<std::size_t>(index),
                        dotted ? String(path.substr(dot + 1)) : String(), dotted});
    }
  }
  positionHints_ = std::make_unique<std::atomic<std::uint32_t>[]>(firstKeys_.size());
  std::size_t slots = 16;
  shift_ = 60;
  while (slots < firstKeys_.size() * 4) {
    slots *= 2;
    --shift_;
  }
  slots_.assign(slots, Slot());
  for (std::size_t i = 0; i < firstKeys_.size(); ++i) {
    const std::string_view key = firstKeys_[i].view();
    const std::uint64_t prefix = prefixOf(key);
    std::size_t at = slotOf(prefix, key.size(), shift_);
    while (slots_[at].index != 0) at = (at + 1) & (slots - 1);
    slots_[at] = {prefix, static_cast<std::uint32_t>(key.size()), static_cast<std::uint32_t>(i + 1)};
  }
}

std::ptrdiff_t JSONReadPlan::firstKeyIndex(std::string_view key) const noexcept {
  const std::uint64_t prefix = prefixOf(key);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = slotOf(prefix, key.size(), shift_);; at = (at + 1) & mask) {
    const Slot& slot = slots_[at];
    if (slot.index == 0) return -1;
    if (slot.prefix != prefix || slot.size != key.size()) continue;
    const std::size_t i = slot.index - 1;
    if (key.size() <= 8 || firstKeys_[i].view() == key) return static_cast<std::ptrdiff_t>(i);
  }
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
  setSteps(model, [&](std::size_t firstKey) -> const JSONElement& { return found[firstKey]; });
}

const Value& JSONReadPlan::firstValue(const Dictionary& object, std::size_t i) const noexcept {
  std::atomic<std::uint32_t>& hint = positionHints_[i];
  const std::size_t guess = hint.load(std::memory_order_relaxed);
  if (guess < object.count() && sameKey(object.begin()[guess].key, firstKeys_[i])) return object.begin()[guess].value;
  const std::ptrdiff_t at = Dictionary::positionOf(object, firstKeys_[i].view(), firstKeyHashes_[i]);
  if (at < 0) return detail::absentValue();
  hint.store(static_cast<std::uint32_t>(at), std::memory_order_relaxed);
  return object.begin()[at].value;
}

void JSONReadPlan::fill(KivModel& model, const Dictionary& object) const {
  setSteps(model, [&](std::size_t i) -> const Value& { return firstValue(object, i); });
}

template <class FirstValue>
void JSONReadPlan::setSteps(KivModel& model, FirstValue&& firstValue) const {
  for (const Step& step : steps_) {
    const auto& first = firstValue(step.firstKey);
    if (!first) continue;
    if (step.dotted) {
      step.record->setJSONValue(model, kiv_valueForRestOfKeyPath(first, step.restOfPath.view()));
    } else {
      step.record->setJSONValue(model, first);
    }
  }
}

}  // namespace kiv
