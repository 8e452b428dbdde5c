// JSON text -> Value -> JSON text -> Value. For any text that parses (immutable and mutable
// containers alike):
// - a document of the text accepts it too and builds the same Value;
// - the Value writes, compact and indented, as text that parses to an equal Value;
// - writing that Value again gives the first compact text, byte for byte.
// Text that does not parse must say why.
#include <string>

#include "fuzz/fuzz_support.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/json_document.hpp"

namespace kiv::fuzz {
namespace {

void roundTrip(std::string_view text, JSONContainers containers) {
  Error error;
  const Value first = parseJSON(text, containers, &error);
  const JSONDocument document(text);
  require(first.isPresent() == document.root().isPresent(), "a document accepts what parseJSON accepts");
  if (!first) {
    require(!error.message.empty(), "a failed parse says why");
    return;
  }
  require(document.root().value(containers) == first, "a document builds the Value that parseJSON builds");
  require(first.isMutable() == (containers == JSONContainers::kMutable), "containers are made as asked");

  std::string compact;
  require(writeJSON(first, compact, false), "a parsed Value writes");
  const Value second = parseJSON(compact, containers);
  require(second == first, "the written text reads back as the Value", compact);
  std::string again;
  require(writeJSON(second, again, false) && again == compact, "the Value read back writes the same text", again);

  std::string pretty;
  require(writeJSON(first, pretty, true), "a parsed Value writes indented");
  require(parseJSON(pretty, containers) == first, "the indented text reads back as the Value", pretty);
}

}  // namespace
}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = kiv::fuzz::inputText(data, size);
  kiv::fuzz::roundTrip(text, kiv::JSONContainers::kImmutable);
  kiv::fuzz::roundTrip(text, kiv::JSONContainers::kMutable);
  return 0;
}
