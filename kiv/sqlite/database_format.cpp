// SqDatabase: turning a printf-like SQL format and its C arguments into SQL with "?" parameters.
#include <optional>

#include "kiv/sqlite/database.hpp"

namespace kiv {
namespace {

// The argument of the escape whose character is sql[i], read from the list: a value, or absent
// for a nil object. Advances i over the letters of a longer escape ("%lld"). Nothing, with i
// unchanged and no argument read, for an escape it does not know.
std::optional<Value> readEscapedArgument(std::string_view sql, std::size_t& i, va_list* args) {
  const auto after = [&](std::size_t k) { return i + k < sql.size() ? sql[i + k] : '\0'; };
  switch (sql[i]) {
    case '@': {
      const Value* object = va_arg(*args, const Value*);
      return object ? *object : Value();
    }
    case 'c': {
      const char c = static_cast<char>(va_arg(*args, int));
      return Value(std::string_view(&c, 1));
    }
    case 's': {
      const char* text = va_arg(*args, const char*);
      return text ? Value(text) : Value();
    }
    case 'd': case 'i': case 'D': return Value(va_arg(*args, int));
    case 'u': case 'U': return Value(va_arg(*args, unsigned));
    case 'f': return Value(va_arg(*args, double));
    case 'g': return Value(static_cast<float>(va_arg(*args, double)));
    case 'h':
      if (after(1) == 'i') return ++i, Value(static_cast<short>(va_arg(*args, int)));
      if (after(1) == 'u') return ++i, Value(static_cast<unsigned short>(va_arg(*args, unsigned)));
      return std::nullopt;
    case 'q':
      if (after(1) == 'i') return ++i, Value(va_arg(*args, long long));
      if (after(1) == 'u') return ++i, Value(va_arg(*args, unsigned long long));
      return std::nullopt;
    case 'l':
      if (after(1) == 'd') return ++i, Value(va_arg(*args, long));
      if (after(1) == 'u') return ++i, Value(va_arg(*args, unsigned long));
      if (after(1) == 'l' && after(2) == 'd') return i += 2, Value(va_arg(*args, long long));
      if (after(1) == 'l' && after(2) == 'u') return i += 2, Value(va_arg(*args, unsigned long long));
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace

void SqDatabase::extractSQL(std::string_view sql, va_list args, std::string& cleanedSQL,
                            const MutableArray& arguments) {
  // A copy, so that the helper can read it through a pointer on every ABI.
  va_list list;
  va_copy(list, args);
  // The previous character is always the one just read: after "%%" the next character is again
  // taken as an escape.
  char last = '\0';
  for (std::size_t i = 0; i < sql.size(); ++i) {
    const char current = sql[i];
    if (last == '%') {
      if (const std::optional<Value> argument = readEscapedArgument(sql, i, &list)) {
        if (argument->isPresent()) {
          cleanedSQL.push_back('?');
          arguments.addObject(*argument);
        }
      } else {
        cleanedSQL.push_back(current);
      }
    } else if (current != '%') {
      cleanedSQL.push_back(current);
    }
    last = current;
  }
  va_end(list);
}

}  // namespace kiv
