// OxDb: SQL texts for callers that want the text rather than its execution.
#ifndef KIV_COLLECTION_OX_DB_HPP_
#define KIV_COLLECTION_OX_DB_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/dictionary.hpp"

namespace kiv {

class OxDb {
 public:
  OxDb() = delete;

  // REPLACE INTO T (name,age,time) VALUES ('Ann', 7, 1449000000.000000): the row's values
  // written in, a string between single quotes (unescaped), a number as its text, a date as its
  // seconds since 1970 with six decimals. A value of another kind (the null, data, an array, a
  // dictionary) writes nothing, leaving fewer values than columns, so the text fails when run.
  static std::string sqlFromReplaceFor(std::string_view tableName, const Dictionary& row);

  // UPDATE T SET a=:a, b=:b WHERE <condition>, for binding the row as its parameters.
  static std::string sqlFromUpdate(std::string_view tableName, const Dictionary& row, std::string_view condition);
};

}  // namespace kiv

#endif  // KIV_COLLECTION_OX_DB_HPP_
