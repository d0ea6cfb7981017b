// SPDX-License-Identifier: BSD-2-Clause

// /interfaces/interface/address, ipv4 and ipv6: an interface's addresses, all together and
// by family, and what either protocol is set to on it.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <linux/if_addr.h>

#include "model.h"

namespace {

const char* family_name(int family) {
    return family == AF_INET ? "ipv4" : "ipv6";
}

// A list driven by an iterator. The library makes one for each walk of the list, from the
// row of the enclosing list, and deletes it; the leaves get the iterator in place of a row.
class address_iterator_c final : public drend_iterator_c {
  public:
    // AF_UNSPEC stands for all families.
    address_iterator_c(const link_row_s* link, int family) : link_(link), family_(family) {}

    void first(dr_meta_context_s* ctx) override {
        kernel_snapshot_c* snapshot = link_ == nullptr ? nullptr : snapshot_of(ctx);
        if (snapshot != nullptr) {
            rows_ = snapshot->addresses(link_->index, family_);
        }
    }
    // Data models know an address once on its interface, whatever prefixes it has: the
    // lists of one family pass over repetitions.
    void next(dr_meta_context_s*) override {
        do {
            rows_ = rows_.subspan(1);
        } while (family_ != AF_UNSPEC && !rows_.empty() && rows_.front().repeated);
    }
    bool at_end(dr_meta_context_s*) override { return rows_.empty(); }

    const address_row_s& row() const { return rows_.front(); }

  private:
    const link_row_s* link_;
    int family_;
    std::span<const address_row_s> rows_; // from the current row on
};

template <int family>
drend_iterator_c* make_address_iterator(void* parent) {
    const auto* link = static_cast<const link_row_s*>(parent);
    return new (std::nothrow) address_iterator_c(link, family);
}

// address_leaf<read> makes an accessor of `int read(dr_meta_context_s*, const
// address_row_s&)`.
template <auto read>
int address_leaf(dr_meta_context_s* ctx, const void*) {
    auto* iterator = static_cast<drend_iterator_c*>(drend_get_iterator_c(ctx, 0));
    return iterator == nullptr
               ? DREND_ERR
               : read(ctx, static_cast<address_iterator_c*>(iterator)->row());
}

int ip(dr_meta_context_s* ctx, const address_row_s& row) {
    return set_ip_address(ctx, rtnl_addr_get_local(row.address));
}

int prefix_length(dr_meta_context_s* ctx, const address_row_s& row) {
    return drend_set_uint8_value(
        ctx, static_cast<std::uint8_t>(rtnl_addr_get_prefixlen(row.address)));
}

int protocol(dr_meta_context_s* ctx, const address_row_s& row) {
    return drend_set_string_value(ctx, family_name(row.family));
}

int scope(dr_meta_context_s* ctx, const address_row_s& row) {
    return drend_set_uint8_value(
        ctx, static_cast<std::uint8_t>(rtnl_addr_get_scope(row.address)));
}

int broadcast(dr_meta_context_s* ctx, const address_row_s& row) {
    return set_ip_address(ctx, rtnl_addr_get_broadcast(row.address));
}

int state(dr_meta_context_s* ctx, const address_row_s& row) {
    const unsigned flags = rtnl_addr_get_flags(row.address);
    const char* text = (flags & IFA_F_DADFAILED) != 0    ? "duplicate"
                       : (flags & IFA_F_TENTATIVE) != 0  ? "tentative"
                       : (flags & IFA_F_DEPRECATED) != 0 ? "deprecated"
                                                         : "preferred";
    return drend_set_string_value(ctx, text);
}

void add_address_list(const char* path, drend_iterator_factory_t factory) {
    drend_add_iterator_list(path, factory);
    add_leaves(path,
               {
                   {"ip", drend_add_str_leaf, address_leaf<ip>},
                   {"prefix-length", drend_add_uint8_leaf, address_leaf<prefix_length>},
                   {"protocol", drend_add_str_leaf, address_leaf<protocol>},
                   {"scope", drend_add_uint8_leaf, address_leaf<scope>},
                   {"broadcast", drend_add_str_leaf, address_leaf<broadcast>},
                   {"state", drend_add_str_leaf, address_leaf<state>},
               });
}

// Presence: the path of the container is a leaf as well. A definition whose container asks
// for presence has it shown, even empty, exactly when this leaf gives "true".
int has_addresses(dr_meta_context_s* ctx, const void* data) {
    const auto* row = row_of<link_row_s>(ctx);
    kernel_snapshot_c* snapshot = row == nullptr ? nullptr : snapshot_of(ctx);
    if (snapshot == nullptr) {
        return DREND_ERR;
    }
    const int family = *static_cast<const int*>(data);
    return drend_set_boolean_value(ctx, !snapshot->addresses(row->index, family).empty());
}

// Reads a setting of a protocol on an interface. False when there is none: the interface is
// gone, the protocol is not there, or /proc is closed to this process.
bool read_setting(int family, const link_row_s& row, const char* setting, long& value) {
    char path[128];
    snprintf(path, sizeof path, "/proc/sys/net/%s/conf/%s/%s", family_name(family),
             rtnl_link_get_name(row.link), setting);
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path, "re"), fclose);
    if (file == nullptr && errno != ENOENT && errno != EACCES) {
        fail_to_read("settings", strerror(errno));
    }
    char line[32];
    char* end = line;
    if (file != nullptr && fgets(line, sizeof line, file.get()) != nullptr) {
        value = strtol(line, &end, 10);
    }
    return end != line;
}

template <int family>
int forwarding(dr_meta_context_s* ctx, const link_row_s& row) {
    long value = 0;
    return read_setting(family, row, "forwarding", value)
               ? drend_set_boolean_value(ctx, value != 0)
               : DREND_SKIP_LEAF;
}

// The value has 16 bits; packets of the loopback interface may be larger than that.
int ipv4_mtu(dr_meta_context_s* ctx, const link_row_s& row) {
    const unsigned mtu = rtnl_link_get_mtu(row.link);
    return mtu > UINT16_MAX ? DREND_SKIP_LEAF
                            : drend_set_uint16_value(ctx, static_cast<std::uint16_t>(mtu));
}

int ipv6_mtu(dr_meta_context_s* ctx, const link_row_s& row) {
    long value = 0;
    return read_setting(AF_INET6, row, "mtu", value)
               ? drend_set_uint32_value(ctx, static_cast<std::uint32_t>(value))
               : DREND_SKIP_LEAF;
}

} // namespace

void add_address_model() {
    add_address_list("/interfaces/interface/address", make_address_iterator<AF_UNSPEC>);
    add_leaves("/interfaces/interface",
               {
                   {"ipv4", drend_add_boolean_leaf, has_addresses, &IPV4},
                   {"ipv4/forwarding", drend_add_boolean_leaf, leaf<forwarding<AF_INET>>},
                   {"ipv4/mtu", drend_add_uint16_leaf, leaf<ipv4_mtu>},
                   {"ipv6", drend_add_boolean_leaf, has_addresses, &IPV6},
                   {"ipv6/forwarding", drend_add_boolean_leaf, leaf<forwarding<AF_INET6>>},
                   {"ipv6/mtu", drend_add_uint32_leaf, leaf<ipv6_mtu>},
               });
    add_address_list("/interfaces/interface/ipv4/address", make_address_iterator<AF_INET>);
    add_address_list("/interfaces/interface/ipv6/address", make_address_iterator<AF_INET6>);
}
