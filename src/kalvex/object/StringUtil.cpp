#include "kalvex/object/StringUtil.h"

#include <cctype>

namespace Kalvex {

std::string trimmed(const std::string& text) {
    size_t begin = text.find_first_not_of(kTrimChars);
    if (begin == std::string::npos) return std::string();
    size_t end = text.find_last_not_of(kTrimChars);
    return text.substr(begin, end - begin + 1);
}

std::string toLower(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = char(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

bool equalNoCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

size_t stringTokenizer(const std::string& text, std::vector<std::string>& tokens,
                       const std::string& separators) {
    size_t count = 0;
    size_t pos = text.find_first_not_of(separators);
    while (pos != std::string::npos) {
        size_t end = text.find_first_of(separators, pos);
        tokens.push_back(text.substr(pos, end == std::string::npos ? end : end - pos));
        ++count;
        pos = end == std::string::npos ? end : text.find_first_not_of(separators, end);
    }
    return count;
}

}  // namespace Kalvex
