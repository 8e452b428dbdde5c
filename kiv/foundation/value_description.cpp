// The "%@" text of every kind of Value.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/data.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/internal/number_text.hpp"
#include "kiv/foundation/internal/platform.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {
namespace {

void appendIndent(std::string& out, int depth) { out.append(static_cast<std::size_t>(depth) * 4, ' '); }

// Strings inside containers are quoted unless they are plain words, as property lists print.
void appendQuotedIfNeeded(std::string& out, std::string_view s) {
  const bool plain = !s.empty() && s.find_first_not_of(
                                       "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789_.$/:") == std::string_view::npos;
  if (plain) {
    out.append(s);
    return;
  }
  out.push_back('"');
  for (char c : s) {
    if (c == '"' || c == '\\') out.push_back('\\');
    if (c == '\n') {
      out.append("\\n");
      continue;
    }
    out.push_back(c);
  }
  out.push_back('"');
}

void describe(const Value& v, std::string& out, int depth);

void describeArray(const Array& a, std::string& out, int depth) {
  out.append("(\n");
  for (std::size_t i = 0; i < a.count(); ++i) {
    appendIndent(out, depth + 1);
    describe(a[i], out, depth + 1);
    out.append(i + 1 < a.count() ? ",\n" : "\n");
  }
  appendIndent(out, depth);
  out.push_back(')');
}

void describeDictionary(const Dictionary& d, std::string& out, int depth) {
  out.append("{\n");
  for (const DictionaryEntry& e : d) {
    appendIndent(out, depth + 1);
    appendQuotedIfNeeded(out, e.key.view());
    out.append(" = ");
    describe(e.value, out, depth + 1);
    out.append(";\n");
  }
  appendIndent(out, depth);
  out.push_back('}');
}

void describeDate(double seconds, std::string& out) {
  const std::time_t t = static_cast<std::time_t>(std::floor(seconds));
  std::tm tm{};
  platform::utcTime(t, tm);
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d +0000", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  out.append(buf);
}

void describeData(std::string_view bytes, std::string& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('<');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i && i % 4 == 0) out.push_back(' ');
    const auto b = static_cast<unsigned char>(bytes[i]);
    out.push_back(kHex[b >> 4]);
    out.push_back(kHex[b & 15]);
  }
  out.push_back('>');
}

void describe(const Value& v, std::string& out, int depth) {
  switch (v.kind()) {
    case Kind::kAbsent: out.append("(null)"); break;
    case Kind::kNull: out.append("<null>"); break;
    case Kind::kNumber: appendNumberText(v, out); break;
    case Kind::kString:
      if (depth > 0) {
        appendQuotedIfNeeded(out, v.stringView());
      } else {
        out.append(v.stringView());
      }
      break;
    case Kind::kDate: describeDate(v.timeIntervalSince1970(), out); break;
    case Kind::kData: describeData(v.asData().view(), out); break;
    case Kind::kArray: describeArray(v.asArray(), out, depth); break;
    case Kind::kDictionary: describeDictionary(v.asDictionary(), out, depth); break;
    case Kind::kModel: out.append(v.object()->description()); break;
  }
}

}  // namespace

std::string Value::description() const {
  std::string out;
  describe(*this, out, 0);
  return out;
}

}  // namespace kiv
