// The lenient number accessors on arbitrary bytes.
//
// The input is read two ways: as the text of a string Value, through every accessor and both
// string readers; and, its first 8 bytes, as the bits of a number of every kind, through every
// accessor. Checks:
// - the whole-string parse agrees with the prefix scan on a text that is all number;
// - a string reads as equal to the number that it spells;
// - a finite number's text parses back to the same number, and equal numbers hash alike.
#include <cmath>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.hpp"
#include "kiv/foundation/internal/lenient_number.hpp"
#include "kiv/foundation/number.hpp"
#include "kiv/foundation/string.hpp"

namespace kiv::fuzz {
namespace {

// Every accessor of the value, so that the sanitizers see each conversion.
void readEveryWay(const Value& v) {
  volatile double sink = 0;
  sink = sink + v.charValue() + v.unsignedCharValue() + v.shortValue() + v.unsignedShortValue() +
         v.intValue() + v.unsignedIntValue() + static_cast<double>(v.longValue()) +
         static_cast<double>(v.unsignedLongValue()) + static_cast<double>(v.longLongValue()) +
         static_cast<double>(v.unsignedLongLongValue()) + static_cast<double>(v.integerValue()) +
         static_cast<double>(v.unsignedIntegerValue()) + v.boolValue() + v.floatValue() + v.doubleValue();
  (void)v.stringValue();
  (void)v.description();
  (void)v.length();
}

// A finite number's text parses back to the number (a float's text is the shortest that reads
// back as that float).
void requireTextReadsBack(const Value& number) {
  if (!std::isfinite(number.doubleValue())) return;
  const String text = number.stringValue();
  const Value back = lenient::parseWholeNumber(text.stringView());
  const bool same = number.numberKind() == 'f' ? back.floatValue() == number.floatValue() : back == number;
  require(same, "a number's text parses back to the number", text.stringView());
  require(back != number || back.hash() == number.hash(), "equal numbers hash alike", text.stringView());
}

void readText(std::string_view text) {
  const Value string(text);
  readEveryWay(string);
  (void)lenient::scanBool(text);
  (void)lenient::scanFloat(text);

  const Value whole = lenient::parseWholeNumber(text);
  require(string.stringNumber() == whole, "stringNumber is the whole-string parse", text);
  if (!whole) return;
  require(string.isEqualToNumber(whole), "a string equals the number it spells", text);
  switch (whole.numberKind()) {
    case 'q':
      require(lenient::scanLongLong(text) == whole.longLongValue(), "a 64-bit integer scans as it parses", text);
      require(string.longValue() == whole.longLongValue(), "longValue reads the whole number", text);
      break;
    case 'Q':
      require(string.unsignedLongLongValue() == whole.unsignedLongLongValue(), "an unsigned integer reads whole", text);
      break;
    case 'd': {
      const double scanned = lenient::scanDouble(text);
      const double parsed = whole.doubleValue();
      require(std::memcmp(&scanned, &parsed, sizeof parsed) == 0, "a floating-point number scans as it parses", text);
      break;
    }
    default: require(false, "the whole-string parse makes q, Q or d", text);
  }
  requireTextReadsBack(whole);
}

void readBits(std::string_view text) {
  unsigned char bits[8] = {};
  std::memcpy(bits, text.data(), text.size() < sizeof bits ? text.size() : sizeof bits);
  std::int64_t asInt;
  double asDouble;
  std::memcpy(&asInt, bits, sizeof asInt);
  std::memcpy(&asDouble, bits, sizeof asDouble);
  (void)lenient::doubleToInt64(asDouble);
  (void)lenient::doubleToUInt64(asDouble);
  for (const char kind : std::string_view("cCsSiIqQfdB")) {
    for (const Value& number : {Value::numberOfKind(kind, asInt),
                                Value::numberOfKind(kind, static_cast<std::uint64_t>(asInt)),
                                Value::numberOfKind(kind, asDouble)}) {
      require(number.numberKind() == kind, "a number keeps the kind it was made with");
      readEveryWay(number);
      requireTextReadsBack(number);
    }
  }
}

}  // namespace
}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = kiv::fuzz::inputText(data, size);
  kiv::fuzz::readText(text);
  kiv::fuzz::readBits(text);
  return 0;
}
