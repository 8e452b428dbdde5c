#include "kiv/foundation/date.hpp"

#include <chrono>

namespace kiv {

double currentTimeIntervalSince1970() {
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count();
}

Date Date::now() { return dateWithTimeIntervalSince1970(currentTimeIntervalSince1970()); }

}  // namespace kiv
