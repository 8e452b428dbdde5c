#include "tools/kiv/row_json.hpp"

#include <cmath>
#include <cstdint>
#include <optional>

#include "kiv/foundation/data.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/string.hpp"
#include "tools/kiv/kiv_tables.hpp"
#include "tools/kiv/utc_date.hpp"
#include "tools/kiv/utf8_text.hpp"

namespace kiv::cli {
namespace {

bool spellsJsonContainer(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && (text[start] == '[' || text[start] == '{');
}

std::string blobText(const Data& data) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text = "X'";
  for (const std::uint8_t byte : data.view()) {
    text += kHex[byte >> 4];
    text += kHex[byte & 0xF];
  }
  text += '\'';
  return text;
}

Value jsonValue(const Value& column, bool repairText) {
  if (column.isString()) {
    if (spellsJsonContainer(column.stringView())) {
      if (Value parsed = parseJSON(column.stringView()); parsed.isPresent()) return parsed;
    }
    return repairText ? Value(repairedUtf8(column.stringView())) : column;
  }
  if (column.isData()) return Value(blobText(column.asData()));
  if (column.isFloatingPoint() && !std::isfinite(column.doubleValue())) {
    if (std::isnan(column.doubleValue())) return Value::null();
    return Value(column.doubleValue() > 0 ? "Infinity" : "-Infinity");
  }
  return column;
}

// repairText: repair the texts of columns and names, which only text that is not UTF-8 needs.
Dictionary jsonRow(const Dictionary& row, bool repairText) {
  const MutableDictionary json = MutableDictionary::dictionary(row.count() + 1);
  for (const DictionaryEntry& column : row) {
    const std::string_view name = column.key.stringView();
    json.setObject(jsonValue(column.value, repairText), repairText ? repairedUtf8(name) : std::string(name));
    if (name == kUpdateTimeColumn) {
      const std::optional<std::string> date = utcDateText(column.value);
      json.setObject(date ? Value(*date) : Value::null(), kUpdateTimeUtcKey);
    }
  }
  return json;
}

}  // namespace

void appendJsonRow(const Dictionary& row, bool pretty, std::string& out) {
  // Text that is not UTF-8 is rare, and the writer finds it: only then are the texts repaired.
  if (!writeJSON(jsonRow(row, false), out, pretty)) writeJSON(jsonRow(row, true), out, pretty);
  out += '\n';
}

}  // namespace kiv::cli
