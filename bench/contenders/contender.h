// SPDX-License-Identifier: BSD-2-Clause

// A contender: one way to render the routes as XML or as JSON into the sink.
//
// The hand-written ones print the very bytes that the library prints; the others hold the same
// values in whatever layout their writer has, see `layout`.
#ifndef BENCH_CONTENDER_H
#define BENCH_CONTENDER_H

#include "bench/routes.h"

enum class layout_e {
    SAME_BYTES,    // as the library
    SAME_DOCUMENT, // the same values, laid out by the writer
    ROW_BY_ROW,    // the same values, one document for each route
};

struct contender_s {
    const char* name;
    layout_e layout;
    // Called once with all the routes, before anything is measured; may be null.
    void (*prepare)(routes_t routes, bool as_json);
    // Null where the contender has no such format.
    void (*to_xml)(routes_t routes);
    void (*to_json)(routes_t routes);
};

extern const contender_s PRINTF_CONTENDER;
extern const contender_s TO_CHARS_CONTENDER;
extern const contender_s XML_WRITER_CONTENDER;
extern const contender_s RAPIDJSON_CONTENDER;
extern const contender_s RAPIDJSON_PRETTY_CONTENDER;
extern const contender_s LIBYANG_TREE_CONTENDER;
extern const contender_s LIBYANG_ROUTE_CONTENDER;
extern const contender_s JANSSON_CONTENDER;
extern const contender_s MEMCPY_CONTENDER;

// One route to XML as PRINTF_CONTENDER does it.
void print_route(const route_s& row);

#endif
