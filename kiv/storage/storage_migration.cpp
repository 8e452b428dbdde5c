// KivStorage: schema changes that keep the stored models, where the class map asks for them.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/identifier.hpp"
#include "kiv/storage/cache.hpp"
#include "kiv/storage/internal/schema_transaction.hpp"
#include "kiv/storage/internal/table_migration.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

std::string lowercase(std::string_view text) { return Value(text).lowercaseString().str(); }

// The name of the model table `table` of the version `from` at the version `to`
// ("kiv_<class>_v<from>" in any letter case -> "kiv_<class in lower case>_v<to>"), or nothing for
// a table that is no model table of that version.
std::optional<std::string> nameAtVersion(std::string_view table, std::int64_t from, std::int64_t to) {
  const std::string name = lowercase(table);
  const std::string prefix = "kiv_";
  const std::string suffix = "_v" + std::to_string(from);
  if (name.size() <= prefix.size() + suffix.size() || !name.starts_with(prefix) || !name.ends_with(suffix)) {
    return std::nullopt;
  }
  return name.substr(0, name.size() - suffix.size()) + "_v" + std::to_string(to);
}

// One table whose name starts with "kiv", and what a version change that keeps the models does
// with it.
struct VersionedTable {
  std::string name;
  std::string copyName;        // empty: dropped, unless it is the JSON cache table
  std::string copyDefinition;  // the CREATE TABLE text of the copy
};

// The tables whose names start with "kiv" (in any letter case, as a version change drops them),
// with their copies at the version `to` where they are model tables of the version `from`.
std::vector<VersionedTable> versionedTables(SqDatabase& db, std::int64_t from, std::int64_t to) {
  std::vector<VersionedTable> tables;
  const Ref<SqResultSet> rows =
      db.executeQuery("SELECT name, sql FROM sqlite_master WHERE type = 'table' and name like 'kiv%'");
  while (rows && rows->next()) {
    VersionedTable table{rows->stringForColumnIndex(0).str(), {}, {}};
    if (const std::optional<std::string> copy = nameAtVersion(table.name, from, to)) {
      // A virtual table has no CREATE TABLE text to copy, and goes as before.
      if (std::optional<std::string> definition = definitionNamed(rows->stringForColumnIndex(1).view(), *copy)) {
        table.copyName = *copy;
        table.copyDefinition = std::move(*definition);
      }
    }
    tables.push_back(std::move(table));
  }
  return tables;
}

bool isCacheTable(std::string_view table) { return lowercase(table) == kKivCacheTable; }

}  // namespace

KivStorage::Migration KivStorage::migrateTable(OxDbCollection& table, const ModelClass& cls) {
  OxSimpleDatabase* db = table.database();
  if (!db) return Migration::kUpToDate;
  TableDesign design = tableDesign(table.tableName(), cls);
  std::optional<std::string> failure;
  const Migration migration = db->inDatabase([&](SqDatabase& connection) {
    TableMigration change(connection, std::move(design));
    if (change.change() == TableMigration::Change::kNone) return Migration::kUpToDate;
    failure = change.run();
    return failure ? Migration::kFailed : Migration::kMigrated;
  });
  if (failure) {
    log("Kiv: cannot bring the table " + table.tableName() + " of the class " + std::string(cls.name()) +
        " up to date, so it stays as it was: " + *failure);
  }
  return migration;
}

void KivStorage::keepTablesOfVersion(OxSimpleDatabase& db, std::int64_t from) {
  const std::int64_t to = version();
  std::string failure;
  db.inDatabase([&](SqDatabase& connection) {
    SchemaTransaction transaction(connection);
    if (!transaction.began()) {
      failure = connection.lastErrorMessage();
      return;
    }
    const std::vector<VersionedTable> tables = versionedTables(connection, from, to);
    // Dropped first: a table already named for the new version gives way to the copy.
    for (const VersionedTable& table : tables) {
      if (!table.copyName.empty() || isCacheTable(table.name)) continue;
      if (!connection.executeUpdate("DROP TABLE " + sqlIdentifier(table.name))) {
        failure = "cannot drop " + table.name + ": " + connection.lastErrorMessage();
        return;
      }
    }
    for (const VersionedTable& table : tables) {
      if (table.copyName.empty()) continue;
      if (!copyTable(connection, table.name, table.copyName, table.copyDefinition)) {
        failure = "cannot copy " + table.name + " to " + table.copyName + ": " + connection.lastErrorMessage();
        return;
      }
    }
    if (!connection.executeUpdateWithParameterDictionary(
            "UPDATE " + std::string(kKivVersionTable) + " SET version=:version WHERE id='1'", {{"version", to}}) ||
        !transaction.commit()) {
      failure = connection.lastErrorMessage();
    }
  });
  if (!failure.empty()) {
    log("Kiv: cannot keep the models of version " + std::to_string(from) + " at version " + std::to_string(to) +
        ", so the file stays at version " + std::to_string(from) + ": " + failure);
  }
}

}  // namespace kiv
