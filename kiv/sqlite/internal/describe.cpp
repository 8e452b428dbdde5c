#include "kiv/sqlite/internal/describe.hpp"

#include <cstdio>

namespace kiv {

std::string describeObject(const char* className, const void* object) {
  char address[32];
  std::snprintf(address, sizeof address, "%p", object);
  return std::string("<") + className + ": " + address + ">";
}

}  // namespace kiv
