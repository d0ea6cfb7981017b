// SPDX-License-Identifier: BSD-2-Clause

// Loading and merging definitions: M files of 20 commands with 100 tags each, every fifth
// command one more definition of the same name, against jansson alone parsing the same files.
//
// Reported: nanoseconds of processor time for each tag, the ratio of loading to bare parsing
// (best against best), and the merge of N definitions of one name, which has to stay linear.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <jansson.h>

#include "definitions/drend_load.h"

namespace {

constexpr int COMMANDS_PER_FILE = 20;
constexpr int LISTS_PER_COMMAND = 9;
constexpr int LEAVES_PER_LIST = 10; // 100 tags with the lists and the root
constexpr int TAGS_PER_COMMAND = 1 + LISTS_PER_COMMAND * (1 + LEAVES_PER_LIST);
constexpr char SHARED_NAME[] = "corvane-netconf-get";

// Processor time, the kernel's share included: what else the machine does is left out.
double processor_seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

const char* leaf_extra(int leaf) {
    switch (leaf % 5) {
    case 1:
        return R"(, "dts_data_type": "uint32")";
    case 2:
        return R"(, "dts_map": [["1", "up"], ["2", "down"], ["*", "unknown"]])";
    case 3:
        return R"(, "dts_data_type": "uint64", "dts_zero_suppression": "true")";
    default:
        return "";
    }
}

void write_list(std::ostream& out, int number) {
    out << R"({"dts_name": "entry-)" << number
        << R"(", "dts_type": "list", "dts_source": "table-)" << number
        << R"(/entry", "dts_key": ["leaf-0"], "dts_kids": [)";
    for (int leaf = 0; leaf < LEAVES_PER_LIST; ++leaf) {
        out << (leaf == 0 ? "" : ",\n ") << R"({"dts_name": "leaf-)" << leaf
            << R"(", "dts_type": "leaf", "dts_source": "value-)" << leaf << '"'
            << leaf_extra(leaf) << '}';
    }
    out << "]}";
}

// Definitions of one name have the root and every list but one in common with their neighbours.
void write_command(std::ostream& out, int number, bool is_shared) {
    out << R"({"dc_name": ")"
        << (is_shared ? SHARED_NAME : "show-" + std::to_string(number))
        << R"(", "dc_help": "a command", "dc_app_name": "daemon", "dc_message_id": )"
        << number << R"(, "dc_tag": {"dts_name": "data", "dts_kids": [)";
    for (int list = 0; list < LISTS_PER_COMMAND; ++list) {
        out << (list == 0 ? "" : ",\n");
        write_list(out, is_shared ? number + list : list);
    }
    out << "]}}";
}

// A directory with so many files, made when it is first asked for and removed at the end.
class definitions_c {
  public:
    definitions_c(int files, int share_every) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "drendXXXXXX").string();
        directory_ = mkdtemp(pattern.data());
        for (int file = 0; file < files; ++file) {
            paths_.push_back(directory_ + "/" + std::to_string(file) + ".json");
            std::ofstream out(paths_.back());
            out << "[";
            for (int i = 0; i < COMMANDS_PER_FILE; ++i) {
                const int number = file * COMMANDS_PER_FILE + i;
                out << (i == 0 ? "" : ",\n");
                write_command(out, number, number % share_every == 0);
            }
            out << "]\n";
        }
    }
    ~definitions_c() { std::filesystem::remove_all(directory_); }
    definitions_c(const definitions_c&) = delete;
    definitions_c& operator=(const definitions_c&) = delete;

    const std::string& directory() const { return directory_; }
    const std::vector<std::string>& paths() const { return paths_; }

  private:
    std::string directory_;
    std::vector<std::string> paths_;
};

const definitions_c& definitions_of(int files, int share_every) {
    static std::map<std::pair<int, int>, std::unique_ptr<definitions_c>> made;
    auto& entry = made[{files, share_every}];
    if (!entry) {
        entry = std::make_unique<definitions_c>(files, share_every);
    }
    return *entry;
}

void report_tags(benchmark::State& state, double seconds, double tags) {
    state.counters["ns_per_tag"] =
        1e9 * seconds / (tags * static_cast<double>(state.iterations()));
}

double tags_in(int files) {
    return static_cast<double>(files) * COMMANDS_PER_FILE * TAGS_PER_COMMAND;
}

// The best time of jansson for so many files.
std::map<int, double> jansson_seconds;

void jansson_alone(benchmark::State& state) {
    const int files = static_cast<int>(state.range(0));
    const definitions_c& definitions = definitions_of(files, 5);
    double total = 0;
    for (auto _ : state) {
        double seconds = 0;
        for (const std::string& path : definitions.paths()) {
            const double start = processor_seconds();
            FILE* file = fopen(path.c_str(), "r");
            json_t* root = json_loadf(file, 0, nullptr);
            fclose(file);
            seconds += processor_seconds() - start;
            if (root == nullptr) {
                state.SkipWithError("a file did not parse");
            }
            json_decref(root); // loading has to do this within its time
        }
        double& best = jansson_seconds.try_emplace(files, seconds).first->second;
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
        total += seconds;
    }
    report_tags(state, total, tags_in(files));
}

void load_and_merge(benchmark::State& state) {
    const int files = static_cast<int>(state.range(0));
    dri_set_dir_path(definitions_of(files, 5).directory().c_str());
    double total = 0;
    double best = 1e9;
    for (auto _ : state) {
        const double start = processor_seconds();
        dri_load_dir(nullptr);
        dri_schema_merge();
        const double seconds = processor_seconds() - start;
        state.SetIterationTime(seconds);
        total += seconds;
        best = std::min(best, seconds);
        if (dri_get_count() != static_cast<unsigned>(files * COMMANDS_PER_FILE) + 1) {
            state.SkipWithError("commands are missing");
        }
        dri_release_daemon_context();
    }
    report_tags(state, total, tags_in(files));
    state.counters["ratio_to_jansson"] = best / jansson_seconds[files];
}

void merge_one_name(benchmark::State& state) {
    const int commands = static_cast<int>(state.range(0));
    const int files = commands / COMMANDS_PER_FILE;
    dri_set_dir_path(definitions_of(files, 1).directory().c_str());
    double total = 0;
    for (auto _ : state) {
        dri_load_dir(nullptr);
        const double start = processor_seconds();
        dri_schema_merge();
        const double seconds = processor_seconds() - start;
        state.SetIterationTime(seconds);
        total += seconds;
        dri_release_daemon_context();
    }
    report_tags(state, total, tags_in(files));
    state.SetComplexityN(commands);
}

BENCHMARK(jansson_alone)
    ->ArgName("files")
    ->Arg(5)
    ->Arg(500)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(load_and_merge)
    ->ArgName("files")
    ->Arg(5)
    ->Arg(500)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(merge_one_name)
    ->ArgName("definitions")
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

} // namespace

BENCHMARK_MAIN();
