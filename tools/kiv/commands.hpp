// The commands of `kiv`, each with its options as the command line gives them. A command prints
// its data on stdout and returns its exit code; where it cannot go on it throws Failure.
#ifndef KIV_TOOLS_KIV_COMMANDS_HPP_
#define KIV_TOOLS_KIV_COMMANDS_HPP_

#include <cstdint>
#include <string>

#include "tools/kiv/failure.hpp"

namespace kiv::cli {

// The file's SQLite facts, its schema version, every model table (columns, key, index, rows and
// their oldest and newest update) and the JSON cache's keys; as text or one JSON document.
struct InfoOptions {
  std::string file;
  bool json = false;
};
ExitCode runInfo(const InfoOptions& options);

// The table's rows as JSON Lines, optionally filtered, ordered and limited by SQL fragments.
struct RowsOptions {
  std::string file;
  std::string table;
  std::string where;
  std::string order;
  std::int64_t limit = -1;  // below 0: no limit
  bool pretty = false;
};
ExitCode runRows(const RowsOptions& options);

// The one row whose key column holds the key; kNoRow when there is none.
struct GetOptions {
  std::string file;
  std::string table;
  std::string key;
  bool pretty = false;
};
ExitCode runGet(const GetOptions& options);

// SQLite's integrity checks and Kiv's own consistency; kFindings with the list when not clean.
struct CheckOptions {
  std::string file;
};
ExitCode runCheck(const CheckOptions& options);

// Deletes the rows of the model tables (or of one table) whose kiv_update_time is older than the
// duration, all in one transaction, and prints per table how many went (or would go).
struct ExpireOptions {
  std::string file;
  std::int64_t olderThanSeconds = 0;
  std::string table;  // empty: every model table
  bool dryRun = false;
};
ExitCode runExpire(const ExpireOptions& options);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_COMMANDS_HPP_
