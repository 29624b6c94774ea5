// The actions of -c, -i and -m, the banner and the usage.
#pragma once

// Prints the banner line, or the usage text, to standard output.
void banner();
void usage();

// Runs the writer of that name. Returns its status; or, if there is no such writer, the result
// of the run so far.
int write_service(const char* name, int result_so_far);

// Print the hardware address or the IPv4 address of a network interface, or an assignment of
// "error" for the calling script. Return 0 or -1.
int print_hwaddr(const char* interface);
int print_ipaddr(const char* interface);
