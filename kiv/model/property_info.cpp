#include "kiv/model/property_info.hpp"

#include <cctype>
#include <string>

namespace kiv {

namespace {

KivEncodingType attributeBit(char name) {
  switch (name) {
    case 'R': return KivEncodingTypePropertyReadonly;
    case 'C': return KivEncodingTypePropertyCopy;
    case '&': return KivEncodingTypePropertyRetain;
    case 'N': return KivEncodingTypePropertyNonatomic;
    case 'W': return KivEncodingTypePropertyWeak;
    case 'G': return KivEncodingTypePropertyCustomGetter;
    case 'S': return KivEncodingTypePropertyCustomSetter;
    case 'D': return KivEncodingTypePropertyDynamic;
    default: return 0;
  }
}

// "userName" gives "setUserName:".
std::string defaultSetterName(std::string_view name) {
  std::string setter = "set";
  setter += static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
  setter += name.substr(1);
  setter += ':';
  return setter;
}

}  // namespace

KivProPertyInfo::KivProPertyInfo(const Property& property, const Class& cls)
    : property_(&property), declaringClass_(&cls) {
  if (property.name && *property.name) name_ = String(property.name);
  readAttributes();
  deriveAccessors();
}

void KivProPertyInfo::readAttributes() {
  KivEncodingType type = 0;
  for (const PropertyAttribute& attribute : copyAttributeList(*property_)) {
    const std::string_view value = attribute.value;
    switch (attribute.name) {
      case 'T':
        // The type attribute comes first and starts the code afresh. The bit test admits more
        // than object encodings, but only a quoted class name ("@\"Name\"") names a class.
        type = KivEncodingGetType(value);
        if ((type & 0xE) && value.size() >= 4) cls_ = Class::named(value.substr(2, value.size() - 3));
        break;
      case 'G':
        type |= attributeBit('G');
        if (!value.empty()) getter_ = Selector::named(value);
        break;
      case 'S':
        type |= attributeBit('S');
        if (!value.empty()) setter_ = Selector::named(value);
        break;
      default:
        type |= attributeBit(attribute.name);
        break;
    }
  }
  type_ = type;
}

void KivProPertyInfo::deriveAccessors() {
  if (name_.isAbsent()) return;
  if (!getter_) getter_ = Selector::named(name_.view());
  if (setter_) return;  // a custom setter name: never recorded
  setter_ = Selector::named(defaultSetterName(name_.view()));
  emptyImp_ = property_->mergeSlot;
  if (emptyImp_) setterImp_ = property_->accessors.set;
}

void KivProPertyInfo::setMergeIdx(std::int64_t mergeIdx) noexcept {
  mergeIdx_ = mergeIdx;
  if (emptyImp_) emptyImp_->arm(mergeIdx);
}

}  // namespace kiv
