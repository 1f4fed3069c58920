#pragma once
// The number text and binary string layer under the field codecs: delimiter sets, reading
// numbers exactly as strtof/strtod/strtol read them, printing them exactly as printf and the
// classic-locale streams print them, and the binary string helpers. Loading spends most of its
// time here, so the common case goes through from_chars/to_chars and every other case falls
// back to the C functions.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <type_traits>

#include "kalvex/platform/harnel/BinStream.h"

namespace Kalvex::numtext {

// ---------------------------------------------------------------------------------------------
// Delimiter sets. They differ on purpose: a semicolon separates values in a streamed piece, but
// inside setValueByStr it is part of a token and a number ends at it. The token, skip and split
// sets hold the same characters; NUL is in none of them, it ends the text.

enum DelimSet : unsigned char { kTokenSet = 1, kStreamSet = 2, kSkipSet = 4, kSplitSet = 8 };

// The split set as Field::splitAndAddValues takes it.
inline constexpr const char* kSplitChars = " \t\n\r,";

struct CharTable {
    unsigned char bits[256] = {};
    constexpr CharTable() {
        add(kSplitChars, kTokenSet | kSkipSet | kSplitSet);
        add(" ,;\t\n\r", kStreamSet);
    }
    constexpr void add(const char* chars, unsigned set) {
        for (; *chars; ++chars) bits[static_cast<unsigned char>(*chars)] |= set;
    }
};
inline constexpr CharTable kChars;

inline bool isDelim(char c, DelimSet set) {
    return (kChars.bits[static_cast<unsigned char>(c)] & set) != 0;
}
inline const char* skipDelims(const char* p, DelimSet set) {
    while (isDelim(*p, set)) ++p;
    return p;
}
// End of the run of non-delimiters that starts at p.
inline const char* runEnd(const char* p, DelimSet set) {
    while (*p && !isDelim(*p, set)) ++p;
    return p;
}

// ---------------------------------------------------------------------------------------------
// Reading. S is float (strtof), double (strtod) or long (strtol base 10). from_chars is taken
// only where it reads what the C function reads: the thread's decimal point is '.', and the
// text starts like a plain decimal number. A leading '+' or blank, hexadecimal, inf/nan and
// out-of-range values go to the C function.

// True when the LC_NUMERIC decimal point is '.' (read without touching shared state).
bool plainDecimalPoint();

inline bool isDigit(char c) {
    return static_cast<unsigned>(c - '0') < 10u;
}

template <class S>
bool fastStart(const char* p) {
    if (*p == '-') ++p;
    if constexpr (std::is_same_v<S, long>) {
        return isDigit(*p);
    } else {
        if (isDigit(*p)) return !(p[0] == '0' && (p[1] == 'x' || p[1] == 'X'));
        return *p == '.';
    }
}

template <class S>
S cRead(const char* p, char** stop) {
    if constexpr (std::is_same_v<S, float>)
        return std::strtof(p, stop);
    else if constexpr (std::is_same_v<S, double>)
        return std::strtod(p, stop);
    else
        return std::strtol(p, stop, 10);
}

// Reads a number at p as the C function would; returns where it stops (p when nothing was
// read). The text from p ends with NUL at `end`; `fast` is plainDecimalPoint().
template <class S>
const char* readNumber(const char* p, const char* end, bool fast, S& value) {
    if (fast && fastStart<S>(p)) {
        std::from_chars_result r = std::from_chars(p, end, value);
        if (r.ec == std::errc()) return r.ptr;
    }
    char* stop = nullptr;
    value = cRead<S>(p, &stop);
    return stop;
}

// Reads the token at p on its own and returns the token's end. The C function must not skip
// leading white space (a vertical tab, say) across the token's end into the next token, so the
// slow path reads a copy.
template <class S>
const char* readToken(const char* p, const char* end, bool fast, S& value) {
    if (fast && fastStart<S>(p)) {
        std::from_chars_result r = std::from_chars(p, end, value);
        if (r.ec == std::errc()) return runEnd(r.ptr, kTokenSet);
    }
    const char* stop = runEnd(p, kTokenSet);
    std::string token(p, stop);
    value = cRead<S>(token.c_str(), nullptr);
    return stop;
}

// Calls sink(value) for each token of the token set until it answers false.
template <class S, class Sink>
void forEachToken(const char* text, Sink sink) {
    const char* end = text + std::strlen(text);
    const bool fast = plainDecimalPoint();
    for (const char* p = text;;) {
        p = skipDelims(p, kTokenSet);
        if (!*p) return;
        S value;
        p = readToken(p, end, fast, value);
        if (!sink(value)) return;
    }
}

// The streaming rule: take(value, start) gets every number that is certainly complete; a
// number that touches the end of the piece may go on in the next one, and one that reads
// nothing stops the walk: its start is returned. Null when the piece ends in delimiters.
template <class S, class Take>
const char* streamNumbers(const char* text, Take take) {
    const char* end = text + std::strlen(text);
    const bool fast = plainDecimalPoint();
    for (const char* p = text;;) {
        p = skipDelims(p, kStreamSet);
        if (!*p) return nullptr;
        S value;
        const char* stop = readNumber(p, end, fast, value);
        if (stop == p || !*stop) return p;
        take(value, p);
        p = stop;
    }
}

// ---------------------------------------------------------------------------------------------
// Printing. Fixed6/Fixed12/Default are what a C++ stream prints in the classic locale with
// std::fixed and that precision or with its default format (printf "%.6f", "%.12f", "%g");
// Decimal is "%d". to_chars with a precision is specified as printf, so the bytes agree.

enum class NumberForm { Fixed6, Fixed12, Default, Decimal };

// True while the global C++ locale is the classic one, where the above holds for streams.
bool classicStreams();

template <class T>
void appendNumber(std::string& out, T value, NumberForm form) {
    char buffer[400];  // the widest is a fixed double: 309 digits, sign, point, 12 decimals
    std::to_chars_result r;
    if constexpr (std::is_integral_v<T>) {
        r = std::to_chars(buffer, buffer + sizeof(buffer), value);
    } else {
        const double v = value;
        char* last = buffer + sizeof(buffer);
        if (form == NumberForm::Fixed6)
            r = std::to_chars(buffer, last, v, std::chars_format::fixed, 6);
        else if (form == NumberForm::Fixed12)
            r = std::to_chars(buffer, last, v, std::chars_format::fixed, 12);
        else
            r = std::to_chars(buffer, last, v, std::chars_format::general, 6);
    }
    if (r.ec == std::errc()) out.append(buffer, r.ptr);
}

// snprintf of one double, appended.
void appendPrintf(std::string& out, const char* format, double value);

// ---------------------------------------------------------------------------------------------
// Binary strings go through the platform binary streams over a string stream. A wire policy P
// says how one element goes out and in: write(out, e), read(in, e) -> success, and kMinBytes,
// the least an element takes on the wire.

template <class WriteFn>
std::string toBin(WriteFn write) {
    std::ostringstream buffer;
    Harnel::obinstream out(buffer);
    write(out);
    return buffer.str();
}

template <class ReadFn>
void fromBin(const std::string& data, ReadFn read) {
    std::istringstream buffer(data);
    Harnel::ibinstream in(buffer);
    read(in);
}

// One primitive W per element, cast on the way. A short read still stores what the stream gives
// (zero), as the plain stream operator would.
template <class W>
struct CastWire {
    static constexpr size_t kMinBytes = std::is_same_v<W, std::string> ? 4 : sizeof(W);
    template <class T>
    static void write(Harnel::obinstream& out, const T& value) {
        out << static_cast<W>(value);
    }
    template <class T>
    static bool read(Harnel::ibinstream& in, T& value) {
        W w{};
        in >> w;
        value = static_cast<T>(w);
        return !in.fail();
    }
};

template <class P, class T>
std::string writeValue(const T& value) {
    return toBin([&](Harnel::obinstream& out) { P::write(out, value); });
}

template <class P, class T>
bool readValue(const std::string& data, T& value) {
    bool ok = false;
    fromBin(data, [&](Harnel::ibinstream& in) { ok = P::read(in, value); });
    return ok;
}

// Element count (long), then the elements.
template <class P, class C>
std::string writeCounted(const C& values) {
    return toBin([&](Harnel::obinstream& out) {
        out << long(values.size());
        for (const auto& v : values) P::write(out, v);
    });
}

// Reads into out (expected empty) the whole elements the data holds. A count that the bytes
// cannot hold is cut to what they can, so a corrupt count never allocates more than the data
// could fill. False when there is not even a count.
template <class P, class C>
bool readCounted(const std::string& data, C& out) {
    bool ok = false;
    fromBin(data, [&](Harnel::ibinstream& in) {
        long count = 0;
        in >> count;
        if (in.fail()) return;
        ok = true;
        if (count <= 0) return;
        size_t fits = (data.size() - sizeof(std::int64_t)) / P::kMinBytes;
        size_t n = std::min(size_t(count), fits);
        for (size_t i = 0; i < n; ++i) {
            typename C::value_type v{};
            if (!P::read(in, v)) break;
            out.push_back(std::move(v));
        }
    });
    return ok;
}

// Element access for vectors and lists; null out of range.
template <class C>
auto elementAt(C& values, int index) -> decltype(&*values.begin()) {
    if (index < 0 || size_t(index) >= values.size()) return nullptr;
    auto it = values.begin();
    std::advance(it, index);
    return &*it;
}

template <class P, class C>
std::string writeElement(const C& values, int index) {
    const auto* element = elementAt(values, index);
    return element ? writeValue<P>(*element) : std::string();
}

// The policy decides what a short read leaves in the element.
template <class P, class C>
void readElement(C& values, int index, const std::string& data) {
    if (auto* element = elementAt(values, index)) readValue<P>(data, *element);
}

}  // namespace Kalvex::numtext
