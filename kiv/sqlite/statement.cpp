#include "kiv/sqlite/statement.hpp"

#include <sqlite3.h>

#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/date_formatter.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/sqlite/internal/describe.hpp"

namespace kiv {

SqStatement::~SqStatement() { close(); }

int SqStatement::reset() {
  int rc = SQLITE_OK;
  if (statement_) {
    rc = sqlite3_reset(statement_);
    // No binding may point at the values dropped here.
    if (!boundValues_.empty()) sqlite3_clear_bindings(statement_);
  }
  boundValues_.clear();
  inUse_ = false;
  return rc;
}

int SqStatement::close() {
  int rc = SQLITE_OK;
  if (statement_) {
    rc = sqlite3_finalize(statement_);
    setStatement(nullptr);
  }
  boundValues_.clear();
  inUse_ = false;
  return rc;
}

int SqStatement::parameterCount() {
  if (parameterCount_ < 0) parameterCount_ = sqlite3_bind_parameter_count(statement_);
  return parameterCount_;
}

const Value* SqStatement::keep(const Value& value, int column) {
  const int count = parameterCount();
  if (column < 1 || column > count) return nullptr;
  if (boundValues_.size() < static_cast<std::size_t>(count)) boundValues_.resize(count);
  boundValues_[column - 1] = value;
  return &boundValues_[column - 1];
}

int SqStatement::bindText(const Value& text, int column) {
  const Value* kept = keep(text, column);
  if (!kept) return sqlite3_bind_null(statement_, column);  // SQLite reports the bad column
  std::string_view view = kept->stringView();
  view = view.substr(0, view.find('\0'));
  return sqlite3_bind_text64(statement_, column, view.data(), view.size(), SQLITE_STATIC, SQLITE_UTF8);
}

int SqStatement::bindObject(const Value& value, int column, const DateFormatter* dateFormat) {
  if (value.isNothing()) return sqlite3_bind_null(statement_, column);
  if (value.isData()) {
    const Value* kept = keep(value, column);
    if (!kept) return sqlite3_bind_null(statement_, column);
    static const char kEmpty = 0;
    const Data data = kept->asData();
    const void* bytes = data.size() ? static_cast<const void*>(data.bytes()) : &kEmpty;
    return sqlite3_bind_blob64(statement_, column, bytes, data.size(), SQLITE_STATIC);
  }
  if (value.isDate()) {
    if (dateFormat) return bindText(dateFormat->stringFromDate(value.asDate()), column);
    return sqlite3_bind_double(statement_, column, value.timeIntervalSince1970());
  }
  switch (value.numberKind()) {
    case 'c': return sqlite3_bind_int(statement_, column, value.charValue());
    case 'C': return sqlite3_bind_int(statement_, column, value.unsignedCharValue());
    case 's': return sqlite3_bind_int(statement_, column, value.shortValue());
    case 'S': return sqlite3_bind_int(statement_, column, value.unsignedShortValue());
    case 'i': return sqlite3_bind_int(statement_, column, value.intValue());
    case 'I': return sqlite3_bind_int64(statement_, column, value.unsignedIntValue());
    case 'q': return sqlite3_bind_int64(statement_, column, value.longLongValue());
    case 'Q':
      return sqlite3_bind_int64(statement_, column, static_cast<sqlite3_int64>(value.unsignedLongLongValue()));
    case 'f': return sqlite3_bind_double(statement_, column, static_cast<double>(value.floatValue()));
    case 'd': return sqlite3_bind_double(statement_, column, value.doubleValue());
    case 'B': return sqlite3_bind_int(statement_, column, value.boolValue() ? 1 : 0);
  }
  if (value.isString()) return bindText(value, column);
  return bindText(String(value.description()), column);
}

int SqStatement::indexOfParameterForKey(std::string_view key) {
  if (parameterNames_.empty()) {
    const int count = parameterCount();
    for (int column = 1; column <= count; ++column) {
      const char* name = sqlite3_bind_parameter_name(statement_, column);
      parameterNames_.emplace_back(name ? name : "");
    }
  }
  const std::size_t count = parameterNames_.size();
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t i = (nextParameter_ + k) % count;
    const std::string_view name = parameterNames_[i];
    if (name.size() == key.size() + 1 && name.front() == ':' && name.substr(1) == key) {
      nextParameter_ = i + 1;
      return static_cast<int>(i + 1);
    }
  }
  return 0;
}

std::string SqStatement::description() const {
  return describeObject("SqStatement", this) + " " + std::to_string(useCount_) + " hit(s) for query " + query_;
}

}  // namespace kiv
