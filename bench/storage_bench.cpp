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
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "kiv/foundation/date.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/storage/context.hpp"

namespace {

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

constexpr const char* kTable = "kiv_benchitem_v1";
constexpr const char* kReplace =
    "REPLACE INTO kiv_benchitem_v1 (itemid,name,email,score,age,note,kiv_update_time) VALUES (?,?,?,?,?,?,?)";

// --- Data --------------------------------------------------------------------------------------

struct Item {
  std::int64_t id = 0;
  std::string name, email;
  double score = 0;
  std::int32_t age = 0;
  std::string note;
};

const std::vector<Item>& items() {
  static const std::vector<Item> items = [] {
    std::vector<Item> out(kModels);
    for (int i = 0; i < kModels; ++i) {
      const std::string n = std::to_string(i);
      out[i] = Item{i, "user" + n, "user" + n + "@example.com", i * 0.5, 18 + i % 60,
                    "a note of moderate length for item number " + n};
    }
    return out;
  }();
  return items;
}

kiv::Array models() {
  const kiv::MutableArray out = kiv::MutableArray::array(kModels);
  for (const Item& item : items()) {
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
    for (const Item& item : items()) {
      array.push_back({{"id", item.id}, {"name", item.name}, {"email", item.email},
                       {"score", item.score}, {"age", item.age}, {"note", item.note}});
    }
    return array.dump();
  }();
  return text;
}

// --- Files -------------------------------------------------------------------------------------

// A database file in the temporary directory with the models' table, removed before and after.
class BenchFile {
 public:
  explicit BenchFile(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / ("kiv-storage-bench-" + name + ".db")) {
    remove();
    kiv::KivStorage storage;
    storage.registerMapper(&BenchMap::kivClass());
    storage.registerDbPath(path());
    storage.configDataBase({kiv::Value(&BenchItem::kivClass())});
  }
  ~BenchFile() { remove(); }
  std::string path() const { return path_.string(); }

 private:
  void remove() {
    for (const char* suffix : {"", "-journal"}) std::filesystem::remove(path_.string() + suffix);
  }
  std::filesystem::path path_;
};

// A context of its own on the file, the models' type registered.
std::unique_ptr<kiv::KivContext> openContext(const BenchFile& file) {
  auto context = std::make_unique<kiv::KivContext>();
  context->registerMapper(&BenchMap::kivClass());
  context->registerDbPath(file.path());
  context->registerClass({kType});
  return context;
}

// The file of the read benchmarks, filled once.
const BenchFile& filledFile() {
  static const BenchFile file("read");
  static const bool filled = [] {
    openContext(file)->quickSaveModels(models());
    return true;
  }();
  (void)filled;
  return file;
}

// --- Raw SQLite --------------------------------------------------------------------------------

void exec(sqlite3* db, const char* sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

// Writes the items with one prepared REPLACE in one transaction.
void replaceAll(sqlite3* db, const std::vector<Item>& rows, benchmark::State& state) {
  exec(db, "begin exclusive transaction");
  sqlite3_stmt* replace = nullptr;
  sqlite3_prepare_v2(db, kReplace, -1, &replace, nullptr);
  for (const Item& r : rows) {
    sqlite3_bind_int64(replace, 1, r.id);
    sqlite3_bind_text(replace, 2, r.name.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_text(replace, 3, r.email.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_double(replace, 4, r.score);
    sqlite3_bind_int(replace, 5, r.age);
    sqlite3_bind_text(replace, 6, r.note.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_double(replace, 7, kiv::currentTimeIntervalSince1970());
    if (sqlite3_step(replace) != SQLITE_DONE) state.SkipWithError("replace failed");
    sqlite3_reset(replace);
  }
  sqlite3_finalize(replace);
  exec(db, "commit transaction");
}

std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))) : std::string();
}

Item readItem(sqlite3_stmt* select) {
  return Item{sqlite3_column_int64(select, 0), columnText(select, 1), columnText(select, 2),
              sqlite3_column_double(select, 3), sqlite3_column_int(select, 4), columnText(select, 5)};
}

// Whether the benchmark argument says that the rows exist already.
bool overwrites(const benchmark::State& state, int argument) { return state.range(argument) != 0; }

// Empties the table, outside the timing, unless the benchmark overwrites existing rows.
void prepareTable(benchmark::State& state, int argument, sqlite3* db) {
  state.PauseTiming();
  if (!overwrites(state, argument)) exec(db, "DELETE FROM kiv_benchitem_v1");
  state.ResumeTiming();
}

// A raw connection for preparing the table between iterations.
struct RawConnection {
  explicit RawConnection(const std::string& path) { sqlite3_open(path.c_str(), &db); }
  ~RawConnection() { sqlite3_close(db); }
  sqlite3* db = nullptr;
};

// --- Saves -------------------------------------------------------------------------------------

void BM_RawPreparedSave(benchmark::State& state) {
  BenchFile file("raw-save");
  RawConnection raw(file.path());
  replaceAll(raw.db, items(), state);
  for (auto _ : state) {
    prepareTable(state, 0, raw.db);
    replaceAll(raw.db, items(), state);
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_RawPreparedSave)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_SaveModels(benchmark::State& state) {
  BenchFile file("save-models");
  RawConnection raw(file.path());
  const auto context = openContext(file);
  const kiv::Array all = models();
  context->saveModels(all);
  for (auto _ : state) {
    prepareTable(state, 0, raw.db);
    context->saveModels(all);
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_SaveModels)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_QuickSaveModels(benchmark::State& state) {
  BenchFile file("quick-save-models");
  RawConnection raw(file.path());
  const auto context = openContext(file);
  const kiv::Array all = models();
  context->quickSaveModels(all);
  for (auto _ : state) {
    prepareTable(state, 0, raw.db);
    context->quickSaveModels(all);
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_QuickSaveModels)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// --- Reads by key ------------------------------------------------------------------------------

void BM_BaselineMapHit(benchmark::State& state) {
  std::mutex mutex;
  std::unordered_map<std::int64_t, std::shared_ptr<Item>> map;
  for (const Item& item : items()) map.emplace(item.id, std::make_shared<Item>(item));
  std::int64_t key = 0;
  for (auto _ : state) {
    std::shared_ptr<Item> found;
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
    benchmark::DoNotOptimize(std::make_shared<Item>(readItem(select)));
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
    std::vector<std::shared_ptr<Item>> out;
    out.reserve(kModels);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(raw.db, "SELECT * FROM kiv_benchitem_v1", -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) out.push_back(std::make_shared<Item>(readItem(select)));
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
  BenchFile file("hand-written");
  RawConnection raw(file.path());
  for (auto _ : state) {
    prepareTable(state, 0, raw.db);
    const nlohmann::json parsed = nlohmann::json::parse(itemsJSON());
    std::vector<Item> rows;
    rows.reserve(parsed.size());
    for (const nlohmann::json& j : parsed) {
      rows.push_back(Item{j.at("id").get<std::int64_t>(), j.at("name").get<std::string>(),
                          j.at("email").get<std::string>(), j.at("score").get<double>(),
                          j.at("age").get<std::int32_t>(), j.at("note").get<std::string>()});
    }
    replaceAll(raw.db, rows, state);
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_HandWrittenPipeline)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_JSONToStoredRows(benchmark::State& state) {
  BenchFile file("json-to-rows");
  RawConnection raw(file.path());
  const auto context = openContext(file);
  const bool quick = state.range(0) != 0;
  for (auto _ : state) {
    prepareTable(state, 1, raw.db);
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
  }
  state.SetItemsProcessed(state.iterations() * kModels);
}
BENCHMARK(BM_JSONToStoredRows)->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
