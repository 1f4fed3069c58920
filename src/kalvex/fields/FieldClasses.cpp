// One unit instantiates every field class and defines its registration.

#include "kalvex/fields/FieldClasses.h"

#include "kalvex/fields/FieldImpl.inl"
#include "kalvex/fields/codec/MediaCodecs.h"
#include "kalvex/fields/codec/ScalarCodecs.h"
#include "kalvex/fields/codec/VectorCodecs.h"

namespace Kalvex {

#define KALVEX_DEFINE_FIELD_CLASS(Name, Number, Base, Tmpl, T, Dep)                   \
    template class FieldImpl<Tmpl<T, Dep>, Name##Codec>;                              \
    FieldType Name::_type(                                                            \
        Base, Number, #Name, [](Node& node) -> Field* { return Name::create(node); }, \
        Tmpl<T, Dep>::kSingle == false);

KALVEX_FIELD_CATALOGUE(KALVEX_DEFINE_FIELD_CLASS)

FieldType XFAny::_type(
    AnyBase, XFAnyType, "XFAny", [](Node& node) -> Field* { return XFAny::create(node); }, false);

void XFAny::setValueByBin(const std::string&) {
    KFATAL("%s::setValueByBin() is not imp\n", dataTypeName());
}

std::string XFAny::getBinValue(int) const {
    KFATAL("%s::getBinValue() is not imp\n", dataTypeName());
    return std::string();
}

std::string XFAny::get1ValueAsBin(int) const {
    KFATAL("%s::get1ValueByBin() is not imp\n", dataTypeName());
    return std::string();
}

void XFAny::set1ValueByBin(int, const std::string&) {
    KFATAL("%s::set1ValueByBin() is not imp\n", dataTypeName());
    markChanged();
}

}  // namespace Kalvex
