// SPDX-License-Identifier: BSD-2-Clause

// Look-ups of commands, of the daemons that own a path and of notifications, in the current set.
//
// Each holds the definitions lock for its whole run, so that it sees one whole set. Pointers belong
// to the set and stay valid until it is retired. Any thread. The functions for daemons are
// declared in drend.h.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "definitions/drend_load.h"

// The name of the command that get requests are rendered with: the merged schema of all daemons.
inline constexpr char DRI_NETCONF_GET[] = "corvane-netconf-get";

// By position in load order; null beyond the last one.
drend_command_c* dri_get_command(unsigned index);
// A set must be current.
const char* dri_get_command_string(unsigned index);
drend_tag_c* dri_get_command_tag(unsigned index);
const char* dri_get_command_help(unsigned index);
// The root tag, put in use for the caller, who takes the use back (dri_release_command_tag).
drend_tag_c* dri_acquire_command_tag(unsigned index);

// A root tag in use, which takes the use back when it goes out of scope.
struct dri_release_tag_s {
    void operator()(const drend_tag_c* tag) const { dri_release_command_tag(tag); }
};
using dri_used_tag_t = std::unique_ptr<const drend_tag_c, dri_release_tag_s>;

// The names of the commands that can be run, in load order.
std::vector<std::string> dri_get_command_names();

// The root tag of the merged schema, or null.
drend_tag_c* dri_get_netconf_get_tag();

// Retires all commands and leaves the current set without any; notifications stay.
void dri_clear_command();

// The events filed under an internal notification name, or null.
const std::vector<drend_event_c*>* dri_get_external_events(const char* internal_name);
// The root tag of the event `external_name` (null: of the first one that has a tag) of those, put
// in use for the caller as that of a command; null when there is none.
drend_tag_c* dri_acquire_event_tag(const char* internal_name, const char* external_name);
// The internal notification names that a leaf announces. 0, or -1 when there are none; one "/" at
// the end of the path does not count.
int dri_get_internal_events_for_leaf(const char* path, std::vector<std::string>& out);
// The same for every leaf whose path contains `path` anywhere, by leaf.
int dri_get_ntfy_leaf_events_for_container(
    const char* path, std::map<std::string, std::vector<std::string>>& out);
