// A place where the absolute paths of the product may be written to.
#include "fuzz/private_root.h"

#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

static void require(bool done, const char* step) {
    if (done)
        return;
    perror(step);
    _exit(125);
}

static void write_text(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const ssize_t length = static_cast<ssize_t>(text.size());
    require(write(file, text.data(), text.size()) == length && close(file) == 0, path);
}

void enter_private_root() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    require(unshare(CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) == 0, "unshare");
    if (user != 0) {
        write_text("/proc/self/setgroups", "deny");
        write_text("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        write_text("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    // A build under /tmp stays where it was: as a mount of its own on the new /tmp.
    const std::string work = [] {
        char* path = getcwd(nullptr, 0);
        std::string copy = path;
        free(path);
        return copy;
    }();
    for (const char* folder : {"/etc", "/tmp"})
        require(mount("tmpfs", folder, "tmpfs", 0, "size=64m") == 0, folder);
    if (work.starts_with("/tmp/")) {
        for (size_t slash = work.find('/', 5); slash != work.npos;
             slash = work.find('/', slash + 1))
            mkdir(work.substr(0, slash).c_str(), 0777);
        mkdir(work.c_str(), 0777);
        require(mount(".", work.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, work.c_str());
    }
    for (const char* folder :
         {"/etc/korvel", "/etc/samba", "/etc/proftpd", "/etc/atalk", "/etc/pam.d"})
        require(mkdir(folder, 0777) == 0, folder);
    write_text("/etc/mounts", "");
    require(mount("/etc/mounts", "/proc/self/mounts", nullptr, MS_BIND, nullptr) == 0, "mounts");
}
