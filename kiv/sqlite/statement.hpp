// SqStatement: one prepared SQLite statement, as the statement cache and result sets hold it.
//
// The wrapper finalizes its handle when it is closed or released, whichever comes first. It also
// keeps the values bound to the statement alive: SQLite reads bound text and blobs in place, so
// they must outlive the steps that read them; the wrapper drops them, and SQLite's bindings,
// when it is reset or closed.
#ifndef KIV_SQLITE_STATEMENT_HPP_
#define KIV_SQLITE_STATEMENT_HPP_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"

struct sqlite3_stmt;

namespace kiv {

class DateFormatter;

class SqStatement : public Object {
 public:
  // Takes ownership of the prepared handle (or of none).
  explicit SqStatement(sqlite3_stmt* statement = nullptr) : statement_(statement) {}
  // Finalizes the handle (see close).
  ~SqStatement() override;

  // The prepared-statement handle; null once closed.
  sqlite3_stmt* statement() const noexcept { return statement_; }
  // Takes ownership of another handle in place of the current one, which is not finalized;
  // parameter names and count are read again from the new one.
  void setStatement(sqlite3_stmt* statement) noexcept {
    statement_ = statement;
    parameterNames_.clear();
    parameterCount_ = -1;
  }

  // The SQL text the statement is cached under.

  const std::string& query() const noexcept { return query_; }
  void setQuery(std::string_view query) { query_ = query; }

  // How many times the statement was handed out.

  std::int64_t useCount() const noexcept { return useCount_; }
  void setUseCount(std::int64_t useCount) noexcept { useCount_ = useCount; }

  // Whether a result set is reading the statement (the cache does not hand it out meanwhile).

  bool inUse() const noexcept { return inUse_; }
  void setInUse(bool inUse) noexcept { inUse_ = inUse; }

  // Rewinds the statement and frees it for reuse (not in use). Returns SQLite's result code.
  int reset();
  // Finalizes the handle, if any, and clears it. Returns SQLite's result code.
  int close();
  // How many parameters the statement has (sqlite3_bind_parameter_count, read once).
  int parameterCount();

  // Binds `value` to the parameter at `column` (from 1), first rule that matches:
  //   absent or null          NULL
  //   data                    a blob of its bytes (empty data: a zero-length blob, not NULL)
  //   date                    with a formatter its text, else its seconds since 1970 (double)
  //   number                  by its kind: c C s S i B as int; I (zero-extended), q, Q (bits
  //                           kept) as 64-bit int; f (widened) and d as double
  //   anything else           its "%@" text, up to the first NUL byte (strings: their text)
  // Returns SQLite's result code.
  int bindObject(const Value& value, int column, const DateFormatter* dateFormat);

  // The index (from 1) of the parameter named ":" + key, as sqlite3_bind_parameter_index finds
  // it, or 0. Keys usually come in the order of the parameters, so the search starts after the
  // last match.
  int indexOfParameterForKey(std::string_view key);

  // "<SqStatement: 0x...> 3 hit(s) for query select ...".
  std::string description() const override;

 private:
  // Keeps `value` as the one bound at `column` and returns the kept copy, or nullptr when the
  // statement has no such parameter.
  const Value* keep(const Value& value, int column);
  int bindText(const Value& text, int column);

  sqlite3_stmt* statement_;
  std::string query_;
  std::int64_t useCount_ = 0;
  bool inUse_ = false;
  std::vector<Value> boundValues_;           // indexed by column - 1
  std::vector<std::string> parameterNames_;  // indexed by column - 1; read on first use
  std::size_t nextParameter_ = 0;            // where the next parameter search starts
  int parameterCount_ = -1;                  // read on first use
};

}  // namespace kiv

#endif  // KIV_SQLITE_STATEMENT_HPP_
