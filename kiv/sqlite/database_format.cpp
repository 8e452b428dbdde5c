// SqDatabase: turning a printf-like SQL format and its arguments into SQL with "?" parameters.
#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

// What one escape makes of its argument.
enum class Escape {
  kUnknown,
  kObject,
  kCharacter,
  kText,
  kInt,
  kUnsigned,
  kDouble,
  kFloat,
  kShort,
  kUnsignedShort,
  kLong,
  kUnsignedLong,
  kLongLong,
  kUnsignedLongLong,
};

// The escape whose character is sql[i]. Advances i over the letters of a longer escape ("%lld");
// leaves it unchanged for an escape it does not know.
Escape readEscape(std::string_view sql, std::size_t& i) {
  const auto after = [&](std::size_t k) { return i + k < sql.size() ? sql[i + k] : '\0'; };
  const auto longer = [&](std::size_t letters, Escape escape) {
    i += letters;
    return escape;
  };
  switch (sql[i]) {
    case '@': return Escape::kObject;
    case 'c': return Escape::kCharacter;
    case 's': return Escape::kText;
    case 'd': case 'i': case 'D': return Escape::kInt;
    case 'u': case 'U': return Escape::kUnsigned;
    case 'f': return Escape::kDouble;
    case 'g': return Escape::kFloat;
    case 'h':
      if (after(1) == 'i') return longer(1, Escape::kShort);
      if (after(1) == 'u') return longer(1, Escape::kUnsignedShort);
      return Escape::kUnknown;
    case 'q':
      if (after(1) == 'i') return longer(1, Escape::kLongLong);
      if (after(1) == 'u') return longer(1, Escape::kUnsignedLongLong);
      return Escape::kUnknown;
    case 'l':
      if (after(1) == 'd') return longer(1, Escape::kLong);
      if (after(1) == 'u') return longer(1, Escape::kUnsignedLong);
      if (after(1) == 'l' && after(2) == 'd') return longer(2, Escape::kLongLong);
      if (after(1) == 'l' && after(2) == 'u') return longer(2, Escape::kUnsignedLongLong);
      return Escape::kUnknown;
    default:
      return Escape::kUnknown;
  }
}

// The argument as its escape converts it (a present argument gives a present value).
Value convert(Escape escape, const Value& argument) {
  switch (escape) {
    case Escape::kCharacter: {
      const char c = static_cast<char>(argument.charValue());
      return Value(std::string_view(&c, 1));
    }
    case Escape::kText: return argument.isString() ? argument : Value(argument.description());
    case Escape::kInt: return Value(static_cast<int>(argument.intValue()));
    case Escape::kUnsigned: return Value(static_cast<unsigned>(argument.unsignedIntValue()));
    case Escape::kDouble: return Value(argument.doubleValue());
    case Escape::kFloat: return Value(argument.floatValue());
    case Escape::kShort: return Value(static_cast<short>(argument.shortValue()));
    case Escape::kUnsignedShort: return Value(static_cast<unsigned short>(argument.unsignedShortValue()));
    case Escape::kLong: return Value(static_cast<long>(argument.longValue()));
    case Escape::kUnsignedLong: return Value(static_cast<unsigned long>(argument.unsignedLongValue()));
    case Escape::kLongLong: return Value(static_cast<long long>(argument.longLongValue()));
    case Escape::kUnsignedLongLong:
      return Value(static_cast<unsigned long long>(argument.unsignedLongLongValue()));
    case Escape::kObject:
    case Escape::kUnknown:
      break;
  }
  return argument;
}

}  // namespace

void SqDatabase::extractSQL(std::string_view sql, SqArgumentList args, std::string& cleanedSQL,
                            const MutableArray& arguments) {
  std::size_t nextArgument = 0;
  // The previous character is always the one just read: after "%%" the next character is again
  // taken as an escape.
  char last = '\0';
  for (std::size_t i = 0; i < sql.size(); ++i) {
    const char current = sql[i];
    if (last == '%') {
      const Escape escape = readEscape(sql, i);
      if (escape == Escape::kUnknown) {
        cleanedSQL.push_back(current);
      } else if (nextArgument < args.size()) {
        const Value& argument = args[nextArgument++];
        if (argument.isPresent()) {
          cleanedSQL.push_back('?');
          arguments.addObject(convert(escape, argument));
        }
      }
    } else if (current != '%') {
      cleanedSQL.push_back(current);
    }
    last = current;
  }
}

Ref<SqResultSet> SqDatabase::executeQueryWithFormatList(std::string_view format, SqArgumentList arguments) {
  std::string sql;
  const MutableArray values = MutableArray::array();
  extractSQL(format, arguments, sql, values);
  return executeQueryWithArgumentsInArray(sql, values);
}

bool SqDatabase::executeUpdateWithFormatList(std::string_view format, SqArgumentList arguments) {
  std::string sql;
  const MutableArray values = MutableArray::array();
  extractSQL(format, arguments, sql, values);
  return executeUpdateWithArgumentsInArray(sql, values);
}

}  // namespace kiv
