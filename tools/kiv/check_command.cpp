// kiv check FILE
#include <set>
#include <string>
#include <vector>

#include "tools/kiv/commands.hpp"
#include "tools/kiv/database_file.hpp"
#include "tools/kiv/kiv_tables.hpp"
#include "tools/kiv/output.hpp"

namespace kiv::cli {
namespace {

using Findings = std::vector<std::string>;

// The lines of SQLite's check other than "ok"; a check that cannot run at all is a finding too.
void checkWithPragma(const DatabaseFile& file, std::string_view pragma, Findings& findings) {
  try {
    for (const Dictionary& row : file.query("PRAGMA " + std::string(pragma))) {
      const std::string line = row.empty() ? std::string() : row.begin()->value.description();
      if (line != "ok") findings.push_back(std::string(pragma) + ": " + line);
    }
  } catch (const Failure& failure) {
    findings.push_back(std::string(pragma) + " failed: " + failure.what());
  }
}

void checkVersion(const KivTables& tables, Findings& findings) {
  const SchemaVersion& schemaVersion = tables.schemaVersion;
  if (!schemaVersion.hasTable) findings.push_back("no version table " + std::string(kVersionTable));
  if (schemaVersion.hasTable && !schemaVersion.version) {
    findings.push_back("the version table " + std::string(kVersionTable) + " has no row with id 1");
  }
  if (schemaVersion.version) return;
  // Without a version to compare with, the tables must at least agree among themselves.
  std::set<std::int64_t> versions;
  for (const ModelTable& table : tables.modelTables) versions.insert(table.parsed.version);
  if (versions.size() > 1) {
    std::string list;
    for (const std::int64_t version : versions) list += (list.empty() ? "" : ", ") + std::to_string(version);
    findings.push_back("model tables of several versions: " + list);
  }
}

void checkModelTable(const ModelTable& table, const SchemaVersion& schemaVersion, Findings& findings) {
  if (table.standing != TableStanding::kCurrent) {
    findings.push_back(table.name + ": " + describeStanding(table, schemaVersion));
  }
  if (!table.shape.hasUniqueIndex) {
    findings.push_back(table.name + ": no unique index idx_" + table.name + " on its key column");
  }
  // A stale table's standing says so already.
  if (!table.shape.hasUpdateTime && table.standing != TableStanding::kStale) {
    findings.push_back(table.name + ": no " + std::string(kUpdateTimeColumn) + " column");
  }
}

void checkKivTables(const DatabaseFile& file, Findings& findings) {
  try {
    const KivTables tables = readKivTables(file);
    checkVersion(tables, findings);
    for (const ModelTable& table : tables.modelTables) checkModelTable(table, tables.schemaVersion, findings);
  } catch (const Failure& failure) {  // a file too damaged to read its schema
    findings.push_back(std::string("Kiv's tables cannot be read: ") + failure.what());
  }
}

}  // namespace

ExitCode runCheck(const CheckOptions& options) {
  const DatabaseFile file(options.file, Access::kRead, Damage::kTolerated);
  Findings findings;
  checkWithPragma(file, "integrity_check", findings);
  checkWithPragma(file, "quick_check", findings);
  checkKivTables(file, findings);
  if (findings.empty()) {
    printOut("ok\n");
    return ExitCode::kOk;
  }
  for (const std::string& finding : findings) printOut(finding + "\n");
  return ExitCode::kFindings;
}

}  // namespace kiv::cli
