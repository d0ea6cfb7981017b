// SPDX-License-Identifier: BSD-2-Clause

#include "bench/library.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "bench/sink.h"

namespace {

routes_t shown_routes;

[[noreturn]] void fail(const std::string& message) {
    fprintf(stderr, "bench: %s\n", message.c_str());
    exit(1);
}

template <auto Read, auto Set>
int read_leaf(dr_meta_context_s* ctx, const void*) {
    return Set(ctx, Read(*route_of(ctx)));
}

struct route_leaf_s {
    const char* name;
    int (*add)(const char* path, drend_proc_t proc, const void* data);
    drend_proc_t read;
    const char* options; // of its tag
};

constexpr char PROTOCOL_MAP[] = R"(, "dts_map": [["0", "unspecified"], ["1", "redirect"],
    ["2", "kernel"], ["3", "boot"], ["4", "static"], ["*", "other"]])";

const route_leaf_s ROUTE_LEAVES[LEAVES_PER_ROUTE] = {
    {"prefix", drend_add_str_leaf, read_leaf<route_prefix, drend_set_string_value>, ""},
    {"next-hop", drend_add_str_leaf, read_leaf<route_next_hop, drend_set_string_value>, ""},
    {"interface", drend_add_str_leaf, read_leaf<route_interface, drend_set_string_value>,
     ""},
    {"metric", drend_add_uint32_leaf, read_leaf<route_metric, drend_set_uint32_value>, ""},
    {"protocol", drend_add_int32_leaf, read_leaf<route_protocol, drend_set_int32_value>,
     PROTOCOL_MAP},
    {"age", drend_add_uint64_leaf, read_leaf<route_age, drend_set_uint64_value>, ""},
    {"active", drend_add_boolean_leaf, read_leaf<route_is_active, drend_set_boolean_value>,
     ""},
    {"description", drend_add_str_leaf,
     read_leaf<route_description, drend_set_string_value>, ""},
};

} // namespace

bool can_collect_sends() {
#ifdef BENCH_HAS_SEND_BUFFER
    return true;
#else
    return false;
#endif
}

void start_library(sends_e sends) {
    drend_set_send_method_w_return(sink_send);
    if (sends == sends_e::COLLECTED) {
#ifdef BENCH_HAS_SEND_BUFFER
        drend_set_send_buffer(16384);
#else
        fail("this library cannot collect sends");
#endif
    }
}

void load_definitions(const std::string& entries, unsigned count) {
    std::string root = std::filesystem::temp_directory_path() / "drend_benchXXXXXX";
    if (mkdtemp(root.data()) == nullptr) {
        fail("no directory for definitions");
    }
    std::filesystem::create_directories(root + "/usr/lib/render");
    std::ofstream(root + "/usr/lib/render/bench.json") << "[" << entries << "]";
    drend_set_prefix(root.c_str());
    const int loaded = drend_dir_init();
    std::filesystem::remove_all(root);
    if (loaded != static_cast<int>(count)) {
        fail("definitions did not load: " + entries);
    }
}

void set_routes(routes_t routes) {
    shown_routes = routes;
}

const route_s* route_of(dr_meta_context_s* ctx) {
    return static_cast<const route_s*>(drend_get_element_ref(ctx));
}

int step_routes(dr_meta_context_s* ctx, const void*) {
    const route_s* next = next_route(shown_routes, route_of(ctx));
    drend_set_element_ref(ctx, next);
    return next == nullptr ? DREND_NO_EL : DREND_OK;
}

void register_routes(const std::string& path, drend_proc_t step) {
    drend_add_list(path.c_str(), step, nullptr);
    for (const route_leaf_s& leaf : ROUTE_LEAVES) {
        leaf.add((path + "/" + leaf.name).c_str(), leaf.read, nullptr);
    }
}

std::string route_list_tag(bool has_key) {
    std::string tag =
        R"({"dts_name": "route", "dts_type": "list", "dts_source": "route", )";
    tag += has_key ? R"("dts_key": ["prefix"], "dts_kids": [)" : R"("dts_kids": [)";
    for (const route_leaf_s& leaf : ROUTE_LEAVES) {
        tag += &leaf == ROUTE_LEAVES ? "\n" : ",\n";
        tag += std::string(R"({"dts_name": ")") + leaf.name +
               R"(", "dts_type": "leaf", "dts_source": ")" + leaf.name + "\"" +
               leaf.options + "}";
    }
    return tag + "]}";
}

std::string routes_command(const std::string& name, const std::string& source,
                           bool has_key) {
    return R"({"dc_name": ")" + name +
           R"(", "dc_tag": {"dts_name": "routes", "dts_source": ")" + source +
           R"(", "dts_kids": [)" + route_list_tag(has_key) + "]}}";
}

void run_command(const char* name, const char* argument) {
    int status = drend_dump_rpc(nullptr, name, argument);
    if (status == DREND_DEFER) {
        void* walk = drend_take_suspended_rpc();
        while ((status = drend_defer_continue(walk)) == 1) {
        }
    }
    if (status != 0) {
        fail(std::string("the command failed: ") + name);
    }
}
