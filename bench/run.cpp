// Runs commands in turns, so that all meet the same load, and prints a line of medians for each:
// wall time and processor time in microseconds, and the memory in KiB: its peak, which the kernel
// counts to some 100 KiB, and what page faults have brought in.
//
// usage: run ROUNDS COMMAND [ARG...] [vs COMMAND [ARG...]]...
// The commands get this program's standard input for all three streams.
#include <algorithm>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

struct command {
    char** words;
    std::vector<long> wall = {};
    std::vector<long> processor = {};
    long faults = 0;
};

char* no_environment[] = {nullptr};

long microseconds() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
}

rusage wait_for(pid_t child, const command& what) {
    int status = 0;
    rusage usage = {};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status)) {
        fprintf(stderr, "run: %s failed\n", what.words[0]);
        exit(1);
    }
    return usage;
}

void measure_time(command* what) {
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_adddup2(&streams, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, STDIN_FILENO, STDERR_FILENO);
    const long start = microseconds();
    pid_t child = -1;
    posix_spawn(&child, what->words[0], &streams, nullptr, what->words, no_environment);
    const rusage usage = wait_for(child, *what);
    what->wall.push_back(microseconds() - start);
    what->processor.push_back((usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 +
                              usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    what->faults = usage.ru_minflt;
}

// Forks: a child that shares this program's memory until it starts the command has its peak, too.
long measure_memory(const command& what) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(STDIN_FILENO, STDOUT_FILENO);
        dup2(STDIN_FILENO, STDERR_FILENO);
        execve(what.words[0], what.words, no_environment);
        _exit(127);
    }
    return wait_for(child, what).ru_maxrss;
}

long median(std::vector<long>* values) {
    const auto middle = values->begin() + static_cast<long>(values->size() / 2);
    std::nth_element(values->begin(), middle, values->end());
    return *middle;
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc < 3 ? 0 : atoi(argv[1]);
    if (rounds < 1)
        return 2;
    std::vector<command> commands;
    for (int i = 2; i < argc; ++i) {
        if (argv[i - 1] == nullptr || i == 2)
            commands.push_back({.words = &argv[i]});
        if (strcmp(argv[i], "vs") == 0)
            argv[i] = nullptr;
    }
    for (int round = 0; round < rounds; ++round)
        for (command& each : commands)
            measure_time(&each);
    for (command& each : commands)
        printf("%ld %ld %ld %ld\n", median(&each.wall), median(&each.processor),
               measure_memory(each), each.faults * sysconf(_SC_PAGESIZE) / 1024);
    return 0;
}
