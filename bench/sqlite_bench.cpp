// The SQLite layer against raw SQLite C calls in the same binary: inserting 100,000 rows of 8
// columns into a file database in one transaction, and reading them back.
//
//   BM_RawInsert    one prepared statement, bound by index, stepped and reset per row
//   BM_KivInsert    SqDatabase::executeUpdateWithParameterDictionary with statement caching on,
//                   one dictionary per row (built before the timing)
//   BM_RawRead      column reads into a struct per row
//   BM_KivRead      SqDatabase::executeQuery and SqResultSet::resultDictionary per row
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/sqlite/database.hpp"

namespace {

constexpr int kRows = 100000;
constexpr const char* kCreate =
    "create table rows (id integer, name text, email text, score real, age integer, active integer, note text, "
    "created real)";
constexpr const char* kInsert =
    "insert into rows (id, name, email, score, age, active, note, created) values (:id, :name, :email, :score, "
    ":age, :active, :note, :created)";
constexpr const char* kSelect = "select id, name, email, score, age, active, note, created from rows";

struct Row {
  std::int64_t id = 0;
  std::string name;
  std::string email;
  double score = 0;
  int age = 0;
  bool active = false;
  std::string note;
  double created = 0;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> out(kRows);
    for (int i = 0; i < kRows; ++i) {
      Row& r = out[i];
      r.id = i;
      r.name = "user" + std::to_string(i);
      r.email = "user" + std::to_string(i) + "@example.com";
      r.score = i * 0.5;
      r.age = 18 + i % 60;
      r.active = i % 3 == 0;
      r.note = "a note of moderate length for row number " + std::to_string(i);
      r.created = 1.6e9 + i;
    }
    return out;
  }();
  return rows;
}

std::vector<kiv::Dictionary> rowDictionaries() {
  std::vector<kiv::Dictionary> out;
  out.reserve(kRows);
  for (const Row& r : rows()) {
    out.push_back(kiv::Dictionary{{"id", kiv::Value(static_cast<long long>(r.id))},
                                  {"name", kiv::Value(r.name)},
                                  {"email", kiv::Value(r.email)},
                                  {"score", kiv::Value(r.score)},
                                  {"age", kiv::Value(r.age)},
                                  {"active", kiv::Value(r.active)},
                                  {"note", kiv::Value(r.note)},
                                  {"created", kiv::Value(r.created)}});
  }
  return out;
}

// A database file in the temporary directory, removed at exit.
class BenchFile {
 public:
  explicit BenchFile(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / ("kiv-sqlite-bench-" + name + ".db")) {
    std::filesystem::remove(path_);
  }
  ~BenchFile() { std::filesystem::remove(path_); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

void exec(sqlite3* db, const char* sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

void resetTable(sqlite3* db) {
  exec(db, "drop table if exists rows");
  exec(db, kCreate);
}

void setRowsProcessed(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_RawInsert(benchmark::State& state) {
  BenchFile file("raw-insert");
  sqlite3* db = nullptr;
  sqlite3_open(file.path().c_str(), &db);
  for (auto _ : state) {
    state.PauseTiming();
    resetTable(db);
    state.ResumeTiming();
    exec(db, "begin exclusive transaction");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, kInsert, -1, &insert, nullptr);
    for (const Row& r : rows()) {
      sqlite3_bind_int64(insert, 1, r.id);
      sqlite3_bind_text(insert, 2, r.name.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(insert, 3, r.email.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_double(insert, 4, r.score);
      sqlite3_bind_int(insert, 5, r.age);
      sqlite3_bind_int(insert, 6, r.active);
      sqlite3_bind_text(insert, 7, r.note.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_double(insert, 8, r.created);
      if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    exec(db, "commit transaction");
  }
  sqlite3_close(db);
  setRowsProcessed(state);
}
BENCHMARK(BM_RawInsert)->Unit(benchmark::kMillisecond);

void BM_KivInsert(benchmark::State& state) {
  BenchFile file("kiv-insert");
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  kiv::Ref<kiv::SqDatabase> db = kiv::SqDatabase::databaseWithPath(file.path());
  db->open();
  db->setShouldCacheStatements(true);
  for (auto _ : state) {
    state.PauseTiming();
    resetTable(db->sqliteHandle());
    state.ResumeTiming();
    db->beginTransaction();
    for (const kiv::Dictionary& row : dictionaries) {
      if (!db->executeUpdateWithParameterDictionary(kInsert, row)) state.SkipWithError("insert failed");
    }
    db->commit();
  }
  setRowsProcessed(state);
}
BENCHMARK(BM_KivInsert)->Unit(benchmark::kMillisecond);

// The file that the read benchmarks read, filled once.
const std::string& filledFile() {
  static BenchFile file("read");
  static const bool filled = [] {
    sqlite3* db = nullptr;
    sqlite3_open(file.path().c_str(), &db);
    resetTable(db);
    exec(db, "begin");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, kInsert, -1, &insert, nullptr);
    for (const Row& r : rows()) {
      sqlite3_bind_int64(insert, 1, r.id);
      sqlite3_bind_text(insert, 2, r.name.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(insert, 3, r.email.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_double(insert, 4, r.score);
      sqlite3_bind_int(insert, 5, r.age);
      sqlite3_bind_int(insert, 6, r.active);
      sqlite3_bind_text(insert, 7, r.note.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_double(insert, 8, r.created);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    exec(db, "commit");
    sqlite3_close(db);
    return true;
  }();
  static const std::string path = filled ? file.path() : std::string();
  return path;
}

std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))) : std::string();
}

void BM_RawRead(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(filledFile().c_str(), &db);
  for (auto _ : state) {
    std::vector<Row> out;
    out.reserve(kRows);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, kSelect, -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) {
      Row& r = out.emplace_back();
      r.id = sqlite3_column_int64(select, 0);
      r.name = columnText(select, 1);
      r.email = columnText(select, 2);
      r.score = sqlite3_column_double(select, 3);
      r.age = sqlite3_column_int(select, 4);
      r.active = sqlite3_column_int(select, 5) != 0;
      r.note = columnText(select, 6);
      r.created = sqlite3_column_double(select, 7);
    }
    sqlite3_finalize(select);
    if (out.size() != kRows) state.SkipWithError("missing rows");
    benchmark::DoNotOptimize(out.data());
  }
  sqlite3_close(db);
  setRowsProcessed(state);
}
BENCHMARK(BM_RawRead)->Unit(benchmark::kMillisecond);

void BM_KivRead(benchmark::State& state) {
  kiv::Ref<kiv::SqDatabase> db = kiv::SqDatabase::databaseWithPath(filledFile());
  db->open();
  db->setShouldCacheStatements(true);
  for (auto _ : state) {
    std::vector<kiv::Dictionary> out;
    out.reserve(kRows);
    kiv::Ref<kiv::SqResultSet> rs = db->executeQuery(kSelect);
    while (rs->next()) out.push_back(rs->resultDictionary());
    if (out.size() != kRows) state.SkipWithError("missing rows");
    benchmark::DoNotOptimize(out.data());
  }
  setRowsProcessed(state);
}
BENCHMARK(BM_KivRead)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
