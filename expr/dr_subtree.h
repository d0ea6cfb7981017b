// SPDX-License-Identifier: BSD-2-Clause

// A NETCONF subtree filter (RFC 6241, section 6) as it was written: a tree of elements.
//
//     <filter><top xmlns="urn:t"><user><name>fred</name><type/></user></top></filter>
//
//     top  urn:t -- user  urn:t -+- name  urn:t  "fred"
//                                '- type  urn:t
//
//  1. Whoever sends requests writes filters: at most 64 KiB, 4,096 elements and texts, 256 elements
//     within one another, 1,024 attributes.
//  2. No document type, and so no entity but XML's own, can stand in a filter, for it is read as
//     the content of an element. Nothing is ever fetched, from no network and no file.
//  3. The element "filter" around the whole may be left out.
//
// Safe from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

inline constexpr size_t DR_SUBTREE_TEXT_MAX = size_t{64} * 1024;
inline constexpr size_t DR_SUBTREE_NODES_MAX = 4096;
inline constexpr int DR_SUBTREE_DEPTH_MAX = 256;
inline constexpr size_t DR_SUBTREE_ATTRIBUTES_MAX = 1024; // declarations of namespaces, too

// What a peer is told whose filter is well-formed and says what no filter can.
inline constexpr char DR_SUBTREE_NO_FILTER[] = "Can't convert subtree to xpath.";

struct dr_subtree_node_s {
    std::string name;            // without prefix
    std::string xmlns;           // empty: any
    std::string text;            // without white space around it
    bool has_attributes = false; // others than declarations of namespaces
    std::vector<dr_subtree_node_s> kids;
};

// Reads a filter into the kids of `root`, which are none for an empty one. Null, or what the peer
// is to be told: the text is too long, is no XML, or holds what no filter can say. Throws
// std::bad_alloc.
const char* dri_read_subtree(std::string_view text, dr_subtree_node_s& root);
