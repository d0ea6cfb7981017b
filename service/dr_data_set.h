// SPDX-License-Identifier: BSD-2-Clause

// Data sets: JSON data in the place of accessors that a daemon would write.
//
//     {"system": {"host": "r1"},                    /system/host             leaf, cell 0
//      "interface": [                               /interface               list, cell 1
//         {"name": "lo", "in": {"octets": 7}},      /interface/name          leaf, cell 0 of a row
//         {"name": "eth0"}]}                        /interface/in/octets     leaf, cell 1 of a row
//
// A set is a tree of rows: one for the whole, and one for each object in an array. A row has a cell
// for each leaf and list that stands below it with no list between; containers have none. Which
// cell of its row a path has is settled when the path is registered. A row has the cells that its
// object names and no others, so a set takes memory by its text, whatever its rows have in common;
// reading a leaf is one step in a row that has every cell before, and a binary search in others.
//
//  1. Paths are registered once and for good, with records that are never freed: the cells of a row
//     keep their places, whatever set is loaded later.
//  2. A set does not change once it is in force. Walks hold the sets that they began with
//     (model/dr_walk_data.h), so a row stays where it is for as long as a walk may be at it.
//  3. A path belongs to one set. One that the daemon has registered belongs to none.
//
// Belongs to the daemon's thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "drend.h"
#include "model/drend_meta_tree.h"

struct dr_data_row_s;
using dr_data_rows_t = std::vector<dr_data_row_s>;
using dr_data_value_t = std::variant<bool, int64_t, double, std::string, dr_data_rows_t>;

struct dr_data_cell_s {
    unsigned number; // of the path's cell
    dr_data_value_t value;
};

using dr_data_cells_t = std::vector<dr_data_cell_s>;

struct dr_data_row_s {
    dr_data_cells_t cells; // by their numbers

    // Null where the JSON text has no such member, or null.
    const dr_data_value_t* find(unsigned number) const;
};

// What the accessors of a path are registered with.
struct dr_data_path_s {
    unsigned set = 0; // whose path it is
    const dr_data_path_s* list =
        nullptr;        // whose rows have the value; null: the whole has it
    unsigned steps = 0; // up from this path to that list
    unsigned cell = 0;  // of the row
    unsigned cells = 0; // of a list: how many its rows may have
};

// The sets in force by their numbers; null for one that was dropped.
using dr_data_sets_t = std::vector<std::shared_ptr<const dr_data_row_s>>;

// The accessors (service/dr_data_access.cpp).
int dri_step_data_rows(dr_meta_context_s* ctx, const void* data);
int dri_read_data_leaf(dr_meta_context_s* ctx, const void* data);

// The record of a path that belongs to a set, or null.
dr_data_path_s* dri_data_path(const dr_meta_node_c& node);
