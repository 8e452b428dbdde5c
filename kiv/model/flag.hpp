// KivFlag: the merge flags of one model object, one bit per property merge index.
//
// Two 64-bit words: flag1 for indexes 0 to 63, flag2 for 64 to 127. Indexes from 128 on wrap
// into flag2 (index modulo 64), so along a class chain with more than 128 properties some
// properties share a bit. Bits are never cleared.
#ifndef KIV_MODEL_FLAG_HPP_
#define KIV_MODEL_FLAG_HPP_

#include <cstdint>

namespace kiv {

class KivFlag {
 public:
  // The two words of bits (see above).

  std::uint64_t flag1() const noexcept { return words_[0]; }
  std::uint64_t flag2() const noexcept { return words_[1]; }

  // Equal when both words are.
  friend bool operator==(const KivFlag&, const KivFlag&) = default;

  // Whether the index's bit is set: bit `index & 63` of flag2 when the index is above 63, else of
  // flag1.
  bool needMergeAt(std::int64_t index) const noexcept {
    return (words_[wordOf(index)] >> (index & 63)) & 1;
  }
  // Sets the bit that needMergeAt reads; a negative index sets nothing.
  void setMergeFlagAt(std::int64_t index) noexcept {
    if (index >= 0) words_[wordOf(index)] |= maskOf(index);
  }

  // Which word and which bit an index uses; shared with the setters' recording slots.
  static constexpr int wordOf(std::int64_t index) noexcept { return index > 63 ? 1 : 0; }
  // The index's bit within its word, as a mask.
  static constexpr std::uint64_t maskOf(std::int64_t index) noexcept {
    return std::uint64_t{1} << (index & 63);
  }

 private:
  friend class MergeSlot;
  std::uint64_t words_[2] = {0, 0};
};

}  // namespace kiv

#endif  // KIV_MODEL_FLAG_HPP_
