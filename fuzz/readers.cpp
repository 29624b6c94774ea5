// The fuzzers of what reads the services' files back:
// `fuzz_readers FILE [libFuzzer option...] CORPUS`. The input is that file of an appliance.
#include "access/machine/reading.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>

using namespace tavrogen::access;
using std::string;

// What must hold of a reading, beyond what the sanitizers watch.
static void expect(bool holds) {
    if (!holds)
        abort();
}

static void check(const std::vector<Remark>& remarks, const string& text) {
    const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
    for (const Remark& remark : remarks)
        expect(remark.line >= 0 && remark.line <= lines && !remark.text.empty());
}

static void check(const Reading& reading, const Machine& machine, const string& text) {
    check(reading.remarks, text);
    expect(reading.present && (reading.starts || reading.grants.empty()));
    for (const Grant& grant : reading.grants)
        expect(grant.people.empty() || grant.people.size() == machine.people().size());
}

using Text = const string&;
static constexpr struct {
    const char* path;
    void (*run)(const Machine& machine, Text text);
} targets[] = {
    {"/etc/samba/smb.conf",
     [](auto& machine, Text text) { check(read_smb_conf(machine), machine, text); }},
    {"/etc/proftpd/proftpd.conf",
     [](auto& machine, Text text) {
         check(read_proftpd_conf(machine, {"/mnt", "/mnt/array1/public", "/"}), machine, text);
     }},
    {"/etc/atalk/AppleVolumes.default",
     [](auto& machine, Text text) { check(read_apple_volumes(machine), machine, text); }},
    {"/etc/exports", [](auto& machine, Text text) { check(read_exports(machine), machine, text); }},
    {"/etc/ietd.conf",
     [](auto& machine, Text text) { check(read_ietd_conf(machine).remarks, text); }},
};
static const auto* target = std::end(targets);

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    const string name = *argc > 1 ? (*argv)[1] : "";
    target = std::find_if(std::begin(targets), std::end(targets),
                          [&](const auto& one) { return name == strrchr(one.path, '/') + 1; });
    if (target == std::end(targets)) {
        for (const auto& one : targets)
            puts(strrchr(one.path, '/') + 1);
        exit(!name.empty());
    }
    (*argv)[1] = (*argv)[0];
    ++*argv;
    --*argc;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const string text(reinterpret_cast<const char*>(data), size);
    static const Machine empty("/nowhere");
    target->run(empty.with({{"/etc/passwd", "alice:x:1001:500::/:/bin/sh\nbob:x:1002:1::/:/bin/sh"},
                            {"/etc/group", "staff:x:500:bob\n"},
                            {target->path, text}}),
                text);
    return 0;
}
