// The fields of a list line: separated by the two characters "<>", taken one at a time off the
// front of the line by a cursor.
//
// A field ends at the first '<', '>' or NUL; the cursor then moves over that character and the
// next one. Kept: the next one may be any byte, where one expects the '>' of the separator. So a
// line that ends early moves the cursor two bytes past its end for each field that it lacks: the
// bytes there must be readable and zero.
// The last field of a line keeps the line's newline.
#pragma once

#include <stddef.h>

// Takes a field into a fixed area of `size` bytes, cut to fit and terminated. Returns the cursor
// for the next field. A NULL cursor is reported on standard output, writes nothing, gives NULL.
const char* get_words(const char* cursor, char* destination, int size);

// Takes a field into a new heap string, which the caller frees. Returns the cursor for the next
// field. A NULL cursor is reported, leaves the target as it is and gives NULL; without memory
// the failure is reported, the target becomes NULL and the result is NULL.
const char* get_words_with_allocate(const char* cursor, char** target);

// take(cursor, member): the member's type picks the reader.
template <size_t size>
const char* take(const char* cursor, char (&member)[size]) {
    return get_words(cursor, member, static_cast<int>(size));
}
inline const char* take(const char* cursor, char*& member) {
    return get_words_with_allocate(cursor, &member);
}
const char* take(const char* cursor, int& member);            // decimal
const char* take(const char* cursor, unsigned char& member);  // decimal, the low 8 bits

// Takes a switch: 1 if the field is exactly "on", else 0.
const char* take_switch(const char* cursor, unsigned char& member);
