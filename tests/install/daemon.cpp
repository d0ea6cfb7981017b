// SPDX-License-Identifier: BSD-2-Clause

#include <drend.h>
#include <orvex_platform/mgmt_sock.h>
#include <vector>

struct fans_c : drend_iterator_c {
    std::vector<const char*> names{"left", "right"};
    unsigned at = 0;
    void first(dr_meta_context_s*) override { at = 0; }
    void next(dr_meta_context_s*) override { ++at; }
    bool at_end(dr_meta_context_s*) override { return at == names.size(); }
};

static int read_name(dr_meta_context_s* ctx, const void*) {
    auto* fans = static_cast<fans_c*>(drend_get_iterator_c(ctx, 0));
    return drend_set_string_value(ctx, fans->names[fans->at]);
}

int main() {
    drend_add_iterator_list("/fans/fan",
                            [](void*) -> drend_iterator_c* { return new fans_c; });
    drend_add_str_leaf("/fans/fan/name", read_name, nullptr);
    drend_set_prefix(".");
    drend_set_send_method_w_return(mgmt_sock_send);
    void* peer = mgmt_sock_open_local(stdout);
    const bool fails =
        drend_dir_init() < 1 || drend_dump_rpc(peer, "show-fans", nullptr) != 0;
    return mgmt_sock_close(peer) != 0 || fails;
}
