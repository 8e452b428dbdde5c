// SQL identifiers: table and column names written into statement texts.
#ifndef KIV_SQLITE_IDENTIFIER_HPP_
#define KIV_SQLITE_IDENTIFIER_HPP_

#include <string>
#include <string_view>

namespace kiv {

// The name as it stands when it is a plain identifier (ASCII letters, digits and "_", not
// starting with a digit) that is not an SQL keyword, so plain names keep their exact texts;
// otherwise between double quotes with inner double quotes doubled ("values", "my table").
std::string sqlIdentifier(std::string_view name);

}  // namespace kiv

#endif  // KIV_SQLITE_IDENTIFIER_HPP_
