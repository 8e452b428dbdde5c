#include "tools/kiv/command_line.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "kiv/foundation/log.hpp"
#include "tools/kiv/commands.hpp"
#include "tools/kiv/duration.hpp"
#include "tools/kiv/output.hpp"

namespace kiv::cli {
namespace {

constexpr const char* kFileHelp = "The Kiv database file (opened read-only unless the command writes)";

// What info and check can tell of how the application's next registration treats a table.
constexpr const char* kStandingHelp =
    "Standing of a model table, as far as the file tells (the command does not know the application's\n"
    "classes, so it cannot see that a class's stored properties changed since its table was made):\n"
    "  left over      of another version than kv_version holds: the next version change drops it\n"
    "  stale          no kiv_update_time column, or a column name with capitals: the next registration\n"
    "                 of its class creates it afresh (rows lost), or changes it keeping its rows where\n"
    "                 the class map keeps data on schema changes\n"
    "  unusual types  column types no stored property gets: where the class map keeps data on schema\n"
    "                 changes, the next registration rebuilds it with its class's types, rows kept\n"
    "A version change drops the tables of the file's version, or copies them to the new version where\n"
    "the class map keeps data on version changes.";

struct Options {
  InfoOptions info;
  RowsOptions rows;
  GetOptions get;
  CheckOptions check;
  ExpireOptions expire;
  std::string olderThan;
};

// Accepts "30d", "12h", "90m", "3600s".
const CLI::Validator kDuration(
    [](const std::string& text) {
      return parseDuration(text) ? std::string() : "expected a whole number and d, h, m or s, as in 30d";
    },
    "DURATION");

CLI::App* addInfo(CLI::App& app, Options& options) {
  CLI::App* info = app.add_subcommand("info", "What the file holds: SQLite facts, schema version, model tables, JSON cache");
  info->add_option("FILE", options.info.file, kFileHelp)->required();
  info->add_flag("--json", options.info.json, "Print one JSON document instead of text");
  info->footer(kStandingHelp);
  return info;
}

CLI::App* addRows(CLI::App& app, Options& options) {
  CLI::App* rows = app.add_subcommand("rows", "A table's rows as JSON Lines, one object per row");
  rows->add_option("FILE", options.rows.file, kFileHelp)->required();
  rows->add_option("TABLE", options.rows.table, "The table")->required();
  rows->add_option("--where", options.rows.where, "Only rows that meet this SQL condition")->type_name("SQL");
  rows->add_option("--order", options.rows.order, "Order the rows by this SQL ordering")->type_name("SQL");
  rows->add_option("--limit", options.rows.limit, "At most N rows")->type_name("N")->check(CLI::NonNegativeNumber);
  rows->add_flag("--pretty", options.rows.pretty, "Indent each object");
  return rows;
}

CLI::App* addGet(CLI::App& app, Options& options) {
  CLI::App* get = app.add_subcommand("get", "One row by the value of its table's key column (exit 4 when none)");
  get->add_option("FILE", options.get.file, kFileHelp)->required();
  get->add_option("TABLE", options.get.table, "The table")->required();
  get->add_option("KEY", options.get.key, "The key's value (after -- when it starts with -)")->required();
  get->add_flag("--pretty", options.get.pretty, "Indent the object");
  return get;
}

CLI::App* addCheck(CLI::App& app, Options& options) {
  CLI::App* check = app.add_subcommand(
      "check", "SQLite's integrity checks and Kiv's own consistency (exit 5 with the findings)");
  check->add_option("FILE", options.check.file, kFileHelp)->required();
  check->footer(kStandingHelp);
  return check;
}

CLI::App* addExpire(CLI::App& app, Options& options) {
  CLI::App* expire = app.add_subcommand("expire", "Delete the rows whose kiv_update_time is older than a duration");
  expire->add_option("FILE", options.expire.file, kFileHelp)->required();
  expire->add_option("--older-than", options.olderThan, "30d, 12h, 90m or 3600s")->required()->check(kDuration);
  expire->add_option("--table", options.expire.table, "Only this table (default: every model table)");
  expire->add_flag("--dry-run", options.expire.dryRun, "Count the rows instead of deleting them");
  return expire;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
  // The layers below log SQLite's errors line by line; the command says what failed itself.
  setLogSink([](std::string_view) {});

  CLI::App app("Inspect, query, check and expire a Kiv database file.", "kiv");
  app.require_subcommand(1);
  Options options;
  CLI::App* info = addInfo(app, options);
  CLI::App* rows = addRows(app, options);
  CLI::App* get = addGet(app, options);
  CLI::App* check = addCheck(app, options);
  CLI::App* expire = addExpire(app, options);
  app.footer(
      "Exit codes: 0 ok, 1 usage, 2 the file cannot be opened, read or written or is not a SQLite database,\n"
      "3 no such table, 4 no row, 5 check findings.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version requests exit 0; every other parse error is a usage error.
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
  }

  try {
    ExitCode code = ExitCode::kOk;
    if (info->parsed()) code = runInfo(options.info);
    if (rows->parsed()) code = runRows(options.rows);
    if (get->parsed()) code = runGet(options.get);
    if (check->parsed()) code = runCheck(options.check);
    if (expire->parsed()) {
      options.expire.olderThanSeconds = *parseDuration(options.olderThan);
      code = runExpire(options.expire);
    }
    finishOutput();
    return static_cast<int>(code);
  } catch (const Failure& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "kiv: %s\n", failure.what());
    return static_cast<int>(failure.code());
  }
}

}  // namespace kiv::cli
