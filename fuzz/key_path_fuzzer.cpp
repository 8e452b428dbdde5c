// Key-path reads and writes on a parsed dictionary.
//
// The first line of the input is JSON text: a dictionary becomes the receiver, mutable; anything
// else leaves the receiver empty. Each further line is one operation:
//   PATH            read the value at PATH
//   PATH<TAB>VALUE  write VALUE at PATH: the JSON value that VALUE spells ("1", "null", "{}"), the
//                   text itself when it spells none, nothing for an empty VALUE, and for "=" the
//                   value that PATH holds now, passed as a reference into the receiver itself
// Checks: until the first write, each read of the dictionary gives what the same read of the
// parsed document gives; a plain key that the receiver lacked reads back as what was written;
// after all the writes the receiver is still whole: it writes as JSON text that reads back
// equal, or it is refused as a whole (nesting too deep).
#include <string>

#include "fuzz/fuzz_support.hpp"
#include "kiv/foundation/array.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/json_document.hpp"
#include "kiv/mapping/key_path.hpp"

namespace kiv::fuzz {
namespace {

// The value that an operation's VALUE text stands for.
Value writtenValue(std::string_view text) {
  const Array wrapped = parseJSON("[" + std::string(text) + "]", JSONContainers::kMutable).asArray();
  if (wrapped) return wrapped.count() > 0 ? wrapped[0] : Value();
  return Value(text);
}

void run(std::string_view input) {
  const std::string_view jsonText = takeLine(input);
  const JSONDocument document(jsonText);
  MutableDictionary receiver = parseJSON(jsonText, JSONContainers::kMutable).asMutableDictionary();
  const bool compareWithDocument = receiver.isPresent();
  if (!receiver) receiver = MutableDictionary::dictionary();

  bool written = false;
  while (!input.empty()) {
    const std::string_view line = takeLine(input);
    const std::size_t tab = line.find('\t');
    const std::string_view path = line.substr(0, tab);
    if (tab == std::string_view::npos) {
      const Value& read = kiv_valueForKey(receiver, path);
      if (compareWithDocument && !written) {
        const Value fromDocument = kiv_valueForKey(document.root(), path).value(JSONContainers::kMutable);
        require(fromDocument == read, "a document reads a key path as its dictionary does", path);
      }
      continue;
    }
    const std::string_view valueText = line.substr(tab + 1);
    const bool wasMissing = receiver[path].isAbsent();
    if (valueText == "=") {
      kiv_setValue(receiver, kiv_valueForKey(receiver, path), path);
    } else {
      const Value value = writtenValue(valueText);
      kiv_setValue(receiver, value, path);
      if (wasMissing && value && path.find('.') == std::string_view::npos) {
        require(receiver[path] == value, "a new plain key reads back", path);
      }
    }
    written = true;
  }

  std::string text;
  if (writeJSON(receiver, text, false)) {
    require(parseJSON(text) == receiver, "the changed receiver writes as text that reads back", text);
  }
}

}  // namespace
}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kiv::fuzz::run(kiv::fuzz::inputText(data, size));
  return 0;
}
