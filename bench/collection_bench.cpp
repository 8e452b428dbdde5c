// The collection database against raw SQLite C calls in the same binary.
//
//   BM_RawPreparedUpsert   100,000 rows of 6 columns into a file in one transaction: one prepared
//                          "REPLACE INTO ..." bound by index, stepped and reset per row
//   BM_BatchUpsert/c       the same rows as dictionaries (built before the timing) through
//                          beginTransaction, OxDbCollection::batchUpsert, commit; c = 1 with the
//                          connection's statement cache on (as OxSimpleDatabase sets it), 0 off
//   BM_UpsertRowByRow/c    the same rows with one upsert call each, in one transaction
//   BM_FindOneByKey/c      findOne("id='<n>'") cycling over 1,000 keys, as the model storage
//                          reads by key: the text differs per key, so the cache cannot help, and
//                          cached_texts shows that it stays bounded
//   BM_RawSelectAll        every row of the 100,000, columns read into a struct
//   BM_FindAll             OxDbCollection::find(): every row as an OxDbRow
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "bench_support.hpp"
#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/dictionary.hpp"

namespace {

namespace bench = kiv::bench;

constexpr const char* kCreate =
    "create table if not exists rows (id INTEGER PRIMARY KEY, name TEXT, email TEXT, score REAL, age INTEGER, "
    "note TEXT)";
constexpr const char* kReplace = "REPLACE INTO rows (id,name,email,score,age,note) VALUES (?, ?, ?, ?, ?, ?)";

std::vector<kiv::Dictionary> rowDictionaries() { return bench::personDictionaries(bench::kPersonCoreColumns); }

// A database over a new file with the table, its statement cache as the benchmark's argument.
kiv::Ref<kiv::OxSimpleDatabase> openDatabase(const bench::BenchFile& file, benchmark::State& state) {
  kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(file.path());
  (void)db->executeUpdate(kCreate);
  const bool cache = state.range(0) != 0;
  db->inDatabase([cache](kiv::SqDatabase& connection) { connection.setShouldCacheStatements(cache); });
  return db;
}

void BM_RawPreparedUpsert(benchmark::State& state) {
  bench::BenchFile file("collection-raw-upsert");
  sqlite3* db = nullptr;
  sqlite3_open(file.path().c_str(), &db);
  bench::exec(db, kCreate);
  for (auto _ : state) {
    bench::exec(db, "begin exclusive transaction");
    if (!bench::writePersonRows(db, kReplace, bench::kPersonCoreColumns)) state.SkipWithError("replace failed");
    bench::exec(db, "commit transaction");
  }
  sqlite3_close(db);
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_RawPreparedUpsert)->Unit(benchmark::kMillisecond);

// Writes every row on each iteration through write(collection, rows), between beginTransaction
// and commit.
template <class Write>
void writeInTransactions(benchmark::State& state, std::string_view fileName, Write write) {
  bench::BenchFile file(fileName);
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  kiv::Ref<kiv::OxSimpleDatabase> db = openDatabase(file, state);
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  for (auto _ : state) {
    db->beginTransaction();
    if (!write(*collection, dictionaries)) state.SkipWithError("upsert failed");
    db->commit();
  }
  bench::setPersonRowsProcessed(state);
}

void BM_BatchUpsert(benchmark::State& state) {
  writeInTransactions(state, "collection-batch-upsert",
                      [](kiv::OxDbCollection& collection, const std::vector<kiv::Dictionary>& rows) {
                        return collection.batchUpsert(rows);
                      });
}
BENCHMARK(BM_BatchUpsert)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_UpsertRowByRow(benchmark::State& state) {
  writeInTransactions(state, "collection-upsert-row-by-row",
                      [](kiv::OxDbCollection& collection, const std::vector<kiv::Dictionary>& rows) {
                        bool written = true;
                        for (const kiv::Dictionary& row : rows) written = collection.upsert(row) && written;
                        return written;
                      });
}
BENCHMARK(BM_UpsertRowByRow)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_FindOneByKey(benchmark::State& state) {
  bench::BenchFile file("collection-find-one");
  kiv::Ref<kiv::OxSimpleDatabase> db = openDatabase(file, state);
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  (void)collection->batchUpsert({dictionaries.begin(), dictionaries.begin() + 1000});
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(collection->findOne("id='" + std::to_string(next++ % 1000) + "'"));
  }
  state.counters["cached_texts"] = static_cast<double>(db->inDatabase([](kiv::SqDatabase& connection) {
    return connection.cachedStatements() ? connection.cachedStatements()->size() : 0;
  }));
}
BENCHMARK(BM_FindOneByKey)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The file of the read benchmarks, filled once.
const bench::BenchFile& filledFile() {
  static const bench::BenchFile file("collection-read");
  static const bool filled = [] {
    kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(file.path());
    (void)db->executeUpdate(kCreate);
    db->beginTransaction();
    (void)db->collection("rows")->batchUpsert(rowDictionaries());
    db->commit();
    return true;
  }();
  (void)filled;
  return file;
}

void BM_RawSelectAll(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(filledFile().path().c_str(), &db);
  for (auto _ : state) {
    std::vector<bench::PersonRow> out;
    out.reserve(bench::kPersonRows);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, "SELECT * FROM rows", -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) {
      bench::readPersonRow(select, bench::kPersonCoreColumns, out.emplace_back());
    }
    sqlite3_finalize(select);
    benchmark::DoNotOptimize(out);
  }
  sqlite3_close(db);
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_RawSelectAll)->Unit(benchmark::kMillisecond);

void BM_FindAll(benchmark::State& state) {
  kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(filledFile().path());
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  for (auto _ : state) {
    kiv::OxDbRows found = collection->find();
    if (found.size() != bench::kPersonRows) state.SkipWithError("rows missing");
    benchmark::DoNotOptimize(found);
  }
  bench::setPersonRowsProcessed(state);
}
BENCHMARK(BM_FindAll)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
