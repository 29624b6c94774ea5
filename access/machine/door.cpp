// The program's door to the system, as the companions have it: what its loaders read comes from an
// appliance's root, what its writers write stays in memory, and what it says is not shown.
#include "access/machine/door.h"

#include "base/messages.h"
#include "base/os.h"
#include "conf/vantor_bin.h"
#include "writers/writers.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>

int debug = -1;

void say(const char*, ...) {}
void complain(const char*, ...) {}
void trace(int, const char*, ...) {}

namespace {

const tavrogen::access::Machine* machine;  // that the writers run for
std::map<std::string, int> outputs;        // by their paths: files in memory
std::map<std::string, int> failures;       // inputs that could not be opened, and why

}  // namespace

int open_input(const char* path) {
    if (const std::string* text = machine->in_memory(path)) {
        const int file = memfd_create("input", MFD_CLOEXEC);
        if (file != -1 &&
            (write(file, text->data(), text->size()) == -1 || lseek(file, 0, SEEK_SET) == -1)) {
            close(file);
            return -1;
        }
        return file;
    }
    const int file = machine->open_file(path);
    if (file == -1)
        failures[path] = errno;
    return file;
}

int open_output(const char* path, mode_t) {
    const int file = memfd_create("output", MFD_CLOEXEC);
    if (file == -1)
        return -1;
    const int writers_own = dup(file);
    if (const auto [at, is_new] = outputs.insert({path, file}); !is_new) {
        close(at->second);
        at->second = file;
    }
    return writers_own;
}

bool is_there(const char* path) {
    return machine->is_there(path);
}

void get_host_name(char* name, size_t size) {
    const std::string host = machine->file("/etc/hostname").value_or("appliance");
    const size_t length = std::min(host.find('\n'), host.size());
    name[host.copy(name, std::min(length, size - 1))] = '\0';
}

// An appliance's own address, as its kernel shows it: not that of the machine that looks at it.
int Netdev_GetHwAddr(const char* interface, unsigned char* address) {
    const std::string path = std::string("/sys/class/net/") + interface + "/address";
    unsigned parts[6];
    if (sscanf(machine->file(path).value_or("").c_str(), "%2x:%2x:%2x:%2x:%2x:%2x", &parts[0],
               &parts[1], &parts[2], &parts[3], &parts[4], &parts[5]) != 6)
        return -1;
    std::copy(std::begin(parts), std::end(parts), address);
    return 0;
}

namespace tavrogen::access {

namespace {

// What the program calls the services, by Service.
constexpr std::string_view names[] = {"samba", "proftpd", "atalk", "nfs", "iscsi", "syslog"};

void take_outputs(std::map<std::string, std::string>* written) {
    for (const auto& [path, file] : outputs) {
        std::string& bytes = (*written)[path];
        const off_t size = lseek(file, 0, SEEK_END);
        bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
        const ssize_t got = pread(file, bytes.data(), bytes.size(), 0);
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        close(file);
    }
    outputs.clear();
}

}  // namespace

void load_from(const Machine& appliance) {
    machine = &appliance;
}

Machine Machine::after_run() const {
    Machine after = *this;
    machine = this;
    for (const service& each : services)
        each.write();
    take_outputs(&after.written_);
    return after;
}

Machine Machine::after_run_for(Service service) const {
    Machine after = *this;
    machine = this;
    for (const auto& each : services)
        if (service != Service::settings && each.name == names[static_cast<size_t>(service)])
            each.write();
    take_outputs(&after.written_);
    return after;
}

std::map<std::string, int> missing_inputs(const Machine& on) {
    failures.clear();
    on.after_run();
    return failures;
}

}  // namespace tavrogen::access
