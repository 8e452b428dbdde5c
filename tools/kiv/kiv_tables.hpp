// What a database file holds in Kiv's terms: the schema version row, the model tables of each
// version, the JSON cache table and any other table.
//
// A model table is named "kiv_<class name in lower case>_v<version>"; its key column carries the
// unique index "idx_<table name>", and its column "kiv_update_time" holds the time of each row's
// last write in seconds since 1970. The one-row table "kv_version" (id 1) holds the version of the
// file's tables; "kiv_cache_table" holds JSON texts by "cache_key" in "cache_context".
#ifndef KIV_TOOLS_KIV_KIV_TABLES_HPP_
#define KIV_TOOLS_KIV_KIV_TABLES_HPP_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kiv/database_file.hpp"

namespace kiv::cli {

inline constexpr std::string_view kVersionTable = "kv_version";
inline constexpr std::string_view kCacheTable = "kiv_cache_table";
inline constexpr std::string_view kUpdateTimeColumn = "kiv_update_time";

// The parts of a model table's name.
struct ModelTableName {
  std::string className;  // as stored: in lower case
  std::int64_t version = 0;
};

// The parts of "kiv_<class>_v<version>" (the version may be negative), or nothing for another
// name.
std::optional<ModelTableName> parseModelTableName(std::string_view table);

struct Column {
  std::string name;
  std::string type;  // as declared, e.g. "INTEGER", "VARCHAR(50)"; may be empty
};

// A table's columns and key, for any table.
struct TableShape {
  std::vector<Column> columns;
  // The column of the unique index "idx_<table>", else the table's single primary-key column;
  // empty when it has neither.
  std::string keyColumn;
  bool hasUniqueIndex = false;  // "idx_<table>" exists, is unique and belongs to this table
  bool hasUpdateTime = false;   // a column "kiv_update_time"
};

TableShape tableShape(const DatabaseFile& file, std::string_view table);

// How a model table stands against the file's schema version and against what a registration
// of its class leaves, as far as the file alone tells: the command does not know the
// application's classes, so a class whose stored properties changed since its table was made goes
// unnoticed. This is the one place that judges a table, for info and check alike; a new way in
// which the next registration would treat a table becomes a new standing here.
//
// Whatever their standing, a version change drops the tables of the file's version, or copies
// them to the new version where the class map keeps data on version changes.
enum class TableStanding {
  // Of the file's version (or the file has none to compare with) and as Kiv makes its tables.
  kCurrent,
  // Of the file's version, but no registration of its class keeps it as it is: it lacks
  // "kiv_update_time" or has a column name with capitals (Kiv's columns are in lower case). The
  // next registration creates it afresh, its rows lost, or changes it keeping them where the
  // class map keeps data on schema changes.
  kStale,
  // Of the file's version, with column types that no stored property gets (Kiv's are BOOL,
  // INTEGER, FLOAT, DOUBLE, VARCHAR(50), VARCHAR(20) and TIMESTAMP for kiv_update_time too).
  // Where the class map keeps data on schema changes, the next registration rebuilds it with its
  // class's types, keeping its rows; otherwise it stays.
  kUnusualTypes,
  // Of another version: no registration uses it, the next version change drops it.
  kLeftOver,
};

struct ModelTable {
  std::string name;
  ModelTableName parsed;
  TableShape shape;
  TableStanding standing = TableStanding::kCurrent;
  // For kStale and kUnusualTypes, what makes it so, as "no kiv_update_time column; column Title
  // not in lower case" or "title TEXT, seen REAL".
  std::string reason;
};

// The "kv_version" table: missing, present without its row, or present with a version.
struct SchemaVersion {
  bool hasTable = false;
  std::optional<std::int64_t> version;  // the row's version
};

// "current", "stale", "unusual types", "left over".
std::string_view standingName(TableStanding standing);
// The standing in words, such as "left over from version 2; the file is at version 3 (the next
// version change drops it)"; empty for a current table.
std::string describeStanding(const ModelTable& table, const SchemaVersion& schemaVersion);

struct KivTables {
  SchemaVersion schemaVersion;
  std::vector<ModelTable> modelTables;  // by name
  bool hasCacheTable = false;
  std::vector<std::string> otherTables;  // by name, SQLite's own left out
};

// Reads the schema of the file (the tables' rows are not read).
KivTables readKivTables(const DatabaseFile& file);

// The rows of a table: how many, and the oldest and newest kiv_update_time when it has that
// column and rows (values that are not numbers are left out).
struct RowSummary {
  std::int64_t count = 0;
  std::optional<double> oldestUpdate;
  std::optional<double> newestUpdate;
};

RowSummary summarizeRows(const DatabaseFile& file, const ModelTable& table);

// The JSON cache table's rows of one key: how many and their texts' size in bytes.
struct CacheKeySummary {
  std::string key;
  std::int64_t entries = 0;
  std::int64_t bytes = 0;
};

// By key; empty without the table.
std::vector<CacheKeySummary> summarizeCache(const DatabaseFile& file);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_KIV_TABLES_HPP_
