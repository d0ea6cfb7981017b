// SPDX-License-Identifier: BSD-2-Clause

// Rendering by command name, and for the menu. The two differ in who keeps a suspended answer:
// the menu's peer by its cookie, a caller by taking it (drend_take_suspended_rpc).
#include "service/drend_dump_tags.h"

#include <cstring>
#include <memory>
#include <utility>

#include "definitions/drend_lookup.h"
#include "render/dr_answer.h"

namespace {

// The walk that drend_dump_rpc suspended and nobody has taken yet.
void* suspended_rpc = nullptr;

std::unique_ptr<dr_request_c> run_request(std::unique_ptr<dr_request_c> request,
                                          const dr_request_s& asked, int* status) {
    const bool is_over = request->run(asked);
    *status = request->status();
    return is_over ? nullptr : std::move(request);
}

int render_rpc(const dr_request_s& asked, const char* name) {
    int status = 0;
    std::unique_ptr<dr_request_c> suspended = dri_dump_tags(asked, &status);
    if (suspended != nullptr) {
        void* walk = dr_suspendable_c::keep(std::move(suspended),
                                            dr_suspendable_c::keeper_e::CALLER);
        drend_drop_walk(std::exchange(suspended_rpc, walk));
        return DREND_DEFER;
    }
    if (status == DREND_PEER_LOST) {
        fprintf(stderr, "Write failure for rpc '%s'\n", name);
    }
    return 0;
}

int dump_rpc(void* peer, const char* name, const char* argument, bool may_wrap) {
    const dri_used_tag_t tag(dri_acquire_command_tag(name));
    if (tag == nullptr) {
        fprintf(stderr, "Invalid top node for rpc '%s'\n", name);
        return 0;
    }
    dr_request_s asked{peer, tag.get(), argument};
    asked.wrap_in_data = may_wrap && strcmp(name, DRI_NETCONF_GET) == 0;
    return dri_answer<int>(peer, DREND_ERR, [&] { return render_rpc(asked, name); });
}

} // namespace

std::unique_ptr<dr_request_c> dri_dump_tags(const dr_request_s& asked, int* status) {
    return run_request(std::make_unique<dr_request_c>(asked), asked, status);
}

std::unique_ptr<dr_request_c> dri_mgmt_dump_tags(const dr_request_s& asked, int* status) {
    drend_chars_sent_reset();
    auto request = std::make_unique<dr_request_c>(asked);
    request->answer_even_when_empty();
    return run_request(std::move(request), asked, status);
}

int drend_dump_rpc(void* peer, const char* name, const char* argument) {
    return dump_rpc(peer, name, argument, true);
}

int drend_dump_rpc_no_root_data_tag(void* peer, const char* name, const char* argument) {
    return dump_rpc(peer, name, argument, false);
}

void* drend_take_suspended_rpc(void) {
    return std::exchange(suspended_rpc, nullptr);
}
