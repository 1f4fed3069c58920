#pragma once
// Pieces of the field text syntax shared by the codecs. The four delimiter sets differ on
// purpose: a semicolon separates values in a streamed piece, but inside setValueByStr it is part
// of a token and a number ends at it.

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "kalvex/fields/FieldTypes.h"
#include "platform/harnel/BinStream.h"

namespace Kalvex::syntax {

// NUL ends the text anyway; the token set is the other five.
inline bool isTokenDelimiter(char c) {
    return c == '\t' || c == '\n' || c == '\r' || c == ' ' || c == ',';
}
inline constexpr const char* kStreamSet = " ,;\t\n\r";
inline constexpr const char* kSkipSet = "\r\n \t,";
inline constexpr const char* kSplitSet = " \t\n\r,";

inline bool inSet(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

// Number of components of an element of a base type; 1 for the others.
int componentCount(BaseType baseType);

// Walks the runs of non-delimiters of the token set. next() gives the start of the next token
// (or null at the end) and moves past it.
class Tokenizer {
  public:
    explicit Tokenizer(const char* text) : _pos(text) {}
    const char* next() {
        if (!_pos) return nullptr;
        while (*_pos && isTokenDelimiter(*_pos)) ++_pos;
        if (!*_pos) return nullptr;
        const char* start = _pos;
        while (*_pos && !isTokenDelimiter(*_pos)) ++_pos;
        return start;
    }

  private:
    const char* _pos;
};

// Reads up to n numbers by the token rule into out; missing ones become 0. Each token is
// converted with strtof (float) or strtod (double), which stop where the number ends.
template <class T>
void parseTokens(const char* text, T* out, int n) {
    Tokenizer tokens(text);
    int i = 0;
    for (; i < n; ++i) {
        const char* token = tokens.next();
        if (!token) break;
        if constexpr (sizeof(T) == sizeof(float))
            out[i] = T(std::strtof(token, nullptr));
        else
            out[i] = T(std::strtod(token, nullptr));
    }
    for (; i < n; ++i) out[i] = T(0);
}

// Binary strings go through the platform binary streams over a string stream.
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

}  // namespace Kalvex::syntax
