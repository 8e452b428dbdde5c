// KivStorage: table names, columns, the version table and the tables related by the class map.
#include <mutex>
#include <string>

#include "kiv/foundation/date.hpp"
#include "kiv/foundation/log.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/sqlite/identifier.hpp"
#include "kiv/storage/internal/table_migration.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

std::string lowercase(std::string_view text) { return Value(text).lowercaseString().str(); }

// The entry of the property dictionary for the name, or null.
const PropertyDict::Entry* entryNamed(const PropertyDict& properties, std::string_view name) {
  for (const PropertyDict::Entry& entry : properties) {
    if (entry.first == name) return &entry;
  }
  return nullptr;
}

}  // namespace

String KivStorage::tableName(const ModelClass& cls) {
  const Value className(cls.name());
  if (String cached = tableQueue_.objectForKey(className).asString(); cached.isPresent()) return cached;
  const String name("kiv_" + lowercase(cls.name()) + "_v" + std::to_string(version()));
  tableQueue_.setObject(name, className);
  return name;
}

void KivStorage::ensureTable(const ModelClass& cls) {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const HeldTable table = heldTable(cls);
  if (!table) return;
  if (table->exists()) {
    const ClassMapClass* classMap = mapper();
    if (classMap && classMap->kiv_keepsDataOnSchemaChange(cls)) {
      if (migrateTable(*table.table, cls) != Migration::kMigrated) return;
      dropTablesWithClass(cls);
      clearTablesWithClass(cls);
      return;
    }
    if (table->fieldSet() == dbProperty(cls)) return;
    // The class's stored properties changed: the rows cannot be kept.
    dropTablesWithClass(cls);
    (void)table->drop(table->tableName());
    noteUnnamedChange(&cls);
  }
  createTable(*table.table, cls);
  clearTablesWithClass(cls);
}

void KivStorage::ensureTableVersion() {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const Ref<OxSimpleDatabase> db = database();
  if (!db) return;
  const Ref<OxDbCollection> versions = db->collection(kKivVersionTable);
  const std::int64_t current = version();
  const std::string table(kKivVersionTable);
  if (!versions->exists()) {
    (void)db->executeUpdate("create table " + table + " (id int PRIMARY KEY,version int);");
    (void)db->executeUpdate("insert into " + table + " (id,version) values ('1','" + std::to_string(current) + "');");
    return;
  }
  const Ref<OxDbRow> row = versions->findOne("id='1'");
  const bool hasRow = row && !row->dataDict().empty();
  if (hasRow && row->integerForKey("version") == current) return;
  const ClassMapClass* classMap = mapper();
  if (hasRow && classMap && classMap->kiv_keepsDataOnVersionChange()) {
    keepTablesOfVersion(*db, row->integerForKey("version"));
    return;
  }
  // Without its row the update changes nothing, and the table stays without a row.
  (void)versions->update("id='1'", Dictionary{{"version", current}});
  if (!hasRow) return;
  const OxDbRows tables = db->collection("sqlite_master")->find("type = 'table' and name like 'kiv%'", {"name"});
  for (const Ref<OxDbRow>& found : tables) {
    const Value name = found->dataDict()["name"];
    if (name.isNotEmpty()) (void)db->drop(name.stringView());
  }
  if (!tables.empty()) noteUnnamedChange(nullptr);
}

std::set<std::string> KivStorage::dbProperty(const ModelClass& cls) {
  const MutableArray names = MutableArray::array();
  forEachModelLevel(cls, [&](const ModelClass& level) { names.addObjectsFromArray(level.kiv_dbStoreProperty()); });
  names.addObject(kKivUpdateTimeColumn);
  return names.lowerSet();
}

PropertyDict KivStorage::valueTypes(const ModelClass& cls) {
  PropertyDict types;
  forEachModelLevel(cls, [&](const ModelClass& level) {
    const PropertyDict& properties = level.kiv_classInfo().propDict();
    for (const Value& name : level.kiv_dbStoreProperty()) {
      if (const PropertyDict::Entry* entry = entryNamed(properties, name.stringView())) {
        types.setObject(entry->second, entry->first);
      }
    }
  });
  return types;
}

TableDesign KivStorage::tableDesign(std::string_view table, const ModelClass& cls) {
  const Value keyName = cls.kiv_key();
  TableDesign design{std::string(table), {}, {}, keyName.isString() ? lowercase(keyName.stringView()) : std::string()};
  const PropertyDict types = valueTypes(cls);
  for (const auto& [name, info] : types) {
    std::string column = lowercase(name);
    const bool primaryKey = column == design.key;
    design.columns.push_back({std::move(column), std::string(columnType(sqliteValueType(*info))), primaryKey});
  }
  design.columns.push_back({std::string(kKivUpdateTimeColumn), "TIMESTAMP", false});
  design.columnList = createSql(types, design.key);
  return design;
}

void KivStorage::createTable(OxDbCollection& table, const ModelClass& cls) {
  OxSimpleDatabase* db = table.database();
  if (!db) return;
  const TableDesign design = tableDesign(table.tableName(), cls);
  if (!db->executeUpdate(createTableSql(design.table, design.columnList))) {
    log("Kiv: cannot create the table " + table.tableName() + " of the class " + std::string(cls.name()) + ": " +
        db->lastError().message);
  }
  // Without a key the index has no column: the statement is malformed and fails, and the table
  // has no index.
  (void)db->executeUpdate(createIndexSql(design.table, design.key));
}

std::string KivStorage::createSql(const PropertyDict& valueTypes, std::string_view primaeyKey) {
  std::string sql;
  for (const auto& [name, info] : valueTypes) {
    const std::string column = lowercase(name);
    sql.append(sqlIdentifier(column)).append(" ").append(sqliteValueType(*info));
    sql.append(column == primaeyKey ? " PRIMARY KEY," : ",");
  }
  sql.append(kKivUpdateTimeColumn).append(" TIMESTAMP");
  return sql;
}

std::string_view KivStorage::sqliteValueType(const KivProPertyInfo& info) {
  if (info.cls() == &classOf<Date>()) return " TIMESTAMP ";
  if (info.cls() == &classOf<Number>()) return " DOUBLE ";
  switch (info.type() & KivEncodingTypeMask) {
    case KivEncodingTypeBool:
      return " BOOL ";
    case KivEncodingTypeInt8:
    case KivEncodingTypeUInt8:
    case KivEncodingTypeInt16:
    case KivEncodingTypeUInt16:
    case KivEncodingTypeInt32:
    case KivEncodingTypeUInt32:
    case KivEncodingTypeInt64:
    case KivEncodingTypeUInt64:
      return " INTEGER ";
    case KivEncodingTypeFloat:
      return " FLOAT ";
    case KivEncodingTypeDouble:
    case KivEncodingTypeLongDouble:
      return " DOUBLE ";
    case KivEncodingTypeObject:
      return " VARCHAR(50) ";
    default:
      return " VARCHAR(20) ";
  }
}

void KivStorage::clearTablesWithClass(const ModelClass& cls) {
  const ClassMapClass* classMap = mapper();
  const Ref<OxSimpleDatabase> db = database();
  if (!classMap || !db) return;
  for (const Value& name : classMap->clearTableforClass(cls)) {
    if (!name.isString()) continue;
    const Ref<OxDbCollection> table = db->collection(name.stringView());
    if (table->exists() && table->delete_()) noteUnnamedChange(nullptr);
  }
}

void KivStorage::dropTablesWithClass(const ModelClass& cls) {
  const ClassMapClass* classMap = mapper();
  if (!classMap) return;
  for (const Value& element : classMap->modelsDependOnModel(cls)) {
    const ModelClass* dependent = ModelClass::fromValue(element);
    if (!dependent) continue;
    const HeldTable table = heldTable(*dependent);
    if (!table) return;
    (void)table->drop(table->tableName());
    createTable(*table.table, *dependent);
    noteUnnamedChange(dependent);
  }
}

}  // namespace kiv
