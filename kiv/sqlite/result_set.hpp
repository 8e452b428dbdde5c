// SqResultSet: the cursor that a query returns. It steps its statement row by row and reads the
// current row's columns by index (from 0) or by name (any letter case), as typed values, as
// Values, or as a whole row dictionary.
//
// A result set starts before the first row: call next() before reading. It holds its statement
// and its connection until it is closed; it closes itself when next() runs out of rows or fails,
// and when it is released. Closing tells the connection, which keeps track of the result sets it
// handed out, and frees the statement for reuse by the statement cache. Reading with no current
// row (or after close) yields what SQLite yields: zeros and nothing.
//
// A result set is used on its connection's thread (or serial queue) and takes no locks.
#ifndef KIV_SQLITE_RESULT_SET_HPP_
#define KIV_SQLITE_RESULT_SET_HPP_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/foundation/data.hpp"
#include "kiv/foundation/date.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value.hpp"
#include "kiv/sqlite/statement.hpp"

namespace kiv {

class SqDatabase;

class SqResultSet : public Object {
 public:
  // A result set over the statement, made by the connection; marks the statement in use.

  static Ref<SqResultSet> resultSetWithStatement(const Ref<SqStatement>& statement,
                                                 const Ref<SqDatabase>& parentDatabase);
  SqResultSet(Ref<SqStatement> statement, Ref<SqDatabase> parentDatabase);

  // Closes the result set (see close).
  ~SqResultSet() override;

  // Steps to the next row: true on a row. When the rows run out or the step fails (logged,
  // whatever the connection's logsErrors says), closes the result set and returns false.
  bool next();
  // Whether the last next() produced a row (the connection's last result code is SQLITE_ROW).
  bool hasAnotherRow() const;
  // Resets and lets go of the statement, tells the connection, lets go of it. Harmless twice.
  void close();

  // How many columns the statement yields; 0 once closed.
  int columnCount() const;
  // The column's name as SQLite gives it; absent for a bad index.
  String columnNameForIndex(int columnIndex) const;
  // The index of the column with this name in any letter case; -1 (logged) when there is none.
  int columnIndexForName(std::string_view columnName);
  // Lower-cased column name -> index (a number); with duplicate names the last column wins.
  const Dictionary& columnNameToIndexMap();

  // The current row: column name as SQLite gives it -> objectForColumnIndex; a later duplicate
  // name overwrites an earlier one. Absent, with a warning, when there is no current row.
  MutableDictionary resultDictionary();
  // The older form: keys lower-cased (through columnNameToIndexMap), an immutable copy.
  Dictionary resultDict();
  // Sets, through setValue(value, key), each non-NULL column's text as a string under the
  // column's name.
  void kvcMagic(Object& object);

  // --- Typed accessors: by index (from 0), or by name (looked up with columnIndexForName) ---
  //
  // A bad index (-1 included) reads as SQLite reads a missing column: 0, or nothing.

  std::int32_t intForColumnIndex(int columnIndex) const;
  std::int32_t intForColumn(std::string_view columnName);
  std::int64_t longForColumnIndex(int columnIndex) const;
  std::int64_t longForColumn(std::string_view columnName);
  long long longLongIntForColumnIndex(int columnIndex) const;
  long long longLongIntForColumn(std::string_view columnName);

  // The 64-bit integer's bits, unsigned.

  unsigned long long unsignedLongLongIntForColumnIndex(int columnIndex) const;
  unsigned long long unsignedLongLongIntForColumn(std::string_view columnName);

  // Whether the column's int (as intForColumnIndex reads it) is not 0.

  bool boolForColumnIndex(int columnIndex) const;
  bool boolForColumn(std::string_view columnName);

  // The column as a double, as SQLite converts it (text is read as a number, NULL as 0).

  double doubleForColumnIndex(int columnIndex) const;
  double doubleForColumn(std::string_view columnName);

  // The column's text; absent for NULL.

  String stringForColumnIndex(int columnIndex) const;
  String stringForColumn(std::string_view columnName);

  // Parsed by the connection's date formatter when it has one, else the number as seconds since
  // 1970; absent for NULL.

  Date dateForColumnIndex(int columnIndex) const;
  Date dateForColumn(std::string_view columnName);

  // A copy of the blob; absent for NULL and for a zero-length blob.

  Data dataForColumnIndex(int columnIndex) const;
  Data dataForColumn(std::string_view columnName);

  // The blob's own bytes, not copied: valid until the next next(), reset or close. Nothing for
  // NULL and for a zero-length blob.

  std::optional<std::string_view> dataNoCopyForColumnIndex(int columnIndex) const;
  std::optional<std::string_view> dataNoCopyForColumn(std::string_view columnName);

  // SQLite's own text, with the same lifetime; nullptr for NULL.

  const char* UTF8StringForColumnIndex(int columnIndex) const;
  const char* UTF8StringForColumnName(std::string_view columnName);

  // Whether the column is NULL; true for a bad index and with no current row.

  bool columnIndexIsNull(int columnIndex) const;
  bool columnIsNull(std::string_view columnName);

  // The column as a Value: INTEGER a 64-bit number, FLOAT a double, BLOB data, TEXT a string;
  // NULL and a zero-length blob give the null. The subscripts are the same by index or name.

  Value objectForColumnIndex(int columnIndex) const;
  Value objectForColumnName(std::string_view columnName);
  Value operator[](int columnIndex) { return objectForColumnIndex(columnIndex); }
  Value operator[](std::string_view columnName) { return objectForColumnName(columnName); }

  // --- Accessors ---

  // The SQL text of the query, as the connection set it.

  const std::string& query() const noexcept { return query_; }
  void setQuery(std::string_view query) { query_ = query; }

  // The statement being read; nullptr once closed.

  const Ref<SqStatement>& statement() const noexcept { return statement_; }
  void setStatement(Ref<SqStatement> statement) { statement_ = std::move(statement); }

  // The connection that handed the result set out, kept alive by it; nullptr once closed.

  const Ref<SqDatabase>& parentDB() const noexcept { return parentDB_; }
  void setParentDB(Ref<SqDatabase> parentDB);

  // "<SqResultSet: 0x...>".
  std::string description() const override;

 private:
  // The statement handle being read, or nullptr once closed.
  sqlite3_stmt* handle() const noexcept { return statement_ ? statement_->statement() : nullptr; }
  // The column's text or blob bytes as SQLite gives them, whatever its type; nothing when SQLite
  // gives no pointer.
  std::optional<std::string_view> textAt(int columnIndex) const;
  std::optional<std::string_view> blobAt(int columnIndex) const;
  // The columns' names as SQLite gives them, read on first use.
  const std::vector<String>& columnNames();
  // Logs a failed step and closes.
  void stepFailed(int code, const char* label);

  Ref<SqDatabase> parentDB_;
  Ref<SqStatement> statement_;
  std::string query_;
  MutableDictionary columnNameToIndexMap_;
  std::vector<String> columnNames_;
};

}  // namespace kiv

#endif  // KIV_SQLITE_RESULT_SET_HPP_
