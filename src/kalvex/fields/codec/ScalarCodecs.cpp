#include "kalvex/fields/codec/ScalarCodecs.h"

#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <type_traits>

#include "kalvex/fields/codec/NumberText.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace {

using numtext::CastWire;
using numtext::NumberForm;

// Elements are read as double or long and narrowed, as strtod and strtol results are.
template <class T>
using ReadType = std::conditional_t<std::is_same_v<T, int>, long, double>;

template <class T>
void parseTokenList(std::vector<T>& values, const char* text) {
    values.clear();
    if (!text || !*text) return;
    numtext::forEachToken<ReadType<T>>(text, [&](ReadType<T> number) {
        values.push_back(static_cast<T>(number));
        return true;
    });
}

template <class T>
const char* streamNumbers(std::vector<T>& values, const char* text) {
    if (!text) return nullptr;
    return numtext::streamNumbers<ReadType<T>>(
        text, [&](ReadType<T> number, const char*) { values.push_back(static_cast<T>(number)); });
}

// One value by the single rule: strtod or strtol, a null text reads 0.
template <class T>
T singleNumber(const char* text) {
    if (!text) return T(0);
    if constexpr (std::is_same_v<T, int>)
        return static_cast<int>(std::strtol(text, nullptr, 10));
    else
        return static_cast<T>(std::strtod(text, nullptr));
}

// The lists print as a C++ stream would; under another global C++ locale a real stream does the
// work.
template <class T>
void printNumberList(const std::vector<T>& values, std::string& out, NumberForm form) {
    out.clear();
    if (values.empty()) return;
    if (!numtext::classicStreams()) {
        std::ostringstream stream;
        if (form == NumberForm::Fixed6) stream << std::fixed << std::setprecision(6);
        if (form == NumberForm::Fixed12) stream << std::fixed << std::setprecision(12);
        for (size_t i = 0; i < values.size(); ++i) {
            if (i) stream << ", ";
            stream << values[i];
        }
        out = stream.str();
        return;
    }
    out.reserve(values.size() * (std::is_same_v<T, int> ? 8 : 12));
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) out.append(", ", 2);
        numtext::appendNumber(out, values[i], form);
    }
}

void printFormat(std::string& out, const char* format, double value) {
    out.clear();
    numtext::appendPrintf(out, format, value);
}

// Binary: one primitive per value; a short read gives zero.
template <class T>
std::string writeOne(const T& value) {
    return numtext::writeValue<CastWire<T>>(value);
}

template <class W, class T = W>
T readOne(const std::string& data) {
    T value{};
    numtext::readValue<CastWire<W>>(data, value);
    return value;
}

// A list without even a count reads as empty.
template <class W, class C>
void readList(C& values, const std::string& data) {
    C result;
    numtext::readCounted<CastWire<W>>(data, result);
    values = std::move(result);
}

// ---------------------------------------------------------------------------------------------
// Bool, qubit and string helpers.

bool boolFromText(const char* text) {
    if (!text || !*text) return false;
    switch (text[0]) {
        case 'T':
        case 't':
        case 'Y':
        case 'y':
            return true;
        case 'F':
        case 'f':
        case 'N':
        case 'n':
            return false;
        default:
            break;
    }
    if (text[0] == '-' || text[0] == '.' || numtext::isDigit(text[0]))
        return std::strtod(text, nullptr) != 0.0;
    return false;
}

const char* boolName(bool value) {
    return value ? "TRUE" : "FALSE";
}

struct QubitName {
    const char* name;
    int value;
};
constexpr QubitName kQubitNames[] = {{"TRUE", 1},  {"ON", 1},     {"OFF", 0},
                                     {"FALSE", 0}, {"UNSET", -1}, {"", -1}};

// The comparison is exact, with the whole text.
int qubitFromText(const char* text) {
    for (const QubitName& entry : kQubitNames)
        if (std::strcmp(text, entry.name) == 0) return entry.value;
    return -1;
}

const char* qubitName(int value) {
    switch (value) {
        case 1:
            return "ON";
        case 0:
            return "OFF";
        case -1:
            return "UNSET";
        default:
            return nullptr;
    }
}

void logPartialNotImpl(const Field& f) {
    KFATAL("%s::addValueByStr() for partial data not impl.\n", f.dataTypeName());
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Binary forms shared by the classes

namespace scalarcodec {

template <class T, class W, class R>
std::string SFBin<T, W, R>::getBin(const F& f, int) {
    return writeOne(static_cast<W>(f.getValue()));
}

template <class T, class W, class R>
void SFBin<T, W, R>::setBin(F& f, const std::string& data) {
    f.setValue(static_cast<T>(readOne<R>(data)));
}

template <class Field_, class W, class R>
std::string MFBin<Field_, W, R>::getBin(const F& f, int) {
    return numtext::writeCounted<CastWire<W>>(f.getValue());
}

template <class Field_, class W, class R>
void MFBin<Field_, W, R>::setBin(F& f, const std::string& data) {
    readList<R>(f.editValue(), data);
}

template <class Field_, class W, class R>
std::string MFBin<Field_, W, R>::get1Bin(const F& f, int index) {
    return numtext::writeElement<CastWire<W>>(f.getValue(), index);
}

template <class Field_, class W, class R>
void MFBin<Field_, W, R>::set1Bin(F& f, int index, const std::string& data) {
    numtext::readElement<CastWire<R>>(f.editValue(), index, data);
}

template struct SFBin<bool, bool>;
template struct SFBin<int, long>;
template struct SFBin<float, float>;
template struct SFBin<double, double>;
template struct SFBin<std::string, std::string>;
template struct MFBin<MVField<int, false>, long, int>;
template struct MFBin<MVField<float, false>, float>;
template struct MFBin<MVField<double, false>, double>;
template struct MFBin<MLField<std::string, false>, std::string>;

}  // namespace scalarcodec

// ---------------------------------------------------------------------------------------------
// SFBool, MFBool

void SFBoolCodec::setStr(F& f, const char* text) {
    f.setValue(boolFromText(text));
}

void SFBoolCodec::getStr(const F& f, std::string& out) {
    out = boolName(f.getValue());
}

void MFBoolCodec::setStr(F& f, const char* text) {
    f.editValue().clear();
    if (!text || !*text) return;
    f.splitAndAddValues(text, numtext::kSplitChars);
}

void MFBoolCodec::getStr(const F& f, std::string& out) {
    out.clear();
    bool first = true;
    for (bool value : f.getValue()) {
        if (!first) out += ", ";
        out += boolName(value);
        first = false;
    }
}

const char* MFBoolCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) {
        logPartialNotImpl(f);
        return nullptr;
    }
    f.addValue(boolFromText(text));
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// SFInt32, MFInt32: written as long, the whole list read back as int.

void SFInt32Codec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<int>(text));
}

void SFInt32Codec::getStr(const F& f, std::string& out) {
    char buffer[256];
    std::snprintf(buffer, sizeof(buffer), "%d", f.getValue());
    out = buffer;
}

void MFInt32Codec::setStr(F& f, const char* text) {
    parseTokenList(f.editValue(), text);
}

void MFInt32Codec::getStr(const F& f, std::string& out) {
    printNumberList(f.getValue(), out, NumberForm::Decimal);
}

const char* MFInt32Codec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) return streamNumbers(f.editValue(), text);
    f.addValue(singleNumber<int>(text));
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// SFFloat, MFFloat

void SFFloatCodec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<float>(text));
}

void SFFloatCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%g", double(f.getValue()));
}

void MFFloatCodec::setStr(F& f, const char* text) {
    parseTokenList(f.editValue(), text);
}

void MFFloatCodec::getStr(const F& f, std::string& out) {
    printNumberList(f.getValue(), out, NumberForm::Fixed6);
}

const char* MFFloatCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) return streamNumbers(f.editValue(), text);
    if (!text) {
        f.addValue(0.0f);
        return nullptr;
    }
    // A single value here may still be a list: blanks and commas both separate. A text that is
    // no number ends the loop instead of repeating forever.
    const char* p = text;
    while (*p) {
        char* stop = nullptr;
        double value = std::strtod(p, &stop);
        if (stop == p) break;
        f.addValue(float(value));
        p = stop;
        while (*p == ',') ++p;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// SFDouble, SFTime, MFDouble, MFTime

void SFDoubleCodec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<double>(text));
}

void SFDoubleCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%g", f.getValue());
}

void SFTimeCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%.16g", f.getValue());
}

void MFDoubleCodec::setStr(F& f, const char* text) {
    parseTokenList(f.editValue(), text);
}

void MFDoubleCodec::getStr(const F& f, std::string& out) {
    printNumberList(f.getValue(), out, NumberForm::Fixed12);
}

const char* MFDoubleCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) return streamNumbers(f.editValue(), text);
    f.addValue(singleNumber<double>(text));
    return nullptr;
}

// Six significant digits, where SFTime prints sixteen.
void MFTimeCodec::getStr(const F& f, std::string& out) {
    printNumberList(f.getValue(), out, NumberForm::Default);
}

// ---------------------------------------------------------------------------------------------
// SFString, MFString

void SFStringCodec::setStr(F& f, const char* text) {
    f.setValue(text ? text : "");
}

void SFStringCodec::getStr(const F& f, std::string& out) {
    out = f.getValue();
}

void MFStringCodec::setStr(F& f, const char* text) {
    std::list<std::string>& values = f.editValue();
    values.clear();
    if (!text || !*text) return;

    // The first quote found decides which quote the whole text uses.
    char quote = 0;
    for (const char* p = text; *p; ++p) {
        if (*p == '"' || *p == '\'') {
            quote = *p;
            break;
        }
    }

    if (!quote) {
        const char* p = text;
        while (*p) {
            p = numtext::skipDelims(p, numtext::kStreamSet);
            const char* start = p;
            p = numtext::runEnd(p, numtext::kStreamSet);
            if (p != start) f.addValue(std::string(start, p));
        }
        return;
    }

    bool inside = false;
    bool escaped = false;
    std::string current;
    for (const char* p = text; *p; ++p) {
        char c = *p;
        if (c == '\\') {
            if (escaped) {
                if (inside) current += '\\';
                escaped = false;
            } else {
                escaped = true;
            }
        } else if (c == quote && !escaped) {
            if (inside) {
                f.addValue(current);
                current.clear();
            }
            inside = !inside;
        } else if (inside) {
            if (escaped && c != quote) current += '\\';
            current += c;
            escaped = false;
        } else {
            escaped = false;
        }
    }
    // A string still open at the end is dropped.
}

void MFStringCodec::getStr(const F& f, std::string& out) {
    out.clear();
    bool first = true;
    for (const std::string& value : f.getValue()) {
        if (!first) out += ' ';
        first = false;
        out += '"';
        for (char c : value) {
            if (c == '"' || c == '\\') out += '\\';
            out += c;
        }
        out += '"';
    }
}

const char* MFStringCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) {
        const NodePartDesc* desc = f.getDesc();
        KFATAL("%s.%s %s::addValueByStr() for partial data not impl. \n >%s<\n",
               f.node().typeName(), desc ? desc->name.c_str() : "NoName", f.dataTypeName(),
               text ? text : "");
        return nullptr;
    }
    f.addValue(text ? text : "");
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// SFQubit, MFQubit

void SFQubitCodec::setStr(F& f, const char* text) {
    if (!text) return;
    f.setValue(Qubit(qubitFromText(text)));
}

void SFQubitCodec::getStr(const F& f, std::string& out) {
    if (const char* name = qubitName(f.getValue().getValue())) out = name;
}

void MFQubitCodec::setStr(F& f, const char* text) {
    f.editValue().clear();
    if (!text || !*text) return;
    f.splitAndAddValues(text, numtext::kSplitChars);
}

// The names run together; any count but one gets a trailing blank, so such a text does not
// read back as it was.
void MFQubitCodec::getStr(const F& f, std::string& out) {
    out.clear();
    const std::list<Qubit>& values = f.getValue();
    if (values.empty()) return;
    for (const Qubit& value : values) {
        const char* name = qubitName(value.getValue());
        out += name ? name : "UNSET";
    }
    if (values.size() != 1) out += ' ';
}

// Sees the text from its start to the end of the whole string, and compares all of it.
const char* MFQubitCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    if (mode == Field::CardinalityMulti) {
        logPartialNotImpl(f);
        return nullptr;
    }
    f.addValue(text ? Qubit(qubitFromText(text)) : Qubit());
    return nullptr;
}

}  // namespace Kalvex
