#pragma once
// Codecs of the number, string, bool and qubit classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

struct SFFloatCodec {
    static void setStr(SField<float, false>& f, const char* text);
    static void getStr(const SField<float, false>& f, std::string& out);
};
struct SFInt32Codec {
    static void setStr(SField<int, false>& f, const char* text);
    static void getStr(const SField<int, false>& f, std::string& out);
};
struct SFStringCodec {
    static void setStr(SField<std::string, false>& f, const char* text);
    static void getStr(const SField<std::string, false>& f, std::string& out);
};
struct SFBoolCodec {};
struct MFBoolCodec {};
struct SFDoubleCodec {};
struct MFDoubleCodec {};
struct MFFloatCodec {};
struct MFInt32Codec {};
struct MFStringCodec {};
struct SFTimeCodec {};
struct MFTimeCodec {};
struct SFQubitCodec {};
struct MFQubitCodec {};

}  // namespace Kalvex
