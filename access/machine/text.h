// Words that all rooms of the companions use.
#pragma once

#include <string>
#include <vector>

namespace tavrogen::access {

inline constexpr char blanks[] = " \t\r\n\v\f";

// The words of a text, at these blanks.
std::vector<std::string> words_of(const std::string& text, const char* between = blanks);

// In double quotes.
std::string quoted(const std::string& text);

// The texts with commas between them, but not more than `most` of them.
std::string listed(const std::vector<std::string>& texts, size_t most = 20);

}  // namespace tavrogen::access
