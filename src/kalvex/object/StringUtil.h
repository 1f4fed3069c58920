#pragma once
// Small text helpers that name look-ups share.

#include <string>
#include <vector>

namespace Kalvex {

// The characters that look-ups trim from both ends of a name.
inline constexpr const char* kTrimChars = " \t\r\n";

// A copy of text without leading and trailing kTrimChars.
std::string trimmed(const std::string& text);
// A copy of text with every character lower-cased.
std::string toLower(const std::string& text);
// Compares two texts character by character through tolower.
bool equalNoCase(const std::string& a, const std::string& b);
// Appends the pieces of text between separators to tokens; runs of separators count as one, so
// no piece is empty. Returns the number of tokens appended.
size_t stringTokenizer(const std::string& text, std::vector<std::string>& tokens,
                       const std::string& separators);

}  // namespace Kalvex
