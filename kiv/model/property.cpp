#include "kiv/model/property.hpp"

namespace kiv {

std::vector<PropertyAttribute> copyAttributeList(const Property& property) {
  std::vector<PropertyAttribute> list;
  if (!property.attributes) return list;
  const std::string_view text(property.attributes);
  auto add = [&](std::size_t begin, std::size_t end) {
    if (end > begin) list.push_back({text[begin], text.substr(begin + 1, end - begin - 1)});
  };
  std::size_t start = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] == ',' && !quoted) {
      add(start, i);
      start = i + 1;
    }
  }
  add(start, text.size());
  return list;
}

}  // namespace kiv
