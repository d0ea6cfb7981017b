// The walk of a list of N rows with 8 leaves to XML, through the public header, into a send method
// that copies into a 64 KiB buffer and forgets it when it is full.
//
// Reported: nanoseconds and heap allocations for each leaf.

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include "drend.h"

namespace {

std::atomic<uint64_t> allocations{0};

struct route_s {
    std::string prefix;
    std::string next_hop;
    std::string interface;
    uint32_t metric;
    int32_t protocol;
    uint64_t age;
    bool active;
    std::string description;
};

std::vector<route_s> routes;
char sink[65536];
size_t sunk = 0;
uint64_t total_bytes = 0;

int sink_text(void* /*peer*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const char* text = va_arg(args, const char*);
    va_end(args);
    const size_t length = strlen(text);
    total_bytes += length;
    if (sunk + length > sizeof sink) {
        sunk = 0;
    }
    if (length <= sizeof sink) {
        memcpy(sink + sunk, text, length);
        sunk += length;
    }
    return 0;
}

const route_s* route_of(dr_meta_context_s* ctx) {
    return static_cast<const route_s*>(drend_get_element_ref(ctx));
}

int step_routes(dr_meta_context_s* ctx, const void*) {
    const route_s* current = route_of(ctx);
    const route_s* next = current == nullptr ? routes.data() : current + 1;
    const bool at_end = next == routes.data() + routes.size();
    drend_set_element_ref(ctx, at_end ? nullptr : const_cast<route_s*>(next));
    return at_end ? DREND_NO_EL : DREND_OK;
}

template <std::string route_s::*Member>
int read_text(dr_meta_context_s* ctx, const void*) {
    return drend_set_string_value(ctx, (route_of(ctx)->*Member).c_str());
}

void register_model() {
    drend_add_list("/routes/route", step_routes, nullptr);
    drend_add_str_leaf("/routes/route/prefix", read_text<&route_s::prefix>, nullptr);
    drend_add_str_leaf("/routes/route/next-hop", read_text<&route_s::next_hop>, nullptr);
    drend_add_str_leaf("/routes/route/interface", read_text<&route_s::interface>, nullptr);
    drend_add_uint32_leaf(
        "/routes/route/metric",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_uint32_value(ctx, route_of(ctx)->metric);
        },
        nullptr);
    drend_add_int32_leaf(
        "/routes/route/protocol",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_int32_value(ctx, route_of(ctx)->protocol);
        },
        nullptr);
    drend_add_uint64_leaf(
        "/routes/route/age",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_uint64_value(ctx, route_of(ctx)->age);
        },
        nullptr);
    drend_add_boolean_leaf(
        "/routes/route/active",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_boolean_value(ctx, route_of(ctx)->active);
        },
        nullptr);
    drend_add_str_leaf("/routes/route/description", read_text<&route_s::description>,
                       nullptr);
}

constexpr char DEFINITION[] = R"([{"dc_name": "routes", "dc_tag": {
    "dts_name": "routes", "dts_source": "/routes", "dts_kids": [
    {"dts_name": "route", "dts_type": "list", "dts_source": "route", "dts_kids": [
        {"dts_name": "prefix", "dts_type": "leaf", "dts_source": "prefix"},
        {"dts_name": "next-hop", "dts_type": "leaf", "dts_source": "next-hop"},
        {"dts_name": "interface", "dts_type": "leaf", "dts_source": "interface"},
        {"dts_name": "metric", "dts_type": "leaf", "dts_source": "metric"},
        {"dts_name": "protocol", "dts_type": "leaf", "dts_source": "protocol",
         "dts_map": [["0", "unspecified"], ["1", "redirect"], ["2", "kernel"],
                     ["3", "boot"], ["4", "static"], ["*", "other"]]},
        {"dts_name": "age", "dts_type": "leaf", "dts_source": "age"},
        {"dts_name": "active", "dts_type": "leaf", "dts_source": "active"},
        {"dts_name": "description", "dts_type": "leaf", "dts_source": "description"}]}]}}])";

void load_definition() {
    const std::string root = std::filesystem::temp_directory_path() /
                             ("drend_bench_" + std::to_string(getpid()));
    std::filesystem::create_directories(root + "/usr/lib/render");
    std::ofstream(root + "/usr/lib/render/routes.json") << DEFINITION;
    drend_set_prefix(root.c_str());
    if (drend_dir_init() != 1) {
        fprintf(stderr, "the definition did not load\n");
        exit(1);
    }
    std::filesystem::remove_all(root);
}

void make_routes(size_t count) {
    routes.clear();
    routes.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const std::string octets = std::to_string(i >> 16 & 255) + "." +
                                   std::to_string(i >> 8 & 255) + "." +
                                   std::to_string(i & 255);
        routes.push_back({"10." + octets + "/32", "192.0.2." + std::to_string(i % 250),
                          "eth" + std::to_string(i % 16), static_cast<uint32_t>(i % 1000),
                          static_cast<int32_t>(i % 6), i * 7919, i % 3 != 0,
                          "customer " + std::to_string(i)});
    }
}

void routes_to_xml(benchmark::State& state) {
    make_routes(static_cast<size_t>(state.range(0)));
    drend_dump_rpc(nullptr, "routes", nullptr); // fills the pools
    const uint64_t allocated = allocations;
    const uint64_t sent = total_bytes;
    for (auto _ : state) {
        drend_dump_rpc(nullptr, "routes", nullptr);
    }
    const double leaves =
        static_cast<double>(state.iterations()) * static_cast<double>(routes.size()) * 8;
    state.SetBytesProcessed(static_cast<int64_t>(total_bytes - sent));
    state.counters["allocs/leaf"] = static_cast<double>(allocations - allocated) / leaves;
    state.counters["s/leaf"] = benchmark::Counter(leaves, benchmark::Counter::kIsRate |
                                                              benchmark::Counter::kInvert);
}
BENCHMARK(routes_to_xml)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);

} // namespace

// Counts what the walk asks the heap for, through new and through malloc.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* malloc(size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
extern "C" void* realloc(void* memory, size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}

int main(int argc, char** argv) {
    drend_set_send_method_w_return(sink_text);
    register_model();
    load_definition();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
