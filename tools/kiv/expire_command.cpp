// kiv expire FILE --older-than DURATION [--table T] [--dry-run]
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "kiv/foundation/date.hpp"
#include "kiv/sqlite/database.hpp"
#include "tools/kiv/commands.hpp"
#include "tools/kiv/database_file.hpp"
#include "tools/kiv/kiv_tables.hpp"
#include "tools/kiv/output.hpp"
#include "tools/kiv/progress.hpp"

namespace kiv::cli {
namespace {

// Rows are deleted in runs of this many, so that progress can be shown between runs.
constexpr std::int64_t kRowsPerRun = 10000;

// Begins a transaction on the database; rolls it back unless committed.
class WriteTransaction {
 public:
  // Throws when no transaction began (another connection holds the file past the busy timeout).
  explicit WriteTransaction(const DatabaseFile& file) : file_(file) {
    file_.database().beginTransaction();
    if (!file_.database().inDatabase([](SqDatabase& db) { return db.inTransaction(); })) {
      file_.database().commit();  // balances the nesting counter
      throw Failure(ExitCode::kCannotOpen, file_.path() + ": " + file_.database().lastError().message);
    }
  }
  ~WriteTransaction() {
    if (committed_) return;
    file_.database().rollback();
    file_.database().commit();  // leaves the nesting counter balanced; commits nothing
  }
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  void commit() {
    committed_ = true;
    if (!file_.database().commitTransaction()) {
      throw Failure(ExitCode::kCannotOpen, file_.path() + ": " + file_.database().lastError().message);
    }
  }

 private:
  const DatabaseFile& file_;
  bool committed_ = false;
};

struct Expiry {
  std::string table;
  std::int64_t rows = 0;  // removed, or that would be
  bool skipped = false;   // the table has no kiv_update_time column
};

std::vector<Expiry> tablesToExpire(const DatabaseFile& file, const std::string& table) {
  if (!table.empty()) {
    file.requireTable(table);
    if (!tableShape(file, table).hasUpdateTime) {
      throw Failure(ExitCode::kNoSuchTable, table + " has no " + std::string(kUpdateTimeColumn) + " column");
    }
    return {{table}};
  }
  std::vector<Expiry> tables;
  for (const ModelTable& model : readKivTables(file).modelTables) {
    tables.push_back({model.name, 0, !model.shape.hasUpdateTime});
  }
  return tables;
}

std::int64_t countOlder(const DatabaseFile& file, const std::string& table, double cutOff) {
  return file
      .queryValue("SELECT count(*) FROM " + quoteIdentifier(table) + " WHERE kiv_update_time < ?", Array{cutOff})
      .longLongValue();
}

// Deletes the rows older than the cut-off in runs of kRowsPerRun, by ascending row id (named
// _rowid_, which a model's column is unlikely to shadow), and returns how many went.
std::int64_t deleteOlder(const DatabaseFile& file, const std::string& table, double cutOff, Progress& progress) {
  const std::string name = quoteIdentifier(table);
  const std::string nextRunEnd = "SELECT max(_rowid_) FROM (SELECT _rowid_ FROM " + name +
                                 " WHERE _rowid_ >= ? AND kiv_update_time < ? ORDER BY _rowid_ LIMIT " +
                                 std::to_string(kRowsPerRun) + ")";
  const std::string deleteRun = "DELETE FROM " + name + " WHERE _rowid_ >= ? AND _rowid_ <= ? AND kiv_update_time < ?";
  std::int64_t removed = 0;
  std::int64_t from = std::numeric_limits<std::int64_t>::min();
  for (;;) {
    const Value last = file.queryValue(nextRunEnd, Array{from, cutOff});
    if (!last.isNumber()) break;
    removed += file.execute(deleteRun, Array{from, last, cutOff});
    progress.update(removed);
    if (last.longLongValue() == std::numeric_limits<std::int64_t>::max()) break;
    from = last.longLongValue() + 1;
  }
  return removed;
}

void printExpiries(const std::vector<Expiry>& expiries, bool dryRun) {
  for (const Expiry& expiry : expiries) {
    const std::string rows = std::to_string(expiry.rows) + (expiry.rows == 1 ? " row " : " rows ");
    printOut(expiry.table + ": " +
             (expiry.skipped ? "skipped, no " + std::string(kUpdateTimeColumn) + " column"
                             : rows + (dryRun ? "would be removed" : "removed")) +
             "\n");
  }
}

}  // namespace

ExitCode runExpire(const ExpireOptions& options) {
  const DatabaseFile file(options.file, options.dryRun ? Access::kRead : Access::kWrite);
  const double cutOff = Date::now().timeIntervalSince1970() - static_cast<double>(options.olderThanSeconds);
  std::vector<Expiry> expiries = tablesToExpire(file, options.table);
  if (options.dryRun) {
    for (Expiry& expiry : expiries) {
      if (!expiry.skipped) expiry.rows = countOlder(file, expiry.table, cutOff);
    }
  } else {
    WriteTransaction transaction(file);
    for (Expiry& expiry : expiries) {
      if (expiry.skipped) continue;
      const bool showProgress = stderrIsTerminal();
      Progress progress("expire " + expiry.table, showProgress ? countOlder(file, expiry.table, cutOff) : 0,
                        showProgress);
      expiry.rows = deleteOlder(file, expiry.table, cutOff, progress);
    }
    transaction.commit();
  }
  printExpiries(expiries, options.dryRun);
  return ExitCode::kOk;
}

}  // namespace kiv::cli
