#include "kiv/sqlite/result_set.hpp"

#include <sqlite3.h>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/database.hpp"
#include "kiv/sqlite/internal/describe.hpp"

namespace kiv {

Ref<SqResultSet> SqResultSet::resultSetWithStatement(const Ref<SqStatement>& statement,
                                                     const Ref<SqDatabase>& parentDatabase) {
  return makeRef<SqResultSet>(statement, parentDatabase);
}

SqResultSet::SqResultSet(Ref<SqStatement> statement, Ref<SqDatabase> parentDatabase)
    : parentDB_(std::move(parentDatabase)), statement_(std::move(statement)) {
  if (statement_) statement_->setInUse(true);
}

SqResultSet::~SqResultSet() { close(); }

void SqResultSet::setParentDB(Ref<SqDatabase> parentDB) { parentDB_ = std::move(parentDB); }

std::string SqResultSet::description() const { return describeObject("SqResultSet", this); }

// --- Stepping -----------------------------------------------------------------------------------

bool SqResultSet::next() {
  const int rc = sqlite3_step(handle());
  switch (rc) {
    case SQLITE_ROW:
      return true;
    case SQLITE_DONE:
      close();
      return false;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      log("-[SqResultSet next]:154 Database busy (" + (parentDB_ ? parentDB_->databasePath() : String()).description() +
          ")");
      log("Database busy");
      close();
      return false;
    case SQLITE_ERROR:
    case SQLITE_MISUSE:
      stepFailed(rc, "Error calling sqlite3_step");
      return false;
    default:
      stepFailed(rc, "Unknown error calling sqlite3_step");
      return false;
  }
}

void SqResultSet::stepFailed(int code, const char* label) {
  const char* message = sqlite3_errmsg(parentDB_ ? parentDB_->sqliteHandle() : nullptr);
  log(std::string(label) + " (" + std::to_string(code) + ": " + message + ") rs");
  close();
}

bool SqResultSet::hasAnotherRow() const {
  return parentDB_ && parentDB_->sqliteHandle() && sqlite3_errcode(parentDB_->sqliteHandle()) == SQLITE_ROW;
}

void SqResultSet::close() {
  if (statement_) {
    statement_->reset();
    statement_ = nullptr;
  }
  // Let go of the parent only after telling it: the reference may be its last one.
  if (Ref<SqDatabase> parent = std::move(parentDB_)) parent->resultSetDidClose(this);
}

// --- Columns ------------------------------------------------------------------------------------

int SqResultSet::columnCount() const { return sqlite3_column_count(handle()); }

String SqResultSet::columnNameForIndex(int columnIndex) const {
  // Unlike most column functions, sqlite3_column_name does not accept a closed statement.
  const char* name = handle() ? sqlite3_column_name(handle(), columnIndex) : nullptr;
  return name ? String(name) : String();
}

const std::vector<String>& SqResultSet::columnNames() {
  // Read again if the statement was prepared anew (a schema change) with other columns.
  const int count = columnCount();
  if (columnNames_.size() != static_cast<std::size_t>(count)) {
    columnNames_.clear();
    for (int i = 0; i < count; ++i) columnNames_.push_back(columnNameForIndex(i));
  }
  return columnNames_;
}

const Dictionary& SqResultSet::columnNameToIndexMap() {
  if (columnNameToIndexMap_.isAbsent()) {
    const int count = columnCount();
    columnNameToIndexMap_ = MutableDictionary::dictionary(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      columnNameToIndexMap_.setObject(Value(i), columnNameForIndex(i).lowercaseString());
    }
  }
  return columnNameToIndexMap_;
}

int SqResultSet::columnIndexForName(std::string_view columnName) {
  const String name = String(columnName).lowercaseString();
  const Value& index = columnNameToIndexMap().objectForKey(name.view());
  if (index.isNumber()) return index.intValue();
  log("Warning: I could not find the column named '" + name.str() + "'.");
  return -1;
}

// --- Rows ---------------------------------------------------------------------------------------

MutableDictionary SqResultSet::resultDictionary() {
  const int count = sqlite3_data_count(handle());
  if (count == 0) {
    log("Warning: There seem to be no columns in this set.");
    return MutableDictionary();
  }
  const std::vector<String>& names = columnNames();
  const MutableDictionary row = MutableDictionary::dictionary(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) row.setObject(objectForColumnIndex(i), names[i]);
  return row;
}

Dictionary SqResultSet::resultDict() {
  if (sqlite3_data_count(handle()) == 0) {
    log("Warning: There seem to be no columns in this set.");
    return Dictionary();
  }
  const MutableDictionary row = MutableDictionary::dictionary(columnNameToIndexMap().count());
  for (const DictionaryEntry& column : columnNameToIndexMap()) {
    row.setObject(objectForColumnIndex(column.value.intValue()), column.key);
  }
  return row.copy();
}

void SqResultSet::kvcMagic(Object& object) {
  const std::vector<String>& names = columnNames();
  for (int i = 0; i < static_cast<int>(names.size()); ++i) {
    if (const char* text = UTF8StringForColumnIndex(i)) object.setValue(String(text), names[i].view());
  }
}

// --- Typed accessors ----------------------------------------------------------------------------

std::int32_t SqResultSet::intForColumnIndex(int columnIndex) const { return sqlite3_column_int(handle(), columnIndex); }

std::int64_t SqResultSet::longForColumnIndex(int columnIndex) const {
  return sqlite3_column_int64(handle(), columnIndex);
}

long long SqResultSet::longLongIntForColumnIndex(int columnIndex) const {
  return sqlite3_column_int64(handle(), columnIndex);
}

unsigned long long SqResultSet::unsignedLongLongIntForColumnIndex(int columnIndex) const {
  return static_cast<unsigned long long>(longLongIntForColumnIndex(columnIndex));
}

bool SqResultSet::boolForColumnIndex(int columnIndex) const { return intForColumnIndex(columnIndex) != 0; }

double SqResultSet::doubleForColumnIndex(int columnIndex) const {
  return sqlite3_column_double(handle(), columnIndex);
}

bool SqResultSet::columnIndexIsNull(int columnIndex) const {
  return sqlite3_column_type(handle(), columnIndex) == SQLITE_NULL;
}

String SqResultSet::stringForColumnIndex(int columnIndex) const {
  if (columnIndex < 0 || columnIndexIsNull(columnIndex)) return String();
  const std::optional<std::string_view> text = textAt(columnIndex);
  return text ? String(*text) : String();
}

Date SqResultSet::dateForColumnIndex(int columnIndex) const {
  if (columnIndex < 0 || columnIndexIsNull(columnIndex)) return Date();
  if (parentDB_ && parentDB_->hasDateFormatter()) {
    return parentDB_->dateFromString(stringForColumnIndex(columnIndex).view());
  }
  return Date::dateWithTimeIntervalSince1970(doubleForColumnIndex(columnIndex));
}

Data SqResultSet::dataForColumnIndex(int columnIndex) const {
  const std::optional<std::string_view> bytes = dataNoCopyForColumnIndex(columnIndex);
  return bytes ? Data(*bytes) : Data();
}

std::optional<std::string_view> SqResultSet::dataNoCopyForColumnIndex(int columnIndex) const {
  if (columnIndex < 0 || columnIndexIsNull(columnIndex)) return std::nullopt;
  return blobAt(columnIndex);
}

const char* SqResultSet::UTF8StringForColumnIndex(int columnIndex) const {
  if (columnIndex < 0 || columnIndexIsNull(columnIndex)) return nullptr;
  return reinterpret_cast<const char*>(sqlite3_column_text(handle(), columnIndex));
}

Value SqResultSet::objectForColumnIndex(int columnIndex) const {
  // The column's value is fetched once (one lock of the connection) and read as its type. The
  // connection is used by one thread at a time, which makes reading it directly safe.
  sqlite3_value* value = sqlite3_column_value(handle(), columnIndex);
  switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
      return Value(static_cast<long long>(sqlite3_value_int64(value)));
    case SQLITE_FLOAT:
      return Value(sqlite3_value_double(value));
    case SQLITE_BLOB: {
      const void* bytes = sqlite3_value_blob(value);
      return bytes ? Value::data(bytes, static_cast<std::size_t>(sqlite3_value_bytes(value))) : Value::null();
    }
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
      return text ? Value(std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value))))
                  : Value::null();
    }
    default:
      return Value::null();
  }
}

std::optional<std::string_view> SqResultSet::textAt(int columnIndex) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle(), columnIndex));
  if (!text) return std::nullopt;
  return std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(handle(), columnIndex)));
}

std::optional<std::string_view> SqResultSet::blobAt(int columnIndex) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(handle(), columnIndex));
  if (!bytes) return std::nullopt;
  return std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle(), columnIndex)));
}

// --- By name ------------------------------------------------------------------------------------

std::int32_t SqResultSet::intForColumn(std::string_view name) { return intForColumnIndex(columnIndexForName(name)); }
std::int64_t SqResultSet::longForColumn(std::string_view name) { return longForColumnIndex(columnIndexForName(name)); }
long long SqResultSet::longLongIntForColumn(std::string_view name) {
  return longLongIntForColumnIndex(columnIndexForName(name));
}
unsigned long long SqResultSet::unsignedLongLongIntForColumn(std::string_view name) {
  return unsignedLongLongIntForColumnIndex(columnIndexForName(name));
}
bool SqResultSet::boolForColumn(std::string_view name) { return boolForColumnIndex(columnIndexForName(name)); }
double SqResultSet::doubleForColumn(std::string_view name) { return doubleForColumnIndex(columnIndexForName(name)); }
String SqResultSet::stringForColumn(std::string_view name) { return stringForColumnIndex(columnIndexForName(name)); }
Date SqResultSet::dateForColumn(std::string_view name) { return dateForColumnIndex(columnIndexForName(name)); }
Data SqResultSet::dataForColumn(std::string_view name) { return dataForColumnIndex(columnIndexForName(name)); }
std::optional<std::string_view> SqResultSet::dataNoCopyForColumn(std::string_view name) {
  return dataNoCopyForColumnIndex(columnIndexForName(name));
}
const char* SqResultSet::UTF8StringForColumnName(std::string_view name) {
  return UTF8StringForColumnIndex(columnIndexForName(name));
}
bool SqResultSet::columnIsNull(std::string_view name) { return columnIndexIsNull(columnIndexForName(name)); }
Value SqResultSet::objectForColumnName(std::string_view name) {
  return objectForColumnIndex(columnIndexForName(name));
}

}  // namespace kiv
