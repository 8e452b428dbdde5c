// Values to JSON text: one pass that writes and validates at once, abandoning the output at the
// first value that JSON cannot hold.
#include <charconv>
#include <cmath>
#include <cstring>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/number_text.hpp"

namespace kiv {
namespace {

// The length of the valid UTF-8 sequence that starts at s[i], or 0.
std::size_t utf8SequenceLength(std::string_view s, std::size_t i) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  std::size_t n;
  std::uint32_t cp;
  if (b0 < 0xC2) return 0;  // continuation byte or overlong two-byte lead
  if (b0 < 0xE0) {
    n = 2;
    cp = b0 & 0x1F;
  } else if (b0 < 0xF0) {
    n = 3;
    cp = b0 & 0x0F;
  } else if (b0 < 0xF5) {
    n = 4;
    cp = b0 & 0x07;
  } else {
    return 0;
  }
  if (i + n > s.size()) return 0;
  for (std::size_t k = 1; k < n; ++k) {
    const auto b = static_cast<unsigned char>(s[i + k]);
    if ((b & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (b & 0x3F);
  }
  if ((n == 3 && cp < 0x800) || (n == 4 && (cp < 0x10000 || cp > 0x10FFFF))) return 0;
  if (cp >= 0xD800 && cp <= 0xDFFF) return 0;  // surrogates are not characters
  return n;
}

// Whether any of the 8 bytes needs attention: below 0x20, '"', '\\' or non-ASCII.
bool needsAttention(std::uint64_t w) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHigh = 0x8080808080808080ULL;
  const std::uint64_t control = (w - kOnes * 0x20) & ~w;
  const std::uint64_t quote = w ^ (kOnes * '"');
  const std::uint64_t backslash = w ^ (kOnes * '\\');
  const std::uint64_t hasQuote = (quote - kOnes) & ~quote;
  const std::uint64_t hasBackslash = (backslash - kOnes) & ~backslash;
  return ((control | hasQuote | hasBackslash) & kHigh) != 0 || (w & kHigh) != 0;
}

class Writer {
 public:
  Writer(std::string& out, bool pretty) : out_(out), pretty_(pretty) {}

  bool write(const Value& v, int depth) {
    switch (v.kind()) {
      case Kind::kNull: out_.append("null"); return true;
      case Kind::kNumber: return writeNumber(v);
      case Kind::kString: return writeString(v.stringView());
      case Kind::kArray: return writeArray(v.asArray(), depth);
      case Kind::kDictionary: return writeDictionary(v.asDictionary(), depth);
      default: return false;  // absent, dates, data and models have no JSON form
    }
  }

 private:
  bool writeNumber(const Value& v) {
    if (v.isBoolean()) {
      out_.append(v.boolValue() ? "true" : "false");
      return true;
    }
    if (!v.isFloatingPoint()) {
      appendNumberText(v, out_);
      return true;
    }
    const double d = v.doubleValue();
    if (!std::isfinite(d)) return false;
    const std::size_t start = out_.size();
    appendNumberText(v, out_);
    // Keep the number a floating-point one when read back: 3.0 is written "3.0", not "3".
    if (out_.find_first_of(".e", start) == std::string::npos) out_.append(".0");
    return true;
  }

  bool writeString(std::string_view s) {
    out_.push_back('"');
    std::size_t i = 0, run = 0;
    while (i < s.size()) {
      if (i + 8 <= s.size()) {
        std::uint64_t w;
        std::memcpy(&w, s.data() + i, 8);
        if (!needsAttention(w)) {
          i += 8;
          continue;
        }
      }
      const auto c = static_cast<unsigned char>(s[i]);
      if (c >= 0x80) {
        const std::size_t n = utf8SequenceLength(s, i);
        if (n == 0) return false;
        i += n;
        continue;
      }
      if (c >= 0x20 && c != '"' && c != '\\') {
        ++i;
        continue;
      }
      out_.append(s.data() + run, i - run);
      appendEscape(c);
      run = ++i;
    }
    out_.append(s.data() + run, s.size() - run);
    out_.push_back('"');
    return true;
  }

  void appendEscape(unsigned char c) {
    switch (c) {
      case '"': out_.append("\\\""); return;
      case '\\': out_.append("\\\\"); return;
      case '\n': out_.append("\\n"); return;
      case '\r': out_.append("\\r"); return;
      case '\t': out_.append("\\t"); return;
      case '\b': out_.append("\\b"); return;
      case '\f': out_.append("\\f"); return;
      default: {
        static constexpr char kHex[] = "0123456789abcdef";
        const char escape[6] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
        out_.append(escape, 6);
      }
    }
  }

  bool writeArray(const Array& a, int depth) {
    if (depth >= kMaxJSONDepth) return false;
    out_.push_back('[');
    bool first = true;
    for (const Value& element : a) {
      if (!first) out_.push_back(',');
      first = false;
      newline(depth + 1);
      if (!write(element, depth + 1)) return false;
    }
    if (!first) newline(depth);
    out_.push_back(']');
    return true;
  }

  bool writeDictionary(const Dictionary& d, int depth) {
    if (depth >= kMaxJSONDepth) return false;
    out_.push_back('{');
    bool first = true;
    for (const DictionaryEntry& e : d) {
      if (!first) out_.push_back(',');
      first = false;
      newline(depth + 1);
      if (!writeString(e.key.view())) return false;
      out_.append(pretty_ ? " : " : ":");
      if (!write(e.value, depth + 1)) return false;
    }
    if (!first) newline(depth);
    out_.push_back('}');
    return true;
  }

  void newline(int depth) {
    if (!pretty_) return;
    out_.push_back('\n');
    out_.append(static_cast<std::size_t>(depth) * 2, ' ');
  }

  std::string& out_;
  bool pretty_;
};

bool isContainer(const Value& v) { return v.isArray() || v.isDictionary(); }

// Writes through a per-thread buffer, so that repeated writes reuse one allocation.
String jsonText(const Value& v, bool pretty) {
  thread_local std::string buffer;
  buffer.clear();
  if (!writeJSON(v, buffer, pretty)) return String();
  String text(buffer);
  if (buffer.capacity() > (std::size_t{1} << 24)) std::string().swap(buffer);
  return text;
}

}  // namespace

bool writeJSON(const Value& value, std::string& out, bool pretty) {
  if (!isContainer(value)) return false;
  const std::size_t start = out.size();
  if (Writer(out, pretty).write(value, 0)) return true;
  out.resize(start);
  return false;
}

bool isValidJSONObject(const Value& value) {
  std::string scratch;
  return writeJSON(value, scratch, false);
}

String Array::LxJSON2String() const {
  String text = jsonText(*this, true);
  return text.isPresent() ? text : String("[]");
}

String Array::LxJSON2StringNilOptions() const {
  String text = jsonText(*this, false);
  return text.isPresent() ? text : String("[]");
}

String Dictionary::LxJSON2String() const { return jsonText(*this, true); }

String Dictionary::LxJSON2StringNilOptions() const { return jsonText(*this, false); }

}  // namespace kiv
