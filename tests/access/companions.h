// Runs of the companions.
#pragma once

#include "tests/root.h"

#include <cstdio>
#include <sys/wait.h>

// What a shell command prints, on both streams.
inline Outcome shell(const std::string& command) {
    FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
    Outcome outcome;
    for (int byte = 0; (byte = getc(pipe)) != EOF;)
        outcome.out += static_cast<char>(byte);
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
}

inline Outcome access(const Root& root, const std::string& arguments = "") {
    return shell(ACCESS " --root " + quoted(root.at("/").string()) + " " + arguments);
}

inline Outcome lint(const Root& root, const std::string& arguments = "") {
    return shell(LINT " --root " + quoted(root.at("/").string()) + " " + arguments);
}
