// What SQLite's result codes mean to the layers above, which never see SQLite itself.
#ifndef KIV_SQLITE_RESULT_CODES_HPP_
#define KIV_SQLITE_RESULT_CODES_HPP_

namespace kiv {

// Whether the (primary or extended) result code says that the file is damaged or is no database
// (SQLITE_CORRUPT, SQLITE_NOTADB).
bool sqIsDamagedFile(int code) noexcept;

// Whether the failure concerns the one statement only (SQLITE_ERROR, as for a table or column that
// does not exist; SQLITE_CONSTRAINT, SQLITE_MISMATCH, SQLITE_TOOBIG, SQLITE_RANGE), so that a
// transaction may go on; any other failure concerns the file or the connection (full, I/O,
// read-only, busy, damaged, out of memory, interrupted).
bool sqIsStatementFailure(int code) noexcept;

}  // namespace kiv

#endif  // KIV_SQLITE_RESULT_CODES_HPP_
