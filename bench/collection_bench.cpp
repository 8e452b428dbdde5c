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

#include <filesystem>
#include <string>
#include <vector>

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/dictionary.hpp"

namespace {

constexpr int kRows = 100000;
constexpr const char* kCreate =
    "create table if not exists rows (id INTEGER PRIMARY KEY, name TEXT, email TEXT, score REAL, age INTEGER, "
    "note TEXT)";
constexpr const char* kReplace = "REPLACE INTO rows (id,name,email,score,age,note) VALUES (?, ?, ?, ?, ?, ?)";

struct Row {
  std::int64_t id = 0;
  std::string name;
  std::string email;
  double score = 0;
  int age = 0;
  std::string note;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> out(kRows);
    for (int i = 0; i < kRows; ++i) {
      out[i] = Row{i, "user" + std::to_string(i), "user" + std::to_string(i) + "@example.com", i * 0.5, 18 + i % 60,
                   "a note of moderate length for row number " + std::to_string(i)};
    }
    return out;
  }();
  return rows;
}

std::vector<kiv::Dictionary> rowDictionaries() {
  std::vector<kiv::Dictionary> out;
  out.reserve(kRows);
  for (const Row& r : rows()) {
    out.push_back(kiv::Dictionary{{"id", static_cast<long long>(r.id)},
                                  {"name", r.name},
                                  {"email", r.email},
                                  {"score", r.score},
                                  {"age", r.age},
                                  {"note", r.note}});
  }
  return out;
}

// A database file in the temporary directory, removed before and after.
class BenchFile {
 public:
  explicit BenchFile(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / ("kiv-collection-bench-" + name + ".db")) {
    std::filesystem::remove(path_);
  }
  ~BenchFile() { std::filesystem::remove(path_); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

void exec(sqlite3* db, const char* sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

void bindRow(sqlite3_stmt* statement, const Row& r) {
  sqlite3_bind_int64(statement, 1, r.id);
  sqlite3_bind_text(statement, 2, r.name.c_str(), -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 3, r.email.c_str(), -1, SQLITE_STATIC);
  sqlite3_bind_double(statement, 4, r.score);
  sqlite3_bind_int(statement, 5, r.age);
  sqlite3_bind_text(statement, 6, r.note.c_str(), -1, SQLITE_STATIC);
}

// A database over a new file with the table, its statement cache as the benchmark's argument.
kiv::Ref<kiv::OxSimpleDatabase> openDatabase(const BenchFile& file, benchmark::State& state) {
  kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(file.path());
  db->executeUpdate(kCreate);
  const bool cache = state.range(0) != 0;
  db->inDatabase([cache](kiv::SqDatabase& connection) { connection.setShouldCacheStatements(cache); });
  return db;
}

void BM_RawPreparedUpsert(benchmark::State& state) {
  BenchFile file("raw-upsert");
  sqlite3* db = nullptr;
  sqlite3_open(file.path().c_str(), &db);
  exec(db, kCreate);
  for (auto _ : state) {
    exec(db, "begin exclusive transaction");
    sqlite3_stmt* replace = nullptr;
    sqlite3_prepare_v2(db, kReplace, -1, &replace, nullptr);
    for (const Row& r : rows()) {
      bindRow(replace, r);
      if (sqlite3_step(replace) != SQLITE_DONE) state.SkipWithError("replace failed");
      sqlite3_reset(replace);
    }
    sqlite3_finalize(replace);
    exec(db, "commit transaction");
  }
  sqlite3_close(db);
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_RawPreparedUpsert)->Unit(benchmark::kMillisecond);

void BM_BatchUpsert(benchmark::State& state) {
  BenchFile file("batch-upsert");
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  kiv::Ref<kiv::OxSimpleDatabase> db = openDatabase(file, state);
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  for (auto _ : state) {
    db->beginTransaction();
    if (!collection->batchUpsert(dictionaries)) state.SkipWithError("batchUpsert failed");
    db->commit();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_BatchUpsert)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_UpsertRowByRow(benchmark::State& state) {
  BenchFile file("upsert-row-by-row");
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  kiv::Ref<kiv::OxSimpleDatabase> db = openDatabase(file, state);
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  for (auto _ : state) {
    db->beginTransaction();
    for (const kiv::Dictionary& row : dictionaries) {
      if (!collection->upsert(row)) state.SkipWithError("upsert failed");
    }
    db->commit();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_UpsertRowByRow)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_FindOneByKey(benchmark::State& state) {
  BenchFile file("find-one");
  kiv::Ref<kiv::OxSimpleDatabase> db = openDatabase(file, state);
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  const std::vector<kiv::Dictionary> dictionaries = rowDictionaries();
  collection->batchUpsert({dictionaries.begin(), dictionaries.begin() + 1000});
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
const BenchFile& filledFile() {
  static const BenchFile file("read");
  static const bool filled = [] {
    kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(file.path());
    db->executeUpdate(kCreate);
    db->beginTransaction();
    db->collection("rows")->batchUpsert(rowDictionaries());
    db->commit();
    return true;
  }();
  (void)filled;
  return file;
}

std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))) : std::string();
}

void BM_RawSelectAll(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(filledFile().path().c_str(), &db);
  for (auto _ : state) {
    std::vector<Row> out;
    out.reserve(kRows);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, "SELECT * FROM rows", -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) {
      out.push_back(Row{sqlite3_column_int64(select, 0), columnText(select, 1), columnText(select, 2),
                        sqlite3_column_double(select, 3), sqlite3_column_int(select, 4), columnText(select, 5)});
    }
    sqlite3_finalize(select);
    benchmark::DoNotOptimize(out);
  }
  sqlite3_close(db);
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_RawSelectAll)->Unit(benchmark::kMillisecond);

void BM_FindAll(benchmark::State& state) {
  kiv::Ref<kiv::OxSimpleDatabase> db = kiv::OxSimpleDatabase::databaseWithPath(filledFile().path());
  kiv::Ref<kiv::OxDbCollection> collection = db->collection("rows");
  for (auto _ : state) {
    kiv::OxDbRows found = collection->find();
    if (found.size() != kRows) state.SkipWithError("rows missing");
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_FindAll)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
