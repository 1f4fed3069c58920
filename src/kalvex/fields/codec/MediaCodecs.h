#pragma once
// Codecs of the image, sound, node and wildcard classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

struct SFImageCodec {
    using F = SField<Image, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    // Width, height, depth (unsigned short), bytes per pixel and a 0 (unsigned char), pixels.
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    // The platform image's own store form.
    static void setRaw(F& f, unsigned char* data, unsigned int size);
};

struct MFImageCodec {
    using F = MLField<Image, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

// Sound has no text form; PCMSound reports that.
struct SFSoundCodec {
    using F = SField<PCMSound, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};

struct MFSoundCodec {
    using F = MLField<PCMSound, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

// The wildcards hold no value: text and fields are accepted and dropped, raw forms are silent.
struct SFAnyCodec {
    using F = SField<void*, false>;
    static constexpr bool rawSilent = true;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static void setRaw(F& f, unsigned char* data, unsigned int size);
    static bool setField(F& f, const Field& other, ConvertParam* param);
};

struct MFAnyCodec {
    using F = MVField<void*, false>;
    static constexpr bool rawSilent = true;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static void setRaw(F& f, unsigned char* data, unsigned int size);
    static bool setField(F& f, const Field& other, ConvertParam* param);
};

}  // namespace Kalvex
