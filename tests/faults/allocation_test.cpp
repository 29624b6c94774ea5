// What the program says and writes when memory runs out: at each allocation in turn.
#include "tests/root.h"
#include "tests/faults/outputs.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>

namespace fs = std::filesystem;
using std::string;

// The lines of a text that another one does not have, each after a mark; without those that
// follow from a settings file that could not be read.
static string more_in(const string& text, const string& other, const string& mark) {
    static const std::regex of_missing_keys(
        ".*(not found in|ItemValue =|anonymous ftp mode|syslog forward item|charset=|"
        "iscsi_device_init|checkpath).*\n|# \\[.*\n");
    auto known = lines_of(other);
    string more;
    for (const string& line : lines_of(text)) {
        const auto found = std::find(known.begin(), known.end(), line);
        if (found != known.end())
            known.erase(found);
        else if (!std::regex_match(line, of_missing_keys))
            more += mark + line;
    }
    return more;
}

TEST(Memory, MayEndAtEachAllocation) {
    setenv("TAVROGEN_PROGRAM", FAILING_PROGRAM, 1);
    Root root;
    root.change("info", "domain=server");
    root.change("msdfs", "msdfs_link2_name=b");
    root.write("/tmp/none", "");
    for (const auto* file : {"shareinfo.vfs", "shareinfo.hidden", "offlinefile"})
        root.write(file, root.read(file) + "a<>on<>x<>0\nb<>on<>x<>0\n");
    for (const auto* folder : {"/mnt/a", "/mnt/b"})
        fs::create_directories(root.at(folder));
    const auto run_anew = [&](const string& arguments) {
        for (const auto& output : outputs(root))
            root.remove(output.first);
        return root.run(arguments);
    };
    string all;
    for (const string arguments : {"-c samba", "-c proftpd", "-c atalk", "-c syslog", "-c iscsi",
                                   "-c nfs", "-b /mnt", "-m eth0"}) {
        // If reading a file fails silently, the output must be that of a run without its line.
        std::set<std::map<string, string>> complete;
        for (const string gone : {"/none", "/mnt/usbdisk1", "/mnt/usbdisk2", "md1", "md2"}) {
            const string file = gone[0] == '/' ? "/proc/mounts" : "/tmp/pvlistconfig";
            const string text = root.read(file);
            root.write(file, std::regex_replace(text, std::regex(gone), ""));
            run_anew(arguments);
            complete.insert(outputs(root));
            root.write(file, text);
        }
        const Outcome usual = run_anew(arguments);
        auto files = outputs(root);
        std::set<string> effects;
        for (int allocation = 1;; ++allocation) {
            root.remove("/failed");
            setenv("FAIL_ALLOCATION", std::to_string(allocation).c_str(), 1);
            const Outcome run = run_anew(arguments);
            unsetenv("FAIL_ALLOCATION");
            if (!fs::exists(root.at("/failed")))
                break;
            string said = more_in(run.out, usual.out, "standard output: ") +
                          more_in(usual.out, run.out, "not said: ") +
                          more_in(run.err, usual.err, "standard error: ");
            const bool silent = said.empty();
            for (const auto& [path, text] : outputs(root))
                said += more_in(text, files[path], path + ": ");
            if (!said.empty())
                effects.insert("-- status " + std::to_string(run.status) + "\n" + said);
            const string input =
                arguments + ", allocation " + std::to_string(allocation) + "\n" + said;
            EXPECT_TRUE(!silent || complete.contains(outputs(root)))
                << "a silent failure leaves out more than a line\n"
                << input;
            for (const auto& [path, text] : outputs(root))
                EXPECT_EQ(fault_in(path, text), "") << "files are well-formed\n" << input << path;
            if (HasFailure())
                return;
        }
        all += "== tavrogen " + arguments + "\n";
        for (const string& effect : effects)
            all += effect;
    }
    unsetenv("TAVROGEN_PROGRAM");
    expect_recorded("what is said when an allocation fails", "each allocation in turn", "no-memory",
                    all);
}
