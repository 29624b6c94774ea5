// How Samba compares the names of sections.
#pragma once

// Turns a UTF-8 text into lower case, in place: the ASCII, Latin, Greek, Cyrillic and full-width
// letters, each of which keeps its length.
void fold_case(char* text);
