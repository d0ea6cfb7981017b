// SPDX-License-Identifier: BSD-2-Clause

// Notifications for whoever listens: the fixed command "events", and what is announced to those who
// have run it.
//
// A content is rendered when it is announced, for it shows what is then, and once for each form
// that is wanted, however many listen. While that calls accessors no list of subscribers is gone
// through.
#include <iterator>
#include <map>
#include <vector>

#include "definitions/dr_current_set.h"
#include "definitions/drend_lookup.h"
#include "frame/dr_no_memory.h"
#include "render/dr_answer.h"
#include "service/dr_subscription.h"
#include "service/drend_fixed_commands.h"

namespace {

using text_t = dr_subscription_c::text_t;
using forms_t = std::map<std::string, dr_event_form_s>; // by their arguments

struct used_event_s {
    dr_event_s event;
    dri_used_tag_t tag;
};

std::vector<used_event_s> events_of(const char* internal_name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    std::vector<used_event_s> used;
    const std::vector<drend_event_c*>* events = dri_get_external_events(internal_name);
    for (size_t i = 0; events != nullptr && i < events->size(); ++i) {
        const drend_event_c& event = *(*events)[i];
        dri_used_tag_t tag;
        if (event.dc_tag != nullptr) {
            dri_tags_add_inuse(event.dc_tag);
            tag.reset(event.dc_tag);
        }
        used.push_back({{event.dc_external_notify_name, event.dc_namespace, event.dc_tag},
                        std::move(tag)});
    }
    return used;
}

forms_t forms_wanted() {
    forms_t forms;
    for (const dr_subscription_c* subscription : dr_subscription_c::all()) {
        forms.emplace(subscription->form().args, subscription->form());
    }
    return forms;
}

// Makes a text for each form and offers it to those who want that. One that is empty is for nobody,
// nullopt one that cannot be.
template <typename Make>
void tell(const forms_t& forms, const Make& make) {
    std::map<std::string, text_t> texts;
    for (const auto& [args, form] : forms) {
        std::optional<std::string> text = make(form);
        if (!text) {
            texts[args] = nullptr;
        } else if (!text->empty()) {
            texts[args] = std::make_shared<const std::string>(*std::move(text));
        }
    }
    for (dr_subscription_c* subscription : dr_subscription_c::all()) {
        const auto found = texts.find(subscription->form().args);
        if (found != texts.end()) {
            subscription->offer(found->second);
        }
    }
}

int announce(const char* internal_name) {
    const std::vector<used_event_s> events = events_of(internal_name);
    const forms_t forms = forms_wanted();
    const std::string time = dri_event_time();
    for (const used_event_s& used : events) {
        tell(forms, [&](const dr_event_form_s& form) {
            return dri_notification(form, time, used.event, dr_subscription_c::QUEUE_MAX);
        });
    }
    if (events.empty()) {
        tell(forms, [&](const dr_event_form_s& form) {
            return dri_own_notification(form, time, "event-undefined", "name",
                                        internal_name);
        });
    }
    return events.empty() ? DREND_NO_EL : DREND_OK;
}

int subscribe(void* peer, const char* argument) {
    dr_event_form_s form;
    std::string refusal;
    if (!dri_read_event_form(argument, form, refusal)) {
        dri_refuse(peer, "invalid-request", refusal);
        return -1;
    }
    dri_answer_begins(peer, form.media_type());
    if (dr_subscription_c::begin(peer, form)) {
        return 0;
    }
    dri_give_up(peer, false, "failed", "this peer cannot be kept");
    return -1;
}

constexpr drend_menu_entry_s COMMANDS[] = {
    {"events",
     "Show events as they come: as-json as-ietf-json as-ietf-xml compact ascii filter=", 0,
     nullptr, dri_fixed_handler<subscribe>},
};

} // namespace

int drend_add_events_command(void) {
    return dri_is_fixed_command(COMMANDS[0].command)
               ? 0
               : drend_add_fixed_commands(COMMANDS, std::size(COMMANDS));
}

int drx_announce_event(const char* internal_name) {
    const int status =
        dri_unless_no_memory<int>(DREND_ERR, [&] { return announce(internal_name); });
    if (status == DREND_ERR) {
        for (dr_subscription_c* subscription : dr_subscription_c::all()) {
            subscription->drop();
        }
    }
    dr_subscription_c::wake_all();
    return status;
}
