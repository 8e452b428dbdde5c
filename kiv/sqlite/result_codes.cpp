#include "kiv/sqlite/result_codes.hpp"

#include <sqlite3.h>

namespace kiv {

bool sqIsDamagedFile(int code) noexcept {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

bool sqIsStatementFailure(int code) noexcept {
  switch (code & 0xff) {
    case SQLITE_ERROR:
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
    case SQLITE_TOOBIG:
    case SQLITE_RANGE:
      return true;
    default:
      return false;
  }
}

}  // namespace kiv
