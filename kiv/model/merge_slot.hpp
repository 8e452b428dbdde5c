// MergeSlot: how a generated property setter records that it ran.
//
// Every property with a generated setter owns one slot, shared by all objects of its class. The
// setter marks the object's merge flags through the slot before it stores the value. A slot
// starts unarmed and marks nothing; the property's descriptor arms it with the property's merge
// index when the class is first described (KivModel::kiv_classInfo), so setters record from
// that moment on. Marking is one load and one bit set; arming may happen while setters run on
// other threads, which then record or not.
#ifndef KIV_MODEL_MERGE_SLOT_HPP_
#define KIV_MODEL_MERGE_SLOT_HPP_

#include <atomic>
#include <cstdint>

#include "kiv/model/flag.hpp"

namespace kiv {

class MergeSlot {
 public:
  constexpr MergeSlot() noexcept = default;
  MergeSlot(const MergeSlot&) = delete;
  MergeSlot& operator=(const MergeSlot&) = delete;

  // From now on, mark() sets the bit of the merge index as KivFlag::setMergeFlagAt does; a
  // negative index leaves the slot marking nothing.
  void arm(std::int64_t mergeIndex) noexcept {
    if (mergeIndex < 0) return;
    word_.store(static_cast<std::uint8_t>(KivFlag::wordOf(mergeIndex)), std::memory_order_relaxed);
    mask_.store(KivFlag::maskOf(mergeIndex), std::memory_order_release);
  }
  // Whether the slot has been armed, so that mark() sets a bit.
  bool isArmed() const noexcept { return mask_.load(std::memory_order_acquire) != 0; }

  // Sets the armed bit in `flag`; sets nothing while the slot is unarmed.
  void mark(KivFlag& flag) const noexcept {
    const std::uint64_t mask = mask_.load(std::memory_order_acquire);
    flag.words_[word_.load(std::memory_order_relaxed)] |= mask;
  }

 private:
  // The mask is published after the word, so a setter that sees the mask sees its word.
  std::atomic<std::uint64_t> mask_{0};
  std::atomic<std::uint8_t> word_{0};
};

}  // namespace kiv

#endif  // KIV_MODEL_MERGE_SLOT_HPP_
