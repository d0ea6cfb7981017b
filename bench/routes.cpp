// SPDX-License-Identifier: BSD-2-Clause

#include "bench/routes.h"

#include <iterator>
#include <random>
#include <vector>

namespace {

constexpr const char* PROTOCOL_NAMES[] = {"unspecified", "redirect", "kernel", "boot",
                                          "static"};

// Odd, so that the product visits each of the 2^24 addresses once before it repeats.
constexpr uint32_t SCATTER = 10140127;

std::string octets(uint32_t number) {
    return std::to_string(number >> 16 & 255) + "." + std::to_string(number >> 8 & 255) +
           "." + std::to_string(number & 255);
}

std::string describe(size_t number) {
    const std::string text = std::to_string(number);
    if (number % 64 == 1) {
        return "Z\u00fcrich \u2192 Gen\u00e8ve " + text;
    }
    return number % 16 == 2 ? "R&D <\"lab\"> " + text : "customer " + text;
}

} // namespace

routes_t make_routes(size_t count) {
    static std::vector<route_s> routes;
    std::mt19937_64 random(20240229);
    routes.clear();
    routes.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const uint64_t dice = random();
        const auto low = static_cast<uint32_t>(dice);
        routes.push_back(
            {"10." + octets(static_cast<uint32_t>(i) * SCATTER) + "/32",
             "192.0.2." + std::to_string(low % 250), "eth" + std::to_string(low >> 8 & 15),
             10 * ((low >> 12) % METRICS), static_cast<int32_t>(dice >> 32 & 7), dice >> 40,
             (dice >> 35 & 3) != 0, describe(i)});
    }
    return routes;
}

const route_s* next_route(routes_t routes, const route_s* row) {
    const route_s* next = row == nullptr ? routes.data() : row + 1;
    return next == routes.data() + routes.size() ? nullptr : next;
}

const char* route_prefix(const route_s& row) {
    return row.prefix.c_str();
}
const char* route_next_hop(const route_s& row) {
    return row.next_hop.c_str();
}
const char* route_interface(const route_s& row) {
    return row.interface.c_str();
}
uint32_t route_metric(const route_s& row) {
    return row.metric;
}
int32_t route_protocol(const route_s& row) {
    return row.protocol;
}
uint64_t route_age(const route_s& row) {
    return row.age;
}
bool route_is_active(const route_s& row) {
    return row.active;
}
const char* route_description(const route_s& row) {
    return row.description.c_str();
}

const char* protocol_name(int32_t protocol) {
    const auto index = static_cast<size_t>(protocol);
    return index < std::size(PROTOCOL_NAMES) ? PROTOCOL_NAMES[index] : "other";
}
