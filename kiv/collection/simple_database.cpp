#include "kiv/collection/simple_database.hpp"

#include "kiv/collection/db_collection.hpp"
#include "kiv/collection/internal/database_link.hpp"

#include <utility>

namespace kiv {

Ref<OxSimpleDatabase> OxSimpleDatabase::databaseWithPath(const String& path) {
  return makeRef<OxSimpleDatabase>(path);
}

Ref<OxSimpleDatabase> OxSimpleDatabase::databaseWithPath(const String& path, int openFlags) {
  return makeRef<OxSimpleDatabase>(path, openFlags);
}

OxSimpleDatabase::OxSimpleDatabase(const String& path, int openFlags)
    : innerDb_(SqDatabaseQueue::databaseQueueWithPath(path, openFlags)), link_(std::make_shared<DatabaseLink>(this)) {
  collCache_.reserve(20);
  inDatabase([](SqDatabase& db) { db.setLogsErrors(true); });
}

OxSimpleDatabase::~OxSimpleDatabase() {
  link_->detach();
  if (innerDb_) innerDb_->close();
}

// --- Nested transactions -------------------------------------------------------------------------

void OxSimpleDatabase::beginTransaction() {
  inDatabase([this](SqDatabase& db) {
    ++transactionCounter_;
    if (!db.inTransaction()) (void)db.beginTransaction();
  });
}

void OxSimpleDatabase::commit() { (void)commitTransaction(); }

bool OxSimpleDatabase::commitTransaction() {
  return inDatabase([this](SqDatabase& db) {
    --transactionCounter_;
    return transactionCounter_ == 0 && db.inTransaction() && db.commit();
  });
}

void OxSimpleDatabase::rollback() {
  inDatabase([](SqDatabase& db) {
    if (db.inTransaction()) (void)db.rollback();
  });
}

std::int64_t OxSimpleDatabase::transactionCounter() const {
  return inDatabase([this](SqDatabase&) { return transactionCounter_; });
}

OxTransaction::OxTransaction(OxSimpleDatabase& database) : database_(&database) {
  database.inDatabase([this](SqDatabase& db) {
    outermost_ = ++database_->transactionCounter_ == 1;
    if (!db.inTransaction()) (void)db.beginTransaction();
  });
}

OxTransaction::~OxTransaction() {
  if (database_) rollback();
}

bool OxTransaction::open() const {
  return database_ && database_->inDatabase([](SqDatabase& db) { return db.inTransaction(); });
}

bool OxTransaction::commit() {
  OxSimpleDatabase* const database = std::exchange(database_, nullptr);
  if (!database) return false;
  return database->inDatabase([&](SqDatabase& db) {
    if (--database->transactionCounter_ != 0 || !outermost_) return true;
    if (!db.inTransaction()) return false;
    if (db.commit()) return true;
    if (db.inTransaction()) (void)db.rollback();
    return false;
  });
}

void OxTransaction::rollback() {
  OxSimpleDatabase* const database = std::exchange(database_, nullptr);
  if (!database) return;
  database->inDatabase([&](SqDatabase& db) {
    --database->transactionCounter_;
    if (outermost_ && db.inTransaction()) (void)db.rollback();
  });
}

// --- Collections and errors ----------------------------------------------------------------------

Ref<OxDbCollection> OxSimpleDatabase::collection(std::string_view tableName) {
  std::lock_guard<std::mutex> lock(collCacheMutex_);
  if (auto found = collCache_.find(tableName); found != collCache_.end()) return found->second;
  Ref<OxDbCollection> made(new OxDbCollection(link_, tableName));
  collCache_.emplace(std::string(tableName), made);
  return made;
}

Error OxSimpleDatabase::lastError() const {
  return inDatabase([](SqDatabase& db) { return db.lastError(); });
}

// --- Statements ----------------------------------------------------------------------------------

OxDbRows OxSimpleDatabase::rowsOf(const Ref<SqResultSet>& resultSet) {
  OxDbRows rows;
  if (!resultSet) return rows;
  while (resultSet->next()) {
    rows.push_back(Ref<OxDbRow>(new OxDbRow(OxDbRow::TakeOver{}, resultSet->resultDictionary())));
  }
  resultSet->close();
  return rows;
}

OxDbRows OxSimpleDatabase::executeQuery(std::string_view sql) {
  return inDatabase([&](SqDatabase& db) { return rowsOf(db.executeQuery(sql)); });
}

OxDbRows OxSimpleDatabase::executeQueryWithArgumentsInArray(std::string_view sql, const Array& arguments) {
  return inDatabase([&](SqDatabase& db) { return rowsOf(db.executeQueryWithArgumentsInArray(sql, arguments)); });
}

OxDbRows OxSimpleDatabase::executeQueryWithParameterDictionary(std::string_view sql, const Dictionary& arguments) {
  return inDatabase([&](SqDatabase& db) { return rowsOf(db.executeQueryWithParameterDictionary(sql, arguments)); });
}

bool OxSimpleDatabase::executeUpdate(std::string_view sql) {
  return inDatabase([&](SqDatabase& db) { return db.executeUpdate(sql); });
}

bool OxSimpleDatabase::executeUpdateWithArgumentsInArray(std::string_view sql, const Array& arguments) {
  return inDatabase([&](SqDatabase& db) { return db.executeUpdateWithArgumentsInArray(sql, arguments); });
}

bool OxSimpleDatabase::executeUpdateWithParameterDictionary(std::string_view sql, const Dictionary& arguments) {
  return inDatabase([&](SqDatabase& db) { return db.executeUpdateWithParameterDictionary(sql, arguments); });
}

bool OxSimpleDatabase::executeUpdates(const std::vector<std::string>& sqls) {
  OxTransaction transaction(*this);
  std::string joined;
  const char* separator = "";
  for (const std::string& sql : sqls) {
    joined.append(separator).append(sql);
    separator = ";";
  }
  const bool ran = inDatabase([&](SqDatabase& db) { return db.executeStatements(joined); });
  (void)transaction.commit();
  return ran;
}

// --- Schema helpers ------------------------------------------------------------------------------

bool OxSimpleDatabase::countIsNotZero(const std::string& sql) {
  const OxDbRows rows = executeQuery(sql);
  return !rows.empty() && rows.front()->boolForKey("count", false);
}

bool OxSimpleDatabase::tableExist(std::string_view name) {
  return countIsNotZero("SELECT count(*) AS count FROM sqlite_master WHERE name='" + std::string(name) +
                        "' AND type='table'");
}

bool OxSimpleDatabase::indexExist(std::string_view name) {
  return countIsNotZero("select count(*) count from sqlite_master where name='" + std::string(name) + "'");
}

bool OxSimpleDatabase::drop(std::string_view tableName) {
  const std::string sql = "DROP TABLE " + std::string(tableName);
  return inDatabase([&](SqDatabase& db) {
    db.closeOpenResultSets();
    return db.executeUpdate(sql);
  });
}

bool OxSimpleDatabase::addColonmWith(std::string_view column, std::string_view type, std::string_view tableName) {
  for (const Ref<OxDbRow>& row : executeQuery("PRAGMA table_info(" + std::string(tableName) + ")")) {
    const Value name = row->stringForKey("name");
    if (name.isPresent() && name.stringView() == column) return false;
  }
  return executeUpdate("ALTER TABLE " + std::string(tableName) + " add " + std::string(column) + " " +
                       std::string(type));
}

OxDbRows OxSimpleDatabase::getList(std::string_view search, std::string_view tableName, std::string_view findId) {
  return executeQuery("select * from " + std::string(tableName) + " where " + std::string(findId) + " like '%" +
                      std::string(search) + "%'");
}

}  // namespace kiv
