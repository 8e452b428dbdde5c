// Pieces of SQL text shared by the collection's statements and the OxDb builders.
#ifndef KIV_COLLECTION_INTERNAL_SQL_TEXT_HPP_
#define KIV_COLLECTION_INTERNAL_SQL_TEXT_HPP_

#include <string>
#include <string_view>

#include "kiv/foundation/dictionary.hpp"

namespace kiv {

// "<verb> INTO <table> (<k1>,<k2>,...)", the row's keys in the row's order.
std::string intoColumns(std::string_view verb, std::string_view tableName, const Dictionary& row);

// Appends " WHERE <condition>" when the condition is not empty.
void appendCondition(std::string& sql, std::string_view condition);

}  // namespace kiv

#endif  // KIV_COLLECTION_INTERNAL_SQL_TEXT_HPP_
