// SPDX-License-Identifier: BSD-2-Clause

// The shape of a data set: which paths its text has, and of what kind each of them is.
//
// Belongs to the load that made it, and refers to its document.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/dr_json.h"
#include "service/dr_data_set.h"

struct dr_data_fault_s {
    dr_text_place_s place;
    std::string sentence; // empty: no fault
};

struct dr_data_shape_s {
    dmn_type_e kind = DMN_TYPE_CONT;
    dmn_leaf_type_e leaf_type = DMN_LEAF_NONE;
    dr_json_c first;                // value of that path
    bool has_scalars = false;       // a list of values, whose one leaf is DR_DATA_VALUE
    dr_data_path_s* path = nullptr; // of a leaf or list, once it is registered
    std::map<std::string, std::unique_ptr<dr_data_shape_s>, std::less<>> kids;
    std::vector<std::string_view> order; // of the kids, by their first appearance

    const dr_data_shape_s& kid(std::string_view name) const {
        return *kids.find(name)->second;
    }
};

// The leaf of an array of scalars.
inline constexpr char DR_DATA_VALUE[] = "value";

// Registers the paths of a shape for the set of that number, and sets the shape's records. `cells`
// is how many cells the set's whole has had until now. False when a path cannot be had, with a
// fault; nothing is registered then. Throws std::bad_alloc; what is registered by then stays, and
// is taken up by the next load.
bool dri_register_data(dr_data_shape_s& shape, unsigned set, unsigned& cells,
                       dr_data_fault_s& fault);
