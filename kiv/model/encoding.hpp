// Type encodings: the short texts that describe a property's declared type ("q", "d", "B",
// "@\"String\"", "^i", ...) and the combined code that a property descriptor keeps for them.
//
// A KivEncodingType has three fields: the type code in the low byte, qualifier bits in 0xFF00,
// and the property's declared attribute bits in 0xFF0000 (set by KivProPertyInfo, never by
// KivEncodingGetType).
#ifndef KIV_MODEL_ENCODING_HPP_
#define KIV_MODEL_ENCODING_HPP_

#include <cstdint>
#include <string_view>

namespace kiv {

// A type code, qualifier bits and property attribute bits in one number (see above).
using KivEncodingType = std::uint64_t;

// Selects the type code, the low byte of a KivEncodingType: one of the codes below, each shown
// with the encoding characters that give it.
inline constexpr KivEncodingType KivEncodingTypeMask = 0xFF;
inline constexpr KivEncodingType KivEncodingTypeUnknown = 0;  // null, empty or unrecognised
inline constexpr KivEncodingType KivEncodingTypeVoid = 1;  // "v"
inline constexpr KivEncodingType KivEncodingTypeBool = 2;  // "B"
inline constexpr KivEncodingType KivEncodingTypeInt8 = 3;  // "c"
inline constexpr KivEncodingType KivEncodingTypeUInt8 = 4;  // "C"
inline constexpr KivEncodingType KivEncodingTypeInt16 = 5;  // "s"
inline constexpr KivEncodingType KivEncodingTypeUInt16 = 6;  // "S"
inline constexpr KivEncodingType KivEncodingTypeInt32 = 7;  // "i" or "l"
inline constexpr KivEncodingType KivEncodingTypeUInt32 = 8;  // "I" or "L"
inline constexpr KivEncodingType KivEncodingTypeInt64 = 9;  // "q"
inline constexpr KivEncodingType KivEncodingTypeUInt64 = 10;  // "Q"
inline constexpr KivEncodingType KivEncodingTypeFloat = 11;  // "f"
inline constexpr KivEncodingType KivEncodingTypeDouble = 12;  // "d"
inline constexpr KivEncodingType KivEncodingTypeLongDouble = 13;  // "D"
inline constexpr KivEncodingType KivEncodingTypeObject = 14;  // "@", also "@\"ClassName\""
inline constexpr KivEncodingType KivEncodingTypeClass = 15;  // "#"
inline constexpr KivEncodingType KivEncodingTypeSEL = 16;  // ":", a selector
inline constexpr KivEncodingType KivEncodingTypeBlock = 17;  // exactly "@?"
inline constexpr KivEncodingType KivEncodingTypePointer = 18;  // "^" and the pointee's encoding
inline constexpr KivEncodingType KivEncodingTypeStruct = 19;  // "{...}"
inline constexpr KivEncodingType KivEncodingTypeUnion = 20;  // "(...)"
inline constexpr KivEncodingType KivEncodingTypeCString = 21;  // "*"
inline constexpr KivEncodingType KivEncodingTypeCArray = 22;  // "[...]"

// Selects the qualifier bits of a KivEncodingType: one bit for each qualifier character that
// may precede the type in an encoding.
inline constexpr KivEncodingType KivEncodingTypeQualifierMask = 0xFF00;
inline constexpr KivEncodingType KivEncodingTypeQualifierConst = 0x100;  // "r"
inline constexpr KivEncodingType KivEncodingTypeQualifierIn = 0x200;  // "n"
inline constexpr KivEncodingType KivEncodingTypeQualifierInout = 0x400;  // "N"
inline constexpr KivEncodingType KivEncodingTypeQualifierOut = 0x800;  // "o"
inline constexpr KivEncodingType KivEncodingTypeQualifierBycopy = 0x1000;  // "O"
inline constexpr KivEncodingType KivEncodingTypeQualifierByref = 0x2000;  // "R"
inline constexpr KivEncodingType KivEncodingTypeQualifierOneway = 0x4000;  // "V"

// Selects the property attribute bits of a KivEncodingType: one bit for each attribute of the
// property's attribute text, set by KivProPertyInfo.
inline constexpr KivEncodingType KivEncodingTypePropertyMask = 0xFF0000;
inline constexpr KivEncodingType KivEncodingTypePropertyReadonly = 0x10000;  // "R"
inline constexpr KivEncodingType KivEncodingTypePropertyCopy = 0x20000;  // "C"
inline constexpr KivEncodingType KivEncodingTypePropertyRetain = 0x40000;  // "&"
inline constexpr KivEncodingType KivEncodingTypePropertyNonatomic = 0x80000;  // "N"
inline constexpr KivEncodingType KivEncodingTypePropertyWeak = 0x100000;  // "W"
inline constexpr KivEncodingType KivEncodingTypePropertyCustomGetter = 0x200000;  // "G" and the getter's name
inline constexpr KivEncodingType KivEncodingTypePropertyCustomSetter = 0x400000;  // "S" and the setter's name
inline constexpr KivEncodingType KivEncodingTypePropertyDynamic = 0x800000;  // "D"

// The type code and qualifier bits of a type encoding. Leading qualifier characters (r n N o O R
// V, in any order and repeated) set their bits; the first other character alone decides the type
// code, except that exactly "@?" is a block. Null, empty and unknown encodings give code 0.
KivEncodingType KivEncodingGetType(const char* typeEncoding);
KivEncodingType KivEncodingGetType(std::string_view typeEncoding);

}  // namespace kiv

#endif  // KIV_MODEL_ENCODING_HPP_
