// The transaction and savepoint brackets shared by the connection, the queue and the pool.
#ifndef KIV_SQLITE_INTERNAL_TRANSACTION_BRACKETS_HPP_
#define KIV_SQLITE_INTERNAL_TRANSACTION_BRACKETS_HPP_

#include <functional>
#include <optional>
#include <string>

#include "kiv/foundation/error.hpp"

namespace kiv {

class SqDatabase;

// Begins an exclusive (or deferred) transaction on the connection, when there is one; runs the
// block with a rollback flag (initially false); then rolls back when the block set the flag,
// else commits. The results of begin, commit and rollback are ignored. A block that throws is
// rolled back, and the exception goes on.
void runInTransaction(SqDatabase* db, bool deferred, const std::function<void(bool* rollback)>& block);

// Starts the savepoint `name` on the connection; unless that fails, runs the block with a
// rollback flag (initially false), rolls back to the savepoint when the block set the flag, and
// releases it. Returns the error of the last step that failed, or nothing. A block that throws is
// rolled back to the savepoint, which is released, and the exception goes on.
std::optional<Error> runInSavePoint(SqDatabase& db, const std::string& name,
                                    const std::function<void(bool* rollback)>& block);

}  // namespace kiv

#endif  // KIV_SQLITE_INTERNAL_TRANSACTION_BRACKETS_HPP_
