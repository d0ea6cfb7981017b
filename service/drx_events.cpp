// SPDX-License-Identifier: BSD-2-Clause

// Notifications for daemons: what definitions say of them, and their contents sent to a peer as a
// request's answer is.
//
// A visitor is called on copies, with no lock held: it may look up, load and send.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "definitions/dr_current_set.h"
#include "definitions/drend_lookup.h"
#include "frame/dr_no_memory.h"
#include "render/dr_answer.h"
#include "service/drend_dump_tags.h"

namespace {

using names_by_leaf_t = std::map<std::string, std::vector<std::string>>;

struct event_texts_s {
    std::string internal_name;
    std::string external_name;
    std::string app_name;
    std::string name_space;
    bool has_content;
};

std::vector<event_texts_s> events_of(const char* internal_name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const std::vector<drend_event_c*>* events = dri_get_external_events(internal_name);
    std::vector<event_texts_s> texts;
    for (size_t i = 0; events != nullptr && i < events->size(); ++i) {
        const drend_event_c& event = *(*events)[i];
        texts.push_back({event.dc_internal_notify_name, event.dc_external_notify_name,
                         event.dc_app_name, event.dc_namespace, event.dc_tag != nullptr});
    }
    return texts;
}

int visit(const names_by_leaf_t& names_by_leaf, drx_leaf_visitor_t visitor, void* data) {
    int calls = 0;
    for (const auto& [leaf, names] : names_by_leaf) {
        for (const std::string& name : names) {
            ++calls;
            if (visitor(leaf.c_str(), name.c_str(), data) != 0) {
                return calls;
            }
        }
    }
    return calls;
}

int send_event(void* peer, const drend_tag_c* tag, const char* argument) {
    int status = 0;
    dr_request_s asked;
    asked.peer = peer;
    asked.top_tag = tag;
    asked.args = argument;
    auto suspended = dri_dump_tags(asked, &status);
    if (suspended == nullptr) {
        return status;
    }
    dri_deferred(
        dr_suspendable_c::keep(std::move(suspended), dr_suspendable_c::keeper_e::PEER));
    return DREND_DEFER;
}

} // namespace

int drx_find_events(const char* internal_name, drx_event_visitor_t visitor, void* data) {
    return dri_unless_no_memory<int>(DREND_ERR, [&] {
        int calls = 0;
        for (const event_texts_s& texts : events_of(internal_name)) {
            const drx_event_s event = {texts.internal_name.c_str(),
                                       texts.external_name.c_str(), texts.app_name.c_str(),
                                       texts.name_space.c_str(), texts.has_content ? 1 : 0};
            ++calls;
            if (visitor(&event, data) != 0) {
                break;
            }
        }
        return calls;
    });
}

int drx_find_events_of_leaf(const char* path, drx_leaf_visitor_t visitor, void* data) {
    return dri_unless_no_memory<int>(DREND_ERR, [&] {
        std::vector<std::string> names;
        dri_get_internal_events_for_leaf(path, names);
        std::string leaf = path;
        leaf.resize(leaf.ends_with('/') ? leaf.size() - 1 : leaf.size());
        return visit({{leaf, names}}, visitor, data);
    });
}

int drx_find_events_of_container(const char* path, drx_leaf_visitor_t visitor, void* data) {
    return dri_unless_no_memory<int>(DREND_ERR, [&] {
        names_by_leaf_t names;
        dri_get_ntfy_leaf_events_for_container(path, names);
        return visit(names, visitor, data);
    });
}

int drx_send_event(void* peer, const char* internal_name, const char* external_name,
                   const char* argument) {
    if (dri_is_answering(peer)) {
        return DREND_ERR; // a line of error would stand in the middle of the answer
    }
    return dri_answer<int>(peer, DREND_ERR, [&] {
        const dri_used_tag_t tag(dri_acquire_event_tag(internal_name, external_name));
        return tag == nullptr ? static_cast<int>(DREND_NO_EL)
                              : send_event(peer, tag.get(), argument);
    });
}
