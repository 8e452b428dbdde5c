// kiv rows FILE TABLE [--where SQL] [--order SQL] [--limit N] [--pretty]
#include <string>

#include "tools/kiv/commands.hpp"
#include "tools/kiv/database_file.hpp"
#include "tools/kiv/output.hpp"
#include "tools/kiv/progress.hpp"
#include "tools/kiv/row_json.hpp"

namespace kiv::cli {
namespace {

// Output is handed on in blocks of about this size.
constexpr std::size_t kOutputBlock = 64 * 1024;

// The statement must compile inside parentheses too: a fragment that ends the statement (";")
// leaves the parentheses open and fails, where on its own the rest would silently be ignored.
void requireCompiles(const DatabaseFile& file, const std::string& sql, std::string_view option) {
  if (std::optional<std::string> error = file.compileError("SELECT * FROM (" + sql + ")")) {
    throw Failure(ExitCode::kUsage, std::string(option) + " does not compile: " + *error);
  }
}

// SELECT * FROM T[ WHERE <where>][ ORDER BY <order>][ LIMIT <n>], each fragment compiled as it
// joins, so that a message names the one at fault.
std::string selectText(const DatabaseFile& file, const RowsOptions& options) {
  std::string sql = "SELECT * FROM " + quoteIdentifier(options.table);
  if (!options.where.empty()) {
    sql += " WHERE " + options.where;
    requireCompiles(file, sql, "--where");
  }
  if (!options.order.empty()) {
    sql += " ORDER BY " + options.order;
    requireCompiles(file, sql, "--order");
  }
  if (options.limit >= 0) sql += " LIMIT " + std::to_string(options.limit);
  return sql;
}

}  // namespace

ExitCode runRows(const RowsOptions& options) {
  const DatabaseFile file(options.file, Access::kRead);
  file.requireTable(options.table);
  const std::string sql = selectText(file, options);

  // Rows that go to the terminal show their own progress; a progress line would break into them.
  const bool showProgress = stderrIsTerminal() && !stdoutIsTerminal();
  const std::int64_t total = showProgress ? file.queryValue("SELECT count(*) FROM (" + sql + ")").longLongValue() : 0;
  Progress progress("rows", total, showProgress);
  std::int64_t done = 0;
  std::string out;
  file.forEachRow(sql, Array(), [&](const Dictionary& row) {
    appendJsonRow(row, options.pretty, out);
    if (out.size() >= kOutputBlock) {
      printOut(out);
      out.clear();
    }
    progress.update(++done);
  });
  printOut(out);
  return ExitCode::kOk;
}

}  // namespace kiv::cli
