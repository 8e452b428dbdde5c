// Schema changes that keep the stored models: files written by one release of an application,
// reopened by the next one, with the class map's kiv_keepsDataOnSchemaChange and
// kiv_keepsDataOnVersionChange on; and releases killed in the middle of a change.
//
// Each release runs in a process of its own, as it would on a device: a class's stored properties
// are read once per process (its row layout is kept for the process's life), so a release that
// stores other properties must start afresh.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kiv/mapping/model_adapter.hpp"
#include "kiv/model/model.hpp"
#include "kiv/sqlite/database.hpp"
#include "kiv/storage/cache.hpp"
#include "kiv/storage/storage.hpp"
#include "kiv/testing/database_fixture.hpp"

namespace kiv::testing {
namespace {

// A model whose stored properties and key each test chooses, as releases of an application would.
class Entry : public KivModel {
  KIV_MODEL(Entry, KivModel)
  KIV_PROPERTY(std::int64_t, a, setA)
  KIV_PROPERTY(std::int32_t, b, setB)
  KIV_PROPERTY(double, c, setC)
  KIV_PROPERTY(Array, values, setValues)

 public:
  static inline Array stored = {"a", "b"};
  static inline Value key = "a";
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"a", "a"}, {"b", "b"}, {"c", "c"}, {"values", "values"}};
  }
  static Value kiv_key() { return key; }
  static Array kiv_dbStoreProperty() { return stored; }
};

// A later release of Entry in which b holds text: its name in lower case is Entry's, and so is
// its table.
class ENTRY : public KivModel {
  KIV_MODEL(ENTRY, KivModel)
  KIV_PROPERTY(std::int64_t, a, setA)
  KIV_PROPERTY(String, b, setB)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"a", "a"}, {"b", "b"}}; }
  static Value kiv_key() { return "a"; }
  static Array kiv_dbStoreProperty() { return {"a", "b"}; }
};

// A model whose table the class map says depends on Entry's.
class Digest : public KivModel {
  KIV_MODEL(Digest, KivModel)
  KIV_PROPERTY(std::int64_t, digestId, setDigestId)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"digestId", "id"}}; }
  static Value kiv_key() { return "digestId"; }
  static Array kiv_dbStoreProperty() { return {"digestId"}; }
};

class MigrationMap : public KivClassMap {
  KIV_CLASS_MAP(MigrationMap, KivClassMap)

 public:
  static inline std::int64_t version = 1;
  static inline bool keepsSchema = true;
  static inline bool keepsVersion = true;
  static inline Array dependents;
  static inline Array tablesToClear;

  static std::int64_t kiv_Version() { return version; }
  static bool kiv_keepsDataOnSchemaChange(const ModelClass& cls) { return keepsSchema && &cls != &Digest::kivClass(); }
  static bool kiv_keepsDataOnVersionChange() { return keepsVersion; }
  static const ModelClass* classMap(std::int64_t /*type*/) { return &Entry::kivClass(); }
  static Array modelsDependOnModel(const ModelClass& cls) { return &cls == &Entry::kivClass() ? dependents : Array(); }
  static Array clearTableforClass(const ModelClass& cls) {
    return &cls == &Entry::kivClass() ? tablesToClear : Array();
  }
};

constexpr int kRows = 10000;

std::int32_t bOf(std::int64_t a) { return static_cast<std::int32_t>(a * 3 + 1); }

// Records with a = 0, 1, ... and b = bOf(a), and every other stored property set.
Array records(int count) {
  const MutableArray out = MutableArray::array();
  for (int a = 0; a < count; ++a) {
    const Ref<Entry> record = makeRef<Entry>();
    record->setA(a);
    record->setB(bOf(a));
    record->setValues({a, "v"});
    out.addObject(Value(record));
  }
  return out;
}

// Runs the body in a child process, as one release of the application; fails the test when the
// body's checks fail there (their messages are printed by the child).
void inRelease(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the release failed (see above)";
}

std::unique_ptr<KivStorage> openStorage(const std::string& path,
                                        const Array& classes = {Value(&Entry::kivClass())}) {
  auto storage = std::make_unique<KivStorage>();
  storage->registerMapper(&MigrationMap::kivClass());
  storage->registerDbPath(path);
  storage->configDataBase(classes);
  return storage;
}

void writeRecords(const std::string& path, int count) {
  openStorage(path)->setDbModels(records(count), Entry::kivClass());
}

// The set properties of the model as "name=value", sorted by name and joined by ",".
std::string setProperties(const Value& model) {
  const MutableDictionary set = kiv_dictionaryFromModel(model.objectAs<KivModel>());
  std::vector<std::string> entries;
  for (const Value& name : set.allKeys()) {
    const Value value = set[name.stringView()];
    entries.push_back(std::string(name.stringView()) + "=" +
                      (value.isArray() ? value.asArray().LxJSON2StringNilOptions().str() : value.description()));
  }
  std::sort(entries.begin(), entries.end());
  std::string text;
  for (const std::string& entry : entries) text += (text.empty() ? "" : ",") + entry;
  return text;
}

class StorageMigrationTest : public DatabaseFixture {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    Entry::stored = {"a", "b"};
    Entry::key = "a";
    MigrationMap::version = 1;
    MigrationMap::keepsSchema = true;
    MigrationMap::keepsVersion = true;
    MigrationMap::dependents = Array();
    MigrationMap::tablesToClear = Array();
  }

  // Every one of `count` records reads back from the storage as a model of the class with the set
  // properties that `expected` gives for its a.
  static void expectEveryRecord(KivStorage& storage, int count, const std::function<std::string(int)>& expected,
                                const ModelClass& cls = Entry::kivClass()) {
    const Array all = storage.allModels(cls);
    ASSERT_EQ(all.count(), static_cast<std::size_t>(count));
    std::set<std::int64_t> seen;
    int wrong = 0;
    for (const Value& model : all) {
      EXPECT_EQ(&model.objectAs<KivModel>()->modelClass(), &cls);
      const std::int64_t a = kiv_dictionaryFromModel(model.objectAs<KivModel>())["a"].longLongValue();
      seen.insert(a);
      const std::string properties = setProperties(model);
      if (properties != expected(static_cast<int>(a)) && ++wrong == 1) {
        ADD_FAILURE() << "record " << a << " reads back as " << properties << ", not " << expected(static_cast<int>(a));
      }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(count));
  }

  std::string columns(std::string_view table) {
    return onDisk("SELECT group_concat(name || ' ' || type, ', ') FROM pragma_table_info('" + std::string(table) + "')");
  }
  std::string definitions(std::string_view table) {
    return onDisk("SELECT sql FROM sqlite_master WHERE tbl_name = '" + std::string(table) +
                  "' AND sql IS NOT NULL ORDER BY type DESC, name");
  }
  std::string tables() { return onDisk("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"); }
  // How many lines the storage logged (the connection logs SQLite's errors besides).
  int storageLines() {
    const std::vector<std::string> lines = log.lines();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
      return line.starts_with("Kiv: ");
    }));
  }
  // Runs the statement on a connection of its own.
  void execute(std::string_view sql) {
    const Ref<SqDatabase> db = SqDatabase::databaseWithPath(path);
    ASSERT_TRUE(db->open() && db->executeUpdate(sql)) << sql;
  }
};

std::string recordWith(int a) { return "a=" + std::to_string(a); }
std::string recordWithB(int a) { return recordWith(a) + ",b=" + std::to_string(bOf(a)); }
std::string valuesOf(int a) { return "[" + std::to_string(a) + ",\"v\"]"; }

TEST_F(StorageMigrationTest, ANewStoredPropertyBecomesAColumnAndEveryRowIsKept) {
  inRelease([&] { writeRecords(path, kRows); });
  const std::string updateTimes = onDisk("SELECT total(kiv_update_time) FROM kiv_entry_v1");

  Entry::stored = {"a", "b", "c"};
  inRelease([&] {
    const auto storage = openStorage(path);
    expectEveryRecord(*storage, kRows, recordWithB);
    EXPECT_TRUE(log.lines().empty());
  });
  EXPECT_EQ(columns("kiv_entry_v1"), "a INTEGER, b INTEGER, kiv_update_time TIMESTAMP, c DOUBLE");
  EXPECT_EQ(onDisk("SELECT total(kiv_update_time) FROM kiv_entry_v1"), updateTimes);

  // An up-to-date table is only read.
  inRelease([&] {
    KivStorage storage;
    storage.registerMapper(&MigrationMap::kivClass());
    storage.registerDbPath(path);
    traceStatements(*storage.database());
    storage.configDataBase({Value(&Entry::kivClass())});
    const std::string statements = sql();
    for (const char* verb : {"ALTER", "CREATE", "INSERT", "DROP", "begin", "savepoint"}) {
      EXPECT_EQ(statements.find(verb), std::string::npos) << statements;
    }
  });
}

TEST_F(StorageMigrationTest, AStoredPropertyDroppedRebuildsTheTableWithEveryRowAndItsKeyIndex) {
  inRelease([&] { writeRecords(path, kRows); });
  const std::string updateTimes = onDisk("SELECT total(kiv_update_time) FROM kiv_entry_v1");

  Entry::stored = {"a"};
  inRelease([&] {
    const auto storage = openStorage(path);
    expectEveryRecord(*storage, kRows, recordWith);
    EXPECT_TRUE(log.lines().empty());
  });
  EXPECT_EQ(definitions("kiv_entry_v1"),
            "CREATE TABLE kiv_entry_v1 (a  INTEGER  PRIMARY KEY,kiv_update_time TIMESTAMP)\n"
            "CREATE UNIQUE INDEX idx_kiv_entry_v1 ON kiv_entry_v1(a)");
  EXPECT_EQ(tables(), "kiv_entry_v1\nkv_version");
  EXPECT_EQ(onDisk("SELECT total(kiv_update_time) FROM kiv_entry_v1"), updateTimes);
}

TEST_F(StorageMigrationTest, AChangedColumnTypeRebuildsTheTableAndKeepsTheValues) {
  inRelease([&] { writeRecords(path, kRows); });

  inRelease([&] {
    const auto storage = openStorage(path, {Value(&ENTRY::kivClass())});
    expectEveryRecord(*storage, kRows, recordWithB, ENTRY::kivClass());
  });
  EXPECT_EQ(columns("kiv_entry_v1"), "a INTEGER, b VARCHAR(50), kiv_update_time TIMESTAMP");
  // The integers now stand in a text column, as SQLite stores them there.
  EXPECT_EQ(onDisk("SELECT typeof(b) FROM kiv_entry_v1 WHERE a = 2"), "text");
}

TEST_F(StorageMigrationTest, ARaisedVersionCopiesTheModelTablesAndKeepsTheJsonCache) {
  Entry::stored = {"a", "b", "values"};
  inRelease([&] {
    const auto storage = openStorage(path);
    storage->setDbModels(records(kRows), Entry::kivClass());
    KivCache cache;
    cache.switchDatabase(storage->database());
    EXPECT_TRUE(cache.saveJsonCache(String("[1,2]"), Entry::kivClass()));
  });
  for (const char* sql : {"CREATE TABLE kiv_entry_v0 (a)", "CREATE TABLE KIV_other (a)", "CREATE TABLE notes (a)"}) {
    execute(sql);
  }
  const std::string rows = onDisk("SELECT a, b, \"values\", kiv_update_time FROM kiv_entry_v1 ORDER BY a");

  MigrationMap::version = 2;
  inRelease([&] {
    const auto storage = openStorage(path);
    expectEveryRecord(*storage, kRows, [](int a) { return recordWithB(a) + ",values=" + valuesOf(a); });
    EXPECT_TRUE(log.lines().empty());
  });
  EXPECT_EQ(tables(), "kiv_cache_table\nkiv_entry_v2\nkv_version\nnotes");
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|2");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_cache_table"), "1");
  EXPECT_EQ(definitions("kiv_entry_v2"),
            "CREATE TABLE kiv_entry_v2 (a  INTEGER  PRIMARY KEY,b  INTEGER ,\"values\"  VARCHAR(50) ,"
            "kiv_update_time TIMESTAMP)\n"
            "CREATE UNIQUE INDEX idx_kiv_entry_v2 ON kiv_entry_v2(a)");
  EXPECT_EQ(onDisk("SELECT a, b, \"values\", kiv_update_time FROM kiv_entry_v2 ORDER BY a"), rows);

  // The copy is then brought up to date by its class; the column kept has a name that SQL keeps
  // as a keyword.
  MigrationMap::version = 3;
  Entry::stored = {"a", "values"};
  inRelease([&] {
    const auto storage = openStorage(path);
    expectEveryRecord(*storage, kRows, [](int a) { return recordWith(a) + ",values=" + valuesOf(a); });
  });
  EXPECT_EQ(columns("kiv_entry_v3"), "a INTEGER, values VARCHAR(50), kiv_update_time TIMESTAMP");
}

TEST_F(StorageMigrationTest, AFailedChangeLeavesTheTableAsItWasAndLogsWhy) {
  const Array classes{Value(&Entry::kivClass()), Value(&Digest::kivClass())};
  inRelease([&] {
    const auto storage = openStorage(path, classes);
    storage->setDbModels(records(20), Entry::kivClass());
    const Ref<Digest> digest = makeRef<Digest>();
    digest->setDigestId(1);
    storage->setDbModel(digest, Digest::kivClass());
  });
  execute("CREATE TABLE plain (a)");
  execute("INSERT INTO plain VALUES (1)");
  execute("UPDATE kiv_entry_v1 SET b = a % 5");  // b repeats, so it cannot become the key
  const std::string before = definitions("kiv_entry_v1");
  MigrationMap::dependents = {Value(&Digest::kivClass())};
  MigrationMap::tablesToClear = {"plain"};

  Entry::key = "b";
  inRelease([&] {
    openStorage(path, classes);
    EXPECT_EQ(storageLines(), 1);
    EXPECT_TRUE(log.has("Kiv: cannot bring the table kiv_entry_v1 of the class Entry up to date, so it stays as "
                        "it was: UNIQUE constraint failed: kiv_entry_v1.b"));
  });
  EXPECT_EQ(definitions("kiv_entry_v1"), before);
  EXPECT_EQ(tables(), "kiv_digest_v1\nkiv_entry_v1\nkv_version\nplain");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_entry_v1"), "20");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_digest_v1"), "1");
  EXPECT_EQ(onDisk("SELECT count(*) FROM plain"), "1");

  // Once the table changes, its dependents are made afresh and its tied tables emptied.
  Entry::key = "a";
  Entry::stored = {"a"};
  inRelease([&] { openStorage(path, classes); });
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_entry_v1"), "20");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_digest_v1"), "0");
  EXPECT_EQ(onDisk("SELECT count(*) FROM plain"), "0");
}

TEST_F(StorageMigrationTest, InsideAnApplicationsTransactionAFailureUndoesTheChangeAlone) {
  inRelease([&] { writeRecords(path, 20); });
  execute("UPDATE kiv_entry_v1 SET b = 0");
  inRelease([&] {
    const auto storage = openStorage(path);
    const Ref<OxSimpleDatabase> db = storage->database();
    db->beginTransaction();
    EXPECT_TRUE(db->executeUpdate("CREATE TABLE plain (a)"));
    Entry::key = "b";
    storage->ensureTable(Entry::kivClass());
    EXPECT_TRUE(log.contains("cannot bring the table kiv_entry_v1"));
    Entry::key = "a";
    Entry::stored = {"a", "b", "c"};
    storage->ensureTable(Entry::kivClass());
    EXPECT_TRUE(db->commitTransaction());
  });
  EXPECT_EQ(tables(), "kiv_entry_v1\nkv_version\nplain");
  EXPECT_EQ(columns("kiv_entry_v1"), "a INTEGER, b INTEGER, kiv_update_time TIMESTAMP, c DOUBLE");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_entry_v1"), "20");
}

TEST_F(StorageMigrationTest, AFailedVersionCopyChangesNothingAndIsTriedAgain) {
  inRelease([&] { writeRecords(path, 20); });
  // A model table whose copy cannot be made: a view holds the copy's name.
  execute("CREATE TABLE kiv_odd_v1 (a)");
  execute("CREATE VIEW kiv_odd_v2 AS SELECT 1");

  MigrationMap::version = 2;
  inRelease([&] {
    const auto storage = openStorage(path);
    EXPECT_EQ(storageLines(), 1);
    EXPECT_TRUE(log.has("Kiv: cannot keep the models of version 1 at version 2, so the file stays at version 1: "
                        "cannot copy kiv_odd_v1 to kiv_odd_v2: view kiv_odd_v2 already exists"));
    storage->setDbModels(records(1), Entry::kivClass());  // into the new version's table, for now
  });
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|1");
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_entry_v1"), "20");
  EXPECT_EQ(tables(), "kiv_entry_v1\nkiv_entry_v2\nkiv_odd_v1\nkv_version");

  execute("DROP VIEW kiv_odd_v2");
  inRelease([&] { expectEveryRecord(*openStorage(path), 20, recordWithB); });
  EXPECT_EQ(onDisk("SELECT * FROM kv_version"), "1|2");
  EXPECT_EQ(tables(), "kiv_entry_v2\nkiv_odd_v2\nkv_version");
}

// --- Releases killed during a change ---------------------------------------------------------------

// Where a release dies: as its statement-th statement starts, or after `copySteps` of SQLite's
// progress calls (one per 100 instructions) inside its first statement that copies rows.
struct KillPoint {
  int statement = 0;
  int copySteps = 0;
};

// Kills its own process with SIGKILL at the point, watching the connection's statements.
class Killer {
 public:
  Killer(SqDatabase& db, KillPoint point) : point_(point) {
    sqlite3_trace_v2(db.sqliteHandle(), SQLITE_TRACE_STMT, &Killer::onStatement, this);
    sqlite3_progress_handler(db.sqliteHandle(), 100, &Killer::onProgress, this);
  }

 private:
  static int onStatement(unsigned /*type*/, void* context, void* /*statement*/, void* sql) {
    auto* killer = static_cast<Killer*>(context);
    if (++killer->statements_ == killer->point_.statement) raise(SIGKILL);
    killer->copying_ = killer->copying_ || std::string_view(static_cast<const char*>(sql)).starts_with("INSERT INTO");
    return 0;
  }
  static int onProgress(void* context) {
    auto* killer = static_cast<Killer*>(context);
    if (killer->copying_ && ++killer->steps_ == killer->point_.copySteps) raise(SIGKILL);
    return 0;
  }

  const KillPoint point_;
  int statements_ = 0;
  bool copying_ = false;
  int steps_ = 0;
};

// Opens the file as the release of the hooks as they are now (version check, then the record's
// table) in a child process that dies at the point; whether it died before it finished.
bool killedAt(const std::string& path, KillPoint point) {
  const pid_t child = fork();
  if (child == 0) {
    KivStorage storage;
    storage.registerMapper(&MigrationMap::kivClass());
    const Ref<OxSimpleDatabase> db = OxSimpleDatabase::databaseWithPath(path);
    std::optional<Killer> killer;
    db->inDatabase([&](SqDatabase& connection) { killer.emplace(connection, point); });
    storage.switchDataBase(db);
    storage.configDataBase({Value(&Entry::kivClass())});
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

TEST_F(StorageMigrationTest, AReleaseKilledDuringAChangeLeavesTheOldOrTheNewTablesComplete) {
  constexpr int kKillRows = 2000;
  struct Change {
    const char* name;
    std::function<void()> nextRelease;
  };
  const Change changes[] = {
      {"a column added", [] { Entry::stored = {"a", "b", "c"}; }},
      {"a column dropped", [] { Entry::stored = {"a"}; }},
      {"a raised version", [] { MigrationMap::version = 2; }},
  };
  const std::string written = dir.file("written.db");
  const auto restore = [&] {
    std::filesystem::remove(path + "-journal");
    std::filesystem::copy_file(written, path, std::filesystem::copy_options::overwrite_existing);
  };
  // The schema and the row count of each table.
  const auto fileState = [&] {
    EXPECT_EQ(onDisk("PRAGMA integrity_check"), "ok");
    std::string state = onDisk("SELECT type || ' ' || name || ': ' || ifnull(sql, '') FROM sqlite_master ORDER BY name");
    for (const char* table : {"kv_version", "kiv_entry_v1", "kiv_entry_v2"}) {
      state += "\n" + std::string(table) + " " + onDisk("SELECT count(*) FROM " + std::string(table));
    }
    return state + "\nversion " + onDisk("SELECT version FROM kv_version");
  };

  for (const Change& change : changes) {
    SCOPED_TRACE(change.name);
    reset();
    std::filesystem::remove(path);
    inRelease([&] { writeRecords(path, kKillRows); });
    std::filesystem::copy_file(path, written, std::filesystem::copy_options::overwrite_existing);
    const std::string before = fileState();
    change.nextRelease();

    std::vector<KillPoint> points;
    for (int statement = 1;; ++statement) {
      restore();
      if (!killedAt(path, {statement, 0})) break;
      points.push_back({statement, 0});
    }
    const std::string after = fileState();
    ASSERT_NE(after, before);
    for (const int steps : {1, 40, 160}) points.push_back({0, steps});

    int kills = 0;
    for (const KillPoint& point : points) {
      SCOPED_TRACE("statement " + std::to_string(point.statement) + ", copy step " + std::to_string(point.copySteps));
      restore();
      if (!killedAt(path, point)) continue;
      ++kills;
      const std::string state = fileState();
      EXPECT_TRUE(state == before || state == after) << state;
      // The next launch completes the change.
      inRelease([&] {
        const auto storage = openStorage(path);
        expectEveryRecord(*storage, kKillRows, Entry::stored.count() == 1 ? recordWith : recordWithB);
      });
      EXPECT_EQ(fileState(), after);
    }
    EXPECT_GE(kills, 5);
  }
}

}  // namespace
}  // namespace kiv::testing
