// SPDX-License-Identifier: BSD-2-Clause

// What a subscriber gets of an event: its content within a "notification", as NETCONF (RFC 5277)
// and RESTCONF (RFC 8040) have them, and where it asks for compact texts one to a line.
//
//     <notification xmlns="..."><eventTime>...</eventTime><lease-granted>...</notification>
//     {"ietf-restconf:notification":{"eventTime":"...","leases:lease-granted":{...}}}
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "definitions/drend_tag.h"

// How a subscriber wants events.
struct dr_event_form_s {
    std::string
        args; // as the subscriber gave them: what is the same for two of them is made once
    bool is_json = false;
    bool is_ietf = false; // names have modules
    bool is_compact = false;
    bool has_filter = false;

    const char* media_type() const;
};

// Reads the arguments of a subscription. False with a line for the peer in `refusal` when there are
// others than those of forms and a subtree filter.
bool dri_read_event_form(const char* argument, dr_event_form_s& form, std::string& refusal);

// The time of now as notifications have it, in UTC.
std::string dri_event_time();

// An event that is one element with a content, both of which may be missing: then it is empty.
struct dr_event_s {
    std::string name;                     // for the outside
    std::string name_space;               // as it stands in an element's tag
    const drend_tag_c* content = nullptr; // in use for as long as this is
};

// Renders the content and puts the rest around it. Empty when the filter selects nothing of it;
// nullopt when it would be longer than `limit`.
std::optional<std::string> dri_notification(const dr_event_form_s& form,
                                            const std::string& time,
                                            const dr_event_s& event, size_t limit);

// What the library itself has to say: an element of the module "orvex-events" with one leaf.
std::string dri_own_notification(const dr_event_form_s& form, const std::string& time,
                                 std::string_view element, std::string_view leaf,
                                 std::string_view value);
