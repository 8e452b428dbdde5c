// The model storage against hand-written SQLite and nlohmann::json code in the same binary.
//
// The models have a 64-bit key and five stored properties (two short texts, a double, an int, a
// longer text); every table is made by KivStorage, so the baselines write the same schema (key,
// unique index, update time). Each save commits one transaction per iteration; /0 starts from an
// empty table, /1 overwrites rows that exist.
//
//   BM_RawPreparedSave/e       10,000 rows from plain structs: one prepared REPLACE bound by index
//   BM_SaveModels/e            KivContext::saveModels of 10,000 models (cache, look-up, writes)
//   BM_QuickSaveModels/e       KivContext::quickSaveModels of the same models (cache, REPLACEs)
//   BM_BaselineMapHit          a key in a mutex-guarded std::unordered_map of shared_ptrs
//   BM_CacheHit                KivContext::modelWith of a cached key
//   BM_RawReadByKey            a prepared SELECT by key into a plain struct, keys cycling over 10,000
//   BM_TableRead               KivContext::modelWith of keys cycling over 10,000 rows (always a miss)
//   BM_RawSelectAll            every one of 10,000 rows into plain structs
//   BM_AllModels               KivContext::allModels of the 10,000 rows
//   BM_HandWrittenPipeline/e   JSON text of 10,000 items -> nlohmann::json -> structs -> REPLACEs
//   BM_JSONToStoredRows/q/e    the same text -> parseJSON -> models -> saveModels (q=0) or
//                              quickSaveModels (q=1)
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench_support.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/context.hpp"

namespace {

using kiv::bench::BenchFile;
using kiv::bench::exec;
using kiv::bench::kPersonCoreColumns;
using kiv::bench::PersonRow;

constexpr int kModels = 10000;
constexpr std::int64_t kType = 1;

class BenchItem : public kiv::KivModel {
  KIV_MODEL(BenchItem, kiv::KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(kiv::String, name, setName)
  KIV_PROPERTY(kiv::String, email, setEmail)
  KIV_PROPERTY(double, score, setScore)
  KIV_PROPERTY(std::int32_t, age, setAge)
  KIV_PROPERTY(kiv::String, note, setNote)

 public:
  static kiv::Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"itemId", "id"}, {"name", "name"}, {"email", "email"},
            {"score", "score"}, {"age", "age"},  {"note", "note"}};
  }
  static kiv::Value kiv_key() { return "itemId"; }
  static kiv::Array kiv_dbStoreProperty() { return {"itemId", "name", "email", "score", "age", "note"}; }
};

class BenchMap : public kiv::KivClassMap {
  KIV_CLASS_MAP(BenchMap, kiv::KivClassMap)

 public:
  static const kiv::ModelClass* classMap(std::int64_t type) { return type == kType ? &BenchItem::kivClass() : nullptr; }
};

constexpr const char* kReplace =
    "REPLACE INTO kiv_benchitem_v1 (itemid,name,email,score,age,note,kiv_update_time) VALUES (?,?,?,?,?,?,?)";

// --- Data --------------------------------------------------------------------------------------

// The first kModels of the shared rows; the models store their core columns.
std::span<const PersonRow> items() { return std::span(kiv::bench::personRows()).first(kModels); }

kiv::Array models() {
  const kiv::MutableArray out = kiv::MutableArray::array(kModels);
  for (const PersonRow& item : items()) {
    const kiv::Ref<BenchItem> model = kiv::makeRef<BenchItem>();
    model->setItemId(item.id);
    model->setName(kiv::String(item.name));
    model->setEmail(kiv::String(item.email));
    model->setScore(item.score);
    model->setAge(item.age);
    model->setNote(kiv::String(item.note));
    out.addObject(kiv::Value(model));
  }
  return out;
}

const std::string& itemsJSON() {
  static const std::string text = [] {
    nlohmann::json array = nlohmann::json::array();
    for (const PersonRow& item : items()) {
      array.push_back({{"id", item.id}, {"name", item.name}, {"email", item.email},
                       {"score", item.score}, {"age", item.age}, {"note", item.note}});
    }
    return array.dump();
  }();
  return text;
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

// The file of the read benchmarks, filled once.
const StorageFile& filledFile() {
  static const StorageFile file("read");
  static const bool filled = [] {
    openContext(file)->quickSaveModels(models());
    return true;
  }();
  (void)filled;
  return file;
}

// --- Raw SQLite --------------------------------------------------------------------------------

// Writes the items with one prepared REPLACE in one transaction.
void replaceAll(sqlite3* db, std::span<const PersonRow> rows, benchmark::State& state) {
  exec(db, "begin exclusive transaction");
  sqlite3_stmt* replace = nullptr;
  sqlite3_prepare_v2(db, kReplace, -1, &replace, nullptr);
  for (const PersonRow& row : rows) {
    kiv::bench::bindPersonRow(replace, row, kPersonCoreColumns);
    sqlite3_bind_double(replace, kPersonCoreColumns + 1, kiv::currentTimeIntervalSince1970());
    if (sqlite3_step(replace) != SQLITE_DONE) state.SkipWithError("replace failed");
    sqlite3_reset(replace);
  }
  sqlite3_finalize(replace);
  exec(db, "commit transaction");
}

// The core columns of the statement's row, in a shared row as a cache would hold it.
std::shared_ptr<PersonRow> readItem(sqlite3_stmt* select) {
  auto row = std::make_shared<PersonRow>();
  kiv::bench::readPersonRow(select, kPersonCoreColumns, *row);
  return row;
}

// A raw connection to the file.
struct RawConnection {
  explicit RawConnection(const std::string& path) { sqlite3_open(path.c_str(), &db); }
  ~RawConnection() { sqlite3_close(db); }
  sqlite3* db = nullptr;
};

// Runs the save once to fill the table, then once per iteration: into an empty table (emptied
// outside the timing) when the benchmark argument `argument` is 0, over the rows that exist
// otherwise.
void timeSaves(benchmark::State& state, const StorageFile& file, int argument, const std::function<void()>& save) {
  RawConnection raw(file.path());
  const bool overwrite = state.range(argument) != 0;
  save();
  for (auto _ : state) {
    if (!overwrite) {
      state.PauseTiming();
      exec(raw.db, "DELETE FROM kiv_benchitem_v1");
      state.ResumeTiming();
    }
    save();
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}

// --- Saves -------------------------------------------------------------------------------------

void BM_RawPreparedSave(benchmark::State& state) {
  StorageFile file("raw-save");
  RawConnection raw(file.path());
  timeSaves(state, file, 0, [&] { replaceAll(raw.db, items(), state); });
}
BENCHMARK(BM_RawPreparedSave)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_SaveModels(benchmark::State& state) {
  StorageFile file("save-models");
  const auto context = openContext(file);
  const kiv::Array all = models();
  timeSaves(state, file, 0, [&] { context->saveModels(all); });
}
BENCHMARK(BM_SaveModels)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_QuickSaveModels(benchmark::State& state) {
  StorageFile file("quick-save-models");
  const auto context = openContext(file);
  const kiv::Array all = models();
  timeSaves(state, file, 0, [&] { context->quickSaveModels(all); });
}
BENCHMARK(BM_QuickSaveModels)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// --- Reads by key ------------------------------------------------------------------------------

void BM_BaselineMapHit(benchmark::State& state) {
  std::mutex mutex;
  std::unordered_map<std::int64_t, std::shared_ptr<PersonRow>> map;
  for (const PersonRow& item : items()) map.emplace(item.id, std::make_shared<PersonRow>(item));
  std::int64_t key = 0;
  for (auto _ : state) {
    std::shared_ptr<PersonRow> found;
    {
      std::lock_guard<std::mutex> lock(mutex);
      found = map.find(key)->second;
    }
    benchmark::DoNotOptimize(found);
    key = (key + 1) % 100;
  }
}
BENCHMARK(BM_BaselineMapHit);

void BM_CacheHit(benchmark::State& state) {
  const auto context = openContext(filledFile());
  for (std::int64_t key = 0; key < 100; ++key) context->modelWith(key, kType);
  std::int64_t key = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(context->modelWith(key, kType));
    key = (key + 1) % 100;
  }
}
BENCHMARK(BM_CacheHit);

void BM_RawReadByKey(benchmark::State& state) {
  RawConnection raw(filledFile().path());
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(raw.db, "SELECT * FROM kiv_benchitem_v1 WHERE itemid=?", -1, &select, nullptr);
  std::int64_t key = 0;
  for (auto _ : state) {
    sqlite3_bind_int64(select, 1, key);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("row missing");
    benchmark::DoNotOptimize(readItem(select));
    sqlite3_reset(select);
    key = (key + 1) % kModels;
  }
  sqlite3_finalize(select);
}
BENCHMARK(BM_RawReadByKey)->Unit(benchmark::kMicrosecond);

void BM_TableRead(benchmark::State& state) {
  const auto context = openContext(filledFile());
  std::int64_t key = 0;
  for (auto _ : state) {
    if (!context->modelWith(key, kType)) state.SkipWithError("model missing");
    key = (key + 1) % kModels;
  }
}
BENCHMARK(BM_TableRead)->Unit(benchmark::kMicrosecond);

// --- Whole tables ------------------------------------------------------------------------------

void BM_RawSelectAll(benchmark::State& state) {
  RawConnection raw(filledFile().path());
  for (auto _ : state) {
    std::vector<std::shared_ptr<PersonRow>> out;
    out.reserve(kModels);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(raw.db, "SELECT * FROM kiv_benchitem_v1", -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) out.push_back(readItem(select));
    sqlite3_finalize(select);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_RawSelectAll)->Unit(benchmark::kMillisecond);

void BM_AllModels(benchmark::State& state) {
  const auto context = openContext(filledFile());
  for (auto _ : state) {
    if (context->allModels(kType).count() != kModels) state.SkipWithError("models missing");
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_AllModels)->Unit(benchmark::kMillisecond);

// --- JSON text to stored rows ------------------------------------------------------------------

void BM_HandWrittenPipeline(benchmark::State& state) {
  StorageFile file("hand-written");
  RawConnection raw(file.path());
  timeSaves(state, file, 0, [&] {
    const nlohmann::json parsed = nlohmann::json::parse(itemsJSON());
    std::vector<PersonRow> rows;
    rows.reserve(parsed.size());
    for (const nlohmann::json& j : parsed) {
      rows.push_back(PersonRow{j.at("id").get<std::int64_t>(), j.at("name").get<std::string>(),
                               j.at("email").get<std::string>(), j.at("score").get<double>(),
                               j.at("age").get<std::int32_t>(), j.at("note").get<std::string>()});
    }
    replaceAll(raw.db, rows, state);
  });
}
BENCHMARK(BM_HandWrittenPipeline)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_JSONToStoredRows(benchmark::State& state) {
  StorageFile file("json-to-rows");
  const auto context = openContext(file);
  const bool quick = state.range(0) != 0;
  timeSaves(state, file, 1, [&] {
    const kiv::Array parsed = kiv::parseJSON(itemsJSON()).asArray();
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
BENCHMARK(BM_JSONToStoredRows)->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
