#include "tools/kiv/kiv_tables.hpp"

#include <algorithm>
#include <charconv>

namespace kiv::cli {
namespace {

constexpr std::string_view kModelTablePrefix = "kiv_";
constexpr std::string_view kVersionMark = "_v";

std::string textOf(const Value& value) { return value.isString() ? std::string(value.stringView()) : std::string(); }

// The column of the unique index "idx_<table>" when there is one, with one column.
std::optional<std::string> uniqueIndexColumn(const DatabaseFile& file, std::string_view table) {
  const std::string index = "idx_" + std::string(table);
  const Value unique = file.queryValue("SELECT \"unique\" FROM pragma_index_list(?) WHERE name = ?",
                                       Array{Value(table), Value(index)});
  if (unique.longLongValue() != 1) return std::nullopt;
  const std::vector<Dictionary> columns = file.query("SELECT name FROM pragma_index_info(?)", Array{Value(index)});
  // An index on an expression has no column name.
  if (columns.size() != 1 || !columns.front()["name"].isString()) return std::nullopt;
  return textOf(columns.front()["name"]);
}

SchemaVersion readSchemaVersion(const DatabaseFile& file) {
  SchemaVersion schemaVersion;
  schemaVersion.hasTable = file.hasTable(kVersionTable);
  if (!schemaVersion.hasTable) return schemaVersion;
  // Every row is read rather than "WHERE id = 1", so that a table of that name with other columns
  // reads as one without its row instead of failing.
  for (const Dictionary& row : file.query("SELECT * FROM " + quoteIdentifier(kVersionTable))) {
    const Value& version = row["version"];
    if (row["id"].longLongValue() == 1 && (version.isNumber() || version.isString())) {
      schemaVersion.version = version.longLongValue();
      break;
    }
  }
  return schemaVersion;
}

// The column types that Kiv gives stored properties.
bool isKivColumnType(std::string_view type) {
  for (const std::string_view kivType : {"BOOL", "INTEGER", "FLOAT", "DOUBLE", "VARCHAR(50)", "VARCHAR(20)", "TIMESTAMP"}) {
    if (type == kivType) return true;
  }
  return false;
}

void appendReason(std::string& reasons, std::string_view reason) {
  reasons.append(reasons.empty() ? "" : "; ").append(reason);
}

// Sets the table's standing and its reason.
void judge(ModelTable& table, const SchemaVersion& schemaVersion) {
  if (schemaVersion.version && *schemaVersion.version != table.parsed.version) {
    table.standing = TableStanding::kLeftOver;
    return;
  }
  std::string stale;
  std::string unusual;
  if (!table.shape.hasUpdateTime) appendReason(stale, "no " + std::string(kUpdateTimeColumn) + " column");
  for (const Column& column : table.shape.columns) {
    if (std::any_of(column.name.begin(), column.name.end(), [](char c) { return c >= 'A' && c <= 'Z'; })) {
      appendReason(stale, "column " + column.name + " not in lower case");
    }
    const bool unusualType = column.name == kUpdateTimeColumn ? column.type != "TIMESTAMP" : !isKivColumnType(column.type);
    if (unusualType) unusual.append(unusual.empty() ? "" : ", ").append(column.name + " " + column.type);
  }
  if (!stale.empty()) {
    table.standing = TableStanding::kStale;
    table.reason = std::move(stale);
  } else if (!unusual.empty()) {
    table.standing = TableStanding::kUnusualTypes;
    table.reason = std::move(unusual);
  }
}

}  // namespace

std::optional<ModelTableName> parseModelTableName(std::string_view table) {
  if (!table.starts_with(kModelTablePrefix)) return std::nullopt;
  const std::string_view rest = table.substr(kModelTablePrefix.size());
  const std::size_t mark = rest.rfind(kVersionMark);
  if (mark == std::string_view::npos || mark == 0) return std::nullopt;
  const std::string_view digits = rest.substr(mark + kVersionMark.size());
  ModelTableName name{std::string(rest.substr(0, mark)), 0};
  // from_chars takes a leading minus sign but no plus sign or blank, as the name is written.
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), name.version);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return name;
}

TableShape tableShape(const DatabaseFile& file, std::string_view table) {
  TableShape shape;
  std::vector<std::string> primaryKey;
  for (const Dictionary& row : file.query("SELECT name, type, pk FROM pragma_table_info(?)", Array{Value(table)})) {
    Column column{textOf(row["name"]), textOf(row["type"])};
    if (row["pk"].longLongValue() > 0) primaryKey.push_back(column.name);
    shape.hasUpdateTime = shape.hasUpdateTime || column.name == kUpdateTimeColumn;
    shape.columns.push_back(std::move(column));
  }
  if (std::optional<std::string> indexed = uniqueIndexColumn(file, table)) {
    shape.hasUniqueIndex = true;
    shape.keyColumn = std::move(*indexed);
  } else if (primaryKey.size() == 1) {
    shape.keyColumn = primaryKey.front();
  }
  return shape;
}

std::string_view standingName(TableStanding standing) {
  switch (standing) {
    case TableStanding::kCurrent:
      return "current";
    case TableStanding::kStale:
      return "stale";
    case TableStanding::kUnusualTypes:
      return "unusual types";
    case TableStanding::kLeftOver:
      return "left over";
  }
  return {};
}

std::string describeStanding(const ModelTable& table, const SchemaVersion& schemaVersion) {
  switch (table.standing) {
    case TableStanding::kCurrent:
      return {};
    case TableStanding::kStale:
      return "stale (" + table.reason +
             "): the next registration of its class creates it afresh, its rows lost, or changes it keeping them "
             "where the class map keeps data on schema changes";
    case TableStanding::kUnusualTypes:
      return "column types that no stored property gets (" + table.reason +
             "): where the class map keeps data on schema changes, the next registration of its class rebuilds it "
             "with its class's types, keeping its rows; otherwise it stays as it is";
    case TableStanding::kLeftOver:
      return "left over from version " + std::to_string(table.parsed.version) + "; the file is at version " +
             std::to_string(schemaVersion.version.value_or(0)) + " (the next version change drops it)";
  }
  return {};
}

KivTables readKivTables(const DatabaseFile& file) {
  KivTables tables;
  tables.schemaVersion = readSchemaVersion(file);
  for (const Dictionary& row : file.query("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
    std::string name = textOf(row["name"]);
    if (std::optional<ModelTableName> parsed = parseModelTableName(name)) {
      TableShape shape = tableShape(file, name);
      ModelTable table{std::move(name), std::move(*parsed), std::move(shape), TableStanding::kCurrent, {}};
      judge(table, tables.schemaVersion);
      tables.modelTables.push_back(std::move(table));
    } else if (name == kCacheTable) {
      tables.hasCacheTable = true;
    } else if (name != kVersionTable && !name.starts_with("sqlite_")) {
      tables.otherTables.push_back(std::move(name));
    }
  }
  return tables;
}

RowSummary summarizeRows(const DatabaseFile& file, const ModelTable& table) {
  RowSummary summary;
  if (!table.shape.hasUpdateTime) {
    summary.count = file.queryValue("SELECT count(*) FROM " + quoteIdentifier(table.name)).longLongValue();
    return summary;
  }
  const std::string time = "CASE WHEN typeof(kiv_update_time) IN ('integer', 'real') THEN kiv_update_time END";
  const std::vector<Dictionary> rows = file.query("SELECT count(*) AS n, min(" + time + ") AS oldest, max(" + time +
                                                  ") AS newest FROM " + quoteIdentifier(table.name));
  if (rows.empty()) return summary;
  const Dictionary& row = rows.front();
  summary.count = row["n"].longLongValue();
  if (row["oldest"].isNumber()) summary.oldestUpdate = row["oldest"].doubleValue();
  if (row["newest"].isNumber()) summary.newestUpdate = row["newest"].doubleValue();
  return summary;
}

std::vector<CacheKeySummary> summarizeCache(const DatabaseFile& file) {
  std::vector<CacheKeySummary> keys;
  const std::string sql =
      "SELECT cache_key, count(*) AS entries, sum(length(CAST(cache_context AS BLOB))) AS bytes FROM " +
      quoteIdentifier(kCacheTable) + " GROUP BY cache_key ORDER BY cache_key";
  // A table of that name without the two columns is not Kiv's.
  if (!file.hasTable(kCacheTable) || file.compileError(sql)) return keys;
  for (const Dictionary& row : file.query(sql)) {
    keys.push_back({row["cache_key"].description(), row["entries"].longLongValue(), row["bytes"].longLongValue()});
  }
  return keys;
}

}  // namespace kiv::cli
