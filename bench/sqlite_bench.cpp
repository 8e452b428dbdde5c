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

#include <string>
#include <vector>

#include "bench_support.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/sqlite/database.hpp"

namespace {

namespace bench = kiv::bench;

constexpr const char* kCreate =
    "create table rows (id integer, name text, email text, score real, age integer, note text, active integer, "
    "created real)";
constexpr const char* kInsert =
    "insert into rows (id, name, email, score, age, note, active, created) values (:id, :name, :email, :score, "
    ":age, :note, :active, :created)";
constexpr const char* kSelect = "select id, name, email, score, age, note, active, created from rows";

void resetTable(sqlite3* db) {
  bench::exec(db, "drop table if exists rows");
  bench::exec(db, kCreate);
}

void BM_RawInsert(benchmark::State& state) {
  bench::BenchFile file("sqlite-raw-insert");
  sqlite3* db = nullptr;
  sqlite3_open(file.path().c_str(), &db);
  for (auto _ : state) {
    state.PauseTiming();
    resetTable(db);
    state.ResumeTiming();
    bench::exec(db, "begin exclusive transaction");
    if (!bench::writePersonRows(db, kInsert, bench::kPersonColumns)) state.SkipWithError("insert failed");
    bench::exec(db, "commit transaction");
  }
  sqlite3_close(db);
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_RawInsert)->Unit(benchmark::kMillisecond);

void BM_KivInsert(benchmark::State& state) {
  bench::BenchFile file("sqlite-kiv-insert");
  const std::vector<kiv::Dictionary> dictionaries = bench::personDictionaries(bench::kPersonColumns);
  kiv::Ref<kiv::SqDatabase> db = kiv::SqDatabase::databaseWithPath(file.path());
  (void)db->open();
  db->setShouldCacheStatements(true);
  for (auto _ : state) {
    state.PauseTiming();
    resetTable(db->sqliteHandle());
    state.ResumeTiming();
    (void)db->beginTransaction();
    for (const kiv::Dictionary& row : dictionaries) {
      if (!db->executeUpdateWithParameterDictionary(kInsert, row)) state.SkipWithError("insert failed");
    }
    (void)db->commit();
  }
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_KivInsert)->Unit(benchmark::kMillisecond);

// The file that the read benchmarks read, filled once.
const std::string& filledFile() {
  static const bench::BenchFile file("sqlite-read");
  static const std::string path = [] {
    sqlite3* db = nullptr;
    sqlite3_open(file.path().c_str(), &db);
    resetTable(db);
    bench::exec(db, "begin");
    bench::writePersonRows(db, kInsert, bench::kPersonColumns);
    bench::exec(db, "commit");
    sqlite3_close(db);
    return file.path();
  }();
  return path;
}

void BM_RawRead(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(filledFile().c_str(), &db);
  for (auto _ : state) {
    std::vector<bench::PersonRow> out;
    out.reserve(bench::kPersonRows);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, kSelect, -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) bench::readPersonRow(select, bench::kPersonColumns, out.emplace_back());
    sqlite3_finalize(select);
    if (out.size() != bench::kPersonRows) state.SkipWithError("missing rows");
    benchmark::DoNotOptimize(out.data());
  }
  sqlite3_close(db);
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_RawRead)->Unit(benchmark::kMillisecond);

void BM_KivRead(benchmark::State& state) {
  kiv::Ref<kiv::SqDatabase> db = kiv::SqDatabase::databaseWithPath(filledFile());
  (void)db->open();
  db->setShouldCacheStatements(true);
  for (auto _ : state) {
    std::vector<kiv::Dictionary> out;
    out.reserve(bench::kPersonRows);
    kiv::Ref<kiv::SqResultSet> rs = db->executeQuery(kSelect);
    while (rs->next()) out.push_back(rs->resultDictionary());
    if (out.size() != bench::kPersonRows) state.SkipWithError("missing rows");
    benchmark::DoNotOptimize(out.data());
  }
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_KivRead)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
