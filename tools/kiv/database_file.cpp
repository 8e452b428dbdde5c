#include "tools/kiv/database_file.hpp"

#include <sqlite3.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/result_set.hpp"
#include "tools/kiv/failure.hpp"

namespace kiv::cli {
namespace {

namespace fs = std::filesystem;

// Throws unless the path names a regular file that the access allows.
void checkPath(const std::string& path, Access access) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (path.empty() || status.type() == fs::file_type::not_found) {
    throw Failure(ExitCode::kCannotOpen, path + ": no such file");
  }
  if (error) throw Failure(ExitCode::kCannotOpen, path + ": " + error.message());
  if (status.type() == fs::file_type::directory) throw Failure(ExitCode::kCannotOpen, path + ": is a directory");
  // SQLite would wait for a writer on a named pipe, and read a device without end.
  if (status.type() != fs::file_type::regular) {
    throw Failure(ExitCode::kCannotOpen, path + ": is not a regular file");
  }
  constexpr fs::perms kAnyWrite = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  if (access == Access::kWrite && ((status.permissions() & kAnyWrite) == fs::perms::none || ::access(path.c_str(), W_OK) != 0)) {
    throw Failure(ExitCode::kCannotOpen, path + ": the file is read-only");
  }
}

// SQLite's message for the statement that just failed. A statement that SQLite accepted but the
// connection refused (it has parameters that nothing binds) leaves no SQLite error behind.
std::string failureMessage(const SqDatabase& db) {
  return db.hadError() ? db.lastErrorMessage() : "the statement has parameters, which kiv does not bind";
}

}  // namespace

DatabaseFile::DatabaseFile(std::string path, Access access, Damage damage) : path_(std::move(path)) {
  checkPath(path_, access);
  database_ = OxSimpleDatabase::databaseWithPath(String(path_),
                                                 access == Access::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
  if (!database_->innerDb()) throw Failure(ExitCode::kCannotOpen, path_ + ": cannot open");
  probe(damage);
}

void DatabaseFile::probe(Damage damage) const {
  const auto [code, message] = database_->inDatabase([](SqDatabase& db) -> std::pair<int, std::string> {
    const Ref<SqResultSet> rows = db.executeQuery("SELECT count(*) FROM sqlite_master");
    while (rows && rows->next()) {
    }
    return {db.hadError() ? db.lastErrorCode() & 0xFF : SQLITE_OK, db.lastErrorMessage()};
  });
  if (code == SQLITE_OK || (code == SQLITE_CORRUPT && damage == Damage::kTolerated)) return;
  fail(message);
}

std::uintmax_t DatabaseFile::size() const {
  std::error_code error;
  const std::uintmax_t bytes = std::filesystem::file_size(path_, error);
  return error ? 0 : bytes;
}

void DatabaseFile::forEachRow(std::string_view sql, const Array& arguments, const RowHandler& onRow) const {
  std::optional<std::string> error;
  std::exception_ptr thrown;
  database_->inDatabase([&](SqDatabase& db) {
    const Ref<SqResultSet> rows = db.executeQueryWithArgumentsInArray(sql, arguments);
    if (!rows) {
      error = failureMessage(db);
      return;
    }
    try {
      while (rows->next()) onRow(rows->resultDictionary());
    } catch (...) {  // carried out of the queue's block, which must end normally
      thrown = std::current_exception();
      rows->close();
      return;
    }
    if (db.hadError()) error = db.lastErrorMessage();
  });
  if (thrown) std::rethrow_exception(thrown);
  if (error) fail(*error);
}

std::vector<Dictionary> DatabaseFile::query(std::string_view sql, const Array& arguments) const {
  std::vector<Dictionary> rows;
  forEachRow(sql, arguments, [&](const Dictionary& row) { rows.push_back(row); });
  return rows;
}

Value DatabaseFile::queryValue(std::string_view sql, const Array& arguments) const {
  const std::vector<Dictionary> rows = query(sql, arguments);
  if (rows.empty() || rows.front().empty()) return Value();
  return rows.front().begin()->value;
}

std::int64_t DatabaseFile::execute(std::string_view sql, const Array& arguments) const {
  std::optional<std::string> error;
  const std::int64_t changed = database_->inDatabase([&](SqDatabase& db) -> std::int64_t {
    if (db.executeUpdateWithArgumentsInArray(sql, arguments)) return db.changes();
    error = failureMessage(db);
    return 0;
  });
  if (error) fail(*error);
  return changed;
}

std::optional<std::string> DatabaseFile::compileError(std::string_view sql) const {
  return database_->inDatabase([&](SqDatabase& db) -> std::optional<std::string> {
    // A query is prepared and bound (with nothing), not stepped, until its first next(): so a
    // statement with parameters fails here too.
    const Ref<SqResultSet> rows = db.executeQuery(sql);
    if (!rows) return failureMessage(db);
    rows->close();
    return std::nullopt;
  });
}

bool DatabaseFile::hasTable(std::string_view name) const {
  return queryValue("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = ?", Array{Value(name)})
             .longLongValue() > 0;
}

void DatabaseFile::requireTable(std::string_view name) const {
  if (!hasTable(name)) throw Failure(ExitCode::kNoSuchTable, path_ + ": no such table: " + std::string(name));
}

void DatabaseFile::fail(const std::string& sqliteMessage) const {
  throw Failure(ExitCode::kCannotOpen, path_ + ": " + sqliteMessage);
}

std::string quoteIdentifier(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

}  // namespace kiv::cli
