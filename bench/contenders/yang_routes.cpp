// SPDX-License-Identifier: BSD-2-Clause

#include "bench/contenders/yang_routes.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "bench/sink.h"

namespace {

constexpr char MODULE[] = R"(module bench-routes {
  yang-version 1.1;
  namespace "urn:example:bench-routes";
  prefix br;
  container routes {
    config false;
    list route {
      key "prefix";
      leaf prefix { type string; }
      leaf next-hop { type string; }
      leaf interface { type string; }
      leaf metric { type uint32; }
      leaf protocol { type string; }
      leaf age { type uint64; }
      leaf active { type boolean; }
      leaf description { type string; }
    }
  }
})";

void expect(LY_ERR result) {
    if (result != LY_SUCCESS) {
        fprintf(stderr, "bench: libyang failed with %d\n", static_cast<int>(result));
        exit(1);
    }
}

const lys_module* load_module() {
    ly_ctx* context = nullptr;
    lys_module* module = nullptr;
    expect(ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY, &context));
    expect(lys_parse_mem(context, MODULE, LYS_IN_YANG, &module));
    return module;
}

void add_text(lyd_node* row, const char* name, const char* text) {
    expect(lyd_new_term(row, nullptr, name, text, 0, nullptr));
}

template <class Number>
void add_number(lyd_node* row, const char* name, Number number) {
    char digits[24];
    *std::to_chars(digits, digits + sizeof digits, number).ptr = '\0';
    add_text(row, name, digits);
}

ssize_t write_to_sink(void*, const void* text, size_t length) {
    sink_write({static_cast<const char*>(text), length});
    return static_cast<ssize_t>(length);
}

ly_out* sink_output() {
    static ly_out* output = [] {
        ly_out* made = nullptr;
        expect(ly_out_new_clb(write_to_sink, nullptr, &made));
        return made;
    }();
    return output;
}

} // namespace

const lys_module* yang_module() {
    static const lys_module* module = load_module();
    return module;
}

lyd_node* new_yang_routes() {
    lyd_node* routes = nullptr;
    expect(lyd_new_inner(nullptr, yang_module(), "routes", 0, &routes));
    return routes;
}

lyd_node* add_yang_route(lyd_node* routes, const route_s& row) {
    lyd_node* node = nullptr;
    expect(lyd_new_list(routes, nullptr, "route", 0, &node, route_prefix(row)));
    add_text(node, "next-hop", route_next_hop(row));
    add_text(node, "interface", route_interface(row));
    add_number(node, "metric", route_metric(row));
    add_text(node, "protocol", protocol_name(route_protocol(row)));
    add_number(node, "age", route_age(row));
    add_text(node, "active", route_is_active(row) ? "true" : "false");
    add_text(node, "description", route_description(row));
    return node;
}

void print_yang(const lyd_node* node, LYD_FORMAT format, bool with_siblings) {
    if (with_siblings) {
        expect(lyd_print_all(sink_output(), node, format, 0));
    } else {
        expect(lyd_print_tree(sink_output(), node, format, 0));
    }
}
