// Times commands in turns, so that all meet the same load: prints the lower quartile of the wall
// times of each one, which is named by its number, in JSON.
//
// usage: wall ROUNDS COMMAND [ARG...] [vs COMMAND [ARG...]]...
// The commands get this program's standard input for all three streams.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

static void run(benchmark::State& state, char** command) {
    char* no_environment[] = {nullptr};
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_adddup2(&streams, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, STDIN_FILENO, STDERR_FILENO);
    for (auto _ : state) {
        pid_t child = -1;
        int status = -1;
        posix_spawn(&child, command[0], &streams, nullptr, command, no_environment);
        if (waitpid(child, &status, 0) != child || status != 0)
            state.SkipWithError("failed");
    }
    posix_spawn_file_actions_destroy(&streams);
}

static double lower_quartile(const std::vector<double>& times) {
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 4];
}

int main(int argc, char** argv) {
    int number = 0;
    for (int i = 2; i < argc; ++i) {
        if (i == 2 || argv[i - 1] == nullptr)
            benchmark::RegisterBenchmark(std::to_string(number++).c_str(), run, &argv[i])
                ->Iterations(1)
                ->Repetitions(atoi(argv[1]))
                ->UseRealTime()
                ->ComputeStatistics("quartile", lower_quartile)
                ->ReportAggregatesOnly();
        if (strcmp(argv[i], "vs") == 0)
            argv[i] = nullptr;
    }
    char in_turns[] = "--benchmark_enable_random_interleaving=true";
    char as_json[] = "--benchmark_format=json";
    char* flags[] = {argv[0], in_turns, as_json, nullptr};
    int flag_count = 3;
    benchmark::Initialize(&flag_count, flags);
    benchmark::RunSpecifiedBenchmarks();
}
