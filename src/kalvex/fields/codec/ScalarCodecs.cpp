#include "kalvex/fields/codec/ScalarCodecs.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iterator>
#include <locale>
#include <sstream>
#include <system_error>
#include <type_traits>

#include <langinfo.h>

#include "kalvex/fields/codec/TextSyntax.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace {

// ---------------------------------------------------------------------------------------------
// Reading numbers. Loading spends most of its time here, so the common case (a plain decimal
// number in the "C" numeric locale) goes through std::from_chars. Everything from_chars would
// read differently from strtod/strtol falls back to them: a leading '+' or blank, hexadecimal
// "0x", inf/nan, out-of-range values, and every number while LC_NUMERIC has a decimal point
// other than '.' (strtod obeys it, and so do we).

struct CharSet {
    bool member[256] = {};
    constexpr explicit CharSet(const char* chars) {
        for (; *chars; ++chars) member[static_cast<unsigned char>(*chars)] = true;
    }
    bool operator()(char c) const { return member[static_cast<unsigned char>(c)]; }
};

// NUL is in neither set: it ends the text.
constexpr CharSet kTokenSet(" \t\n\r,");
constexpr CharSet kStreamSet(" ,;\t\n\r");

// The thread's LC_NUMERIC radix, as strtod sees it. nl_langinfo only reads the locale data,
// where localeconv would fill a shared static.
bool cNumericLocale() {
    const char* radix = nl_langinfo(RADIXCHAR);
    return radix && radix[0] == '.' && radix[1] == '\0';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// True when from_chars reads the number at p exactly as strtod would (if it reads it at all).
bool fastDoubleStart(const char* p) {
    if (*p == '-') ++p;
    if (isDigit(*p)) return !(p[0] == '0' && (p[1] == 'x' || p[1] == 'X'));
    return *p == '.';
}

// Reads a double at p like strtod; returns the end of the conversion (p when nothing was read).
// The text from p must end with NUL at `end`.
const char* readDouble(const char* p, const char* end, bool fast, double& value) {
    if (fast && fastDoubleStart(p)) {
        std::from_chars_result r = std::from_chars(p, end, value);
        if (r.ec == std::errc()) return r.ptr;
    }
    char* stop = nullptr;
    value = std::strtod(p, &stop);
    return stop;
}

// Reads a long at p like strtol base 10.
const char* readLong(const char* p, const char* end, long& value) {
    const char* digits = p + (*p == '-' ? 1 : 0);
    if (isDigit(*digits)) {
        std::from_chars_result r = std::from_chars(p, end, value, 10);
        if (r.ec == std::errc()) return r.ptr;
    }
    char* stop = nullptr;
    value = std::strtol(p, &stop, 10);
    return stop;
}

const char* tokenEnd(const char* p) {
    while (*p && !kTokenSet(*p)) ++p;
    return p;
}

// One number per token of the token set. A token converts on its own: strtod must not skip
// leading white space (a vertical tab, say) across the token's end into the next one, so the
// slow path reads a copy of the token.
template <class Number>
const char* readTokenNumber(const char* p, const char* end, bool fast, Number& value) {
    if constexpr (std::is_same_v<Number, double>) {
        if (fast && fastDoubleStart(p)) {
            std::from_chars_result r = std::from_chars(p, end, value);
            if (r.ec == std::errc()) return tokenEnd(r.ptr);
        }
        const char* stop = tokenEnd(p);
        std::string token(p, stop);
        value = std::strtod(token.c_str(), nullptr);
        return stop;
    } else {
        const char* digits = p + (*p == '-' ? 1 : 0);
        if (isDigit(*digits)) {
            std::from_chars_result r = std::from_chars(p, end, value, 10);
            if (r.ec == std::errc()) return tokenEnd(r.ptr);
        }
        const char* stop = tokenEnd(p);
        std::string token(p, stop);
        value = std::strtol(token.c_str(), nullptr, 10);
        return stop;
    }
}

// Elements are read as double or long and narrowed, as strtod and strtol results are.
template <class T>
using ReadType = std::conditional_t<std::is_same_v<T, int>, long, double>;

template <class T>
void parseTokenList(std::vector<T>& values, const char* text) {
    values.clear();
    if (!text || !*text) return;
    const char* end = text + std::strlen(text);
    const bool fast = cNumericLocale();
    const char* p = text;
    for (;;) {
        while (kTokenSet(*p)) ++p;
        if (!*p) break;
        ReadType<T> number;
        p = readTokenNumber(p, end, fast, number);
        values.push_back(static_cast<T>(number));
    }
}

template <class T>
const char* readNumber(const char* p, const char* end, bool fast, ReadType<T>& number) {
    if constexpr (std::is_same_v<T, int>) {
        (void)fast;
        return readLong(p, end, number);
    } else {
        return readDouble(p, end, fast, number);
    }
}

// The streaming rule: take every number that is certainly complete; a number that touches the
// end of the piece may go on in the next one, so its start is handed back.
template <class T>
const char* streamNumbers(std::vector<T>& values, const char* text) {
    if (!text) return nullptr;
    const char* end = text + std::strlen(text);
    const bool fast = cNumericLocale();
    const char* p = text;
    for (;;) {
        while (kStreamSet(*p)) ++p;
        if (!*p) return nullptr;
        ReadType<T> number;
        const char* stop = readNumber<T>(p, end, fast, number);
        if (stop == p || !*stop) return p;
        values.push_back(static_cast<T>(number));
        p = stop;
    }
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

// ---------------------------------------------------------------------------------------------
// Writing numbers. The lists print as a C++ stream would (fixed or default format, decimal
// ints). In the classic locale that is exactly printf, and std::to_chars with a precision is
// specified as printf; under another global C++ locale a real stream does the work.

bool classicStreams() {
    return std::locale() == std::locale::classic();
}

enum class NumberForm { Fixed6, Fixed12, Default, Decimal };

template <class T>
void appendNumber(std::string& out, T value, NumberForm form) {
    char buffer[400];  // the widest is a fixed double: 309 digits, sign, point, 12 decimals
    std::to_chars_result r;
    if constexpr (std::is_same_v<T, int>) {
        r = std::to_chars(buffer, buffer + sizeof(buffer), value);
    } else {
        double v = value;
        switch (form) {
            case NumberForm::Fixed6:
                r = std::to_chars(buffer, buffer + sizeof(buffer), v, std::chars_format::fixed, 6);
                break;
            case NumberForm::Fixed12:
                r = std::to_chars(buffer, buffer + sizeof(buffer), v, std::chars_format::fixed, 12);
                break;
            default:
                r = std::to_chars(buffer, buffer + sizeof(buffer), v, std::chars_format::general,
                                  6);
                break;
        }
    }
    if (r.ec == std::errc()) out.append(buffer, r.ptr);
}

template <class T>
void printNumberList(const std::vector<T>& values, std::string& out, NumberForm form) {
    out.clear();
    if (values.empty()) return;
    if (!classicStreams()) {
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
        appendNumber(out, values[i], form);
    }
}

void printFormat(std::string& out, const char* format, double value) {
    char buffer[256];
    std::snprintf(buffer, sizeof(buffer), format, value);
    out = buffer;
}

// ---------------------------------------------------------------------------------------------
// Binary strings. A count that the remaining bytes cannot hold is cut to what they can, so a
// corrupt count never allocates more than the data could fill.

template <class T>
std::string writeOne(const T& value) {
    return syntax::toBin([&](Harnel::obinstream& out) { out << value; });
}

template <class T>
T readOne(const std::string& data) {
    T value{};
    syntax::fromBin(data, [&](Harnel::ibinstream& in) { in >> value; });
    return value;
}

template <class Wire, class C>
std::string writeCounted(const C& values) {
    return syntax::toBin([&](Harnel::obinstream& out) {
        out << long(values.size());
        for (const auto& v : values) out << static_cast<Wire>(v);
    });
}

// minBytes: the least an element can take on the wire.
template <class Wire, class C>
void readCounted(C& values, const std::string& data, size_t minBytes) {
    C result;
    syntax::fromBin(data, [&](Harnel::ibinstream& in) {
        long count = 0;
        in >> count;
        if (in.fail() || count <= 0) return;
        size_t fits = (data.size() - sizeof(std::int64_t)) / minBytes;
        size_t n = std::min(size_t(count), fits);
        for (size_t i = 0; i < n; ++i) {
            Wire v{};
            in >> v;
            if (in.fail()) break;
            result.push_back(static_cast<typename C::value_type>(v));
        }
    });
    values = std::move(result);
}

template <class C>
auto elementAt(C& values, int index) -> decltype(&*values.begin()) {
    if (index < 0 || size_t(index) >= values.size()) return nullptr;
    auto it = values.begin();
    std::advance(it, index);
    return &*it;
}

template <class Wire, class C>
std::string writeElement(const C& values, int index) {
    const auto* element = elementAt(values, index);
    return element ? writeOne(static_cast<Wire>(*element)) : std::string();
}

template <class Wire, class C>
void readElement(C& values, int index, const std::string& data) {
    auto* element = elementAt(values, index);
    if (element) *element = static_cast<typename C::value_type>(readOne<Wire>(data));
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
    if (text[0] == '-' || text[0] == '.' || isDigit(text[0]))
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
// SFBool, MFBool

void SFBoolCodec::setStr(F& f, const char* text) {
    f.setValue(boolFromText(text));
}

void SFBoolCodec::getStr(const F& f, std::string& out) {
    out = boolName(f.getValue());
}

std::string SFBoolCodec::getBin(const F& f, int) {
    return writeOne(f.getValue());
}

void SFBoolCodec::setBin(F& f, const std::string& data) {
    f.setValue(readOne<bool>(data));
}

void MFBoolCodec::setStr(F& f, const char* text) {
    f.editValue().clear();
    if (!text || !*text) return;
    f.splitAndAddValues(text, syntax::kSplitSet);
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

std::string SFInt32Codec::getBin(const F& f, int) {
    return writeOne(long(f.getValue()));
}

void SFInt32Codec::setBin(F& f, const std::string& data) {
    f.setValue(static_cast<int>(readOne<long>(data)));
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

std::string MFInt32Codec::getBin(const F& f, int) {
    return writeCounted<long>(f.getValue());
}

void MFInt32Codec::setBin(F& f, const std::string& data) {
    readCounted<int>(f.editValue(), data, 4);
}

std::string MFInt32Codec::get1Bin(const F& f, int index) {
    return writeElement<long>(f.getValue(), index);
}

void MFInt32Codec::set1Bin(F& f, int index, const std::string& data) {
    readElement<int>(f.editValue(), index, data);
}

// ---------------------------------------------------------------------------------------------
// SFFloat, MFFloat

void SFFloatCodec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<float>(text));
}

void SFFloatCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%g", double(f.getValue()));
}

std::string SFFloatCodec::getBin(const F& f, int) {
    return writeOne(f.getValue());
}

void SFFloatCodec::setBin(F& f, const std::string& data) {
    f.setValue(readOne<float>(data));
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

std::string MFFloatCodec::getBin(const F& f, int) {
    return writeCounted<float>(f.getValue());
}

void MFFloatCodec::setBin(F& f, const std::string& data) {
    readCounted<float>(f.editValue(), data, 4);
}

std::string MFFloatCodec::get1Bin(const F& f, int index) {
    return writeElement<float>(f.getValue(), index);
}

void MFFloatCodec::set1Bin(F& f, int index, const std::string& data) {
    readElement<float>(f.editValue(), index, data);
}

// ---------------------------------------------------------------------------------------------
// SFDouble, SFTime, MFDouble, MFTime

void SFDoubleCodec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<double>(text));
}

void SFDoubleCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%g", f.getValue());
}

std::string SFDoubleCodec::getBin(const F& f, int) {
    return writeOne(f.getValue());
}

void SFDoubleCodec::setBin(F& f, const std::string& data) {
    f.setValue(readOne<double>(data));
}

void SFTimeCodec::setStr(F& f, const char* text) {
    f.setValue(singleNumber<double>(text));
}

void SFTimeCodec::getStr(const F& f, std::string& out) {
    printFormat(out, "%.16g", f.getValue());
}

std::string SFTimeCodec::getBin(const F& f, int) {
    return writeOne(f.getValue());
}

void SFTimeCodec::setBin(F& f, const std::string& data) {
    f.setValue(readOne<double>(data));
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

std::string MFDoubleCodec::getBin(const F& f, int) {
    return writeCounted<double>(f.getValue());
}

void MFDoubleCodec::setBin(F& f, const std::string& data) {
    readCounted<double>(f.editValue(), data, 8);
}

std::string MFDoubleCodec::get1Bin(const F& f, int index) {
    return writeElement<double>(f.getValue(), index);
}

void MFDoubleCodec::set1Bin(F& f, int index, const std::string& data) {
    readElement<double>(f.editValue(), index, data);
}

void MFTimeCodec::setStr(F& f, const char* text) {
    parseTokenList(f.editValue(), text);
}

// Six significant digits, where SFTime prints sixteen.
void MFTimeCodec::getStr(const F& f, std::string& out) {
    printNumberList(f.getValue(), out, NumberForm::Default);
}

const char* MFTimeCodec::addStr(F& f, const char* text, Field::Cardinality mode) {
    return MFDoubleCodec::addStr(f, text, mode);
}

std::string MFTimeCodec::getBin(const F& f, int component) {
    return MFDoubleCodec::getBin(f, component);
}

void MFTimeCodec::setBin(F& f, const std::string& data) {
    MFDoubleCodec::setBin(f, data);
}

std::string MFTimeCodec::get1Bin(const F& f, int index) {
    return MFDoubleCodec::get1Bin(f, index);
}

void MFTimeCodec::set1Bin(F& f, int index, const std::string& data) {
    MFDoubleCodec::set1Bin(f, index, data);
}

// ---------------------------------------------------------------------------------------------
// SFString, MFString

void SFStringCodec::setStr(F& f, const char* text) {
    f.setValue(text ? text : "");
}

void SFStringCodec::getStr(const F& f, std::string& out) {
    out = f.getValue();
}

std::string SFStringCodec::getBin(const F& f, int) {
    return writeOne(f.getValue());
}

void SFStringCodec::setBin(F& f, const std::string& data) {
    f.setValue(readOne<std::string>(data));
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
            while (kStreamSet(*p)) ++p;
            const char* start = p;
            while (*p && !kStreamSet(*p)) ++p;
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

std::string MFStringCodec::getBin(const F& f, int) {
    return writeCounted<std::string>(f.getValue());
}

void MFStringCodec::setBin(F& f, const std::string& data) {
    readCounted<std::string>(f.editValue(), data, 4);
}

std::string MFStringCodec::get1Bin(const F& f, int index) {
    return writeElement<std::string>(f.getValue(), index);
}

void MFStringCodec::set1Bin(F& f, int index, const std::string& data) {
    readElement<std::string>(f.editValue(), index, data);
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
    f.splitAndAddValues(text, syntax::kSplitSet);
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
