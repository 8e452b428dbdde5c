// Selector: the identity of an accessor name such as "title" or "setTitle:".
//
// Selectors are interned: two selectors made from the same text are the same selector, so they
// compare and hash by identity, never by text. A default-constructed selector is the null
// selector (no name).
#ifndef KIV_MODEL_SELECTOR_HPP_
#define KIV_MODEL_SELECTOR_HPP_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kiv {

class Selector {
 public:
  // The null selector.
  constexpr Selector() noexcept = default;

  // The selector named by the text; the same selector for every call with equal text.
  static Selector named(std::string_view name);

  // The name; empty for the null selector.
  std::string_view name() const noexcept { return name_ ? std::string_view(*name_) : std::string_view(); }
  // Whether this is a named selector, not the null one.
  explicit operator bool() const noexcept { return name_ != nullptr; }

  // Equal when made from equal text (or both null).
  friend bool operator==(Selector a, Selector b) noexcept { return a.name_ == b.name_; }
  // A hash of the selector's identity, consistent with ==.
  std::size_t hash() const noexcept { return std::hash<const void*>()(name_); }

 private:
  explicit Selector(const std::string* name) noexcept : name_(name) {}

  const std::string* name_ = nullptr;
};

}  // namespace kiv

namespace std {

// Hashes selectors by identity, so that they can key unordered containers.
template <>
struct hash<kiv::Selector> {
  // The selector's own hash(), consistent with ==.
  std::size_t operator()(kiv::Selector s) const noexcept { return s.hash(); }
};

}  // namespace std

#endif  // KIV_MODEL_SELECTOR_HPP_
