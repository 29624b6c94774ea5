// The list of the appliance's logical volumes: /tmp/pvlistconfig.
#pragma once

// True if the list names the path of a block device in a line whose second field is not empty:
// the first line that contains the path decides. Reads the list anew each time. Prints the question
// and the answer to standard output, unless the list cannot be opened.
bool volume_listed(const char* path);
