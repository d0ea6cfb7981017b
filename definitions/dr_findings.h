// SPDX-License-Identifier: BSD-2-Clause

// What is wrong with definitions, as records: the same for start-up, for the answers to "reload"
// and "check", and for drend-lint.
//
//     FILE:3:7: error: command 'show', tag a/b: dts_type: 'lst' is no kind of element; did you
//     mean 'list'? [unknown-word]
//
// A record's texts may hold whatever a file holds; a line shows no control character.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/dr_json_places.h"

enum class dr_severity_e : uint8_t {
    ERROR,   // something is left out of an answer, or all of it
    WARNING, // something is not as it seems
};

// The rules, with what is wrong when one is broken. X(enumerator, identifier, severity, meaning)
#define DR_FINDING_RULES(X)                                                                \
    X(SYNTAX, "syntax", ERROR, "the file is no JSON; it is left out")                      \
    X(NOT_A_LIST, "not-a-list", ERROR, "the file is no array of entries; it is left out")  \
    X(NOT_AN_ENTRY, "not-an-entry", ERROR,                                                 \
      "an entry has none of the three names, or not as a text; it is left out")            \
    X(NO_FILE, "no-file", ERROR, "there is no file to load; there are no definitions now") \
    X(NO_REGULAR_FILE, "no-regular-file", ERROR, "it is left out")                         \
    X(DEAD_LINK, "dead-link", ERROR, "a symbolic link leads nowhere; it is left out")      \
    X(UNREADABLE, "unreadable", ERROR,                                                     \
      "a directory or file cannot be read; a daemon that loads again keeps what it has")   \
    X(TAKEN_NAME, "taken-name", ERROR,                                                     \
      "a command has the name of a fixed one; it is left out")                             \
    X(BAD_NAME, "bad-name", ERROR,                                                         \
      "no element or module can have a name; the tag is left out with its kids")           \
    X(BAD_NAMESPACE, "bad-namespace", ERROR,                                               \
      "a namespace is no list of attributes; tag or notification are left out")            \
    X(BAD_TEXT, "bad-text", ERROR,                                                         \
      "a prefix or style cannot stand in XML; the tag is left out with its kids")          \
    X(UNKNOWN_MEMBER, "unknown-member", WARNING,                                           \
      "a member is ignored; an error when its name is nearly that of a known one")         \
    X(REPEATED_MEMBER, "repeated-member", WARNING,                                         \
      "an object has a member twice; the last one counts")                                 \
    X(WRONG_TYPE, "wrong-type", ERROR,                                                     \
      "a member or element is of another JSON type; it counts as absent")                  \
    X(UNKNOWN_WORD, "unknown-word", ERROR,                                                 \
      "a word is none of those that the member knows; it counts as absent")                \
    X(BAD_PAIR, "bad-pair", ERROR,                                                         \
      "a pair of a map is no array of two texts; it is left out")                          \
    X(BAD_EXPRESSION, "bad-expression", ERROR,                                             \
      "an expression of a map is malformed; what it maps is left out")                     \
    X(KEY_WITHOUT_KID, "key-without-kid", ERROR, "a key names no kid; it is not printed")  \
    X(MISSING_MEMBER, "missing-member", ERROR,                                             \
      "what a tag says of itself needs another member")                                    \
    X(OUT_OF_RANGE, "out-of-range", ERROR, "a number is none that the member can be")      \
    X(MISPLACED_MEMBER, "misplaced-member", WARNING,                                       \
      "a member means nothing in a tag of this kind")                                      \
    X(REPEATED_KID, "repeated-kid", WARNING,                                               \
      "two kids have one name and namespace, and no styles to choose between them")        \
    X(REPEATED_COLUMN, "repeated-column", WARNING,                                         \
      "two kids have one number of a column; the first one stands first")                  \
    X(STATE_NEVER_SHOWN, "state-never-shown", WARNING,                                     \
      "a state is that of a text that the map never shows")                                \
    X(NO_APPLICATION, "no-application", WARNING,                                           \
      "a part of the merged schema has no dc_app_name; no daemon is found for its paths")  \
    X(FILLED_TWICE, "filled-twice", WARNING,                                               \
      "two definitions of one application differ in what they say of one element of a "    \
      "merged schema; the one that is loaded first counts")                                \
    X(NO_SUCH_COMMAND, "no-such-command", ERROR,                                           \
      "the command whose tags are asked for is not there; there are none to show")         \
    X(TREE_OF_ITSELF, "tree-of-itself", ERROR,                                             \
      "commands ask for each other's tags; there are none to show")                        \
    X(NO_SUCH_SOURCE, "no-such-source", ERROR,                                             \
      "a source leads nowhere in the data; the tag is left out with its kids")             \
    X(SOURCE_IS_NO_LIST, "source-is-no-list", ERROR,                                       \
      "a list's source leads to something else; it has no rows")                           \
    X(SOURCE_IS_NO_LEAF, "source-is-no-leaf", ERROR,                                       \
      "a leaf's source leads to something else; it has no value")                          \
    X(PRESENCE_WITHOUT_LEAF, "presence-without-leaf", ERROR,                               \
      "the source of a container with a presence is no leaf")                              \
    X(KEY_WITHOUT_LEAF, "key-without-leaf", ERROR, "the data has no leaf for a key")       \
    X(MAP_NEVER_MATCHES, "map-never-matches", WARNING,                                     \
      "no pair of a map can match a value of its leaf; the leaf is left out")

enum class dr_rule_e : uint8_t {
#define DR_FINDING_RULE(rule, id, severity, meaning) rule,
    DR_FINDING_RULES(DR_FINDING_RULE)
#undef DR_FINDING_RULE
};

struct dr_finding_rule_s {
    std::string_view id;
    dr_severity_e severity;
    std::string_view meaning;
};

// In the order of dr_rule_e.
inline constexpr dr_finding_rule_s DR_RULES[] = {
#define DR_FINDING_RULE(rule, id, severity, meaning) {id, dr_severity_e::severity, meaning},
    DR_FINDING_RULES(DR_FINDING_RULE)
#undef DR_FINDING_RULE
};

struct dr_finding_s {
    const dr_finding_rule_s& of() const { return DR_RULES[static_cast<size_t>(rule)]; }

    dr_rule_e rule;
    dr_severity_e severity;
    std::string file{}; // or directory
    dr_text_place_s place{};
    size_t entry = 0;      // number of the entry in its file, from 1; 0: none
    std::string command{}; // or notification; empty: none
    bool is_notification = false;
    std::string path{}; // of the tag; empty: none
    std::string sentence{};
    std::string nearest{}; // the known word that was probably meant; empty: none
};

class dr_findings_c {
  public:
    // Keeps the first MOST, and counts the others.
    static constexpr size_t MOST = 200;

    void add(dr_finding_s finding);
    // What is known of the place, and the rest.
    void add(dr_finding_s finding, dr_rule_e rule, dr_severity_e severity,
             dr_text_place_s place, std::string sentence, std::string_view nearest);
    // Of a file or directory as a whole.
    void add(dr_rule_e rule, std::string file, std::string sentence);
    // Appends what other findings say, too.
    void append(const dr_findings_c& others);
    // Memory ran out: nothing else is worth a line then.
    void note_no_memory();

    const std::vector<dr_finding_s>& all() const { return findings_; }
    size_t more() const { return more_; }
    size_t errors() const { return errors_; }
    // Whether what was loaded is not all that there is.
    bool is_incomplete() const { return is_incomplete_; }

    // Prints each on a line of its own.
    void print(FILE* stream) const;
    // Sends the errors, or all of them, to a peer, until it is lost.
    void send_errors(void* peer) const;
    void send_all(void* peer) const;

  private:
    template <typename Print>
    void for_each_line(Print print) const;

    std::vector<dr_finding_s> findings_;
    size_t more_ = 0; // than are kept
    size_t errors_ = 0;
    bool is_incomplete_ = false;
    bool no_memory_ = false;
};

// As much of a text as a finding shows.
std::string dri_shown(std::string_view text);

// A finding as a compiler says it, without a line end.
std::string dri_finding_line(const dr_finding_s& finding);
// Findings as a JSON array of objects.
std::string dri_findings_json(const std::vector<dr_finding_s>& findings);
