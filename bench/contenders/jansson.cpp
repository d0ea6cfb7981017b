// SPDX-License-Identifier: BSD-2-Clause

// jansson: the whole document built as a tree, then dumped.

#include <jansson.h>

#include "bench/contenders/contender.h"
#include "bench/sink.h"

namespace {

json_t* route_object(const route_s& row) {
    json_t* object = json_object();
    json_object_set_new(object, "prefix", json_string(route_prefix(row)));
    json_object_set_new(object, "next-hop", json_string(route_next_hop(row)));
    json_object_set_new(object, "interface", json_string(route_interface(row)));
    json_object_set_new(object, "metric", json_integer(route_metric(row)));
    json_object_set_new(object, "protocol",
                        json_string(protocol_name(route_protocol(row))));
    json_object_set_new(object, "age",
                        json_integer(static_cast<json_int_t>(route_age(row))));
    json_object_set_new(object, "active", json_boolean(route_is_active(row)));
    json_object_set_new(object, "description", json_string(route_description(row)));
    return object;
}

int write_to_sink(const char* text, size_t length, void*) {
    sink_write({text, length});
    return 0;
}

void to_json(routes_t routes) {
    json_t* rows = json_array();
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        json_array_append_new(rows, route_object(*row));
    }
    json_t* document = json_pack("{s:{s:o}}", "routes", "route", rows);
    json_dump_callback(document, write_to_sink, nullptr, JSON_INDENT(2));
    json_decref(document);
}

} // namespace

const contender_s JANSSON_CONTENDER = {"jansson tree", layout_e::SAME_DOCUMENT, nullptr,
                                       nullptr, to_json};
