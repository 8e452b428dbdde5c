// kiv info FILE [--json]
#include <optional>
#include <string>
#include <vector>

#include "kiv/foundation/json.hpp"
#include "kiv/sqlite/database.hpp"
#include "tools/kiv/commands.hpp"
#include "tools/kiv/database_file.hpp"
#include "tools/kiv/kiv_tables.hpp"
#include "tools/kiv/output.hpp"
#include "tools/kiv/utc_date.hpp"
#include "tools/kiv/utf8_text.hpp"

namespace kiv::cli {
namespace {

struct FileFacts {
  std::string sqliteVersion;
  std::uintmax_t size = 0;
  std::int64_t pageSize = 0;
  std::int64_t pageCount = 0;
  std::string journalMode;
};

struct TableReport {
  ModelTable table;
  RowSummary rows;
};

struct Report {
  std::string path;
  FileFacts facts;
  KivTables tables;
  std::vector<TableReport> modelTables;
  std::vector<CacheKeySummary> cache;
};

Report makeReport(const DatabaseFile& file) {
  Report report;
  report.path = file.path();
  report.facts = {SqDatabase::sqliteLibVersion(), file.size(), file.queryValue("PRAGMA page_size").longLongValue(),
                  file.queryValue("PRAGMA page_count").longLongValue(),
                  file.queryValue("PRAGMA journal_mode").description()};
  report.tables = readKivTables(file);
  for (const ModelTable& table : report.tables.modelTables) {
    report.modelTables.push_back({table, summarizeRows(file, table)});
  }
  report.cache = summarizeCache(file);
  return report;
}

std::string versionText(const SchemaVersion& schemaVersion) {
  if (!schemaVersion.hasTable) return "none (no version table)";
  if (!schemaVersion.version) return "none (the version table has no row)";
  return std::to_string(*schemaVersion.version);
}

// --- Text ----------------------------------------------------------------------------------------

// Text output: a label, then its value from column kLabelWidth.
constexpr std::size_t kLabelWidth = 13;
constexpr std::size_t kLineWidth = 100;

void appendField(std::string& out, std::string_view indent, std::string_view label, std::string_view value) {
  const std::size_t width = indent.size() + label.size();
  out.append(indent).append(label).append(width < kLabelWidth ? kLabelWidth - width : 1, ' ');
  out.append(value).append("\n");
}

std::string countOf(std::int64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

std::string updatesText(const RowSummary& rows) {
  const std::optional<std::string> oldest = rows.oldestUpdate ? utcDateText(*rows.oldestUpdate) : std::nullopt;
  const std::optional<std::string> newest = rows.newestUpdate ? utcDateText(*rows.newestUpdate) : std::nullopt;
  if (!oldest || !newest) return {};
  return ", updated " + *oldest + " to " + *newest;
}

std::string keyText(const ModelTable& table) {
  const TableShape& shape = table.shape;
  const std::string index = "idx_" + table.name;
  if (shape.hasUniqueIndex) return shape.keyColumn + ", unique index " + index;
  if (!shape.keyColumn.empty()) return shape.keyColumn + " (primary key), no unique index " + index;
  return "none, no unique index " + index;
}

// "name TYPE, name TYPE, ...", broken into lines that stay within kLineWidth after the label.
std::string columnsText(const TableShape& shape) {
  std::string text;
  std::size_t lineStart = 0;
  for (const Column& column : shape.columns) {
    const std::string entry = column.type.empty() ? column.name : column.name + " " + column.type;
    if (!text.empty()) text += ",";
    if (!text.empty() && text.size() - lineStart + entry.size() + 1 > kLineWidth - kLabelWidth) {
      text += "\n" + std::string(kLabelWidth, ' ');
      lineStart = text.size();
    } else if (!text.empty()) {
      text += " ";
    }
    text += entry;
  }
  return text;
}

void appendModelTable(std::string& out, const TableReport& report, const SchemaVersion& schemaVersion) {
  const ModelTable& table = report.table;
  out.append("\n").append(table.name).append("\n");
  appendField(out, "  ", "class", table.parsed.className + ", version " + std::to_string(table.parsed.version));
  if (table.standing != TableStanding::kCurrent) {
    appendField(out, "  ", "standing", describeStanding(table, schemaVersion));
  }
  appendField(out, "  ", "rows", std::to_string(report.rows.count) + updatesText(report.rows));
  appendField(out, "  ", "key", keyText(table));
  if (!table.shape.hasUpdateTime) appendField(out, "  ", "update time", "no kiv_update_time column");
  appendField(out, "  ", "columns", columnsText(table.shape));
}

std::string infoText(const Report& report) {
  std::string out;
  const FileFacts& facts = report.facts;
  appendField(out, "", "file", report.path);
  appendField(out, "", "size", std::to_string(facts.size) + " bytes, " + countOf(facts.pageCount, "page", "pages") + " of " +
                                   std::to_string(facts.pageSize) + " bytes");
  appendField(out, "", "sqlite", facts.sqliteVersion + ", journal mode " + facts.journalMode);
  appendField(out, "", "version", versionText(report.tables.schemaVersion));
  for (const TableReport& table : report.modelTables) appendModelTable(out, table, report.tables.schemaVersion);
  out += "\n";
  if (!report.tables.hasCacheTable) appendField(out, "", "json cache", "none");
  if (report.tables.hasCacheTable && report.cache.empty()) appendField(out, "", "json cache", "empty");
  std::string_view label = "json cache";
  for (const CacheKeySummary& key : report.cache) {
    appendField(out, "", label,
                key.key + ": " + countOf(key.entries, "entry", "entries") + ", " + countOf(key.bytes, "byte", "bytes"));
    label = "";
  }
  std::string others;
  for (const std::string& name : report.tables.otherTables) others += (others.empty() ? "" : ", ") + name;
  appendField(out, "", "other tables", others.empty() ? "none" : others);
  return out;
}

// --- JSON ----------------------------------------------------------------------------------------

// Names come from the file, and JSON text must be UTF-8.
Value text(std::string_view name) { return Value(repairedUtf8(name)); }

Value dateOrNull(const std::optional<double>& seconds) {
  const std::optional<std::string> date = seconds ? utcDateText(*seconds) : std::nullopt;
  return date ? Value(*date) : Value::null();
}

Value tableJson(const TableReport& report) {
  const ModelTable& table = report.table;
  const MutableArray columns = MutableArray::array();
  for (const Column& column : table.shape.columns) {
    columns.addObject(Dictionary{{"name", text(column.name)}, {"type", text(column.type)}});
  }
  return Dictionary{{"name", text(table.name)},
                    {"class", text(table.parsed.className)},
                    {"version", table.parsed.version},
                    {"standing", standingName(table.standing)},
                    {"standing_reason", table.reason.empty() ? Value::null() : text(table.reason)},
                    {"columns", columns},
                    {"key", table.shape.keyColumn.empty() ? Value::null() : text(table.shape.keyColumn)},
                    {"unique_index", table.shape.hasUniqueIndex},
                    {"update_time_column", table.shape.hasUpdateTime},
                    {"rows", report.rows.count},
                    {"oldest_update", dateOrNull(report.rows.oldestUpdate)},
                    {"newest_update", dateOrNull(report.rows.newestUpdate)}};
}

std::string infoJson(const Report& report) {
  const SchemaVersion& schemaVersion = report.tables.schemaVersion;
  const MutableArray tables = MutableArray::array();
  for (const TableReport& table : report.modelTables) tables.addObject(tableJson(table));
  const MutableArray cache = MutableArray::array();
  for (const CacheKeySummary& key : report.cache) {
    cache.addObject(Dictionary{{"key", text(key.key)}, {"entries", key.entries}, {"bytes", key.bytes}});
  }
  const MutableArray others = MutableArray::array();
  for (const std::string& name : report.tables.otherTables) others.addObject(text(name));
  const Dictionary document{
      {"file", text(report.path)},
      {"sqlite_version", report.facts.sqliteVersion},
      {"file_size", static_cast<std::int64_t>(report.facts.size)},
      {"page_size", report.facts.pageSize},
      {"page_count", report.facts.pageCount},
      {"journal_mode", text(report.facts.journalMode)},
      {"version_table", schemaVersion.hasTable},
      {"schema_version", schemaVersion.version ? Value(*schemaVersion.version) : Value::null()},
      {"model_tables", tables},
      {"cache_table", report.tables.hasCacheTable},
      {"cache", cache},
      {"other_tables", others}};
  std::string out;
  writeJSON(document, out, false);
  out += '\n';
  return out;
}

}  // namespace

ExitCode runInfo(const InfoOptions& options) {
  const DatabaseFile file(options.file, Access::kRead);
  const Report report = makeReport(file);
  printOut(options.json ? infoJson(report) : infoText(report));
  return ExitCode::kOk;
}

}  // namespace kiv::cli
