// SPDX-License-Identifier: BSD-2-Clause

// Near the limit of what code can do that renders leaf by leaf: literals, numbers by std::to_chars
// and escaped text are appended to one buffer, which is sent when it is full.

#include <charconv>

#include "bench/contenders/contender.h"
#include "bench/contenders/escape_text.h"
#include "bench/sink.h"

namespace {

constexpr size_t FULL = 16384;

template <class Number>
void append_number(std::string& out, Number number) {
    char digits[20];
    char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    out.append(digits, end);
}

const char* truth(bool value) {
    return value ? "true" : "false";
}

void append_xml(std::string& out, const route_s& row) {
    out += "  <route>\n    <prefix>";
    append_xml_text(out, route_prefix(row));
    out += "</prefix>\n    <next-hop>";
    append_xml_text(out, route_next_hop(row));
    out += "</next-hop>\n    <interface>";
    append_xml_text(out, route_interface(row));
    out += "</interface>\n    <metric>";
    append_number(out, route_metric(row));
    out += "</metric>\n    <protocol>";
    out += protocol_name(route_protocol(row));
    out += "</protocol>\n    <age>";
    append_number(out, route_age(row));
    out += "</age>\n    <active>";
    out += truth(route_is_active(row));
    out += "</active>\n    <description>";
    append_xml_text(out, route_description(row));
    out += "</description>\n  </route>\n";
}

void append_json(std::string& out, const route_s& row) {
    out += "{\n        \"prefix\" : \"";
    append_json_text(out, route_prefix(row));
    out += "\",\n        \"next-hop\" : \"";
    append_json_text(out, route_next_hop(row));
    out += "\",\n        \"interface\" : \"";
    append_json_text(out, route_interface(row));
    out += "\",\n        \"metric\" : \"";
    append_number(out, route_metric(row));
    out += "\",\n        \"protocol\" : \"";
    out += protocol_name(route_protocol(row));
    out += "\",\n        \"age\" : \"";
    append_number(out, route_age(row));
    out += "\",\n        \"active\" : \"";
    out += truth(route_is_active(row));
    out += "\",\n        \"description\" : \"";
    append_json_text(out, route_description(row));
    out += "\"\n      }";
}

template <class AppendRow>
void append_routes(std::string& out, routes_t routes, const char* separator,
                   AppendRow append_row) {
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;) {
        append_row(out, *row);
        row = next_route(routes, row);
        out += row == nullptr ? "" : separator;
        if (out.size() >= FULL) {
            sink_write(out);
            out.clear();
        }
    }
}

void to_xml(routes_t routes) {
    std::string out = "<routes>\n";
    append_routes(out, routes, "", append_xml);
    sink_write(out + "</routes>\n");
}

void to_json(routes_t routes) {
    std::string out = "{\n  \"routes\" : {\n    \"route\" : [";
    append_routes(out, routes, ",", append_json);
    sink_write(out + "]\n  }\n}");
}

} // namespace

const contender_s TO_CHARS_CONTENDER = {"to_chars", layout_e::SAME_BYTES, nullptr, to_xml,
                                        to_json};
