#include <gtest/gtest.h>

#include <cstdarg>
#include <utility>

#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

struct Extracted {
  std::string sql;
  Array arguments;
};

Extracted extract(const char* format, ...) {
  Extracted result;
  const MutableArray arguments = MutableArray::array();
  va_list args;
  va_start(args, format);
  SqDatabase::extractSQL(format, args, result.sql, arguments);
  va_end(args);
  result.arguments = arguments;
  return result;
}

TEST(SqFormatTest, EscapesBecomeParametersWithTypedArguments) {
  const Value name("ann");
  const Extracted e = extract("%@ %c %s %d %i %D %u %U %f %g %hi %hu %ld %lu %lld %llu %qi %qu", &name, 'x', "str",
                              -1, 2, 3, 4u, 5u, 1.5, 2.5, static_cast<short>(-6), static_cast<unsigned short>(7),
                              -8L, 9UL, -10LL, 11ULL, -12LL, 13ULL);
  EXPECT_EQ(e.sql, "? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ?");
  const std::vector<char> kinds = {0, 0, 0, 'i', 'i', 'i', 'I', 'I', 'd', 'f', 's', 'S', 'q', 'Q', 'q', 'Q', 'q', 'Q'};
  ASSERT_EQ(e.arguments.count(), kinds.size());
  for (std::size_t i = 0; i < kinds.size(); ++i) EXPECT_EQ(e.arguments[i].numberKind(), kinds[i]) << i;
  EXPECT_EQ(e.arguments[0].description(), "ann");
  EXPECT_EQ(e.arguments[1].description(), "x");
  EXPECT_EQ(e.arguments[2].description(), "str");
  EXPECT_EQ(e.arguments[9].doubleValue(), 2.5);
  EXPECT_EQ(e.arguments[13].unsignedLongValue(), 9u);
  EXPECT_EQ(e.arguments[17].unsignedLongLongValue(), 13u);
}

TEST(SqFormatTest, QuirksOfTheScanner) {
  // A nil object consumes its argument but leaves no placeholder.
  const Value one(1);
  Extracted e = extract("select %@, %@", nullptr, &one);
  EXPECT_EQ(e.sql, "select , ?");
  EXPECT_EQ(e.arguments.count(), 1u);
  EXPECT_EQ(e.arguments[0].intValue(), 1);

  // Unknown escapes copy their character alone and read nothing.
  EXPECT_EQ(extract("100%% %x %hx %l %llx %q").sql, "100% x hx l llx q");
  // After "%%" the next character is again an escape.
  e = extract("%%d", 5);
  EXPECT_EQ(e.sql, "%?");
  EXPECT_EQ(e.arguments[0].intValue(), 5);
  EXPECT_EQ(extract("trailing %").sql, "trailing ");
}

TEST(SqFormatTest, FormatFormsRunTheExtractedStatement) {
  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
  ASSERT_TRUE(db->open());
  ASSERT_TRUE(db->executeUpdate("create table t (name, age)"));
  const Value name("bo");
  ASSERT_TRUE(db->executeUpdateWithFormat("insert into t values (%@, %d)", &name, 41));
  Ref<SqResultSet> rs = db->executeQueryWithFormat("select age + %lld from t where name = %s", 1LL, "bo");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumnIndex(0), 42);
}

}  // namespace
}  // namespace kiv
