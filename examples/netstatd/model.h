// SPDX-License-Identifier: BSD-2-Clause

// The daemon's data model: the functions that register it and what its accessors share.
//
// A model file describes one branch of the tree. It has accessors, small functions in an
// anonymous namespace, and one add_..._model() that registers each of them at its path:
//
//     /interfaces                    enter takes the snapshot, exit releases it
//     /interfaces/interface          list: the row is a link_row_s of the snapshot
//     /interfaces/interface/mtu      leaf: reads its row
//
// 1. An accessor checks what it gets. A definition is a file that anybody can edit: a path
//    in it may lead to a leaf without a row, or around the container with the snapshot.
// 2. A row's reference is a `const Row*` in one of the snapshot's arrays, or an iterator.
// 3. No accessor throws: the library that calls it has no use for exceptions.
//
// Everything here runs on the daemon's thread.
#pragma once

#include <algorithm>
#include <ctime>
#include <initializer_list>
#include <span>

#include <arpa/inet.h>

#include "drend.h"
#include "kernel_data.h"

void add_interface_model(); // /interfaces, and below each interface the next two
void add_address_model();   // /interfaces/interface/{address,ipv4,ipv6}
void add_neighbor_model();  // /neighbors, /interfaces/interface/{ipv4,ipv6}/neighbor
void add_route_model();     // /routing
void add_self_model();      // /netstatd
void add_synthetic_model(std::uint32_t routes); // /synthetic, with so many routes

// Has each walk that enters the container `path` take a snapshot, and release it when it
// leaves. Its children find the snapshot with snapshot_of, and when it was taken as the
// cached text SNAPSHOT_TIME.
void add_snapshot_scope(const char* path);
inline constexpr char SNAPSHOT_TIME[] = "snapshot-time";

// The snapshot of the current walk. Null, with a line on standard error, when the walk came
// here without entering a snapshot's scope.
kernel_snapshot_c* snapshot_of(dr_meta_context_s* ctx);

// The data of accessors that serve one address family or the other.
inline constexpr int IPV4 = AF_INET;
inline constexpr int IPV6 = AF_INET6;

// Leaf values that more than one model has. An absent one has the leaf left out.
int set_optional_text(dr_meta_context_s* ctx, const char* text);
int set_interface_name(dr_meta_context_s* ctx, int index);
// An IP address without its prefix length. ip_text returns `buffer`.
const char* ip_text(const nl_addr* address, char (&buffer)[INET6_ADDRSTRLEN]);
int set_ip_address(dr_meta_context_s* ctx, const nl_addr* address);
// A time as data models write it: "2026-01-31T12:00:00Z". time_text returns `buffer`.
inline constexpr std::size_t TIME_TEXT = sizeof "2026-01-31T12:00:00Z";
const char* time_text(time_t time, char (&buffer)[TIME_TEXT]);
// A hardware address: a value of the daemon's own kind, see register_hardware_addresses.
int set_hardware_address(dr_meta_context_s* ctx, const nl_addr* address);
void register_hardware_addresses();

// The reference of the row `offset` places above the current node, or null.
template <class Row>
const Row* row_of(dr_meta_context_s* ctx, unsigned offset = 0) {
    return static_cast<const Row*>(drend_get_element_ref_offset(ctx, offset));
}

// The next row after the current one, or the first one when there is no current one, that
// `wanted` accepts; null when there is none.
template <class Row, class Predicate>
const Row* next_row_where(dr_meta_context_s* ctx, std::span<const Row> rows,
                          Predicate wanted) {
    const Row* current = row_of<Row>(ctx);
    const Row* end = rows.data() + rows.size();
    const Row* next =
        std::find_if(current == nullptr ? rows.data() : current + 1, end, wanted);
    return next == end ? nullptr : next;
}

template <class Row>
const Row* next_row(dr_meta_context_s* ctx, std::span<const Row> rows) {
    return next_row_where(ctx, rows, [](const Row&) { return true; });
}

// What a list procedure does last: hand over a row, or say that there are no more.
template <class Row>
int give_row(dr_meta_context_s* ctx, const Row* row) {
    drend_set_element_ref(ctx, const_cast<Row*>(row)); // the library only keeps it
    return row == nullptr ? DREND_NO_EL : DREND_OK;
}

// leaf<read> makes an accessor of `int read(dr_meta_context_s*, const Row&)`.
template <class Row>
Row row_read_by(int (*read)(dr_meta_context_s*, const Row&));

template <auto read>
int leaf(dr_meta_context_s* ctx, const void*) {
    const auto* row = row_of<decltype(row_read_by(read))>(ctx);
    return row == nullptr ? DREND_ERR : read(ctx, *row);
}

// Registers leaves below one path. `add` is the drend_add_..._leaf of the value's type.
struct leaf_s {
    const char* name = nullptr;
    int (*add)(const char* path, drend_proc_t proc, const void* data) = nullptr;
    drend_proc_t proc = nullptr;
    const void* data = nullptr;
};
void add_leaves(const char* path, std::initializer_list<leaf_s> leaves);
