// SPDX-License-Identifier: BSD-2-Clause

// Hand-written output code as daemons have it: one snprintf and one send for each leaf.

#include <cinttypes>

#include "bench/contenders/contender.h"
#include "bench/contenders/emit.h"
#include "bench/contenders/escape_text.h"

namespace {

const char* truth(bool value) {
    return value ? "true" : "false";
}

void to_xml(routes_t routes) {
    emit("<routes>\n");
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        print_route(*row);
    }
    emit("</routes>\n");
}

void route_to_json(const route_s& row, const char* separator) {
    std::string scratch;
    emit("%s{\n        \"prefix\" : \"%s\"", separator,
         json_text(route_prefix(row), scratch));
    emit(",\n        \"next-hop\" : \"%s\"", json_text(route_next_hop(row), scratch));
    emit(",\n        \"interface\" : \"%s\"", json_text(route_interface(row), scratch));
    emit(",\n        \"metric\" : \"%" PRIu32 "\"", route_metric(row));
    emit(",\n        \"protocol\" : \"%s\"", protocol_name(route_protocol(row)));
    emit(",\n        \"age\" : \"%" PRIu64 "\"", route_age(row));
    emit(",\n        \"active\" : \"%s\"", truth(route_is_active(row)));
    emit(",\n        \"description\" : \"%s\"", json_text(route_description(row), scratch));
    emit("\n      }");
}

void to_json(routes_t routes) {
    emit("{\n  \"routes\" : {\n    \"route\" : [");
    const char* separator = "";
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        route_to_json(*row, separator);
        separator = ",";
    }
    emit("]\n  }\n}");
}

} // namespace

void print_route(const route_s& row) {
    std::string scratch;
    emit("  <route>\n");
    emit("    <prefix>%s</prefix>\n", xml_text(route_prefix(row), scratch));
    emit("    <next-hop>%s</next-hop>\n", xml_text(route_next_hop(row), scratch));
    emit("    <interface>%s</interface>\n", xml_text(route_interface(row), scratch));
    emit("    <metric>%" PRIu32 "</metric>\n", route_metric(row));
    emit("    <protocol>%s</protocol>\n", protocol_name(route_protocol(row)));
    emit("    <age>%" PRIu64 "</age>\n", route_age(row));
    emit("    <active>%s</active>\n", truth(route_is_active(row)));
    emit("    <description>%s</description>\n", xml_text(route_description(row), scratch));
    emit("  </route>\n");
}

const contender_s PRINTF_CONTENDER = {"printf", layout_e::SAME_BYTES, nullptr, to_xml,
                                      to_json};
