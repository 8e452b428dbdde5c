// DatabaseFile: the database file that a command works on, opened through the collection layer.
//
// Opening checks the path before SQLite sees it (a missing path, a directory or another kind of
// file that is no regular file), opens it read-only unless the command writes (and never creates
// it), and reads its schema once, so that a file of random bytes or a damaged database fails here.
// Every failure throws Failure(kCannotOpen) with a message that names the file.
//
// Queries bind their arguments; names that must be part of a statement's text are written with
// quoteIdentifier(). A statement that fails throws Failure(kCannotOpen) with SQLite's message:
// past opening, that means the file is damaged or cannot be written.
#ifndef KIV_TOOLS_KIV_DATABASE_FILE_HPP_
#define KIV_TOOLS_KIV_DATABASE_FILE_HPP_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv::cli {

enum class Access { kRead, kWrite };
// Whether a file that is a SQLite database but damaged (SQLite finds it malformed) opens: only for
// the command that reports damage.
enum class Damage { kRefused, kTolerated };

// Receives each row of a query: column name -> value, SQL NULL as the null, in column order.
using RowHandler = std::function<void(const Dictionary& row)>;

class DatabaseFile {
 public:
  // For kWrite a file without write permission is refused before it is opened (even for root,
  // as rm asks before removing a write-protected file).
  DatabaseFile(std::string path, Access access, Damage damage = Damage::kRefused);

  const std::string& path() const noexcept { return path_; }
  OxSimpleDatabase& database() const noexcept { return *database_; }
  std::uintmax_t size() const;

  // Calls onRow with each row of the query, its "?" placeholders bound to the arguments in order,
  // one row at a time: nothing is collected.
  void forEachRow(std::string_view sql, const Array& arguments, const RowHandler& onRow) const;
  // Every row of the query.
  std::vector<Dictionary> query(std::string_view sql, const Array& arguments = Array()) const;
  // The first column of the first row; absent when there is no row.
  Value queryValue(std::string_view sql, const Array& arguments = Array()) const;
  // Runs a statement that changes the file and returns the number of rows it changed.
  std::int64_t execute(std::string_view sql, const Array& arguments = Array()) const;

  // SQLite's message when the statement does not compile (a bad fragment of the user's SQL) or
  // has parameters; nothing when it is ready to run. Runs nothing.
  std::optional<std::string> compileError(std::string_view sql) const;

  // Whether a table of exactly this name exists (the name is bound, never written into SQL).
  bool hasTable(std::string_view name) const;
  // Throws Failure(kNoSuchTable) unless it does.
  void requireTable(std::string_view name) const;

 private:
  // Reads the schema; SQLite reads a file lazily, so only this tells a database from other bytes.
  void probe(Damage damage) const;
  [[noreturn]] void fail(const std::string& sqliteMessage) const;

  std::string path_;
  Ref<OxSimpleDatabase> database_;
};

// The name as an SQL identifier: between double quotes, a double quote inside doubled.
std::string quoteIdentifier(std::string_view name);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_DATABASE_FILE_HPP_
