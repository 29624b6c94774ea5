// The list of the appliance's logical volumes: /tmp/pvlistconfig.
#pragma once

// True if the list names the path of a disk in a line whose second field is not empty: the first
// line that contains the path decides. Reads the list anew each time, at most 10,000 lines of up to
// 255 bytes. Prints the path and the result to standard output, unless the list cannot be opened.
bool volume_listed(const char* path);
