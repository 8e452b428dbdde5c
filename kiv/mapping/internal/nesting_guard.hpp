// NestingGuard: counts how deeply the adapter's conversions are nested on this thread, so that a
// model that contains itself, or a dictionary that does, ends the walk instead of the stack.
//
// Parsed JSON nests at most kMaxJSONDepth deep, so only hand-built, cyclic data ever reaches the
// limit.
#ifndef KIV_MAPPING_INTERNAL_NESTING_GUARD_HPP_
#define KIV_MAPPING_INTERNAL_NESTING_GUARD_HPP_

#include "kiv/foundation/json.hpp"

namespace kiv {

class NestingGuard {
 public:
  NestingGuard() noexcept { ++depth_; }
  ~NestingGuard() { --depth_; }
  NestingGuard(const NestingGuard&) = delete;
  NestingGuard& operator=(const NestingGuard&) = delete;

  // Whether this conversion lies deeper than kMaxJSONDepth conversions.
  bool tooDeep() const noexcept { return depth_ > kMaxJSONDepth; }

 private:
  static inline thread_local int depth_ = 0;
};

}  // namespace kiv

#endif  // KIV_MAPPING_INTERNAL_NESTING_GUARD_HPP_
