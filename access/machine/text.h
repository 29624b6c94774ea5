// Texts: their lines, names and letters, and how they can be shown.
#pragma once

#include <stdio.h>
#include <string>
#include <string_view>
#include <vector>

namespace tavrogen::access {

inline constexpr char blanks[] = " \t\r\n\v\f";

// The words of a text, at these blanks.
std::vector<std::string> words_of(const std::string& text, const char* between = blanks);

// In double quotes.
std::string quoted(const std::string& text);

// The texts with commas between them, but not more than `most` of them.
std::string listed(const std::vector<std::string>& texts, size_t most = 20);

// Adds an item to a list of words.
void append(std::string* list, const std::string& item, const char* between = ", ");

// The lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string& text);

// The fields of a line of a list file; the program's own cut to a field's size is not made.
std::vector<std::string> fields_of(const std::string& line);

// The names of an access list: what stands between its commas, without blanks around it. None
// for a list of commas and blanks alone.
std::vector<std::string> names_in(const std::string& list);

// A text for one line: its newlines and, where they would reach a terminal, all control characters
// and those that turn the direction of what follows are octal escapes.
std::string printable(const std::string& text, FILE* out);

// Valid UTF-8 in which each control character, and each one that turns the direction of what
// follows, becomes U+FFFD.
std::string without_controls(const std::string& text);

// Takes one letter of UTF-8 from the front of a text. `no_letter`: it has none there, and stays.
// Code points that Unicode has not are letters, too.
constexpr unsigned no_letter = ~0U;
unsigned take_letter(std::string_view* text);
bool is_unicode(unsigned letter);

// Valid UTF-8: each byte that is none becomes U+FFFD.
std::string as_utf8(const std::string& text);

// An absolute path without its empty parts and its "." and ".." parts.
std::string plain_path(const std::string& path);

}  // namespace tavrogen::access
