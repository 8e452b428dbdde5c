// Helpers shared by the benchmark programs.
#ifndef KIV_BENCH_BENCH_SUPPORT_HPP_
#define KIV_BENCH_BENCH_SUPPORT_HPP_

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kiv/foundation/dictionary.hpp"

namespace kiv::bench {

// The content of ../shared/data/<name> beside the repository, or nothing when it is missing.
std::optional<std::string> sharedData(std::string_view name);

// The content of the project's own sample data, examples/data/<name>.
std::string sampleData(std::string_view name);

// Marks the benchmark skipped (with a message) when the data is missing; returns whether it is
// there.
bool requireData(benchmark::State& state, const std::optional<std::string>& data, std::string_view name);

// Bytes of heap in use by the process (malloc'd and mapped), or 0 where the C library cannot say.
std::size_t heapInUse();

// --- Database benchmarks ------------------------------------------------------------------------

// The rows that the database benchmarks write and read: kPersonRows people, each with the columns
// id, name, email, score, age, note, active and created, in that order. A table takes all of them
// or only the first kPersonCoreColumns.
inline constexpr int kPersonRows = 100000;
inline constexpr int kPersonColumns = 8;
inline constexpr int kPersonCoreColumns = 6;

struct PersonRow {
  std::int64_t id = 0;
  std::string name;
  std::string email;
  double score = 0;
  int age = 0;
  std::string note;
  bool active = false;
  double created = 0;
};

// The row of number i (the rows below are rows 0 to kPersonRows - 1).
PersonRow personRow(int i);
// The rows, made once.
const std::vector<PersonRow>& personRows();
// The rows as dictionaries of their first `columns` columns, keyed by the column names.
std::vector<Dictionary> personDictionaries(int columns);
// Binds the row's first `columns` columns (kPersonCoreColumns or kPersonColumns) to the
// statement's parameters 1, 2, ...
void bindPersonRow(sqlite3_stmt* statement, const PersonRow& row, int columns);
// Runs the SQL once per row through one prepared statement, with the row's first `columns`
// columns (kPersonCoreColumns or kPersonColumns) bound to the parameters 1, 2, ...; returns
// whether every row was written.
bool writePersonRows(sqlite3* db, const char* sql, int columns);
// Reads the statement's first `columns` result columns (kPersonCoreColumns or kPersonColumns)
// into the row.
void readPersonRow(sqlite3_stmt* statement, int columns, PersonRow& row);

// Counts kPersonRows items per iteration.
void setPersonRowsProcessed(benchmark::State& state);

// A database file in the temporary directory, removed before and after use.
class BenchFile {
 public:
  explicit BenchFile(std::string_view name);
  ~BenchFile();
  BenchFile(const BenchFile&) = delete;
  BenchFile& operator=(const BenchFile&) = delete;

  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

// Runs the SQL on a raw connection, ignoring the result.
void exec(sqlite3* db, const char* sql);

// --- Memory -------------------------------------------------------------------------------------

// The process's resident memory now, in MiB.
double residentMegabytes();

// Samples the resident memory every millisecond while it lives. It starts by giving the memory
// freed before back to the system (where the C library can), so that a benchmark's setup does not
// count.
class ResidentPeak {
 public:
  ResidentPeak();
  ~ResidentPeak();
  ResidentPeak(const ResidentPeak&) = delete;
  ResidentPeak& operator=(const ResidentPeak&) = delete;

  // The resident memory when sampling began, and the most seen since, in MiB.
  double startMegabytes() const { return start_; }
  double peakMegabytes();

 private:
  void sample();

  const double start_;
  std::atomic<double> peak_;
  std::atomic<bool> done_{false};
  std::thread sampler_;
};

}  // namespace kiv::bench

#endif  // KIV_BENCH_BENCH_SUPPORT_HPP_
