// SPDX-License-Identifier: BSD-2-Clause

// RapidJSON's Writer and PrettyWriter over a stream that ends in the sink. Numbers and truth are
// written as JSON has them, which is what its users do; the library writes texts.

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include "bench/contenders/contender.h"
#include "bench/sink.h"

namespace {

class sink_stream_c {
  public:
    using Ch = char;

    void Put(char c) {
        if (used_ == sizeof buffer_) {
            Flush();
        }
        buffer_[used_++] = c;
    }
    void Flush() {
        sink_write({buffer_, used_});
        used_ = 0;
    }

  private:
    size_t used_ = 0;
    char buffer_[16384];
};

template <class Writer>
void write_route(Writer& writer, const route_s& row) {
    writer.StartObject();
    writer.Key("prefix");
    writer.String(route_prefix(row));
    writer.Key("next-hop");
    writer.String(route_next_hop(row));
    writer.Key("interface");
    writer.String(route_interface(row));
    writer.Key("metric");
    writer.Uint(route_metric(row));
    writer.Key("protocol");
    writer.String(protocol_name(route_protocol(row)));
    writer.Key("age");
    writer.Uint64(route_age(row));
    writer.Key("active");
    writer.Bool(route_is_active(row));
    writer.Key("description");
    writer.String(route_description(row));
    writer.EndObject();
}

template <class Writer>
void write_routes(Writer& writer, routes_t routes) {
    writer.StartObject();
    writer.Key("routes");
    writer.StartObject();
    writer.Key("route");
    writer.StartArray();
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        write_route(writer, *row);
    }
    writer.EndArray();
    writer.EndObject();
    writer.EndObject();
}

void to_json(routes_t routes) {
    sink_stream_c stream;
    rapidjson::Writer<sink_stream_c> writer(stream);
    write_routes(writer, routes);
    stream.Flush();
}

void to_pretty_json(routes_t routes) {
    sink_stream_c stream;
    rapidjson::PrettyWriter<sink_stream_c> writer(stream);
    writer.SetIndent(' ', 2);
    write_routes(writer, routes);
    stream.Flush();
}

} // namespace

const contender_s RAPIDJSON_CONTENDER = {"RapidJSON", layout_e::SAME_DOCUMENT, nullptr,
                                         nullptr, to_json};
const contender_s RAPIDJSON_PRETTY_CONTENDER = {"RapidJSON pretty", layout_e::SAME_DOCUMENT,
                                                nullptr, nullptr, to_pretty_json};
