#include "kiv/sqlite/database.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>

#include "kiv/foundation/log.hpp"
#include "kiv/foundation/value_heap.hpp"
#include "kiv/sqlite/internal/describe.hpp"

namespace kiv {
namespace {

double secondsNow() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

std::size_t SqQueryHash::operator()(std::string_view text) const noexcept {
  return static_cast<std::size_t>(detail::hashBytes(text.data(), text.size()));
}

// --- Creation and lifecycle ---------------------------------------------------------------------

SqDatabase::SqDatabase(const String& path) : databasePath_(path) {
  if (!sqlite3_threadsafe()) abortWithAssertion("sqlite3_threadsafe()");
}

Ref<SqDatabase> SqDatabase::databaseWithPath(const String& path) { return makeRef<SqDatabase>(path); }

SqDatabase::~SqDatabase() { close(); }

std::string SqDatabase::sqlitePath() const {
  return databasePath_.isAbsent() ? std::string(":memory:") : databasePath_.str();
}

bool SqDatabase::open() { return openWithFlags(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE); }

bool SqDatabase::openWithFlags(int flags) {
  if (db_) return true;
  // One thread uses a connection at a time, so SQLite's own lock around every call would only
  // cost time: the connection runs in SQLite's multi-thread mode unless the flags ask otherwise.
  int sqliteFlags = flags & ~kSqOpenFileProtectionNone;
  if (!(sqliteFlags & (SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_FULLMUTEX))) sqliteFlags |= SQLITE_OPEN_NOMUTEX;
  const int rc = sqlite3_open_v2(sqlitePath().c_str(), &db_, sqliteFlags, nullptr);
  if (rc != SQLITE_OK) {
    log("error opening!: " + std::to_string(rc));
    // SQLite hands out a handle even when opening fails; it only serves for the error message.
    sqlite3_close(db_);
    db_ = nullptr;
    return false;
  }
  if (maxBusyRetryTimeInterval_ > 0) setMaxBusyRetryTimeInterval(maxBusyRetryTimeInterval_);
  return true;
}

bool SqDatabase::close() {
  clearCachedStatements();
  closeStatementsIn(keptStatements_);
  closeOpenResultSets();
  if (!db_) return true;

  int rc = sqlite3_close(db_);
  if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED) {
    bool retry = false;
    while (sqlite3_stmt* leaked = sqlite3_next_stmt(db_, nullptr)) {
      log("Closing leaked statement");
      sqlite3_finalize(leaked);
      retry = true;
    }
    // A second BUSY or LOCKED is accepted: the handle is given up either way.
    if (retry) rc = sqlite3_close(db_);
  } else if (rc != SQLITE_OK) {
    log("error closing!: " + std::to_string(rc));
  }
  db_ = nullptr;
  return true;
}

bool SqDatabase::goodConnection() {
  if (!db_) return false;
  Ref<SqResultSet> resultSet = executeQuery("select name from sqlite_master where type='table'");
  if (!resultSet) return false;
  resultSet->close();
  return true;
}

bool SqDatabase::databaseExists() const {
  if (db_) return true;
  log("The SqDatabase " + description() + " is not open.");
  return false;
}

void SqDatabase::warnInUse() const { log("The SqDatabase " + description() + " is currently in use."); }

std::string SqDatabase::description() const { return describeObject("SqDatabase", this); }

// --- Busy handling ------------------------------------------------------------------------------

void SqDatabase::setMaxBusyRetryTimeInterval(double seconds) {
  maxBusyRetryTimeInterval_ = seconds;
  if (!db_) return;
  if (seconds > 0) {
    sqlite3_busy_handler(db_, &SqDBDatabaseBusyHandler, this);
  } else {
    sqlite3_busy_handler(db_, nullptr, nullptr);
  }
}

int SqDatabase::SqDBDatabaseBusyHandler(void* context, int count) {
  auto* self = static_cast<SqDatabase*>(context);
  if (count == 0) {
    self->startBusyRetryTime_ = secondsNow();
    return 1;
  }
  if (secondsNow() - self->startBusyRetryTime_ < self->maxBusyRetryTimeInterval_) {
    sqlite3_sleep(50);
    return 1;
  }
  return 0;
}

int SqDatabase::busyRetryTimeout() const {
  log("-[SqDatabase busyRetryTimeout]:267");
  log("SqDB: busyRetryTimeout no longer works, please use maxBusyRetryTimeInterval");
  return -1;
}

void SqDatabase::setBusyRetryTimeout(int) {
  log("-[SqDatabase setBusyRetryTimeout:]:273");
  log("SqDB: setBusyRetryTimeout does nothing, please use setMaxBusyRetryTimeInterval:");
}

// --- Library ------------------------------------------------------------------------------------

std::string SqDatabase::sqliteLibVersion() { return sqlite3_libversion(); }

bool SqDatabase::isSQLiteThreadSafe() { return sqlite3_threadsafe() != 0; }

std::string SqDatabase::SqDBUserVersion() { return "2.3"; }

std::uint32_t SqDatabase::SqDBVersion() {
  // "2.3" -> "2.3.0" -> "230", read as hexadecimal.
  static const std::uint32_t version = [] {
    std::string text = SqDBUserVersion();
    if (std::count(text.begin(), text.end(), '.') < 2) text += ".0";
    text.erase(std::remove(text.begin(), text.end(), '.'), text.end());
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
  }();
  return version;
}

// --- Errors -------------------------------------------------------------------------------------

std::string SqDatabase::lastErrorMessage() const { return sqlite3_errmsg(db_); }

int SqDatabase::lastErrorCode() const { return sqlite3_errcode(db_); }

bool SqDatabase::hadError() const {
  const int code = lastErrorCode();
  return code > SQLITE_OK && code < SQLITE_ROW;
}

Error SqDatabase::errorWithMessage(std::string_view message) const {
  return Error{"SqDatabase", lastErrorCode(), std::string(message)};
}

Error SqDatabase::lastError() const { return errorWithMessage(lastErrorMessage()); }

bool SqDatabase::inTransaction() const noexcept {
  // SQLite ends a transaction by itself when a statement fails badly (a full disk, an I/O error).
  return inTransaction_ && db_ && !sqlite3_get_autocommit(db_);
}

// --- Statement cache ----------------------------------------------------------------------------

void SqDatabase::setShouldCacheStatements(bool flag) {
  shouldCacheStatements_ = flag;
  if (flag && !cachedStatements_) cachedStatements_ = std::make_shared<SqStatementCache>();
  if (!flag) cachedStatements_.reset();
}

Ref<SqStatement> SqDatabase::cachedStatementForQuery(std::string_view query) const {
  return freeStatementIn(statementCache(), query);
}

void SqDatabase::setCachedStatement(const Ref<SqStatement>& statement, std::string_view query) {
  keepStatementIn(statementCache(), statement, query);
}

void SqDatabase::clearCachedStatements() {
  if (cachedStatements_) closeStatementsIn(*cachedStatements_);
}

Ref<SqStatement> SqDatabase::freeStatementIn(const SqStatementCache* cache, std::string_view query) {
  if (!cache) return nullptr;
  const auto found = cache->find(query);
  if (found == cache->end()) return nullptr;
  for (const Ref<SqStatement>& statement : found->second) {
    // A statement whose handle was finalized after a failed bind is dead: prepare anew.
    if (!statement->inUse() && statement->statement()) return statement;
  }
  return nullptr;
}

void SqDatabase::keepStatementIn(SqStatementCache* cache, const Ref<SqStatement>& statement, std::string_view query) {
  if (!cache) return;
  statement->setQuery(query);
  auto found = cache->find(query);
  if (found == cache->end()) found = cache->try_emplace(std::string(query)).first;
  std::vector<Ref<SqStatement>>& statements = found->second;
  if (std::find(statements.begin(), statements.end(), statement) == statements.end()) {
    statements.push_back(statement);
  }
}

void SqDatabase::closeStatementsIn(SqStatementCache& cache) {
  for (auto& [query, statements] : cache) {
    for (const Ref<SqStatement>& statement : statements) statement->close();
  }
  cache.clear();
}

// --- Result sets handed out ---------------------------------------------------------------------

void SqDatabase::resultSetDidClose(SqResultSet* resultSet) {
  std::erase(openResultSets_, resultSet);
}

void SqDatabase::closeOpenResultSets() {
  const std::vector<SqResultSet*> resultSets = openResultSets_;
  for (SqResultSet* resultSet : resultSets) {
    resultSet->setParentDB(nullptr);
    resultSet->close();
    std::erase(openResultSets_, resultSet);
  }
}

// --- Dates --------------------------------------------------------------------------------------

DateFormatter SqDatabase::storeableDateFormat(std::string_view format) { return DateFormatter(format, 0); }

Date SqDatabase::dateFromString(std::string_view text) const {
  return dateFormat_ ? dateFormat_->dateFromString(text) : Date();
}

String SqDatabase::stringFromDate(const Date& date) const {
  return dateFormat_ ? dateFormat_->stringFromDate(date) : String();
}

// --- Encryption ---------------------------------------------------------------------------------

bool SqDatabase::setKey(std::string_view key) { return setKeyWithData(Data(key)); }

bool SqDatabase::rekey(std::string_view key) { return rekeyWithData(Data(key)); }

bool SqDatabase::setKeyWithData(const Data&) { return false; }

bool SqDatabase::rekeyWithData(const Data&) { return false; }

}  // namespace kiv
