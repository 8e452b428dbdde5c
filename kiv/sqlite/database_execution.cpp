// SqDatabase: running SQL - the core query and update, argument binding, bulk statements and
// SQL functions.
#include <sqlite3.h>

#include <climits>
#include <exception>
#include <string>

#include "kiv/foundation/log.hpp"
#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

// The text of an exception caught where SQLite called back, logged.
std::string loggedFailure(const char* where) {
  std::string message = std::string(where) + " failed";
  try {
    throw;
  } catch (const std::exception& e) {
    message.append(": ").append(e.what());
  } catch (...) {
  }
  log("Kiv: " + message);
  return message;
}

// No exception may cross SQLite: a block that throws aborts the statements (which then fail).
int SqDBExecuteBulkSQLCallback(void* context, int columns, char** values, char** names) {
  try {
    const auto& block = *static_cast<const SqExecuteStatementsCallbackBlock*>(context);
    const MutableDictionary row = MutableDictionary::dictionary(static_cast<std::size_t>(columns));
    for (int i = 0; i < columns; ++i) row.setObject(values[i] ? Value(values[i]) : Value::null(), std::string_view(names[i]));
    return block(row);
  } catch (...) {
    loggedFailure("an executeStatements block");
    return 1;
  }
}

// A function that throws makes its statement fail with the exception's text.
void SqDBBlockSQLiteCallBackFunction(sqlite3_context* context, int argc, sqlite3_value** argv) {
  try {
    (*static_cast<SqFunctionBlock*>(sqlite3_user_data(context)))(context, argc, argv);
  } catch (...) {
    sqlite3_result_error(context, loggedFailure("an SQL function").c_str(), -1);
  }
}

void traceArgument(const Value& argument) {
  if (argument.isData()) {
    log("data: " + std::to_string(argument.asData().size()) + " bytes");
  } else {
    log("obj: " + argument.description());
  }
}

}  // namespace

// Marks the connection as executing for its lifetime, unless it already is (then it warns and
// entered() is false).
class SqDatabase::ExecutingStatement {
 public:
  explicit ExecutingStatement(SqDatabase& db) : db_(db), entered_(!db.isExecutingStatement_) {
    if (entered_) {
      db.isExecutingStatement_ = true;
    } else {
      db.warnInUse();
    }
  }
  ~ExecutingStatement() {
    if (entered_) db_.isExecutingStatement_ = false;
  }
  ExecutingStatement(const ExecutingStatement&) = delete;
  ExecutingStatement& operator=(const ExecutingStatement&) = delete;

  bool entered() const noexcept { return entered_; }

 private:
  SqDatabase& db_;
  const bool entered_;
};

// --- Counters guarded like execution ------------------------------------------------------------

// SQLite's counters do not accept a closed connection: 0 then.
std::int64_t SqDatabase::lastInsertRowId() {
  ExecutingStatement executing(*this);
  return executing.entered() && db_ ? sqlite3_last_insert_rowid(db_) : 0;
}

int SqDatabase::changes() {
  ExecutingStatement executing(*this);
  return executing.entered() && db_ ? sqlite3_changes(db_) : 0;
}

// --- Preparing and binding ----------------------------------------------------------------------

Ref<SqStatement> SqDatabase::statementForQuery(std::string_view sql, SqStatementCache* cache, bool* fromCache) {
  if (Ref<SqStatement> cached = freeStatementIn(cache, sql)) {
    cached->reset();
    *fromCache = true;
    return cached;
  }
  sqlite3_stmt* handle = nullptr;
  const int length = static_cast<int>(std::min<std::size_t>(sql.size(), INT_MAX));
  if (sqlite3_prepare_v2(db_, sql.data(), length, &handle, nullptr) != SQLITE_OK) {
    const std::string error = "DB Error: " + std::to_string(lastErrorCode()) + " \"" + lastErrorMessage() + "\"";
    if (logsErrors_) {
      log(error);
      log("DB Query: " + std::string(sql));
      log("DB Path: " + databasePath_.description());
    }
    if (crashOnErrors_) abortWithAssertion(error);
    sqlite3_finalize(handle);
    return nullptr;
  }
  return makeRef<SqStatement>(handle);
}

int SqDatabase::bindArguments(SqStatement& statement, int parameterCount, const Arguments& arguments) {
  int bound = 0;
  if (arguments.dictionary.isPresent()) {
    for (const DictionaryEntry& entry : arguments.dictionary) {
      if (traceExecution_) log(std::string(":").append(entry.key.view()).append(" = ").append(entry.value.description()));
      const int index = statement.indexOfParameterForKey(entry.key.view());
      if (index >= 1) {
        statement.bindObject(entry.value, index, dateFormat());
        ++bound;
      } else {
        log("Could not find index for " + entry.key.str());
      }
    }
    return bound;
  }
  std::size_t nextInArray = 0;
  std::size_t nextInList = 0;
  for (int column = 1; column <= parameterCount; ++column) {
    const Value* argument = nullptr;
    if (nextInArray < arguments.array.count()) {
      argument = &arguments.array[nextInArray++];
    } else if (nextInList < arguments.list.size()) {
      argument = &arguments.list[nextInList++];
    } else {
      break;
    }
    if (traceExecution_) traceArgument(*argument);
    statement.bindObject(*argument, column, dateFormat());
    ++bound;
  }
  return bound;
}

// --- The core query and update ------------------------------------------------------------------

SqDatabase::BoundStatement SqDatabase::boundStatementForQuery(std::string_view operation, std::string_view sql,
                                                              const Arguments& arguments, SqStatementCache* cache) {
  if (traceExecution_) log(description() + " " + std::string(operation) + ": " + std::string(sql));
  BoundStatement bound;
  bound.statement = statementForQuery(sql, cache, &bound.fromCache);
  if (!bound.statement) return bound;
  bound.parameterCount = bound.statement->parameterCount();
  bound.boundCount = bindArguments(*bound.statement, bound.parameterCount, arguments);
  // A cached statement is finalized too; the cache no longer hands it out.
  if (!bound.complete()) bound.statement->close();
  return bound;
}

Ref<SqResultSet> SqDatabase::executeQueryWithArgumentsInArrayOrDictionaryOrVAList(std::string_view sql,
                                                                                  const Array& arrayArgs,
                                                                                  const Dictionary& dictionaryArgs,
                                                                                  SqArgumentList listArgs) {
  return runQuery(sql, Arguments{arrayArgs, dictionaryArgs, listArgs}, statementCache());
}

bool SqDatabase::executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(std::string_view sql,
                                                                                Error* outError,
                                                                                const Array& arrayArgs,
                                                                                const Dictionary& dictionaryArgs,
                                                                                SqArgumentList listArgs) {
  return runUpdate(sql, outError, Arguments{arrayArgs, dictionaryArgs, listArgs}, statementCache());
}

Ref<SqResultSet> SqDatabase::runQuery(std::string_view sql, const Arguments& arguments, SqStatementCache* cache) {
  if (!databaseExists()) return nullptr;
  ExecutingStatement executing(*this);
  if (!executing.entered()) return nullptr;
  const BoundStatement bound = boundStatementForQuery("executeQuery", sql, arguments, cache);
  if (!bound.statement) return nullptr;
  if (!bound.complete()) {
    log("Error: the bind count is not correct for the # of variables (executeQuery)");
    return nullptr;
  }
  const Ref<SqStatement>& statement = bound.statement;
  if (!bound.fromCache) keepStatementIn(cache, statement, sql);

  Ref<SqResultSet> resultSet = SqResultSet::resultSetWithStatement(statement, Ref<SqDatabase>(this));
  resultSet->setQuery(sql);
  openResultSets_.push_back(resultSet.get());
  statement->setUseCount(statement->useCount() + 1);
  return resultSet;
}

bool SqDatabase::runUpdate(std::string_view sql, Error* outError, const Arguments& arguments,
                           SqStatementCache* cache) {
  if (!databaseExists()) return false;
  ExecutingStatement executing(*this);
  if (!executing.entered()) return false;
  const BoundStatement bound = boundStatementForQuery("executeUpdate", sql, arguments, cache);
  if (!bound.statement) {
    if (outError) *outError = errorWithMessage(lastErrorMessage());
    return false;
  }
  if (!bound.complete()) {
    log("Error: the bind count (" + std::to_string(bound.boundCount) +
        ") is not correct for the # of variables in the query (" + std::to_string(bound.parameterCount) + ") (" +
        std::string(sql) + ") (executeUpdate)");
    return false;
  }
  const Ref<SqStatement>& statement = bound.statement;

  const int rc = sqlite3_step(statement->statement());
  if (rc != SQLITE_DONE && logsErrors_) logStepFailure(rc, sql);

  // Statements of a cache are kept for the next use; others are finalized.
  int releaseRc;
  if (cache) {
    if (!bound.fromCache) keepStatementIn(cache, statement, sql);
    statement->setUseCount(statement->useCount() + 1);
    releaseRc = statement->reset();
  } else {
    releaseRc = statement->close();
  }
  if (releaseRc != SQLITE_OK && logsErrors_) {
    log("Unknown error finalizing or resetting statement (" + std::to_string(releaseRc) + ": " + lastErrorMessage() +
        ")");
    log("DB Query: " + std::string(sql));
  }
  return rc == SQLITE_DONE || rc == SQLITE_OK;
}

void SqDatabase::logStepFailure(int code, std::string_view sql) const {
  // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on "(" + std::to_string(code).
  std::string detail = "(";
  detail.append(std::to_string(code)).append(": ").append(lastErrorMessage()).append(")");
  if (code == SQLITE_ERROR) {
    log("Error calling sqlite3_step " + detail + " SQLITE_ERROR");
  } else if (code == SQLITE_MISUSE) {
    log("Error calling sqlite3_step " + detail + " SQLITE_MISUSE");
  } else {
    log("Unknown error calling sqlite3_step " + detail + " eu");
  }
  log("DB Query: " + std::string(sql));
}

// --- The public forms ---------------------------------------------------------------------------

Ref<SqResultSet> SqDatabase::executeQueryWithArgumentsInArray(std::string_view sql, const Array& arguments) {
  return executeQueryWithArgumentsInArrayOrDictionaryOrVAList(sql, arguments, Dictionary(), {});
}

Ref<SqResultSet> SqDatabase::executeQueryWithParameterDictionary(std::string_view sql, const Dictionary& arguments) {
  return executeQueryWithArgumentsInArrayOrDictionaryOrVAList(sql, Array(), arguments, {});
}

Ref<SqResultSet> SqDatabase::executeQueryWithVAList(std::string_view sql, SqArgumentList arguments) {
  return executeQueryWithArgumentsInArrayOrDictionaryOrVAList(sql, Array(), Dictionary(), arguments);
}

bool SqDatabase::executeUpdateWithArgumentsInArray(std::string_view sql, const Array& arguments) {
  return executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(sql, nullptr, arguments, Dictionary(), {});
}

bool SqDatabase::executeUpdateWithParameterDictionary(std::string_view sql, const Dictionary& arguments) {
  return executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(sql, nullptr, Array(), arguments, {});
}

bool SqDatabase::executeKeptUpdate(std::string_view sql, SqArgumentList arguments) {
  return runUpdate(sql, nullptr, Arguments{Array(), Dictionary(), arguments}, &keptStatements_);
}

Ref<SqResultSet> SqDatabase::executeKeptQuery(std::string_view sql, SqArgumentList arguments) {
  return runQuery(sql, Arguments{Array(), Dictionary(), arguments}, &keptStatements_);
}

bool SqDatabase::executeUpdateWithVAList(std::string_view sql, SqArgumentList arguments) {
  return executeUpdateWithErrorWithArgumentsInArrayOrDictionaryOrVAList(sql, nullptr, Array(), Dictionary(),
                                                                        arguments);
}

// --- Bulk statements and SQL functions ----------------------------------------------------------

bool SqDatabase::executeStatements(std::string_view sql, const SqExecuteStatementsCallbackBlock& block) {
  const std::string text(sql);
  // The message is asked for only when it will be logged, so it is always freed.
  char* errorMessage = nullptr;
  const int rc = sqlite3_exec(db_, text.c_str(), block ? &SqDBExecuteBulkSQLCallback : nullptr,
                              const_cast<SqExecuteStatementsCallbackBlock*>(&block),
                              logsErrors_ ? &errorMessage : nullptr);
  if (errorMessage) {
    log(std::string("Error inserting batch: ") + errorMessage);
    sqlite3_free(errorMessage);
  }
  return rc == SQLITE_OK;
}

void SqDatabase::makeFunctionNamed(std::string_view name, int maximumArguments, SqFunctionBlock block) {
  if (!databaseExists()) return;
  SqFunctionBlock& kept = openFunctions_.emplace_back(std::move(block));
  sqlite3_create_function(db_, std::string(name).c_str(), maximumArguments, SQLITE_UTF8, &kept,
                          &SqDBBlockSQLiteCallBackFunction, nullptr, nullptr);
}

}  // namespace kiv
