// The only door to the system's files and to the host's name. Everything that loaders and writers
// read or write goes through it; the directory listing alone (du/) asks the system by itself.
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
// Does not wait for a writer: a FIFO that nobody writes to is an empty file (fifo(7)).
int open_input(const char* path);

// As open_input, for a settings file: reading does not wait either. Where a FIFO's writer has said
// nothing yet, it fails.
int open_settings(const char* path);

// Opens a file for writing and truncates it in place, creating it with `mode` (less the umask)
// when it is not there. Returns a descriptor, which the caller closes; or -1 with errno set. Does
// not wait for a reader: a FIFO that nobody reads from is a failure.
int open_output(const char* path, mode_t mode);

// True when the path leads to something: a link to nothing does not (stat(2)).
bool is_there(const char* path);

// Writes the host's name, terminated, into an area of `size` bytes; an empty name on failure.
void get_host_name(char* name, size_t size);

// Opens a folder and takes its exclusive lock (flock(2)), which lasts as long as the descriptor is
// open. Waits at most `seconds` for another process to give it up. Returns the descriptor, which
// the caller closes, also of a folder whose lock did not come free in time; or -1 when there is no
// such folder.
int lock_folder(const char* path, int seconds);
