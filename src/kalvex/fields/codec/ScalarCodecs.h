#pragma once
// Codecs of the number, string, bool and qubit classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

struct SFBoolCodec {
    using F = SField<bool, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct MFBoolCodec {
    using F = MLField<bool, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

struct SFInt32Codec {
    using F = SField<int, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct MFInt32Codec {
    using F = MVField<int, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};

struct SFFloatCodec {
    using F = SField<float, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct MFFloatCodec {
    using F = MVField<float, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};

// SFDouble and SFTime (and their multi forms) share the value type; only the text differs.
struct SFDoubleCodec {
    using F = SField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct SFTimeCodec {
    using F = SField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct MFDoubleCodec {
    using F = MVField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};
struct MFTimeCodec {
    using F = MVField<double, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};

struct SFStringCodec {
    using F = SField<std::string, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};
struct MFStringCodec {
    using F = MLField<std::string, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
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
