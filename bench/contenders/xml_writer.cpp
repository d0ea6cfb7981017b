// SPDX-License-Identifier: BSD-2-Clause

// libxml2's xmlTextWriter, indenting, over an output buffer that ends in the sink.

#include <charconv>

#include <libxml/xmlwriter.h>

#include "bench/contenders/contender.h"
#include "bench/sink.h"

namespace {

const xmlChar* xml(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

void write_text(xmlTextWriterPtr writer, const char* name, const char* text) {
    xmlTextWriterWriteElement(writer, xml(name), xml(text));
}

template <class Number>
void write_number(xmlTextWriterPtr writer, const char* name, Number number) {
    char digits[24];
    *std::to_chars(digits, digits + sizeof digits, number).ptr = '\0';
    write_text(writer, name, digits);
}

void write_route(xmlTextWriterPtr writer, const route_s& row) {
    xmlTextWriterStartElement(writer, xml("route"));
    write_text(writer, "prefix", route_prefix(row));
    write_text(writer, "next-hop", route_next_hop(row));
    write_text(writer, "interface", route_interface(row));
    write_number(writer, "metric", route_metric(row));
    write_text(writer, "protocol", protocol_name(route_protocol(row)));
    write_number(writer, "age", route_age(row));
    write_text(writer, "active", route_is_active(row) ? "true" : "false");
    write_text(writer, "description", route_description(row));
    xmlTextWriterEndElement(writer);
}

int write_to_sink(void*, const char* text, int length) {
    sink_write({text, static_cast<size_t>(length)});
    return length;
}

void to_xml(routes_t routes) {
    xmlOutputBufferPtr output =
        xmlOutputBufferCreateIO(write_to_sink, nullptr, nullptr, nullptr);
    xmlTextWriterPtr writer = xmlNewTextWriter(output);
    xmlTextWriterSetIndent(writer, 1);
    xmlTextWriterSetIndentString(writer, xml("  "));
    xmlTextWriterStartElement(writer, xml("routes"));
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        write_route(writer, *row);
    }
    xmlTextWriterEndElement(writer);
    xmlFreeTextWriter(writer);
}

} // namespace

const contender_s XML_WRITER_CONTENDER = {"xmlTextWriter", layout_e::SAME_DOCUMENT, nullptr,
                                          to_xml, nullptr};
