#include "service/drend_dump_tags.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "definitions/drend_load.h"
#include "expr/dri_args.h"
#include "render/dr_xml_cwalker.h"

namespace {

constexpr char NETCONF_GET[] = "corvane-netconf-get";

// The walk that drend_dump_rpc suspended and nobody has taken yet.
std::unique_ptr<dr_render_context_c> suspended_rpc;

// Row selectors that select everything, and a doubled slash, say nothing to the walk.
std::string simplified(std::string filter) {
    static constexpr std::string_view every_row = "[*]";
    for (size_t at; (at = filter.find(every_row)) != std::string::npos;) {
        filter.erase(at, every_row.size());
    }
    if (const size_t at = filter.find("//"); at != std::string::npos) {
        filter.erase(at, 1);
    }
    return filter;
}

} // namespace

dr_tags_access_context_c* dri_dump_tags(void* peer, const drend_tag_c* top_tag,
                                        const char* args, int* status, bool wrap_in_data,
                                        const char* filter) {
    auto context = std::make_unique<dr_tags_access_context_c>(nullptr);
    context->delete_when_done = 1;
    dr_str_buf_c given;
    if (dri_args_find(args, "filter", given) != 0) {
        given.strip_quotes();
        filter = given;
    }
    auto walker = std::make_unique<dr_xml_cwalker_c>(*context, peer, wrap_in_data);
    if (filter != nullptr) {
        context->set_filter(simplified(filter).c_str());
    }
    walker->initialize();
    dri_call_cmd_start(nullptr, "");
    if (context->push_tag(top_tag) == 0 &&
        context->get_value(walker.get()) == DREND_DEFER) {
        walker.release(); // the walk deletes its walker and itself
        return context.release();
    }
    dri_call_cmd_end(top_tag);
    *status = walker->status();
    walker->finalize();
    return nullptr;
}

int drend_dump_rpc(void* peer, const char* name, const char* argument) {
    const drend_tag_c* tag = dri_acquire_command_tag(name);
    if (tag == nullptr) {
        fprintf(stderr, "Invalid top node for rpc '%s'\n", name);
        return 0;
    }
    int status = 0;
    dr_tags_access_context_c* suspended = nullptr;
    try {
        suspended = dri_dump_tags(peer, tag, argument, &status,
                                  std::string_view(name) == NETCONF_GET, nullptr);
    } catch (const std::bad_alloc&) {
        status = DREND_ERR; // the request ends here, the daemon goes on
    }
    dri_tags_delete_inuse(tag);
    if (suspended != nullptr) {
        suspended_rpc.reset(suspended);
        return DREND_DEFER;
    }
    if (status == DREND_PEER_LOST) {
        fprintf(stderr, "Write failure for rpc '%s'\n", name);
    }
    return 0;
}

void* drend_take_suspended_rpc(void) {
    if (suspended_rpc != nullptr) {
        suspended_rpc->note_suspended();
    }
    return suspended_rpc.release();
}

void drend_drop_walk(void* walk) {
    delete dr_render_context_c::find_suspended(walk);
}
