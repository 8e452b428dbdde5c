// kiv get FILE TABLE KEY [--pretty]
#include <string>

#include "tools/kiv/commands.hpp"
#include "tools/kiv/database_file.hpp"
#include "tools/kiv/kiv_tables.hpp"
#include "tools/kiv/output.hpp"
#include "tools/kiv/row_json.hpp"

namespace kiv::cli {

ExitCode runGet(const GetOptions& options) {
  const DatabaseFile file(options.file, Access::kRead);
  file.requireTable(options.table);
  const std::string key = tableShape(file, options.table).keyColumn;
  if (key.empty()) {
    throw Failure(ExitCode::kNoSuchTable, options.table + " has no key column (no unique index idx_" + options.table +
                                              " and no single primary key)");
  }
  // The key is bound as text: SQLite compares it with the column's affinity, so "42" finds the
  // number 42 in an INTEGER column.
  std::string out;
  file.forEachRow("SELECT * FROM " + quoteIdentifier(options.table) + " WHERE " + quoteIdentifier(key) + " = ? LIMIT 1",
                  Array{Value(options.key)}, [&](const Dictionary& row) { appendJsonRow(row, options.pretty, out); });
  if (out.empty()) {
    throw Failure(ExitCode::kNoRow, "no row with " + key + " = " + options.key + " in " + options.table);
  }
  printOut(out);
  return ExitCode::kOk;
}

}  // namespace kiv::cli
