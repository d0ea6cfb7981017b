// SPDX-License-Identifier: BSD-2-Clause

#include "model.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace {

constexpr char SNAPSHOT_COOKIE[] = "snapshot";
constexpr int HARDWARE_ADDRESS = 1; // the kind, a number of the daemon's choice

// The snapshot goes into a cookie and not into a variable: with several peers several walks
// are under way at once, some of them suspended, and each has its own.
int take_snapshot(dr_meta_context_s* ctx, const void*) {
    auto* snapshot = new (std::nothrow) kernel_snapshot_c;
    if (snapshot == nullptr) {
        fail_to_read("tables", "out of memory");
    }
    drend_set_cookie(ctx, SNAPSHOT_COOKIE, snapshot);
    char text[TIME_TEXT];
    return drend_add_str_cached(ctx, SNAPSHOT_TIME, "%s", time_text(time(nullptr), text));
}

// Called once for each take_snapshot, also when the walk is given up half-way.
int release_snapshot(dr_meta_context_s* ctx, const void*) {
    delete static_cast<kernel_snapshot_c*>(drend_get_cookie(ctx, SNAPSHOT_COOKIE));
    return drend_set_cookie(ctx, SNAPSHOT_COOKIE, nullptr);
}

// The handler writes the bytes of one value as text.
void write_hardware_address(const void* data, unsigned int length, str_buf_s* out) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned int i = 0; i < length; ++i) {
        drend_append(out, i == 0 ? "%02x" : ":%02x", bytes[i]);
    }
}

} // namespace

void add_snapshot_scope(const char* path) {
    drend_add_enter(path, take_snapshot, nullptr);
    drend_add_exit(path, release_snapshot, nullptr);
}

kernel_snapshot_c* snapshot_of(dr_meta_context_s* ctx) {
    auto* snapshot =
        static_cast<kernel_snapshot_c*>(drend_get_cookie(ctx, SNAPSHOT_COOKIE));
    if (snapshot == nullptr) {
        fprintf(stderr, "netstatd: no snapshot: a definition's source goes around the "
                        "container that takes it\n");
    }
    return snapshot;
}

int set_optional_text(dr_meta_context_s* ctx, const char* text) {
    return text == nullptr ? DREND_SKIP_LEAF : drend_set_string_value(ctx, text);
}

int set_interface_name(dr_meta_context_s* ctx, int index) {
    kernel_snapshot_c* snapshot = snapshot_of(ctx);
    return set_optional_text(ctx, snapshot ? snapshot->interface_name(index) : nullptr);
}

in6_addr ip_bytes(const nl_addr* address) {
    // The destination of a default route has no bytes at all: it is the address of zeros.
    in6_addr bytes{};
    if (nl_addr_get_len(address) <= sizeof bytes) {
        memcpy(&bytes, nl_addr_get_binary_addr(address), nl_addr_get_len(address));
    }
    return bytes;
}

const char* ip_text(const nl_addr* address, char (&buffer)[INET6_ADDRSTRLEN]) {
    const in6_addr bytes = ip_bytes(address);
    if (inet_ntop(nl_addr_get_family(address), &bytes, buffer, sizeof buffer) == nullptr) {
        buffer[0] = '\0';
    }
    return buffer;
}

int set_ip_address(dr_meta_context_s* ctx, const nl_addr* address) {
    if (address == nullptr) {
        return DREND_SKIP_LEAF;
    }
    const in6_addr bytes = ip_bytes(address);
    return nl_addr_get_family(address) == AF_INET6 ? drend_set_ipv6_value(ctx, &bytes)
                                                   : drend_set_ipv4_value(ctx, &bytes);
}

const char* time_text(time_t time, char (&buffer)[TIME_TEXT]) {
    tm utc{};
    buffer[0] = '\0';
    if (gmtime_r(&time, &utc) != nullptr) {
        strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &utc);
    }
    return buffer;
}

int set_hardware_address(dr_meta_context_s* ctx, const nl_addr* address) {
    if (address == nullptr || nl_addr_get_len(address) == 0) {
        return DREND_SKIP_LEAF;
    }
    return drend_set_generic(ctx, HARDWARE_ADDRESS, nl_addr_get_binary_addr(address),
                             nl_addr_get_len(address));
}

void register_hardware_addresses() {
    drend_register_generic_handler(HARDWARE_ADDRESS, write_hardware_address);
}

void add_leaves(const char* path, std::initializer_list<leaf_s> leaves) {
    for (const leaf_s& entry : leaves) {
        const std::string leaf_path = std::string(path) + "/" + entry.name;
        entry.add(leaf_path.c_str(), entry.proc, entry.data);
    }
}
