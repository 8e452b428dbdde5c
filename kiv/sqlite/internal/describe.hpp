// The "%@" text of the SQLite layer's objects: "<ClassName: 0x...>".
#ifndef KIV_SQLITE_INTERNAL_DESCRIBE_HPP_
#define KIV_SQLITE_INTERNAL_DESCRIBE_HPP_

#include <string>

namespace kiv {

std::string describeObject(const char* className, const void* object);

}  // namespace kiv

#endif  // KIV_SQLITE_INTERNAL_DESCRIBE_HPP_
