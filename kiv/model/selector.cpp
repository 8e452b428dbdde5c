#include "kiv/model/selector.hpp"

#include <mutex>
#include <unordered_set>

namespace kiv {

Selector Selector::named(std::string_view name) {
  // Interned names live for the process; set nodes never move, so their addresses are stable.
  static std::mutex mutex;
  static auto* names = new std::unordered_set<std::string>();
  std::lock_guard<std::mutex> lock(mutex);
  return Selector(&*names->emplace(name).first);
}

}  // namespace kiv
