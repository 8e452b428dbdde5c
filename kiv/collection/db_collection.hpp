// OxDbCollection: one table used as a collection of dictionary rows.
//
// Every operation builds SQL text and runs it on its database's serial queue, then returns the
// rows found or whether the statement ran. The SQL each operation writes is part of its contract
// and shown below, with T the table name.
//
// Names, conditions, orderings, groupings and SET lists are SQL fragments written into the text
// as they stand, never quoted, escaped or checked: a condition such as name='a' AND age>3 is the
// body of a WHERE clause. A fragment that breaks the statement makes it fail. Row values are bound
// as named parameters (":" and the column name) and need no escaping. A row's columns come in the
// row dictionary's order (insertion order).
//
// Failures are return values: nothing found, 0 or false; the connection logs the SQLite error and
// keeps it (OxSimpleDatabase::lastError). A collection is made and kept by its database (see
// OxSimpleDatabase) and has no state of its own, so any thread may use it.
#ifndef KIV_COLLECTION_DB_COLLECTION_HPP_
#define KIV_COLLECTION_DB_COLLECTION_HPP_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kiv/collection/db_row.hpp"
#include "kiv/collection/simple_database.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

class DatabaseLink;
// Column names or SQL expressions of a SELECT; none means "*".
using OxDbFields = std::vector<std::string>;
// Rows by the text of their key column.
using OxDbRowsByKey = std::unordered_map<std::string, Ref<OxDbRow>>;

class OxDbCollection : public Object {
 public:
  // The database's collection for the table: database.collection(tableName).
  static Ref<OxDbCollection> collectionWithDatabase(OxSimpleDatabase& database, std::string_view tableName);

  // The database that runs the statements; nullptr once it is going. Not held: a caller that
  // uses it must hold the database itself. (The collection's own operations hold it while they
  // run, so a database that goes on another thread meanwhile waits for them.)
  OxSimpleDatabase* database() const;
  // The table's name, T in the statements below.
  const std::string& tableName() const noexcept { return tableName_; }

  // --- Reads -------------------------------------------------------------------------------------

  // Whether a schema object named T exists (a table, but also an index, view or trigger).
  bool exists();
  // The names of T's columns ("pragma table_info(T)"); nothing when T does not exist.
  std::optional<std::set<std::string>> fieldSet();

  // SELECT <fields> FROM T WHERE <condition> LIMIT 1: the first row, or nullptr. WHERE is always
  // written, so the condition must not be empty.
  Ref<OxDbRow> findOne(std::string_view condition, const OxDbFields& fields = {});

  // SELECT <fields> FROM T[ WHERE <condition>][ GROUP BY <groupBy>][ ORDER BY <orderBy>]
  // [ LIMIT [<skip>,]<count>]: each clause only when its fragment is not empty. The LIMIT clause
  // only when count >= 1 (so count 0 means every row, whatever the skip), with the offset-first
  // "<skip>," only when skip >= 0.
  OxDbRows find(std::string_view condition, const OxDbFields& fields, std::string_view groupBy,
                std::string_view orderBy, std::int64_t skip, std::int64_t count);
  // The same without grouping; every row of T by default.
  OxDbRows find(std::string_view condition = {}, const OxDbFields& fields = {}, std::string_view orderBy = {},
                std::int64_t skip = -1, std::int64_t count = -1);

  // SELECT COUNT(<key>, or * when empty) rowcount FROM T[ WHERE <condition>]: the count, 0 when
  // the statement fails.
  std::int64_t findCount(std::string_view condition, std::string_view key);

  // SELECT <fields> FROM T WHERE <key> IN ('<v1>', '<v2>', ...), each value written as its text
  // between quotes, unescaped; without a key or values, every row of T. Returns the rows by their
  // key column's string (a later row with the same text wins); rows whose key column is not a
  // string are left out, as a row's typed getters check the kind.
  OxDbRowsByKey findByKey(std::string_view key, const Array& values, const OxDbFields& fields = {});

  // --- Writes ------------------------------------------------------------------------------------
  //
  // Each returns whether its statement ran. Where several rows are written, the columns are the
  // keys of the first row: a later row that lacks one binds SQL NULL for it, and keys that only
  // later rows have are ignored.

  // insertOrReplaceUseMultiSQL("INSERT" or "REPLACE", { row }) for insert and upsert, and with
  // `rows` for batchInsert and batchUpsert.

  [[nodiscard]] bool insert(const Dictionary& row);
  [[nodiscard]] bool upsert(const Dictionary& row);
  [[nodiscard]] bool batchInsert(const std::vector<Dictionary>& rows);
  [[nodiscard]] bool batchUpsert(const std::vector<Dictionary>& rows);

  // <verb> INTO T (a,b) VALUES (:a, :b), run once per row inside one block on the queue, not in a
  // transaction (callers that want all or nothing wrap the call in beginTransaction and
  // commitTransaction). Returns the last row's result: earlier failures do not stop the loop and
  // do not show. False for no rows, without running anything.
  [[nodiscard]] bool insertOrReplaceUseMultiSQL(std::string_view verb, const std::vector<Dictionary>& rows);
  // One statement for all rows, run once:
  //   <verb> INTO T (a,b)  SELECT :a0, :b0  UNION  SELECT :a1, :b1
  // with the blanks as shown and one more at the end; a parameter is named by its key and its
  // row's index. UNION writes identical rows once. SQLite's limits on compound terms and on
  // parameters bound the batch size.
  [[nodiscard]] bool insertOrReplaceUseUnionSQL(std::string_view verb, const std::vector<Dictionary>& rows);

  // UPDATE T SET a=:a, b=:b WHERE <condition>, bound to the row. WHERE is always written.
  [[nodiscard]] bool update(std::string_view condition, const Dictionary& row);
  // UPDATE T SET a=:a, b=:b WHERE <key>=:<key>, bound to the row with `value` under the key (an
  // absent value binds NULL and so matches nothing). A row that also holds the key sets it to
  // `value` too, so a row cannot change its own key this way.
  [[nodiscard]] bool updateForKey(std::string_view key, const Value& value, const Dictionary& row);
  // UPDATE T set <set>[ WHERE <condition>]: every row when the condition is empty.
  [[nodiscard]] bool updateSet(std::string_view condition, std::string_view set);

  // DELETE FROM T: every row.
  [[nodiscard]] bool delete_();
  // DELETE FROM T WHERE <condition>. WHERE is always written.
  [[nodiscard]] bool delete_(std::string_view condition);
  // DELETE FROM T WHERE <key>=?, bound to the value.
  [[nodiscard]] bool deleteForKey(std::string_view key, const Value& value);
  // DROP TABLE <tableName>: the table named, which need not be T (see OxSimpleDatabase::drop).
  [[nodiscard]] bool drop(std::string_view tableName);

 private:
  friend class OxSimpleDatabase;
  OxDbCollection(std::shared_ptr<DatabaseLink> link, std::string_view tableName);

  // The rows of the query; none once the database is going.
  OxDbRows query(const std::string& sql) const;
  // Runs block(SqDatabase&) on the database's queue and returns its result; false once the
  // database is going.
  bool inDatabase(const std::function<bool(SqDatabase&)>& block) const;
  bool execute(const std::string& sql) const;
  bool execute(const std::string& sql, const Dictionary& parameters) const;

  const std::shared_ptr<DatabaseLink> link_;
  const std::string tableName_;
};

}  // namespace kiv

#endif  // KIV_COLLECTION_DB_COLLECTION_HPP_
