#include "kalvex/fields/codec/ScalarCodecs.h"

#include <cstdio>
#include <cstdlib>

namespace Kalvex {

void SFFloatCodec::setStr(SField<float, false>& f, const char* text) {
    f.setValue(text ? float(std::strtod(text, nullptr)) : 0.0f);
}

void SFFloatCodec::getStr(const SField<float, false>& f, std::string& out) {
    char buffer[256];
    std::snprintf(buffer, sizeof(buffer), "%g", double(f.getValue()));
    out = buffer;
}

void SFInt32Codec::setStr(SField<int, false>& f, const char* text) {
    f.setValue(text ? int(std::strtol(text, nullptr, 10)) : 0);
}

void SFInt32Codec::getStr(const SField<int, false>& f, std::string& out) {
    out = std::to_string(f.getValue());
}

void SFStringCodec::setStr(SField<std::string, false>& f, const char* text) {
    f.setValue(text ? text : "");
}

void SFStringCodec::getStr(const SField<std::string, false>& f, std::string& out) {
    out = f.getValue();
}

}  // namespace Kalvex
