// Schema changes that keep the stored models, on 100,000 rows, against the same changes made by
// hand with raw SQLite in the same binary.
//
// Each iteration starts from a copy of a file written as an earlier release left it (the copy is
// not timed) and opens it as the next release does: a storage whose class map keeps data
// (registerDbPath, configDataBase), or a raw connection that runs the statements. Times are real
// times: the commits wait for the disk.
//
//   BM_KivAddColumn      a new stored property: ALTER TABLE ... ADD COLUMN
//   BM_RawAddColumn      the same ALTER TABLE in a transaction
//   BM_KivDropColumn     a property no longer stored: the table rebuilt, every row copied
//   BM_RawDropColumn     SQLite's own ALTER TABLE ... DROP COLUMN (rewrites the table in place)
//   BM_KivChangeType     a column whose type changed: the table rebuilt, every row copied
//   BM_RawChangeType     SQLite's documented rebuild by hand (new table, copy, drop, rename, index)
//   BM_KivVersionCopy    a raised version: the model table copied to its new name
//   BM_RawVersionCopy    the same copy by hand (create, copy, index, drop, version row)
//   BM_RawVersionRename  ALTER TABLE ... RENAME TO and the version row: the floor, without a copy
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "bench_item.hpp"
#include "bench_support.hpp"
#include "kiv/storage/storage.hpp"

namespace {

using kiv::bench::BenchFile;
using kiv::bench::BenchItem;
using kiv::bench::exec;

class KeepingMap : public kiv::KivClassMap {
  KIV_CLASS_MAP(KeepingMap, kiv::KivClassMap)

 public:
  static inline std::int64_t version = 1;
  static std::int64_t kiv_Version() { return version; }
  static bool kiv_keepsDataOnSchemaChange(const kiv::ModelClass& /*cls*/) { return true; }
  static bool kiv_keepsDataOnVersionChange() { return true; }
  static const kiv::ModelClass* classMap(std::int64_t /*type*/) { return &BenchItem::kivClass(); }
};

// The table of the current release, as the storage makes it.
constexpr const char* kCurrentColumns =
    "itemid  INTEGER  PRIMARY KEY,name  VARCHAR(50) ,email  VARCHAR(50) ,score  DOUBLE ,age  INTEGER ,"
    "note  VARCHAR(50) ,kiv_update_time TIMESTAMP";

// What the earlier release left: its table's columns, and statements run after its rows.
struct EarlierRelease {
  const char* name;
  const char* columns;
  const char* after;
};

constexpr EarlierRelease kWithoutNote{"without-note", kCurrentColumns, "ALTER TABLE kiv_benchitem_v1 DROP COLUMN note"};
constexpr EarlierRelease kWithOldColumn{
    "with-old", kCurrentColumns,
    "ALTER TABLE kiv_benchitem_v1 ADD COLUMN old VARCHAR(50); UPDATE kiv_benchitem_v1 SET old = note"};
constexpr EarlierRelease kWithTextAge{
    "text-age",
    "itemid  INTEGER  PRIMARY KEY,name  VARCHAR(50) ,email  VARCHAR(50) ,score  DOUBLE ,age  VARCHAR(50) ,"
    "note  VARCHAR(50) ,kiv_update_time TIMESTAMP",
    ""};
constexpr EarlierRelease kSameColumns{"same", kCurrentColumns, ""};

// A file with the earlier release's table kiv_benchitem_v1 of kPersonRows rows, at version 1.
class EarlierFile : public BenchFile {
 public:
  explicit EarlierFile(const EarlierRelease& release)
      : BenchFile("migration-" + std::string(release.name) + "-written") {
    sqlite3* db = nullptr;
    sqlite3_open(path().c_str(), &db);
    exec(db, "BEGIN");
    exec(db, "create table kv_version (id int PRIMARY KEY,version int); "
             "insert into kv_version (id,version) values ('1','1');");
    exec(db, ("CREATE TABLE kiv_benchitem_v1 (" + std::string(release.columns) + ")").c_str());
    exec(db, "CREATE UNIQUE INDEX idx_kiv_benchitem_v1 ON kiv_benchitem_v1(itemid)");
    kiv::bench::writePersonRows(db,
                                "INSERT INTO kiv_benchitem_v1 (itemid,name,email,score,age,note,kiv_update_time) "
                                "VALUES (?,?,?,?,?,?,1700000000.25)",
                                kiv::bench::kPersonCoreColumns);
    exec(db, release.after);
    exec(db, "COMMIT");
    sqlite3_close(db);
  }
};

std::int64_t countRows(const std::string& path, const char* table) {
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, ("SELECT count(*) FROM " + std::string(table)).c_str(), -1, &statement, nullptr);
  const std::int64_t rows = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : -1;
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return rows;
}

// Times `open` on a fresh copy of the earlier release's file per iteration, then checks that
// every row is in `table`.
void timeMigration(benchmark::State& state, const EarlierRelease& release, const char* table,
                   const std::function<void(const std::string& path)>& open) {
  const EarlierFile written(release);
  const BenchFile file("migration-" + std::string(release.name));
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::copy_file(written.path(), file.path(), std::filesystem::copy_options::overwrite_existing);
    state.ResumeTiming();
    open(file.path());
  }
  if (countRows(file.path(), table) != kiv::bench::kPersonRows) state.SkipWithError("rows missing after the change");
  state.SetItemsProcessed(state.iterations() * kiv::bench::kPersonRows);
}

// The next release opening the file through a storage that keeps data.
void openKeeping(const std::string& path) {
  kiv::KivStorage storage;
  storage.registerMapper(&KeepingMap::kivClass());
  storage.registerDbPath(kiv::String(path));
  storage.configDataBase({kiv::Value(&BenchItem::kivClass())});
}

// The statements on a raw connection, in one transaction.
std::function<void(const std::string&)> rawChange(std::string statements) {
  return [statements = std::move(statements)](const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    exec(db, ("BEGIN IMMEDIATE; " + statements + "; COMMIT").c_str());
    sqlite3_close(db);
  };
}

void BM_KivAddColumn(benchmark::State& state) { timeMigration(state, kWithoutNote, "kiv_benchitem_v1", openKeeping); }
BENCHMARK(BM_KivAddColumn)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawAddColumn(benchmark::State& state) {
  timeMigration(state, kWithoutNote, "kiv_benchitem_v1",
                rawChange("ALTER TABLE kiv_benchitem_v1 ADD COLUMN note VARCHAR(50)"));
}
BENCHMARK(BM_RawAddColumn)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_KivDropColumn(benchmark::State& state) {
  timeMigration(state, kWithOldColumn, "kiv_benchitem_v1", openKeeping);
}
BENCHMARK(BM_KivDropColumn)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawDropColumn(benchmark::State& state) {
  timeMigration(state, kWithOldColumn, "kiv_benchitem_v1", rawChange("ALTER TABLE kiv_benchitem_v1 DROP COLUMN old"));
}
BENCHMARK(BM_RawDropColumn)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_KivChangeType(benchmark::State& state) { timeMigration(state, kWithTextAge, "kiv_benchitem_v1", openKeeping); }
BENCHMARK(BM_KivChangeType)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawChangeType(benchmark::State& state) {
  timeMigration(state, kWithTextAge, "kiv_benchitem_v1",
                rawChange("CREATE TABLE new_benchitem (" + std::string(kCurrentColumns) +
                          "); INSERT INTO new_benchitem SELECT * FROM kiv_benchitem_v1; DROP TABLE kiv_benchitem_v1; "
                          "ALTER TABLE new_benchitem RENAME TO kiv_benchitem_v1; "
                          "CREATE UNIQUE INDEX idx_kiv_benchitem_v1 ON kiv_benchitem_v1(itemid)"));
}
BENCHMARK(BM_RawChangeType)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_KivVersionCopy(benchmark::State& state) {
  KeepingMap::version = 2;
  timeMigration(state, kSameColumns, "kiv_benchitem_v2", openKeeping);
  KeepingMap::version = 1;
}
BENCHMARK(BM_KivVersionCopy)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawVersionCopy(benchmark::State& state) {
  timeMigration(state, kSameColumns, "kiv_benchitem_v2",
                rawChange("CREATE TABLE kiv_benchitem_v2 (" + std::string(kCurrentColumns) +
                          "); INSERT INTO kiv_benchitem_v2 SELECT * FROM kiv_benchitem_v1; "
                          "CREATE UNIQUE INDEX idx_kiv_benchitem_v2 ON kiv_benchitem_v2(itemid); "
                          "DROP TABLE kiv_benchitem_v1; UPDATE kv_version SET version = 2 WHERE id = '1'"));
}
BENCHMARK(BM_RawVersionCopy)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawVersionRename(benchmark::State& state) {
  timeMigration(state, kSameColumns, "kiv_benchitem_v2",
                rawChange("ALTER TABLE kiv_benchitem_v1 RENAME TO kiv_benchitem_v2; "
                          "UPDATE kv_version SET version = 2 WHERE id = '1'"));
}
BENCHMARK(BM_RawVersionRename)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
