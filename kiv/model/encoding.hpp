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

using KivEncodingType = std::uint64_t;

inline constexpr KivEncodingType KivEncodingTypeMask = 0xFF;
inline constexpr KivEncodingType KivEncodingTypeUnknown = 0;
inline constexpr KivEncodingType KivEncodingTypeVoid = 1;
inline constexpr KivEncodingType KivEncodingTypeBool = 2;
inline constexpr KivEncodingType KivEncodingTypeInt8 = 3;
inline constexpr KivEncodingType KivEncodingTypeUInt8 = 4;
inline constexpr KivEncodingType KivEncodingTypeInt16 = 5;
inline constexpr KivEncodingType KivEncodingTypeUInt16 = 6;
inline constexpr KivEncodingType KivEncodingTypeInt32 = 7;
inline constexpr KivEncodingType KivEncodingTypeUInt32 = 8;
inline constexpr KivEncodingType KivEncodingTypeInt64 = 9;
inline constexpr KivEncodingType KivEncodingTypeUInt64 = 10;
inline constexpr KivEncodingType KivEncodingTypeFloat = 11;
inline constexpr KivEncodingType KivEncodingTypeDouble = 12;
inline constexpr KivEncodingType KivEncodingTypeLongDouble = 13;
inline constexpr KivEncodingType KivEncodingTypeObject = 14;
inline constexpr KivEncodingType KivEncodingTypeClass = 15;
inline constexpr KivEncodingType KivEncodingTypeSEL = 16;
inline constexpr KivEncodingType KivEncodingTypeBlock = 17;
inline constexpr KivEncodingType KivEncodingTypePointer = 18;
inline constexpr KivEncodingType KivEncodingTypeStruct = 19;
inline constexpr KivEncodingType KivEncodingTypeUnion = 20;
inline constexpr KivEncodingType KivEncodingTypeCString = 21;
inline constexpr KivEncodingType KivEncodingTypeCArray = 22;

inline constexpr KivEncodingType KivEncodingTypeQualifierMask = 0xFF00;
inline constexpr KivEncodingType KivEncodingTypeQualifierConst = 0x100;
inline constexpr KivEncodingType KivEncodingTypeQualifierIn = 0x200;
inline constexpr KivEncodingType KivEncodingTypeQualifierInout = 0x400;
inline constexpr KivEncodingType KivEncodingTypeQualifierOut = 0x800;
inline constexpr KivEncodingType KivEncodingTypeQualifierBycopy = 0x1000;
inline constexpr KivEncodingType KivEncodingTypeQualifierByref = 0x2000;
inline constexpr KivEncodingType KivEncodingTypeQualifierOneway = 0x4000;

inline constexpr KivEncodingType KivEncodingTypePropertyMask = 0xFF0000;
inline constexpr KivEncodingType KivEncodingTypePropertyReadonly = 0x10000;
inline constexpr KivEncodingType KivEncodingTypePropertyCopy = 0x20000;
inline constexpr KivEncodingType KivEncodingTypePropertyRetain = 0x40000;
inline constexpr KivEncodingType KivEncodingTypePropertyNonatomic = 0x80000;
inline constexpr KivEncodingType KivEncodingTypePropertyWeak = 0x100000;
inline constexpr KivEncodingType KivEncodingTypePropertyCustomGetter = 0x200000;
inline constexpr KivEncodingType KivEncodingTypePropertyCustomSetter = 0x400000;
inline constexpr KivEncodingType KivEncodingTypePropertyDynamic = 0x800000;

// The type code and qualifier bits of a type encoding. Leading qualifier characters (r n N o O R
// V, in any order and repeated) set their bits; the first other character alone decides the type
// code, except that exactly "@?" is a block. Null, empty and unknown encodings give code 0.
KivEncodingType KivEncodingGetType(const char* typeEncoding);
KivEncodingType KivEncodingGetType(std::string_view typeEncoding);

}  // namespace kiv

#endif  // KIV_MODEL_ENCODING_HPP_
