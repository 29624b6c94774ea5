// String routines, the list shaper and the charset names.
#pragma once

// Replaces every occurrence of `pattern` in `text`, in place and from left to right; what has been
// put in is not searched again. If the replacement is longer than the pattern, the caller's area
// must be large enough; standard output warns of it. A pattern that begins with '^' stands for the
// start of the text: the replacement is put before it, without a warning. Always returns 1.
int str_replace(char* text, const char* pattern, const char* replacement);

// Cuts a Shift-JIS text to `length` bytes, in place; half of a double-byte character at the cut
// becomes a blank. A text of no more bytes stays as it is. Always returns 1.
int str_cut_sjis(char* text, int length);

// Returns a heap copy of `text`, which the caller frees, or NULL if memory runs out.
char* str_duplicate(const char* text);

// The kinds of list for the shaper.
enum { user_list = 0, group_list = 1 };

// Rewrites a comma list of accounts, a heap string, into the form that Samba reads: groups are
// marked with "@", and the name of a domain account is quoted (DOMAIN+"name"). A list that has
// this form already keeps it; empty items are dropped; a domain and a name keep their first 127
// bytes each. The string may move. Returns 0; or 1, with the list as it was, if it is NULL or
// empty, the kind is unknown, or memory runs out (reported on standard output).
int VntSambaFormatShaper(char** list, int kind);

// The charset name of a code page for Samba and the FTP server: a constant. Reported on standard
// output at every call.
const char* IconvCodeCharset(int codepage);
