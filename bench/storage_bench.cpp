// The model storage against hand-written SQLite and nlohmann::json code in the same binary.
//
// The models have a 64-bit key and five stored properties (two short texts, a double, an int, a
// longer text); every table is made by KivStorage, so the baselines write the same schema (key,
// unique index, update time). N is the number of models: 10^3, 10^4 and 10^5, and 10^6 as well
// when the environment sets KIV_BENCH_LARGE=1. Each save commits one transaction per iteration;
// mode 0 writes new rows into an empty table, mode 1 overwrites rows that exist. items_per_second
// gives the time per row at each size.
//
//   BM_RawSave/N/m             plain structs, one prepared statement bound by index, in one
//                              transaction: REPLACE into the empty table (m=0), UPDATE of the rows
//                              that exist (m=1), REPLACE over them (m=2)
//   BM_SaveModels/N/m          KivContext::saveModels (cache, then one INSERT ... ON CONFLICT DO
//                              UPDATE per row); compare with raw m=0 and m=1
//   BM_QuickSaveModels/N/m     KivContext::quickSaveModels (cache, then REPLACEs); compare with raw
//                              m=0 and m=2
//   BM_SaveModelsObserved/N/m  BM_SaveModels with one change observer registered
//   BM_BackgroundSaves/N       N KivContext::saveModel calls, then until every row is on disk
//   BM_BaselineMapHit          a key in a mutex-guarded std::unordered_map of shared_ptrs
//   BM_CacheHit                KivContext::modelWith of a cached key
//   BM_RawReadByKey            a prepared SELECT by key into a plain struct, keys cycling over 10^4
//   BM_TableRead               KivContext::modelWith of keys cycling over 10^4 rows (the 200-model
//                              cache always misses)
//   BM_RawSelect/N/w           every row (w=0), or every other row (w=1), into plain structs
//   BM_AllModels/N, BM_ModelsQuery/N   KivContext::allModels, and modelsQuery for every other row
//   BM_HandWrittenPipeline/N/m JSON text of N items -> nlohmann::json -> structs -> raw writes
//   BM_JSONToStoredRows/N/q/m  the same text -> parseJSON -> models -> saveModels (q=0) or
//                              quickSaveModels (q=1)
//   BM_ReadLatencyDuringSave   the slowest read by key while another thread saves 10^5 models
//   BM_BoundedMemory           10^6 saveModel calls over 1,000 keys: resident memory after 10^4
//                              and after 10^6
//
// Saves report peak_rss_mb, the resident memory at its highest while the benchmark ran; compare
// it with the raw save's plus the memory the models take (models_mb).
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "bench_item.hpp"
#include "bench_support.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/context.hpp"

namespace {

using kiv::bench::BenchFile;
using kiv::bench::BenchItem;
using kiv::bench::exec;
using kiv::bench::kPersonCoreColumns;
using kiv::bench::PersonRow;
using kiv::bench::ResidentPeak;

constexpr std::int64_t kType = 1;
constexpr int kReadRows = 10000;

class BenchMap : public kiv::KivClassMap {
  KIV_CLASS_MAP(BenchMap, kiv::KivClassMap)

 public:
  static const kiv::ModelClass* classMap(std::int64_t type) { return type == kType ? &BenchItem::kivClass() : nullptr; }
};

constexpr const char* kReplace =
    "REPLACE INTO kiv_benchitem_v1 (itemid,name,email,score,age,note,kiv_update_time) VALUES (?,?,?,?,?,?,?)";
constexpr const char* kUpdate =
    "UPDATE kiv_benchitem_v1 SET name=?2,email=?3,score=?4,age=?5,note=?6,kiv_update_time=?7 WHERE itemid=?1";

// --- Sizes and data ----------------------------------------------------------------------------

// 10^3, 10^4, 10^5 models; 10^6 too with KIV_BENCH_LARGE=1.
std::vector<std::int64_t> sizes() {
  std::vector<std::int64_t> out = {1000, 10000, 100000};
  const char* large = std::getenv("KIV_BENCH_LARGE");
  if (large && std::string(large) == "1") out.push_back(1000000);
  return out;
}

std::vector<PersonRow> items(std::int64_t count) {
  std::vector<PersonRow> out;
  out.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) out.push_back(kiv::bench::personRow(i));
  return out;
}

kiv::Array models(std::int64_t count) {
  const kiv::MutableArray out = kiv::MutableArray::array(static_cast<std::size_t>(count));
  for (const PersonRow& item : items(count)) out.addObject(kiv::Value(BenchItem::of(item)));
  return out;
}

std::string itemsJSON(std::int64_t count) {
  nlohmann::json array = nlohmann::json::array();
  for (const PersonRow& item : items(count)) {
    array.push_back({{"id", item.id}, {"name", item.name}, {"email", item.email},
                     {"score", item.score}, {"age", item.age}, {"note", item.note}});
  }
  return array.dump();
}

// --- Files -------------------------------------------------------------------------------------

// A database file in the temporary directory with the models' table, removed before and after.
class StorageFile : public BenchFile {
 public:
  explicit StorageFile(const std::string& name) : BenchFile("storage-" + name) {
    kiv::KivStorage storage;
    storage.registerMapper(&BenchMap::kivClass());
    storage.registerDbPath(path());
    storage.configDataBase({kiv::Value(&BenchItem::kivClass())});
  }
};

// A context of its own on the file, the models' type registered.
std::unique_ptr<kiv::KivContext> openContext(const StorageFile& file) {
  auto context = std::make_unique<kiv::KivContext>();
  context->registerMapper(&BenchMap::kivClass());
  context->registerDbPath(file.path());
  context->registerClass({kType});
  return context;
}

// The file of the read benchmarks with `rows` rows, filled once per size.
const StorageFile& filledFile(std::int64_t rows) {
  static std::mutex mutex;
  static std::unordered_map<std::int64_t, std::unique_ptr<StorageFile>> files;
  std::lock_guard<std::mutex> lock(mutex);
  std::unique_ptr<StorageFile>& file = files[rows];
  if (!file) {
    file = std::make_unique<StorageFile>("read-" + std::to_string(rows));
    openContext(*file)->quickSaveModels(models(rows));
  }
  return *file;
}

// --- Raw SQLite --------------------------------------------------------------------------------

// A raw connection to the file.
struct RawConnection {
  explicit RawConnection(const std::string& path) { sqlite3_open(path.c_str(), &db); }
  ~RawConnection() { sqlite3_close(db); }
  sqlite3* db = nullptr;
};

// Writes the items with one prepared REPLACE (or UPDATE) in one transaction.
void writeAll(sqlite3* db, const std::vector<PersonRow>& rows, bool update, benchmark::State& state) {
  exec(db, "begin exclusive transaction");
  sqlite3_stmt* write = nullptr;
  sqlite3_prepare_v2(db, update ? kUpdate : kReplace, -1, &write, nullptr);
  for (const PersonRow& row : rows) {
    kiv::bench::bindPersonRow(write, row, kPersonCoreColumns);
    sqlite3_bind_double(write, kPersonCoreColumns + 1, kiv::currentTimeIntervalSince1970());
    if (sqlite3_step(write) != SQLITE_DONE) state.SkipWithError("write failed");
    sqlite3_reset(write);
  }
  sqlite3_finalize(write);
  exec(db, "commit transaction");
}

// The core columns of the statement's row, in a shared row as a cache would hold it.
std::shared_ptr<PersonRow> readItem(sqlite3_stmt* select) {
  auto row = std::make_shared<PersonRow>();
  kiv::bench::readPersonRow(select, kPersonCoreColumns, *row);
  return row;
}

// Runs the save once to fill the table, then once per iteration: into an empty table (emptied
// outside the timing) or over the rows that exist. Reports the items and the peak memory.
void timeSaves(benchmark::State& state, const StorageFile& file, bool overwrite, const std::function<void()>& save) {
  RawConnection raw(file.path());
  ResidentPeak memory;
  save();
  for (auto _ : state) {
    if (!overwrite) {
      state.PauseTiming();
      exec(raw.db, "DELETE FROM kiv_benchitem_v1");
      state.ResumeTiming();
    }
    save();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["peak_rss_mb"] = memory.peakMegabytes();
}

void saveArguments(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t size : sizes()) {
    for (const int mode : {0, 1}) benchmark->Args({size, mode});
  }
  benchmark->Unit(benchmark::kMillisecond);
}

// --- Saves -------------------------------------------------------------------------------------

void BM_RawSave(benchmark::State& state) {
  StorageFile file("raw-save");
  RawConnection raw(file.path());
  const std::vector<PersonRow> rows = items(state.range(0));
  const bool update = state.range(1) == 1;
  if (update) writeAll(raw.db, rows, false, state);  // the rows that the updates find
  timeSaves(state, file, state.range(1) != 0, [&] { writeAll(raw.db, rows, update, state); });
}
BENCHMARK(BM_RawSave)->Apply([](benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t size : sizes()) benchmark->Args({size, 0})->Args({size, 1})->Args({size, 2});
  benchmark->Unit(benchmark::kMillisecond);
});

void BM_SaveModels(benchmark::State& state) {
  StorageFile file("save-models");
  const auto context = openContext(file);
  const double before = kiv::bench::residentMegabytes();
  const kiv::Array all = models(state.range(0));
  state.counters["models_mb"] = kiv::bench::residentMegabytes() - before;
  timeSaves(state, file, state.range(1) != 0, [&] { context->saveModels(all); });
}
BENCHMARK(BM_SaveModels)->Apply(saveArguments);

void BM_SaveModelsObserved(benchmark::State& state) {
  StorageFile file("save-observed");
  const auto context = openContext(file);
  std::atomic<std::size_t> told{0};
  const kiv::KivObservation observation =
      context->observe([&](const kiv::KivChange& change) { told += change.savedKeys.size(); });
  const kiv::Array all = models(state.range(0));
  timeSaves(state, file, state.range(1) != 0, [&] { context->saveModels(all); });
  context->waitUntilBackgroundWritesFinish();
  if (told.load() == 0) state.SkipWithError("no change was told");
}
BENCHMARK(BM_SaveModelsObserved)->Args({10000, 0})->Args({10000, 1})->Unit(benchmark::kMillisecond);

void BM_QuickSaveModels(benchmark::State& state) {
  StorageFile file("quick-save-models");
  const auto context = openContext(file);
  const kiv::Array all = models(state.range(0));
  timeSaves(state, file, state.range(1) != 0, [&] { context->quickSaveModels(all); });
}
BENCHMARK(BM_QuickSaveModels)->Apply(saveArguments);

void BM_BackgroundSaves(benchmark::State& state) {
  StorageFile file("background-saves");
  const auto context = openContext(file);
  const kiv::Array all = models(state.range(0));
  ResidentPeak memory;
  for (auto _ : state) {
    for (const kiv::Value& item : all) context->saveModel(item.objectAs<kiv::KivModel>());
    context->waitUntilBackgroundWritesFinish();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["peak_rss_mb"] = memory.peakMegabytes();
}
BENCHMARK(BM_BackgroundSaves)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// --- Reads by key ------------------------------------------------------------------------------

void BM_BaselineMapHit(benchmark::State& state) {
  std::mutex mutex;
  std::unordered_map<std::int64_t, std::shared_ptr<PersonRow>> map;
  for (const PersonRow& item : items(100)) map.emplace(item.id, std::make_shared<PersonRow>(item));
  std::int64_t key = 0;
  for (auto _ : state) {
    std::shared_ptr<PersonRow> found;
    {
      std::lock_guard<std::mutex> lock(mutex);
      found = map.find(key)->second;
    }
    benchmark::DoNotOptimize(found);
    key = key == 99 ? 0 : key + 1;
  }
}
BENCHMARK(BM_BaselineMapHit);

void BM_CacheHit(benchmark::State& state) {
  const auto context = openContext(filledFile(kReadRows));
  for (std::int64_t key = 0; key < 100; ++key) context->modelWith(key, kType);
  std::int64_t key = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(context->modelWith(key, kType));
    key = key == 99 ? 0 : key + 1;
  }
}
BENCHMARK(BM_CacheHit);

void BM_RawReadByKey(benchmark::State& state) {
  RawConnection raw(filledFile(kReadRows).path());
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(raw.db, "SELECT * FROM kiv_benchitem_v1 WHERE itemid=?", -1, &select, nullptr);
  std::int64_t key = 0;
  for (auto _ : state) {
    sqlite3_bind_int64(select, 1, key);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("row missing");
    benchmark::DoNotOptimize(readItem(select));
    sqlite3_reset(select);
    key = (key + 1) % kReadRows;
  }
  sqlite3_finalize(select);
}
BENCHMARK(BM_RawReadByKey)->Unit(benchmark::kMicrosecond);

void BM_TableRead(benchmark::State& state) {
  const auto context = openContext(filledFile(kReadRows));
  std::int64_t key = 0;
  for (auto _ : state) {
    if (!context->modelWith(key, kType)) state.SkipWithError("model missing");
    key = (key + 1) % kReadRows;
  }
}
BENCHMARK(BM_TableRead)->Unit(benchmark::kMicrosecond);

// --- Whole tables ------------------------------------------------------------------------------

void scanArguments(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t size : sizes()) benchmark->Arg(size);
  benchmark->Unit(benchmark::kMillisecond);
}

void BM_RawSelect(benchmark::State& state) {
  RawConnection raw(filledFile(state.range(0)).path());
  const char* sql = state.range(1) != 0 ? "SELECT * FROM kiv_benchitem_v1 WHERE itemid % 2 = 0"
                                        : "SELECT * FROM kiv_benchitem_v1";
  for (auto _ : state) {
    std::vector<std::shared_ptr<PersonRow>> out;
    out.reserve(static_cast<std::size_t>(state.range(0)));
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(raw.db, sql, -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) out.push_back(readItem(select));
    sqlite3_finalize(select);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RawSelect)->Apply([](benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t size : sizes()) benchmark->Args({size, 0})->Args({size, 1});
  benchmark->Unit(benchmark::kMillisecond);
});

void BM_AllModels(benchmark::State& state) {
  const auto context = openContext(filledFile(state.range(0)));
  for (auto _ : state) {
    if (context->allModels(kType).count() != static_cast<std::size_t>(state.range(0))) state.SkipWithError("missing");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AllModels)->Apply(scanArguments);

void BM_ModelsQuery(benchmark::State& state) {
  const auto context = openContext(filledFile(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(context->modelsQuery("itemid % 2 = 0", kType));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ModelsQuery)->Apply(scanArguments);

// --- JSON text to stored rows ------------------------------------------------------------------

void BM_HandWrittenPipeline(benchmark::State& state) {
  StorageFile file("hand-written");
  RawConnection raw(file.path());
  const std::string text = itemsJSON(state.range(0));
  const bool overwrite = state.range(1) != 0;
  timeSaves(state, file, overwrite, [&] {
    const nlohmann::json parsed = nlohmann::json::parse(text);
    std::vector<PersonRow> rows;
    rows.reserve(parsed.size());
    for (const nlohmann::json& j : parsed) {
      rows.push_back(PersonRow{j.at("id").get<std::int64_t>(), j.at("name").get<std::string>(),
                               j.at("email").get<std::string>(), j.at("score").get<double>(),
                               j.at("age").get<std::int32_t>(), j.at("note").get<std::string>()});
    }
    writeAll(raw.db, rows, false, state);
  });
}
BENCHMARK(BM_HandWrittenPipeline)->Apply(saveArguments);

void BM_JSONToStoredRows(benchmark::State& state) {
  StorageFile file("json-to-rows");
  const auto context = openContext(file);
  const std::string text = itemsJSON(state.range(0));
  const bool quick = state.range(2) != 0;
  timeSaves(state, file, state.range(1) != 0, [&] {
    const kiv::Array parsed = kiv::parseJSON(text).asArray();
    const kiv::MutableArray made = kiv::MutableArray::array(parsed.count());
    for (const kiv::Value& dictionary : parsed) {
      made.addObject(kiv::Value(kiv::kiv_modelFromDictionary<BenchItem>(dictionary.asDictionary())));
    }
    if (quick) {
      context->quickSaveModels(made);
    } else {
      context->saveModels(made);
    }
  });
}
BENCHMARK(BM_JSONToStoredRows)->Apply([](benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t size : sizes()) {
    for (const int mode : {0, 1}) benchmark->Args({size, mode, 0})->Args({size, mode, 1});
  }
  benchmark->Unit(benchmark::kMillisecond);
});

// --- Reads during a big write, and memory over a long run ---------------------------------------

void BM_ReadLatencyDuringSave(benchmark::State& state) {
  StorageFile file("latency");
  const auto context = openContext(file);
  context->quickSaveModels(models(kReadRows));
  const kiv::Array big = models(100000);
  double slowest = 0;
  for (auto _ : state) {
    std::atomic<bool> saving{true};
    std::thread writer([&] {
      context->saveModels(big);
      saving.store(false);
    });
    std::int64_t key = 0;
    while (saving.load()) {
      const auto start = std::chrono::steady_clock::now();
      context->storage().dbModel(key, BenchItem::kivClass());
      const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
      slowest = std::max(slowest, took.count());
      key = (key + 1) % kReadRows;
    }
    writer.join();
  }
  state.counters["max_read_ms"] = slowest;
}
BENCHMARK(BM_ReadLatencyDuringSave)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_BoundedMemory(benchmark::State& state) {
  StorageFile file("bounded");
  const auto context = openContext(file);
  for (auto _ : state) {
    double afterFirst = 0;
    for (int i = 0; i < 1000000; ++i) {
      const kiv::Ref<BenchItem> item = BenchItem::of(kiv::bench::personRow(i % 1000));
      context->saveModel(item);
      if (i + 1 == 10000) {
        context->waitUntilBackgroundWritesFinish();
        afterFirst = kiv::bench::residentMegabytes();
      }
    }
    context->waitUntilBackgroundWritesFinish();
    state.counters["rss_after_1e4_mb"] = afterFirst;
    state.counters["rss_after_1e6_mb"] = kiv::bench::residentMegabytes();
  }
}
BENCHMARK(BM_BoundedMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

// An application that uses a storage runs several threads; a process that never started one lets
// libstdc++ skip the atomic operations of shared_ptr, which would flatter the baselines.
int main(int argc, char** argv) {
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
