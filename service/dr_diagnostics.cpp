// SPDX-License-Identifier: BSD-2-Clause

// The fixed commands "check", "trace" and "statistics", for those who write definitions, those who
// look for what is missing in an answer, and those who look for what a daemon holds and why.
//
// They are not part of every menu, for a menu's indices are known to the daemons that count on it:
// a daemon adds them (drend_add_service_commands).
#include <cstdlib>
#include <iterator>

#include <malloc.h>

#include "definitions/dr_check.h"
#include "definitions/drend_load.h"
#include "expr/dri_args.h"
#include "frame/dr_no_such.h"
#include "frame/drend_hooks.h"
#include "frame/drend_trace.h"
#include "render/dr_answer.h"
#include "render/dr_suspendable.h"
#include "service/drend_fixed_commands.h"

namespace {

// --- check ---

std::string unquoted_value(const dr_argument_s& argument) {
    dr_str_buf_c value(argument.value.c_str());
    value.strip_quotes();
    return value.c_str();
}

void send_text(void* peer, const dr_findings_c& findings) {
    findings.send_all(peer);
    const size_t all = findings.all().size() + findings.more();
    drend_send(peer, "%s\n",
               (std::to_string(findings.errors()) + " errors, " +
                std::to_string(all - findings.errors()) + " warnings")
                   .c_str());
}

int check(void* peer, const char* argument) {
    std::vector<dr_argument_s> arguments;
    dri_read_args(argument == nullptr ? "" : argument, arguments);
    dr_findings_c findings;
    if (const dr_argument_s* path = dri_find_arg(arguments, "path")) {
        dri_check_files({unquoted_value(*path)}, findings);
    } else {
        dri_check_loaded(findings);
    }
    if (dri_find_arg(arguments, "as-json") != nullptr ||
        dri_find_arg(arguments, "as-ietf-json") != nullptr) {
        dri_answer_begins(peer, "application/json");
        drend_send(peer, "%s", dri_findings_json(findings.all()).c_str());
    } else {
        send_text(peer, findings);
    }
    return 0;
}

// --- trace ---

struct trace_word_s {
    const char* word;
    unsigned bits;
};

constexpr trace_word_s TRACE_WORDS[] = {
    {"walk", DREND_TRACE_WALK},
    {"load", DREND_TRACE_LOAD},
    {"error", DREND_TRACE_ERROR},
    {"walker", DREND_TRACE_WALKER},
    {"all", DREND_TRACE_WALK | DREND_TRACE_LOAD | DREND_TRACE_ERROR | DREND_TRACE_WALKER},
    {"off", 0},
};

const trace_word_s* find_trace_word(const std::string& word) {
    for (const trace_word_s& row : TRACE_WORDS) {
        if (word == row.word) {
            return &row;
        }
    }
    return nullptr;
}

// The word in force, and for how long.
int show_trace(void* peer) {
    std::string text = "trace:";
    for (const trace_word_s& row : TRACE_WORDS) {
        const bool is_one = (row.bits & (row.bits - 1)) == 0 && row.bits != 0;
        if (is_one && dri_trace_on(row.bits)) {
            text.append(" ").append(row.word);
        }
    }
    const uint64_t left = dri_trace_lines_left();
    text += text.ends_with(':') ? " off" : "";
    text += left > 0 ? ", " + std::to_string(left) + " lines left" : "";
    drend_send(peer, "%s\n", text.c_str());
    return 0;
}

int refuse_trace(void* peer, const std::string& word) {
    dri_refuse(peer, "invalid-request",
               "error: trace: " + dri_quoted_word(word) +
                   "; there are walk, load, error, walker, all, off and lines=NUMBER\n");
    return -1;
}

int trace(void* peer, const char* argument) {
    std::vector<dr_argument_s> arguments;
    dri_read_args(argument == nullptr ? "" : argument, arguments);
    unsigned bits = 0;
    uint64_t lines = 0;
    for (const dr_argument_s& word : arguments) {
        const trace_word_s* known = find_trace_word(word.name);
        if (known != nullptr) {
            bits |= known->bits;
        } else if (word.name == "lines") {
            lines = strtoull(unquoted_value(word).c_str(), nullptr, 10);
        }
        if (known == nullptr && (word.name != "lines" || lines == 0)) {
            return refuse_trace(peer, word.name);
        }
    }
    if (!arguments.empty()) {
        dri_trace_for(bits, lines);
    }
    return show_trace(peer);
}

// --- statistics ---

// Of the whole daemon, in bytes: what it has allocated and not freed, and what of the heap's memory
// is free for it.
void send_heap(void* peer) {
#ifdef __GLIBC__
    const struct mallinfo2 heap = mallinfo2();
    drend_send(peer, "allocated: %zu\nfree: %zu\n", heap.uordblks + heap.hblkhd,
               heap.fordblks);
#else
    (void)peer;
#endif
}

int show_statistics(void* peer, const char* /*argument*/) {
    drend_send(peer, "answers: %zu\nuses: %u\nsets: %d\ntags: %d\n",
               dr_suspendable_c::kept_count(), dri_inuse_count(), dri_get_set_count(),
               dri_get_tag_count());
    send_heap(peer);
    return 0;
}

constexpr drend_menu_entry_s COMMANDS[] = {
    {"check", "Check the definitions: path=PATH as-json", 0, nullptr,
     dri_fixed_handler<check>},
    {"trace", "Show or set the trace: walk load error walker all off lines=N", 0, nullptr,
     dri_fixed_handler<trace>},
    {"statistics", "Show what is held: suspended answers, uses and sets of definitions", 0,
     nullptr, dri_fixed_handler<show_statistics>},
};

} // namespace

int drend_add_service_commands(void) {
    return dri_is_fixed_command(COMMANDS[0].command)
               ? 0
               : drend_add_fixed_commands(COMMANDS, std::size(COMMANDS));
}
