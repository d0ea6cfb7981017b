// SPDX-License-Identifier: BSD-2-Clause

// /synthetic: a table of as many routes as one likes, for trying out how large answers behave. No
// row is stored: a row's reference is its number, and every value is computed from it.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "model.h"

namespace {

std::uintptr_t route_count = 0;

// The number of the current row, from 1 on; 0 before the first.
std::uintptr_t number_of(dr_meta_context_s* ctx) {
    return reinterpret_cast<std::uintptr_t>(drend_get_element_ref(ctx));
}

// Row n is the host route of the n-th address after 10.0.0.0.
constexpr std::uint32_t FIRST_ADDRESS = 10U << 24;

std::uint32_t address_of(std::uintptr_t number) {
    return FIRST_ADDRESS + static_cast<std::uint32_t>(number);
}

// The row of that prefix, or 0.
std::uintptr_t find_route(const char* prefix) {
    in_addr address{};
    char text[INET_ADDRSTRLEN];
    const char* length = strchr(prefix, '/');
    if (length == nullptr || strcmp(length, "/32") != 0 ||
        static_cast<std::size_t>(length - prefix) >= sizeof text) {
        return 0;
    }
    *std::copy(prefix, length, text) = '\0';
    if (inet_pton(AF_INET, text, &address) != 1) {
        return 0;
    }
    const std::uint32_t number = ntohl(address.s_addr) - FIRST_ADDRESS;
    return number <= route_count ? number : 0;
}

int give_number(dr_meta_context_s* ctx, std::uintptr_t number) {
    drend_set_element_ref(ctx, reinterpret_cast<const void*>(number));
    return number == 0 ? DREND_NO_EL : DREND_OK;
}

// Goes straight to the row that the request asks for, when it asks for one.
int next_route(dr_meta_context_s* ctx, const void*) {
    const std::uintptr_t current = number_of(ctx);
    if (const char* wanted = drend_get_filter_name(ctx, "prefix")) {
        return give_number(ctx, current == 0 ? find_route(wanted) : 0);
    }
    return give_number(ctx, current < route_count ? current + 1 : 0);
}

int set_address(dr_meta_context_s* ctx, std::uint32_t address, std::string_view suffix) {
    char text[sizeof "255.255.255.255/32"];
    char* at = text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        at = std::to_chars(at, at + 3, address >> shift & 0xff).ptr;
        *at++ = '.';
    }
    --at; // the last point
    at += suffix.copy(at, suffix.size());
    *at = '\0';
    return drend_set_string_value(ctx, text);
}

int prefix(dr_meta_context_s* ctx, const void*) {
    return set_address(ctx, address_of(number_of(ctx)), "/32");
}

int next_hop(dr_meta_context_s* ctx, const void*) {
    constexpr std::uint32_t network = (192U << 24) + (168U << 16);
    return set_address(ctx, network + 1 + static_cast<std::uint32_t>(number_of(ctx) % 254),
                       "");
}

int interface(dr_meta_context_s* ctx, const void*) {
    return drend_set_str_value(ctx, "port%u", static_cast<unsigned>(number_of(ctx) % 48));
}

int metric(dr_meta_context_s* ctx, const void*) {
    return drend_set_uint32_value(ctx, static_cast<std::uint32_t>(number_of(ctx) % 1000));
}

int protocol(dr_meta_context_s* ctx, const void*) {
    return drend_set_uint8_value(ctx, static_cast<std::uint8_t>(number_of(ctx) % 4));
}

int age(dr_meta_context_s* ctx, const void*) {
    return drend_set_uint64_value(ctx, number_of(ctx) * 7 % 1000000);
}

int active(dr_meta_context_s* ctx, const void*) {
    return drend_set_boolean_value(ctx, number_of(ctx) % 10 != 0);
}

int description(dr_meta_context_s* ctx, const void*) {
    return drend_set_str_value(ctx, "route number %lu",
                               static_cast<unsigned long>(number_of(ctx)));
}

// A definition may lead here without a row.
template <drend_proc_t read>
int of_row(dr_meta_context_s* ctx, const void* data) {
    return number_of(ctx) == 0 ? DREND_ERR : read(ctx, data);
}

} // namespace

void add_synthetic_model(std::uint32_t routes) {
    route_count = routes;
    drend_add_list("/synthetic/route", next_route, nullptr);
    add_leaves("/synthetic/route",
               {
                   {"prefix", drend_add_str_leaf, of_row<prefix>},
                   {"next-hop", drend_add_str_leaf, of_row<next_hop>},
                   {"interface", drend_add_str_leaf, of_row<interface>},
                   {"metric", drend_add_uint32_leaf, of_row<metric>},
                   {"protocol", drend_add_uint8_leaf, of_row<protocol>},
                   {"age", drend_add_uint64_leaf, of_row<age>},
                   {"active", drend_add_boolean_leaf, of_row<active>},
                   {"description", drend_add_str_leaf, of_row<description>},
               });
}
