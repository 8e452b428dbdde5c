// Model tables changed with their rows kept: a table brought to the columns that its class now
// expects, or copied to the name of another schema version.
//
// Everything here runs on a connection inside its queue. TableMigration runs its change in one
// SchemaTransaction of its own: it changes everything or nothing. copyTable runs inside the
// caller's transaction.
#ifndef KIV_STORAGE_INTERNAL_TABLE_MIGRATION_HPP_
#define KIV_STORAGE_INTERNAL_TABLE_MIGRATION_HPP_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kiv {

class SqDatabase;

// A column as a table declares it or as a class expects it.
struct TableColumn {
  std::string name;
  std::string type;  // the declared type without blanks around it: "INTEGER", "VARCHAR(50)"
  bool primaryKey = false;
};

// A declared column type as TableColumn holds it: without the blanks around it.
std::string_view columnType(std::string_view declared);

// The table's columns in order (pragma table_info); none when there is no such table.
std::vector<TableColumn> tableColumns(SqDatabase& db, std::string_view table);

// "CREATE TABLE <table> (<columnList>);" with the table's name quoted where it needs it.
std::string createTableSql(std::string_view table, std::string_view columnList);
// "CREATE UNIQUE INDEX idx_<table> ON <table>(<key>);", names quoted where they need it and an
// empty key left empty (the statement then fails).
std::string createIndexSql(std::string_view table, std::string_view key);

// What a model table is to be, as its class makes it.
struct TableDesign {
  std::string table;
  std::vector<TableColumn> columns;  // in the order of columnList
  std::string columnList;            // the text of CREATE TABLE between its parentheses
  std::string key;                   // the key column in lower case; empty without one
};

class TableMigration {
 public:
  enum class Change {
    kNone,        // the table has the design's columns, types and primary key
    kAddColumns,  // it lacks columns, none of them the primary key, and has no other difference
    kRebuild,     // it has columns the design has not, or other types or another primary key
  };

  // Reads the table's columns and decides the change; kNone for a table that does not exist.
  TableMigration(SqDatabase& db, TableDesign design);

  Change change() const noexcept { return change_; }

  // Makes the change in one transaction: ALTER TABLE ... ADD COLUMN for each missing column; or
  // the table renamed aside, created again from the design, its kept columns' rows copied over
  // (columns matched by name in any letter case), the old one dropped and the key's unique index
  // created. Returns nothing when it committed, else why it failed (and nothing changed).
  std::optional<std::string> run();

 private:
  Change decide() const;
  // A current column of the name in any letter case, or null.
  const TableColumn* currentColumn(std::string_view name, bool exactCase) const;
  bool addColumns();
  bool rebuild();

  SqDatabase& db_;
  const TableDesign design_;
  const std::vector<TableColumn> current_;
  const Change change_;
};

// The CREATE TABLE text `definition` (as SQLite keeps it in sqlite_master) with the table's name
// replaced by `table`; nothing when the text does not start "CREATE TABLE <name>".
std::optional<std::string> definitionNamed(std::string_view definition, std::string_view table);

// Inside the caller's transaction: creates the table `to` by its `definition` (definitionNamed),
// copies every row of `from` into it, gives it the unique index "idx_<to>" on the column of
// "idx_<from>" when `from` has that index on one column, and drops `from`. False, with the
// connection's last error, when a step failed.
bool copyTable(SqDatabase& db, std::string_view from, std::string_view to, std::string_view definition);

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_TABLE_MIGRATION_HPP_
