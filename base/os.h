// How loaders and writers open files and learn the host name. The companions link other bodies for
// these functions. Storing a setting, asking a network interface (conf/vantor_bin*.cpp) and the
// directory listing (du/), for example, call the system themselves.
#pragma once

#include <stddef.h>
#include <sys/types.h>
#include <unistd.h>

// Owns a file descriptor; -1 owns nothing.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ != -1)
            close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return number_; }

  private:
    int number_;
};

// Opens a file for reading. Returns a descriptor, which the caller closes; or -1 with errno set.
// Neither opening nor reading waits for another process, so that nobody can hold up a run with a
// FIFO: without a writer it is an empty file, and reading fails while its writer has written
// nothing (fifo(7)). Only a lease on a file of the process's own user is waited for, if no link
// leads to it (fcntl(2)).
int open_input(const char* path);

// Opens a file for writing and truncates it in place, creating it with `mode` (less the umask) if
// it is missing. Returns a descriptor, which the caller closes; or -1 with errno set.
int open_output(const char* path, mode_t mode);

// True if the path exists, links followed (stat(2)).
bool is_there(const char* path);

// Writes the host's name, terminated, into an area of `size` bytes; an empty name on failure.
void get_host_name(char* name, size_t size);
