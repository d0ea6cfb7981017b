// SPDX-License-Identifier: BSD-2-Clause

// Look-ups, each under the definitions lock. The lock is recursive, so that they can be made of
// each other and still see one set.
#include "definitions/drend_lookup.h"

#include <cassert>
#include <cstring>
#include <utility>

#include "definitions/dr_current_set.h"
#include "frame/dr_no_memory.h"
#include "frame/drend_trace.h"

namespace {

std::string without_end_slash(const char* path) {
    std::string text = path;
    if (text.ends_with('/')) {
        text.pop_back();
    }
    return text;
}

// Runs `find` on the root of the merged schema. -1 when there is none, with a trace line, and when
// memory runs out.
template <typename Find>
int on_merged_schema(const char* caller, Find find) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const drend_tag_c* root = dri_get_netconf_get_tag();
    if (root != nullptr) {
        return dri_unless_no_memory(-1, [&] { return find(*root); });
    }
    if (dri_trace_on(DREND_TRACE_ERROR)) {
        drend_debug_trace("DR_ERROR: Couldn't find %s:%s\n", DRI_NETCONF_GET, caller);
    }
    return -1;
}

// The daemons that own `path`; empty, with a trace line, when there are none.
std::set<std::string> daemons_of(const char* caller, const char* path) {
    std::set<std::string> daemons;
    const int found = drend_get_daemons_from_path(path, daemons);
    if (found <= 0) {
        if (dri_trace_on(DREND_TRACE_ERROR)) {
            drend_debug_trace(
                "DR_ERROR: %s: drend_get_daemons_from_path failed for path %s, "
                "return value: %d",
                caller, path, found);
        }
        return {};
    }
    int number = 0;
    for (const std::string& daemon : daemons) {
        if (dri_trace_on(DREND_TRACE_WALKER)) {
            drend_debug_trace("DR_WALKER: %s: Daemon%d for path %s is %s", caller, number,
                              path, daemon.c_str());
        }
        ++number;
    }
    return daemons;
}

} // namespace

// --- by position ---

drend_command_c* dri_get_command(unsigned index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    return set != nullptr && index < set->commands.size() ? set->commands[index] : nullptr;
}

const char* dri_get_command_string(unsigned index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    [[maybe_unused]] const dr_daemon_context_c* ddaemon_context = dri_current_set();
    assert(ddaemon_context);
    const drend_command_c* command = dri_get_command(index);
    return command == nullptr ? nullptr : command->dc_name;
}

drend_tag_c* dri_get_command_tag(unsigned index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const drend_command_c* command = dri_get_command(index);
    return command == nullptr ? nullptr : command->dc_tag;
}

const char* dri_get_command_help(unsigned index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const drend_command_c* command = dri_get_command(index);
    return command == nullptr ? nullptr : command->dc_help;
}

drend_tag_c* dri_acquire_command_tag(unsigned index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    drend_tag_c* tag = dri_get_command_tag(index);
    if (tag != nullptr) {
        dri_tags_add_inuse(tag);
    }
    return tag;
}

// --- by name ---

drend_tag_c* dri_get_netconf_get_tag() {
    return dri_get_command_tag_by_name(DRI_NETCONF_GET);
}

std::vector<std::string> dri_get_command_names() {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    std::vector<std::string> names;
    for (size_t i = 0; set != nullptr && i < set->commands.size(); ++i) {
        if (set->commands[i]->dc_tag != nullptr) {
            names.emplace_back(set->commands[i]->dc_name);
        }
    }
    return names;
}

void dri_clear_command() {
    // Walks may be inside the commands' trees, so they go the way of a replaced set.
    auto retired = std::make_unique<dr_daemon_context_c>();
    {
        drend_lock_guard_c guard(dri_definitions_lock());
        dr_daemon_context_c* set = dri_current_set();
        if (set == nullptr) {
            return;
        }
        set->forget_names();
        std::swap(retired->commands, set->commands);
        retired->tags = set->tags; // both go on using them
        set->merged_commands = 0;
    }
    dri_free_daemon_context(retired.release());
}

// --- by path ---

int drend_get_command_set_from_path(const char* path, std::set<drend_command_s*>& out) {
    return on_merged_schema(
        "drend_get_command_set_from_path",
        [&](const drend_tag_c& root) { return root.find_command_from_path(path, out); });
}

int drend_get_message_id_from_path(const char* path) {
    return on_merged_schema("drend_get_message_id_from_path", [&](const drend_tag_c& root) {
        return root.find_message_id_from_path(path);
    });
}

int drend_get_daemons_from_path(const char* path, std::set<std::string>& out) {
    return on_merged_schema("drend_get_daemons_from_path", [&](const drend_tag_c& root) {
        return root.find_daemons_from_path(path, out);
    });
}

char* drend_get_only_daemon_responsible(const char* path) {
    return dri_unless_no_memory<char*>(nullptr, [&] {
        const std::set<std::string> daemons =
            daemons_of("drend_get_only_daemon_responsible", path);
        return daemons.size() == 1 ? strdup(daemons.begin()->c_str()) : nullptr;
    });
}

char* drend_get_daemon_responsible(const char* path) {
    // A daemon may ask before anything has merged what it loaded.
    static const int merged = dri_schema_merge();
    (void)merged;
    return dri_unless_no_memory<char*>(nullptr, [&] {
        const std::set<std::string> daemons =
            daemons_of("drend_get_daemon_responsible", path);
        return daemons.empty() ? nullptr : strdup(daemons.begin()->c_str());
    });
}

// --- notifications ---

const std::vector<drend_event_c*>* dri_get_external_events(const char* internal_name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    if (set == nullptr) {
        return nullptr;
    }
    const auto found = set->external_events.find(internal_name);
    return found == set->external_events.end() ? nullptr : &found->second;
}

drend_tag_c* dri_acquire_event_tag(const char* internal_name, const char* external_name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const std::vector<drend_event_c*>* events = dri_get_external_events(internal_name);
    for (size_t i = 0; events != nullptr && i < events->size(); ++i) {
        const drend_event_c& event = *(*events)[i];
        const bool is_meant =
            external_name == nullptr || event.dc_external_notify_name == external_name;
        if (is_meant && event.dc_tag != nullptr) {
            dri_tags_add_inuse(event.dc_tag);
            return event.dc_tag;
        }
    }
    return nullptr;
}

int dri_get_internal_events_for_leaf(const char* path, std::vector<std::string>& out) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    if (set == nullptr) {
        return -1;
    }
    const auto found = set->notification_leaves.find(without_end_slash(path));
    if (found == set->notification_leaves.end()) {
        return -1;
    }
    out = found->second;
    return out.empty() ? -1 : 0;
}

int dri_get_ntfy_leaf_events_for_container(
    const char* path, std::map<std::string, std::vector<std::string>>& out) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    if (set == nullptr) {
        return -1;
    }
    const std::string wanted = without_end_slash(path);
    for (const auto& [leaf, names] : set->notification_leaves) {
        if (leaf.find(wanted) != std::string::npos) {
            out[leaf] = names;
        }
    }
    return out.empty() ? -1 : 0;
}
