// SPDX-License-Identifier: BSD-2-Clause

// Loading, merging, replacing and retiring sets of definitions.
//
//     files --> dr_daemon_context_c --merge--> current --reload--> retired --> destroyed
//                                                ^                   when no walk uses its tags
//                                             look-ups
//
//  1. A tag is immutable once its set is merged. A reload builds a new set aside and swaps it
//     in; files that are read into a set later give it new merged trees beside the old ones.
//  2. A retired set is destroyed by the first retirement call at which none of its root tags is in
//     use. Walks put their root tags in use and take them out exactly once.
//  3. Loads are serialised by the load lock. The definitions lock is held for the swap and during
//     look-ups only, so that these see either the old set or the new one.
//
// Any thread may load. What a look-up returns belongs to the set and stays valid until the set is
// retired, or as long as a root tag of it is in use.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "definitions/dr_findings.h"
#include "definitions/drend_command.h"
#include "definitions/drend_tag.h"

// Tags that keep their addresses.
using dr_tags_t = std::deque<drend_tag_c>;

// A command that asks for the tags of another one, until all files are read.
struct dr_taken_tree_s {
    drend_command_c* command;
    std::string from;
    dr_finding_s finding; // where it asks
};

// One set of loaded definitions.
class dr_daemon_context_c {
  public:
    dr_daemon_context_c();
    ~dr_daemon_context_c();
    dr_daemon_context_c(const dr_daemon_context_c&) = delete;
    dr_daemon_context_c& operator=(const dr_daemon_context_c&) = delete;

    std::vector<drend_command_c*> commands; // owned, in load order
    // Notification events by internal notification name; owned.
    std::map<std::string, std::vector<drend_event_c*>> external_events;
    // Internal notification names by the path of the leaf that announces them.
    std::map<std::string, std::vector<std::string>> notification_leaves;
    std::vector<dr_taken_tree_s> taken;
    std::deque<std::string> files; // that were read; tags refer to them
    // What was wrong with them.
    dr_findings_c findings;
    // Owns every tag of the set, of which others are views: trees share tags once they are merged.
    // Shared with the set that takes the commands when the events stay (dri_clear_command).
    std::shared_ptr<dr_tags_t> tags = std::make_shared<dr_tags_t>();

    // The first command of that name that has a tag, or null.
    drend_command_c* find_command(std::string_view name) const;
    // To be called when commands came or changed their names; find_command finds none of them
    // before.
    void index_names();
    // To be called before commands go or change their names.
    void forget_names() { by_name_.clear(); }
    // Whether one of the tags that a walk can start from is in use; the caller holds the lock
    // of the in-use list.
    bool is_walked() const;

    size_t merged_commands = 0;                  // how many commands the last merge left
    dr_daemon_context_c* next_retired = nullptr; // on the retirement list

  private:
    std::unordered_map<std::string_view, drend_command_c*> by_name_;
};

// --- where files are found ---

std::string dri_prefix();
// A directory that replaces the render directories when it is not empty.
void dri_set_dir_path(const char* path);
std::string dri_dir_path();

// Appends the paths of the files that match a shell pattern in `directory`, or in the render
// directories when it is null, in the order in which the directories list them. Directories that
// cannot be read are passed over. Returns 0.
int drend_get_filenames(const char* directory, const char* pattern,
                        std::vector<std::string>& out);
// The files of application `name` in the render directories.
int dri_get_all_files_by_pattern(const char* name, std::vector<std::string>& out);
// The path of the file `name` in the render directories; `name` itself when it is in none.
std::string dri_resolve_filename(const char* name);

// --- loading ---

// Reads one file into a set. 0, or -1 when it is missing (silently), could not be read or could not
// be parsed (one line on standard error). What a faulty entry leaves out, with a line, does not
// keep the others from loading.
int dri_load_file(const char* path, dr_daemon_context_c& set);
// Resolves a file's name first. Returns 0.
int dri_load_file_ex(const char* name, dr_daemon_context_c& set);
// Reads one file into the current set, made when there is none.
int dri_load_filename(const char* path);
// Loads a new set and makes it current. `name` selects an application's files, null all files; the
// pointer is kept for reloads, so the text must stay. What is wrong with a file leaves it or a part
// of it out, with a line on standard error. 0, or -1 when memory ran out or, while a set is
// current, something that is there could not be read; the set that was current then stays.
int dri_load_dir(const char* name);
// Merges the commands of the current set that share a name. 0, or -1 when memory ran out.
int dri_schema_merge();
// The two in one, as a daemon starts: the set is merged aside, so that no look-up of another thread
// sees it before. Fails as dri_load_dir does.
int dri_load_merged(const char* name);
// Loads again what was loaded last, merges it and makes it current, unless that fails as
// dri_load_dir does. Whoever asks may have what standard error is told.
int dri_reload_json(dr_findings_c& findings);
int dri_reload_json();

// Tells whether a name belongs to a fixed command: definitions of commands may not have it. Null,
// the default: no name does. Any thread.
using dri_is_taken_t = bool (*)(const char* name);
void dri_set_taken_names(dri_is_taken_t is_taken);
bool dri_is_taken_name(const char* name);

// --- retirement ---

// Puts a set (null: none) on the retirement list and destroys every set on it that no walk uses.
void dri_free_daemon_context(dr_daemon_context_c* set);
// Retires the current set and leaves none current.
void dri_release_daemon_context();
// Whether a set waits on the retirement list. Cheap.
bool dri_retirement_waits();
// Puts a root tag and the roots merged into it in use, or takes one use of each back.
void dri_tags_add_inuse(const drend_tag_c* tag);
void dri_tags_delete_inuse(const drend_tag_c* tag);
// The number of uses in force, and of sets in existence; for diagnostics and tests.
unsigned dri_inuse_count();
int dri_get_set_count();

// --- look-ups ---

// The number of commands in the current set, merged ones included; a set must be current.
unsigned dri_get_count();
// The root tag of the first command of that name that has one, or null.
drend_tag_c* dri_get_command_tag_by_name(const char* name);
// The same, put in use before a reload can retire it. The caller takes the use back.
drend_tag_c* dri_acquire_command_tag(const char* name);
// Takes a use back and destroys the sets that have only waited for that.
void dri_release_command_tag(const drend_tag_c* tag);

// Sends the tag tree of the command `name` (null: the merged schema of get requests) to a peer as
// text, or a line that there is no such command. The status of the send.
int dri_dump_render_tree(void* peer, const char* name);
