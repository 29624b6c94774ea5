// Benchmarks of the parts that can be called in process.
#include "conf/conf_file.h"
#include "conf/load_config.h"
#include "base/record_chain.h"
#include "util/utils.h"
#include "writers/proftpd_sections.h"

#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <string>
#include <unistd.h>

namespace {

// A file with the given text, removed in the end.
class TextFile {
  public:
    explicit TextFile(const std::string& text) {
        const int descriptor = mkstemp(path_);
        if (write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            abort();
        close(descriptor);
    }
    ~TextFile() { unlink(path_); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    const char* path() const { return path_; }

  private:
    char path_[32] = "/tmp/bench.XXXXXX";
};

// `count` pieces of text, each with its number between the two parts.
std::string repeat(long count, const char* before, const char* after) {
    std::string text;
    for (long i = 1; i <= count; ++i)
        text += before + std::to_string(i) + after;
    return text;
}

void share_list(benchmark::State& state) {
    const TextFile file(repeat(state.range(0), "share",
                               "<>array1<>Shared folder of the office<>alice,bob<>staff<>carol<>"
                               "<>1<>1<>1<>0<><>0<>1<>0<>0\n"));
    for (auto _ : state) {
        SHARE_INFO shares;
        if (load_shareinfo_file(file.path(), &shares) != state.range(0))
            abort();
        close_shareinfo(&shares);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(share_list)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);

// The last key of a file.
void keyed_lookup(benchmark::State& state) {
    const TextFile file(repeat(state.range(0), "iscsi_device", "_path_lun0=/dev/md1\n"));
    const std::string key = "iscsi_device" + std::to_string(state.range(0)) + "_path_lun0";
    for (auto _ : state) {
        char value[64];
        if (LoadConfFileString(file.path(), key.c_str(), value) != 0)
            abort();
        benchmark::DoNotOptimize(value);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(keyed_lookup)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);

void shaping(benchmark::State& state) {
    const std::string accounts = repeat(state.range(0), "NORTH+group", ",");
    for (auto _ : state) {
        char* list = str_duplicate(accounts.c_str());
        if (VntSambaFormatShaper(&list, group_list) != 0)
            abort();
        benchmark::DoNotOptimize(list);
        free(list);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(shaping)->RangeMultiplier(10)->Range(1, 1000)->Complexity(benchmark::oN);

// As many shares as groups, each with a group of its own.
void group_expansion(benchmark::State& state) {
    proftpd_inputs inputs = {};
    inputs.share_count = static_cast<int>(state.range(0));
    SHARE_INFO* share = &inputs.shares;
    GROUP_INFO* group = &inputs.groups;
    for (long i = 1; i <= state.range(0); ++i) {
        if (i > 1) {
            share = grow(share);
            group = grow(group);
            if (share == nullptr || group == nullptr)
                abort();
        }
        snprintf(share->name, sizeof share->name, "share%ld", i);
        snprintf(group->GroupName, sizeof group->GroupName, "group%ld", i);
        group->GroupUser = str_duplicate("alice,bob,carol,dave");
        share->rw_users = str_duplicate("");
        share->rw_groups = str_duplicate(group->GroupName);
        share->ro_users = str_duplicate("");
        share->ro_groups = str_duplicate("");
        share->ftp = 1;
    }
    FILE* out = fopen("/dev/null", "w");
    for (auto _ : state)
        write_user_section(out, inputs);
    fclose(out);
    close_shareinfo(&inputs.shares);
    release_groupinfo(&inputs.groups);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(group_expansion)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);

}  // namespace
