#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

struct Extracted {
  std::string sql;
  Array arguments;
};

template <class... Args>
Extracted extract(std::string_view format, const Args&... args) {
  Extracted result;
  const MutableArray arguments = MutableArray::array();
  SqDatabase::extractSQL(format, std::array<Value, sizeof...(Args)>{Value(args)...}, result.sql, arguments);
  result.arguments = arguments;
  return result;
}

// What the format forms accept as an argument is checked by the compiler: a pointer other than
// text is refused (a `const Value*`, as C varargs took objects, would otherwise bind as `true`).
template <class T>
concept FormatTakes = requires(SqDatabase& db, const T& argument) { db.executeUpdateWithFormat("%@", argument); };
template <class T>
concept QueryTakes = requires(SqDatabase& db, const T& argument) { db.executeQuery("select ?", argument); };
static_assert(FormatTakes<Value> && FormatTakes<String> && FormatTakes<int> && FormatTakes<const char*>);
static_assert(!FormatTakes<const Value*> && !FormatTakes<int*> && !FormatTakes<std::vector<int>>);
static_assert(QueryTakes<Value> && !QueryTakes<const Value*> && !QueryTakes<void*>);

TEST(SqFormatTest, EscapesBecomeParametersWithTypedArguments) {
  const Value name("ann");
  const Extracted e = extract("%@ %c %s %d %i %D %u %U %f %g %hi %hu %ld %lu %lld %llu %qi %qu", name, 'x', "str",
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
  // An absent object consumes its argument but leaves no placeholder.
  Extracted e = extract("select %@, %@", Value(), 1);
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

TEST(SqFormatTest, ArgumentsAreConvertedAsTheirEscapesSay) {
  // Any argument meets any escape with a defined result, read as the Value accessors read it.
  Extracted e = extract("%d %lld %f %s %c %@", "12", 41, 7, 3.5, 65, Value::null());
  EXPECT_EQ(e.sql, "? ? ? ? ? ?");
  ASSERT_EQ(e.arguments.count(), 6u);
  EXPECT_EQ(e.arguments[0].numberKind(), 'i');
  EXPECT_EQ(e.arguments[0].intValue(), 12);
  EXPECT_EQ(e.arguments[1].numberKind(), 'q');
  EXPECT_EQ(e.arguments[2].numberKind(), 'd');
  EXPECT_EQ(e.arguments[3].description(), "3.5");
  EXPECT_TRUE(e.arguments[3].isString());
  EXPECT_EQ(e.arguments[4].description(), "A");
  EXPECT_TRUE(e.arguments[5].isNull());

  // An escape without an argument left reads nothing, like an absent object; surplus arguments
  // are ignored.
  e = extract("a = %d and b = %d", 1);
  EXPECT_EQ(e.sql, "a = ? and b = ");
  EXPECT_EQ(e.arguments.count(), 1u);
  EXPECT_EQ(extract("none", 1, 2).arguments.count(), 0u);
}

TEST(SqFormatTest, FormatFormsRunTheExtractedStatement) {
  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
  ASSERT_TRUE(db->open());
  ASSERT_TRUE(db->executeUpdate("create table t (name, age)"));
  const Value name("bo");
  ASSERT_TRUE(db->executeUpdateWithFormat("insert into t values (%@, %d)", name, 41));
  Ref<SqResultSet> rs = db->executeQueryWithFormat("select age + %lld from t where name = %s", 1LL, "bo");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumnIndex(0), 42);
}

}  // namespace
}  // namespace kiv
