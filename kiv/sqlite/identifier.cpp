#include "kiv/sqlite/identifier.hpp"

#include <sqlite3.h>

#include <algorithm>

namespace kiv {
namespace {

bool isPlainIdentifier(std::string_view name) {
  const auto isWordCharacter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  return !name.empty() && !(name.front() >= '0' && name.front() <= '9') &&
         std::all_of(name.begin(), name.end(), isWordCharacter);
}

}  // namespace

std::string sqlIdentifier(std::string_view name) {
  if (isPlainIdentifier(name) && !sqlite3_keyword_check(name.data(), static_cast<int>(name.size()))) {
    return std::string(name);
  }
  std::string quoted = "\"";
  for (const char c : name) {
    quoted += c;
    if (c == '"') quoted += '"';
  }
  return quoted + '"';
}

}  // namespace kiv
