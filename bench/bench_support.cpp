#include "bench_support.hpp"

#include <unistd.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <array>
#include <chrono>
#include <fstream>
#include <sstream>

namespace kiv::bench {
namespace {

std::optional<std::string> read(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

constexpr std::array<const char*, kPersonColumns> kPersonColumnNames = {"id",  "name", "email",  "score",
                                                                        "age", "note", "active", "created"};

Value personValue(const PersonRow& row, int column) {
  switch (column) {
    case 0: return Value(static_cast<long long>(row.id));
    case 1: return Value(row.name);
    case 2: return Value(row.email);
    case 3: return Value(row.score);
    case 4: return Value(row.age);
    case 5: return Value(row.note);
    case 6: return Value(row.active);
    default: return Value(row.created);
  }
}

std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))) : std::string();
}

}  // namespace

std::size_t heapInUse() {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33))
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#else
  return 0;
#endif
}

std::optional<std::string> sharedData(std::string_view name) {
  return read(std::filesystem::path(KIV_SOURCE_DIR) / ".." / "shared" / "data" / name);
}

std::string sampleData(std::string_view name) {
  return read(std::filesystem::path(KIV_SOURCE_DIR) / "examples" / "data" / name).value_or("");
}

bool requireData(benchmark::State& state, const std::optional<std::string>& data, std::string_view name) {
  if (data) return true;
  state.SkipWithError((std::string(name) + " not found in ../shared/data; skipped").c_str());
  return false;
}

PersonRow personRow(int i) {
  const std::string number = std::to_string(i);
  return PersonRow{i,           "user" + number, "user" + number + "@example.com",
                   i * 0.5,     18 + i % 60,     "a note of moderate length for row number " + number,
                   i % 3 == 0, 1.6e9 + i};
}

const std::vector<PersonRow>& personRows() {
  static const std::vector<PersonRow> rows = [] {
    std::vector<PersonRow> out(kPersonRows);
    for (int i = 0; i < kPersonRows; ++i) out[i] = personRow(i);
    return out;
  }();
  return rows;
}

std::vector<Dictionary> personDictionaries(int columns) {
  std::vector<Dictionary> out;
  out.reserve(kPersonRows);
  for (const PersonRow& row : personRows()) {
    const MutableDictionary dictionary = MutableDictionary::dictionary(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) {
      dictionary.setObject(personValue(row, column), kPersonColumnNames[column]);
    }
    out.push_back(dictionary.copy());
  }
  return out;
}

void bindPersonRow(sqlite3_stmt* statement, const PersonRow& row, int columns) {
  sqlite3_bind_int64(statement, 1, row.id);
  sqlite3_bind_text(statement, 2, row.name.c_str(), -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 3, row.email.c_str(), -1, SQLITE_STATIC);
  sqlite3_bind_double(statement, 4, row.score);
  sqlite3_bind_int(statement, 5, row.age);
  sqlite3_bind_text(statement, 6, row.note.c_str(), -1, SQLITE_STATIC);
  if (columns < kPersonColumns) return;
  sqlite3_bind_int(statement, 7, row.active);
  sqlite3_bind_double(statement, 8, row.created);
}

bool writePersonRows(sqlite3* db, const char* sql, int columns) {
  bool written = true;
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
  for (const PersonRow& row : personRows()) {
    bindPersonRow(statement, row, columns);
    written = sqlite3_step(statement) == SQLITE_DONE && written;
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  return written;
}

void readPersonRow(sqlite3_stmt* statement, int columns, PersonRow& row) {
  row.id = sqlite3_column_int64(statement, 0);
  row.name = columnText(statement, 1);
  row.email = columnText(statement, 2);
  row.score = sqlite3_column_double(statement, 3);
  row.age = sqlite3_column_int(statement, 4);
  row.note = columnText(statement, 5);
  if (columns < kPersonColumns) return;
  row.active = sqlite3_column_int(statement, 6) != 0;
  row.created = sqlite3_column_double(statement, 7);
}

void setPersonRowsProcessed(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * kPersonRows); }

BenchFile::BenchFile(std::string_view name)
    : path_(std::filesystem::temp_directory_path() / ("kiv-bench-" + std::string(name) + ".db")) {
  std::filesystem::remove(path_);
}

BenchFile::~BenchFile() { std::filesystem::remove(path_); }

void exec(sqlite3* db, const char* sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

double residentMegabytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  long resident = 0;
  statm >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

namespace {

// Gives the memory that the process freed back to the system where the C library can, so that
// the resident memory counts what is in use rather than what an earlier phase left free.
double trimmedResidentMegabytes() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
  return residentMegabytes();
}

}  // namespace

ResidentPeak::ResidentPeak() : start_(trimmedResidentMegabytes()), peak_(start_) {
  sampler_ = std::thread([this] {
    while (!done_.load(std::memory_order_acquire)) {
      sample();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
}

ResidentPeak::~ResidentPeak() {
  done_.store(true, std::memory_order_release);
  sampler_.join();
}

void ResidentPeak::sample() {
  const double now = residentMegabytes();
  double seen = peak_.load(std::memory_order_relaxed);
  while (now > seen && !peak_.compare_exchange_weak(seen, now)) {
  }
}

double ResidentPeak::peakMegabytes() {
  sample();
  return peak_.load();
}

}  // namespace kiv::bench
