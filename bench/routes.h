// SPDX-License-Identifier: BSD-2-Clause

// The table that the measure renders, and the functions through which every contender reads it.
//
// A daemon's table of routes: eight values of the kinds that such tables have. The rows are made
// from a fixed seed, so that every run and every machine renders the same bytes. One description in
// sixteen has characters that XML or JSON escape, one in sixty-four has some outside ASCII.
//
// The readers are compiled on their own and called by all contenders: what it costs to get at a
// value is the same for each of them.
#ifndef BENCH_ROUTES_H
#define BENCH_ROUTES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

struct route_s {
    std::string prefix; // unique in its table
    std::string next_hop;
    std::string interface;
    uint32_t metric; // one of METRICS multiples of ten, each as likely
    int32_t protocol;
    uint64_t age;
    bool active;
    std::string description;
};

constexpr uint32_t METRICS = 100;
constexpr size_t LEAVES_PER_ROUTE = 8;

using routes_t = std::span<const route_s>;

// Makes a table of so many routes, which lives until the next is made.
routes_t make_routes(size_t count);

// The row behind `row`, the first one behind null; null at the end.
const route_s* next_route(routes_t routes, const route_s* row);

const char* route_prefix(const route_s& row);
const char* route_next_hop(const route_s& row);
const char* route_interface(const route_s& row);
uint32_t route_metric(const route_s& row);
int32_t route_protocol(const route_s& row);
uint64_t route_age(const route_s& row);
bool route_is_active(const route_s& row);
const char* route_description(const route_s& row);

// What the definition's value map makes of a protocol, for contenders without value maps.
const char* protocol_name(int32_t protocol);

#endif
