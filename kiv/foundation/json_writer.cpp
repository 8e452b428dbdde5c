// Values to JSON text: one pass that writes and validates at once, abandoning the output at the
// first value that JSON cannot hold.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "kiv/foundation/array.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/internal/number_text.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {
namespace {

// The length of the valid UTF-8 sequence that starts at `s`, before `end`, or 0: no overlong
// forms, no surrogates, nothing beyond U+10FFFF.
std::size_t utf8SequenceLength(const unsigned char* s, const unsigned char* end) {
  const unsigned char c = s[0];
  const std::ptrdiff_t left = end - s;
  auto continuation = [s](int i) { return (s[i] & 0xC0) == 0x80; };
  if (c < 0xC2) return 0;  // a continuation byte, or the lead of an overlong two-byte form
  if (c < 0xE0) return left >= 2 && continuation(1) ? 2 : 0;
  if (c < 0xF0) {
    if (left < 3 || !continuation(1) || !continuation(2)) return 0;
    if ((c == 0xE0 && s[1] < 0xA0) || (c == 0xED && s[1] >= 0xA0)) return 0;  // overlong, surrogate
    return 3;
  }
  if (c < 0xF5) {
    if (left < 4 || !continuation(1) || !continuation(2) || !continuation(3)) return 0;
    if ((c == 0xF0 && s[1] < 0x90) || (c == 0xF4 && s[1] >= 0x90)) return 0;  // overlong, too large
    return 4;
  }
  return 0;
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

// A growable text buffer with room for a string header in front, so that the finished text can
// become a String without being copied.
class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  ~TextBuffer() { std::free(block_); }

  // Room for n more bytes at the cursor.
  char* reserve(std::size_t n) {
    if (size_ + n > capacity_) grow(size_ + n);
    return text() + size_;
  }
  // Moves the cursor to p, just past the bytes written since reserve.
  void commit(char* p) { size_ = static_cast<std::size_t>(p - text()); }
  std::string_view view() const { return {text(), size_}; }

  String release() {
    if (size_ <= ValueAccess::kInlineCapacity) return String(view());
    detail::HeapBytes* b = detail::HeapBytes::adoptBlock(std::exchange(block_, nullptr), size_);
    return ValueAccess::adopt(ValueAccess::kHeapStringTag, b).asString();
  }

 private:
  static constexpr std::size_t kHeader = sizeof(detail::HeapBytes);

  char* text() const { return block_ + kHeader; }
  void grow(std::size_t needed) {
    const std::size_t capacity = std::max({needed, capacity_ * 2, std::size_t{4096}});
    void* block = std::realloc(block_, kHeader + capacity);
    if (!block) throw std::bad_alloc();
    block_ = static_cast<char*>(block);
    capacity_ = capacity;
  }

  char* block_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

// Writes through a raw cursor: room is reserved before each token, so the copying loops run
// without per-character capacity checks.
class Writer {
 public:
  Writer(TextBuffer& out, bool pretty) : out_(out), pretty_(pretty) {}

  // `depth` is the number of containers around the value. The reader counts nesting by values, so
  // that kMaxJSONDepth nested empty arrays read but not the same arrays around a number: a value
  // of any kind inside kMaxJSONDepth containers is too deep.
  bool write(const Value& v, int depth) {
    if (depth >= kMaxJSONDepth) return false;
    switch (v.kind()) {
      case Kind::kNull: append("null", 4); return true;
      case Kind::kNumber: return writeNumber(v);
      case Kind::kString: return writeString(v.stringView());
      case Kind::kArray: return writeArray(ValueAccess::array(v)->items, depth);
      case Kind::kDictionary: return writeDictionary(ValueAccess::dictionary(v)->entries, depth);
      default: return false;  // absent, dates, data and models have no JSON form
    }
  }

 private:
  void append(const char* s, std::size_t n) {
    char* p = out_.reserve(n);
    std::memcpy(p, s, n);
    out_.commit(p + n);
  }
  void put(char c) {
    char* p = out_.reserve(1);
    *p = c;
    out_.commit(p + 1);
  }

  bool writeNumber(const Value& v) {
    if (v.isBoolean()) {
      v.boolValue() ? append("true", 4) : append("false", 5);
      return true;
    }
    char* p = out_.reserve(40);
    std::to_chars_result r;
    switch (v.numberKind()) {
      case 'f':
      case 'd': {
        const double d = ValueAccess::rawDouble(v);
        if (!std::isfinite(d)) return false;
        r = v.numberKind() == 'f' ? std::to_chars(p, p + 40, static_cast<float>(d))
                                  : std::to_chars(p, p + 40, d);
        // Keep the number a floating-point one when read back: 3.0 is written "3.0", not "3".
        if (std::find_if(p, r.ptr, [](char c) { return c == '.' || c == 'e'; }) == r.ptr) {
          r.ptr[0] = '.';
          r.ptr[1] = '0';
          r.ptr += 2;
        }
        break;
      }
      case 'C': case 'S': case 'I': case 'Q':
        r = std::to_chars(p, p + 40, ValueAccess::rawUnsigned(v));
        break;
      default: r = std::to_chars(p, p + 40, ValueAccess::rawInt(v)); break;
    }
    out_.commit(r.ptr);
    return true;
  }

  bool writeString(std::string_view s) {
    // Worst case: every byte escaped as \u00XX, plus the quotes.
    char* p = out_.reserve(s.size() * 6 + 2);
    *p++ = '"';
    const auto* in = reinterpret_cast<const unsigned char*>(s.data());
    const auto* end = in + s.size();
    while (in < end) {
      if (end - in >= 8) {
        std::uint64_t w;
        std::memcpy(&w, in, 8);
        if (!needsAttention(w)) {
          std::memcpy(p, in, 8);
          p += 8;
          in += 8;
          continue;
        }
      }
      // Text in other scripts is a run of multi-byte sequences: stay here while it lasts.
      while (in < end && *in >= 0x80) {
        const std::size_t n = utf8SequenceLength(in, end);
        if (n == 0) return false;
        for (std::size_t i = 0; i < n; ++i) p[i] = static_cast<char>(in[i]);
        p += n;
        in += n;
      }
      if (in == end) break;
      const unsigned char c = *in++;
      if (c >= 0x20 && c != '"' && c != '\\') {
        *p++ = static_cast<char>(c);
      } else {
        p = appendEscape(p, c);
      }
    }
    *p++ = '"';
    out_.commit(p);
    return true;
  }

  static char* appendEscape(char* p, unsigned char c) {
    *p++ = '\\';
    switch (c) {
      case '"': *p++ = '"'; return p;
      case '\\': *p++ = '\\'; return p;
      case '\n': *p++ = 'n'; return p;
      case '\r': *p++ = 'r'; return p;
      case '\t': *p++ = 't'; return p;
      case '\b': *p++ = 'b'; return p;
      case '\f': *p++ = 'f'; return p;
      default: {
        static constexpr char kHex[] = "0123456789abcdef";
        const char escape[5] = {'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
        std::memcpy(p, escape, 5);
        return p + 5;
      }
    }
  }

  bool writeArray(const detail::ElementBuffer<Value>& elements, int depth) {
    put('[');
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (i) put(',');
      newline(depth + 1);
      if (!write(elements[i], depth + 1)) return false;
    }
    if (elements.size()) newline(depth);
    put(']');
    return true;
  }

  bool writeDictionary(const detail::ElementBuffer<DictionaryEntry>& entries, int depth) {
    put('{');
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (i) put(',');
      newline(depth + 1);
      if (!writeString(entries[i].key.view())) return false;
      pretty_ ? append(" : ", 3) : put(':');
      if (!write(entries[i].value, depth + 1)) return false;
    }
    if (entries.size()) newline(depth);
    put('}');
    return true;
  }

  void newline(int depth) {
    if (!pretty_) return;
    const std::size_t n = static_cast<std::size_t>(depth) * 2;
    char* p = out_.reserve(n + 1);
    *p = '\n';
    std::memset(p + 1, ' ', n);
    out_.commit(p + n + 1);
  }

  TextBuffer& out_;
  bool pretty_;
};

// The JSON text of a valid JSON object, or absent.
String jsonText(const Value& v, bool pretty) {
  if (!v.isArray() && !v.isDictionary()) return String();
  TextBuffer buffer;
  if (!Writer(buffer, pretty).write(v, 0)) return String();
  return buffer.release();
}

}  // namespace

bool writeJSON(const Value& value, std::string& out, bool pretty) {
  if (!value.isArray() && !value.isDictionary()) return false;
  TextBuffer buffer;
  if (!Writer(buffer, pretty).write(value, 0)) return false;
  out.append(buffer.view());
  return true;
}

bool isValidJSONObject(const Value& value) { return jsonText(value, false).isPresent(); }

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
