#include "kalvex/fields/codec/NumberText.h"

#include <cstdio>
#include <locale>

#include <langinfo.h>

namespace Kalvex::numtext {

// nl_langinfo only reads the thread's locale data, where localeconv would fill a shared static.
bool plainDecimalPoint() {
    const char* radix = nl_langinfo(RADIXCHAR);
    return radix && radix[0] == '.' && radix[1] == '\0';
}

bool classicStreams() {
    return std::locale() == std::locale::classic();
}

void appendPrintf(std::string& out, const char* format, double value) {
    char buffer[256];
    int n = std::snprintf(buffer, sizeof(buffer), format, value);
    if (n > 0) out.append(buffer, std::min(size_t(n), sizeof(buffer) - 1));
}

}  // namespace Kalvex::numtext
