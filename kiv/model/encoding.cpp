#include "kiv/model/encoding.hpp"

namespace kiv {

namespace {

KivEncodingType qualifierBit(char c) {
  switch (c) {
    case 'r': return KivEncodingTypeQualifierConst;
    case 'n': return KivEncodingTypeQualifierIn;
    case 'N': return KivEncodingTypeQualifierInout;
    case 'o': return KivEncodingTypeQualifierOut;
    case 'O': return KivEncodingTypeQualifierBycopy;
    case 'R': return KivEncodingTypeQualifierByref;
    case 'V': return KivEncodingTypeQualifierOneway;
    default: return 0;
  }
}

// The type code of an encoding without qualifiers (never empty).
KivEncodingType typeCode(std::string_view type) {
  switch (type.front()) {
    case 'v': return KivEncodingTypeVoid;
    case 'B': return KivEncodingTypeBool;
    case 'c': return KivEncodingTypeInt8;
    case 'C': return KivEncodingTypeUInt8;
    case 's': return KivEncodingTypeInt16;
    case 'S': return KivEncodingTypeUInt16;
    case 'i': case 'l': return KivEncodingTypeInt32;
    case 'I': case 'L': return KivEncodingTypeUInt32;
    case 'q': return KivEncodingTypeInt64;
    case 'Q': return KivEncodingTypeUInt64;
    case 'f': return KivEncodingTypeFloat;
    case 'd': return KivEncodingTypeDouble;
    case 'D': return KivEncodingTypeLongDouble;
    case '@': return type == "@?" ? KivEncodingTypeBlock : KivEncodingTypeObject;
    case '#': return KivEncodingTypeClass;
    case ':': return KivEncodingTypeSEL;
    case '^': return KivEncodingTypePointer;
    case '{': return KivEncodingTypeStruct;
    case '(': return KivEncodingTypeUnion;
    case '*': return KivEncodingTypeCString;
    case '[': return KivEncodingTypeCArray;
    default: return KivEncodingTypeUnknown;
  }
}

}  // namespace

KivEncodingType KivEncodingGetType(std::string_view typeEncoding) {
  KivEncodingType qualifiers = 0;
  while (!typeEncoding.empty()) {
    const KivEncodingType bit = qualifierBit(typeEncoding.front());
    if (!bit) break;
    qualifiers |= bit;
    typeEncoding.remove_prefix(1);
  }
  if (typeEncoding.empty()) return qualifiers;
  return qualifiers | typeCode(typeEncoding);
}

KivEncodingType KivEncodingGetType(const char* typeEncoding) {
  return typeEncoding ? KivEncodingGetType(std::string_view(typeEncoding)) : 0;
}

}  // namespace kiv
