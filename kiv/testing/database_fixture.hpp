// The fixture of tests that work on one database file in a fresh directory: the SQL texts that a
// traced connection runs, and the rows on disk as a second connection reads them.
#ifndef KIV_TESTING_DATABASE_FIXTURE_HPP_
#define KIV_TESTING_DATABASE_FIXTURE_HPP_

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kiv/collection/simple_database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv::testing {

class DatabaseFixture : public ::testing::Test {
 protected:
  // From now on the database's connection logs every statement; sql() lists their texts.
  void traceStatements(OxSimpleDatabase& database);
  // The texts of the statements run since traceStatements() or the last call, one per line.
  std::string sql();
  // The rows of the query as a second connection to the file reads them: one row per line, its
  // columns as text joined by "|", NULL as "NULL".
  std::string onDisk(std::string_view query);

  LogCapture log;
  TempDir dir;
  std::string path = dir.file("test.db");
};

}  // namespace kiv::testing

#endif  // KIV_TESTING_DATABASE_FIXTURE_HPP_
