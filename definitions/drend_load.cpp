// SPDX-License-Identifier: BSD-2-Clause

// Which set of definitions is in force, and how another one takes its place.
//
// A set is read and merged aside, without the definitions lock, and becomes the current one by the
// exchange of a pointer: neither a look-up nor a walk ever waits for a load.
#include "definitions/drend_load.h"

#include <atomic>
#include <cassert>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "definitions/dr_check.h"
#include "definitions/dr_current_set.h"
#include "definitions/dr_load_steps.h"
#include "definitions/dr_taken_trees.h"
#include "frame/drend_hooks.h"
#include "frame/str_util.h"

namespace {

std::atomic<int> set_count{0};
std::atomic<dri_is_taken_t> is_taken_name{nullptr};

struct loader_s {
    drend_lock_c definitions_lock; // guards `current`
    dr_daemon_context_c* current = nullptr;
    drend_lock_c load_lock; // guards `name`, and is held for the whole of a load
    const char* name = nullptr;
};

loader_s& loader() {
    static loader_s state;
    return state;
}

std::vector<std::string> files_of(const char* name, dr_findings_c& findings) {
    std::vector<std::string> files;
    if (name != nullptr) {
        files.push_back(std::string(name) + ".json");
    }
    for (const std::string& directory : dri_directories(nullptr)) {
        dri_append_matches(directory, dri_pattern(name).c_str(), files, findings);
    }
    return files;
}

// Says where was looked for what.
void add_no_file(const char* name, dr_findings_c& findings) {
    std::string directories;
    str_join(dri_directories(nullptr), directories, ", ");
    findings.add(dr_rule_e::NO_FILE, directories,
                 "no file is called '" + dri_pattern(name) + "'");
}

std::unique_ptr<dr_daemon_context_c> read_set(const char* name, bool wants_files,
                                              dr_findings_c& findings) {
    auto ddc = std::make_unique<dr_daemon_context_c>();
    for (const std::string& file : files_of(name, findings)) {
        std::string text;
        if (dri_read_text(file.c_str(), text, findings)) {
            dri_read_definitions(file.c_str(), text, *ddc, findings);
            wants_files = false;
        }
    }
    if (wants_files && !findings.is_incomplete()) {
        add_no_file(name, findings);
    }
    dri_take_trees(*ddc, findings);
    return ddc;
}

// Reads one file and says what is wrong with it.
int read_file(const char* path, dr_daemon_context_c& set) {
    dr_findings_c findings;
    std::string text;
    const int status = dri_read_text(path, text, findings)
                           ? dri_read_definitions(path, text, set, findings)
                           : -1;
    findings.print(stderr);
    return status;
}

// Makes a set (null: none) current and retires the one before.
void replace_current(std::unique_ptr<dr_daemon_context_c> set) {
    dr_daemon_context_c* replaced = nullptr;
    {
        drend_lock_guard_c guard(loader().definitions_lock);
        replaced = std::exchange(loader().current, set.release());
    }
    // No look-up finds it any more, so no walk begins to use it.
    dri_free_daemon_context(replaced);
}

bool has_current() {
    drend_lock_guard_c guard(loader().definitions_lock);
    return loader().current != nullptr;
}

int report_no_memory() {
    dr_findings_c findings;
    findings.note_no_memory();
    findings.print(stderr);
    return -1;
}

using finish_t = void (*)(dr_daemon_context_c& set);

// Whether a daemon that has definitions keeps them: it does not lose them to a directory that it
// cannot open and, when it is strict, to no error at all. One that starts takes what there is.
bool is_refused(const dr_findings_c& findings) {
    return findings.is_incomplete() || (dri_is_strict() && findings.errors() > 0);
}

// Reads a new set, has it finished aside and makes it current.
int load(const char* name, finish_t finish, dr_findings_c& findings) {
    drend_lock_guard_c guard(loader().load_lock);
    loader().name = name;
    const bool replaces = has_current();
    try {
        std::unique_ptr<dr_daemon_context_c> ddc = read_set(name, replaces, findings);
        dr_findings_c of_commands; // before the merge gives them other names
        dri_check_commands(*ddc, of_commands);
        finish(*ddc);
        findings.print(stderr);
        if (replaces && is_refused(findings)) {
            return -1;
        }
        ddc->findings = findings;
        ddc->findings.append(of_commands);
        replace_current(std::move(ddc));
        return 0;
    } catch (const std::bad_alloc&) {
        findings.note_no_memory();
        findings.print(stderr);
        return -1;
    }
}

} // namespace

drend_lock_c& dri_definitions_lock() {
    return loader().definitions_lock;
}

dr_daemon_context_c* dri_current_set() {
    assert(loader().definitions_lock.is_held());
    return loader().current;
}

// --- the set ---

dr_daemon_context_c::dr_daemon_context_c() {
    set_count.fetch_add(1, std::memory_order_relaxed);
}

dr_daemon_context_c::~dr_daemon_context_c() {
    assert(!is_walked());
    for (drend_command_c* command : commands) {
        delete command;
    }
    for (const auto& [name, events] : external_events) {
        for (drend_event_c* event : events) {
            delete event;
        }
    }
    set_count.fetch_sub(1, std::memory_order_relaxed);
}

void dr_daemon_context_c::index_names() {
    forget_names();
    for (drend_command_c* command : commands) {
        if (command->dc_tag != nullptr) {
            by_name_.emplace(command->dc_name, command);
        }
    }
}

drend_command_c* dr_daemon_context_c::find_command(std::string_view name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
}

bool dr_daemon_context_c::is_walked() const {
    for (const drend_command_c* command : commands) {
        if (command->dc_tag != nullptr && command->dc_tag->dt_uses > 0) {
            return true;
        }
    }
    for (const auto& [name, events] : external_events) {
        for (const drend_event_c* event : events) {
            if (event->dc_tag != nullptr && event->dc_tag->dt_uses > 0) {
                return true;
            }
        }
    }
    return false;
}

int dri_get_set_count() {
    return set_count.load(std::memory_order_relaxed);
}

// --- loading ---

int dri_load_dir(const char* name) {
    dr_findings_c findings;
    return load(
        name, [](dr_daemon_context_c& set) { set.index_names(); }, findings);
}

int dri_load_merged(const char* name) {
    dr_findings_c findings;
    return load(name, dri_merge_set, findings);
}

int dri_reload_json(dr_findings_c& findings) {
    drend_lock_guard_c guard(loader().load_lock);
    return load(loader().name, dri_merge_set, findings);
}

int dri_reload_json() {
    dr_findings_c findings;
    return dri_reload_json(findings);
}

void dri_set_taken_names(dri_is_taken_t is_taken) {
    is_taken_name.store(is_taken, std::memory_order_release);
}

bool dri_is_taken_name(const char* name) {
    const dri_is_taken_t is_taken = is_taken_name.load(std::memory_order_acquire);
    return is_taken != nullptr && is_taken(name);
}

int dri_schema_merge() {
    drend_lock_guard_c guard(loader().definitions_lock);
    try {
        if (loader().current != nullptr) {
            dri_merge_set(*loader().current);
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return report_no_memory();
    }
}

int dri_load_filename(const char* path) {
    drend_lock_guard_c guard(loader().definitions_lock);
    try {
        if (loader().current == nullptr) {
            loader().current = new dr_daemon_context_c;
        }
        const int status = read_file(path, *loader().current);
        dr_findings_c findings;
        dri_take_trees(*loader().current, findings);
        findings.print(stderr);
        loader().current->index_names();
        return status;
    } catch (const std::bad_alloc&) {
        return report_no_memory();
    }
}

int dri_load_file(const char* path, dr_daemon_context_c& set) {
    return read_file(path, set);
}

int dri_load_file_ex(const char* name, dr_daemon_context_c& set) {
    dri_load_file(dri_resolve_filename(name).c_str(), set);
    return 0;
}

void dri_release_daemon_context() {
    replace_current(nullptr);
}

// --- look-ups ---

unsigned dri_get_count() {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* ddaemon_context = dri_current_set();
    assert(ddaemon_context);
    return ddaemon_context == nullptr
               ? 0
               : static_cast<unsigned>(ddaemon_context->commands.size());
}

drend_tag_c* dri_get_command_tag_by_name(const char* name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const dr_daemon_context_c* set = dri_current_set();
    const drend_command_c* command = set == nullptr ? nullptr : set->find_command(name);
    return command == nullptr ? nullptr : command->dc_tag;
}

drend_tag_c* dri_acquire_command_tag(const char* name) {
    drend_lock_guard_c guard(dri_definitions_lock());
    drend_tag_c* tag = dri_get_command_tag_by_name(name);
    if (tag != nullptr) {
        dri_tags_add_inuse(tag);
    }
    return tag;
}

void dri_release_command_tag(const drend_tag_c* tag) {
    dri_tags_delete_inuse(tag);
    if (dri_retirement_waits()) {
        dri_free_daemon_context(nullptr);
    }
}
