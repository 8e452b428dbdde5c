#include "kiv/storage/internal/table_migration.hpp"

#include <algorithm>
#include <utility>

#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/identifier.hpp"
#include "kiv/storage/internal/schema_transaction.hpp"

namespace kiv {
namespace {

constexpr std::string_view kCreateTable = "CREATE TABLE ";

bool sameIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

// The length of the name at the start of the text: a quoted name ("..." with "" inside, `...`,
// [...]) or a bare one up to a blank or "("; 0 when there is none.
std::size_t nameLength(std::string_view text) {
  if (text.empty()) return 0;
  const char open = text.front();
  if (open == '"' || open == '`' || open == '[') {
    const char close = open == '[' ? ']' : open;
    for (std::size_t i = 1; i < text.size(); ++i) {
      if (text[i] != close) continue;
      if (close != ']' && i + 1 < text.size() && text[i + 1] == close) {
        ++i;  // a doubled quote inside the name
        continue;
      }
      return i + 1;
    }
    return 0;
  }
  const std::size_t end = text.find_first_of(" \t\r\n(");
  return end == std::string_view::npos ? text.size() : end;
}

// "PRAGMA legacy_alter_table" on for the object's life: renaming a table then neither rewrites
// nor checks the views and triggers of the schema, so that one of them that no longer compiles
// cannot stop the rename, and those that name the table go on naming it after its rebuild.
class LegacyAlterTable {
 public:
  explicit LegacyAlterTable(SqDatabase& db) : db_(db) { (void)db_.executeUpdate("PRAGMA legacy_alter_table=ON"); }
  ~LegacyAlterTable() { (void)db_.executeUpdate("PRAGMA legacy_alter_table=OFF"); }
  LegacyAlterTable(const LegacyAlterTable&) = delete;
  LegacyAlterTable& operator=(const LegacyAlterTable&) = delete;

 private:
  SqDatabase& db_;
};

// The column of the unique index on one column named `index`, or nothing.
std::optional<std::string> uniqueIndexColumn(SqDatabase& db, std::string_view table, std::string_view index) {
  if (!db.boolForQuery("SELECT EXISTS (SELECT 1 FROM pragma_index_list(?) WHERE name = ? AND \"unique\")", table,
                       index)) {
    return std::nullopt;
  }
  const Ref<SqResultSet> columns = db.executeQuery("SELECT name FROM pragma_index_info(?)", index);
  std::vector<std::string> names;
  while (columns && columns->next()) names.push_back(columns->stringForColumnIndex(0).str());
  if (names.size() != 1 || names.front().empty()) return std::nullopt;  // several columns, an expression
  return names.front();
}

}  // namespace

std::string_view columnType(std::string_view declared) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = declared.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return declared.substr(first, declared.find_last_not_of(kBlanks) - first + 1);
}

std::vector<TableColumn> tableColumns(SqDatabase& db, std::string_view table) {
  std::vector<TableColumn> columns;
  const Ref<SqResultSet> rows = db.executeQuery("SELECT name, type, pk FROM pragma_table_info(?)", table);
  while (rows && rows->next()) {
    columns.push_back({rows->stringForColumnIndex(0).str(), std::string(columnType(rows->stringForColumnIndex(1).view())),
                       rows->longForColumnIndex(2) > 0});
  }
  return columns;
}

std::string createTableSql(std::string_view table, std::string_view columnList) {
  return std::string(kCreateTable) + sqlIdentifier(table) + " (" + std::string(columnList) + ");";
}

std::string createIndexSql(std::string_view table, std::string_view key) {
  const std::string name = sqlIdentifier(table);
  return "CREATE UNIQUE INDEX " + sqlIdentifier("idx_" + std::string(table)) + " ON " + name + "(" +
         (key.empty() ? std::string() : sqlIdentifier(key)) + ");";
}

// --- TableMigration -----------------------------------------------------------------------------

TableMigration::TableMigration(SqDatabase& db, TableDesign design)
    : db_(db), design_(std::move(design)), current_(tableColumns(db, design_.table)), change_(decide()) {}

TableMigration::Change TableMigration::decide() const {
  if (current_.empty()) return Change::kNone;
  bool missing = false;
  for (const TableColumn& wanted : design_.columns) {
    const TableColumn* column = currentColumn(wanted.name, true);
    if (!column && wanted.primaryKey) return Change::kRebuild;  // a key cannot be added
    if (!column) {
      missing = true;
    } else if (column->type != wanted.type || column->primaryKey != wanted.primaryKey) {
      return Change::kRebuild;
    }
  }
  for (const TableColumn& column : current_) {
    const auto wanted = [&](const TableColumn& c) { return c.name == column.name; };
    if (std::none_of(design_.columns.begin(), design_.columns.end(), wanted)) return Change::kRebuild;
  }
  return missing ? Change::kAddColumns : Change::kNone;
}

const TableColumn* TableMigration::currentColumn(std::string_view name, bool exactCase) const {
  for (const TableColumn& column : current_) {
    if (exactCase ? column.name == name : sameIgnoringCase(column.name, name)) return &column;
  }
  return nullptr;
}

std::optional<std::string> TableMigration::run() {
  if (change_ == Change::kNone) return std::nullopt;
  SchemaTransaction transaction(db_);
  const bool changed = transaction.began() && (change_ == Change::kAddColumns ? addColumns() : rebuild()) &&
                       transaction.commit();
  if (changed) return std::nullopt;
  return db_.lastErrorMessage();
}

bool TableMigration::addColumns() {
  const std::string table = sqlIdentifier(design_.table);
  for (const TableColumn& wanted : design_.columns) {
    if (currentColumn(wanted.name, true)) continue;
    if (!db_.executeUpdate("ALTER TABLE " + table + " ADD COLUMN " + sqlIdentifier(wanted.name) + " " + wanted.type)) {
      return false;
    }
  }
  return true;
}

bool TableMigration::rebuild() {
  const std::string table = sqlIdentifier(design_.table);
  const std::string aside = sqlIdentifier(design_.table + "_migrating");
  std::string columns;
  std::string sources;
  bool hasKey = false;
  for (const TableColumn& wanted : design_.columns) {
    hasKey = hasKey || wanted.name == design_.key;
    const TableColumn* kept = currentColumn(wanted.name, false);
    if (!kept) continue;
    columns.append(columns.empty() ? "" : ",").append(sqlIdentifier(wanted.name));
    sources.append(sources.empty() ? "" : ",").append(sqlIdentifier(kept->name));
  }
  {
    const LegacyAlterTable legacy(db_);
    if (!db_.executeUpdate("ALTER TABLE " + table + " RENAME TO " + aside)) return false;
  }
  // Created by its own text, so that the table reads as if made afresh.
  if (!db_.executeUpdate(createTableSql(design_.table, design_.columnList))) return false;
  if (!columns.empty() &&
      !db_.executeUpdate("INSERT INTO " + table + " (" + columns + ") SELECT " + sources + " FROM " + aside)) {
    return false;
  }
  // The old table's indexes go with it, so the key's index keeps its name.
  if (!db_.executeUpdate("DROP TABLE " + aside)) return false;
  return !hasKey || db_.executeUpdate(createIndexSql(design_.table, design_.key));
}

// --- Copies -------------------------------------------------------------------------------------

std::optional<std::string> definitionNamed(std::string_view definition, std::string_view table) {
  if (!definition.starts_with(kCreateTable)) return std::nullopt;
  const std::string_view rest = definition.substr(kCreateTable.size());
  const std::size_t length = nameLength(rest);
  if (length == 0) return std::nullopt;
  return std::string(kCreateTable) + sqlIdentifier(table) + std::string(rest.substr(length));
}

bool copyTable(SqDatabase& db, std::string_view from, std::string_view to, std::string_view definition) {
  if (!db.executeUpdate(definition)) return false;
  const std::string source = sqlIdentifier(from);
  if (!db.executeUpdate("INSERT INTO " + sqlIdentifier(to) + " SELECT * FROM " + source)) return false;
  const std::optional<std::string> key = uniqueIndexColumn(db, from, "idx_" + std::string(from));
  if (key && !db.executeUpdate(createIndexSql(to, *key))) return false;
  return db.executeUpdate("DROP TABLE " + source);
}

}  // namespace kiv
