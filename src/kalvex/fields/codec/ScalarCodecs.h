#pragma once
// Codecs of the number, string, bool and qubit classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

namespace scalarcodec {

// Whole-value binary string: one primitive, written as W and read as R.
template <class T, class W, class R = W>
struct SFBin {
    using F = SField<T, false>;
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};

// Element count (long), then one primitive per element, written as W and read as R; plus the
// one-element forms.
template <class Field_, class W, class R = W>
struct MFBin {
    using F = Field_;
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};

}  // namespace scalarcodec

struct SFBoolCodec : scalarcodec::SFBin<bool, bool> {
    using F = SField<bool, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct MFBoolCodec {
    using F = MLField<bool, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

struct SFInt32Codec : scalarcodec::SFBin<int, long> {
    using F = SField<int, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct MFInt32Codec : scalarcodec::MFBin<MVField<int, false>, long, int> {
    using F = MVField<int, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

struct SFFloatCodec : scalarcodec::SFBin<float, float> {
    using F = SField<float, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct MFFloatCodec : scalarcodec::MFBin<MVField<float, false>, float> {
    using F = MVField<float, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

// SFDouble and SFTime (and their multi forms) share the value type; only the text differs.
struct SFDoubleCodec : scalarcodec::SFBin<double, double> {
    using F = SField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct SFTimeCodec : SFDoubleCodec {
    static void getStr(const F& f, std::string& out);
};
struct MFDoubleCodec : scalarcodec::MFBin<MVField<double, false>, double> {
    using F = MVField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};
struct MFTimeCodec : MFDoubleCodec {
    static void getStr(const F& f, std::string& out);
};

struct SFStringCodec : scalarcodec::SFBin<std::string, std::string> {
    using F = SField<std::string, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct MFStringCodec : scalarcodec::MFBin<MLField<std::string, false>, std::string> {
    using F = MLField<std::string, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

// The qubits have text only; their binary forms report "not imp".
struct SFQubitCodec {
    using F = SField<Qubit, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};
struct MFQubitCodec {
    using F = MLField<Qubit, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

}  // namespace Kalvex
