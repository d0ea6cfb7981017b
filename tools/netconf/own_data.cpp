// SPDX-License-Identifier: BSD-2-Clause

#include "own_data.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <set>

#include "ascii_text.h"
#include "drend.h"
#include "own_facts.h"

namespace {

constexpr char COMMAND[] = "corvane-netconf-get";
constexpr char APPLICATION[] = "orvex-netconf";
constexpr char DATA_SET[] = "own data";
constexpr unsigned SEND_BUFFER = 16384;

constexpr const char* OWN_MODULES[] = {
    "urn:ietf:params:xml:ns:netconf:base:1.0?module=ietf-netconf&revision=2011-06-01",
    "urn:ietf:params:xml:ns:netconf:notification:1.0?module=notifications"
    "&revision=2008-07-14",
    "urn:ietf:params:xml:ns:netmod:notification?module=nc-notifications"
    "&revision=2008-07-14",
    "urn:ietf:params:xml:ns:yang:ietf-datastores?module=ietf-datastores&revision=2018-02-"
    "14",
    "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring?module=ietf-netconf-monitoring"
    "&revision=2010-10-04",
    "urn:ietf:params:xml:ns:yang:ietf-netconf-nmda?module=ietf-netconf-nmda"
    "&revision=2019-01-07",
    "urn:ietf:params:xml:ns:yang:ietf-yang-library?module=ietf-yang-library"
    "&revision=2019-01-04",
    "urn:orvex:events?module=orvex-events&revision=2026-11-22",
};

// What an answer comes to; the library's peer.
struct answer_s {
    std::string text;
    std::string error;
};

int take_text(void* peer, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    static_cast<answer_s*>(peer)->text += va_arg(arguments, const char*); // of "%s"
    va_end(arguments);
    return 0;
}

// Its line of error, or 210, is no text then.
int take_end(void* peer, const drend_answer_end_s* end) {
    if (end->end != DREND_ANSWER_COMPLETE) {
        static_cast<answer_s*>(peer)->error = end->text;
    }
    return 1;
}

// The library starts with what it could read: without the rest, answers would lack parts silently.
bool has_definitions() {
    const std::vector<top_element_s>& tops = own_data_c::as_source().tops;
    return std::all_of(tops.begin(), tops.end(), [](const top_element_s& top) {
        return drend_get_message_id_from_path(("/" + top.name.name).c_str()) >= 0;
    });
}

} // namespace

std::vector<std::string> all_modules(const std::vector<daemon_s>& daemons) {
    std::set<std::string> modules(std::begin(OWN_MODULES), std::end(OWN_MODULES));
    for (const daemon_s& daemon : daemons) {
        modules.insert(daemon.modules.begin(), daemon.modules.end());
    }
    return {modules.begin(), modules.end()};
}

// FNV-1a: equal ids of different modules are a matter of chance, not of an attacker.
std::string content_id_of(const std::vector<std::string>& modules) {
    std::uint64_t hash = 14695981039346656037U;
    for (const std::string& module : modules) {
        for (const char c : module + "\n") {
            hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
        }
    }
    char text[17];
    snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

const daemon_s& own_data_c::as_daemon() {
    static const daemon_s own{
        "orvex-netconf", "", {std::begin(OWN_MODULES), std::end(OWN_MODULES)}};
    return own;
}

// The topmost tags of its definitions.
const source_s& own_data_c::as_source() {
    static const source_s own{
        as_daemon().name,
        {{{NETCONF_MONITORING, "netconf-state"}, "container"},
         {{"urn:ietf:params:xml:ns:netmod:notification", "netconf"}, "container"},
         {{"urn:ietf:params:xml:ns:yang:ietf-yang-library", "yang-library"}, "container"}}};
    return own;
}

// Once: a session that asks for nothing of it does not load it.
bool own_data_c::start() {
    if (is_started_) {
        return true;
    }
    drend_set_prefix(prefix_.c_str());
    drend_set_send_method_w_return(take_text);
    drend_set_answer_methods(nullptr, take_end);
    drend_set_send_buffer(SEND_BUFFER);
    is_started_ = drend_app_init(APPLICATION) == 0 && has_definitions();
    error_ = is_started_ ? "" : "its definitions cannot be read";
    return is_started_;
}

bool own_data_c::refresh() {
    char error[256] = "";
    if (!start()) {
        return false;
    }
    const bool is_set = dr_ops_load_from_json(DATA_SET, to_json(facts_()).c_str(), error,
                                              sizeof error) == 0;
    error_ = error;
    return is_set;
}

std::optional<std::string> own_data_c::answer(const std::string& arguments) {
    answer_s answer;
    const int status = drend_dump_rpc(&answer, COMMAND, arguments.c_str());
    error_ = answer.error.empty() && status != 0 ? "out of memory" : answer.error;
    return error_.empty() ? std::optional(std::move(answer.text)) : std::nullopt;
}
