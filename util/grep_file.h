// Searches a file for a line.
#pragma once

// Copies the first line of the file `path` that contains `text` into `line`, an area of `size`
// bytes, without its newline, cut to fit and terminated. Returns 1; or 0 when no line matches or
// the file cannot be read. Lines may be of any length.
int grep_file(const char* path, const char* text, char* line, int size);
