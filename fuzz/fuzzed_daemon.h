// SPDX-License-Identifier: BSD-2-Clause

// The daemon that fuzz targets ask: data with a node of every kind, whose values are what output
// has to get right, and a peer that notes what it is sent.
//
//     /top               container, entered and left
//       text number big truth ratio address     leaves of one kind each
//       skipped failing unset late              what an accessor may do instead
//       row[name]        list: name number text words{value} in{name text} fields{alpha beta}
//       cell             list that an iterator drives: name
//
// "late" asks for suspension before it answers, once in each answer. Every walk is continued until
// it ends.
#pragma once

#include "fuzz_target.h"

// Registers the data, and the peer's methods.
void serve_fuzzed_data();

// Puts `json` in force as the only definition file. Whether the load did not fail.
bool define_fuzzed(const std::string& json);

// How an answer comes about.
struct manner_s {
    bool suspends = false; // in front of every row
    int sends = -1;        // that the peer takes before it is lost; -1: all
};

// The answer to a request for the menu entry `subcode`, which has to be whole unless the peer is
// lost: walks end, what is entered is left, the peer has no walk afterwards.
std::string answer_of(unsigned subcode, const char* argument, const manner_s& manner = {});

// Where the last of them goes on; empty: nowhere.
const std::string& last_cursor();

// What the external walker or dump answers to a path.
std::string answer_of(void* (*function)(void* peer, const char* path), const char* path);

// How many elements have been entered and not left.
int elements_entered();

// Whether a text is one that others read: the content of a document, or a document.
bool is_xml_content(const std::string& content);
bool is_json_document(const std::string& text);
