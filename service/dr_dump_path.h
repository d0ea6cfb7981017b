// SPDX-License-Identifier: BSD-2-Clause

// The path that a dump of values is kept to: names of the daemon's tree, and at lists the key of
// the row that is wanted.
//
//     /interfaces/interface[name=lo]/statistics        everything below it
//     /interfaces/interface/mtu                        that leaf, of every row
#pragma once

#include <string>
#include <vector>

#include "model/drend_meta_tree.h"

class dr_dump_path_c {
  public:
    struct component_s {
        std::string name;
        std::string key; // empty: every row
        std::string value;
    };

    // Reads a text (null: everything), whose names are sought in the daemon's tree. Empty, or what
    // is wrong with it.
    std::string read(const char* text);

    // The component that is for nodes `depth` places below the root, from 1 on; null below the end.
    const component_s* at(size_t depth) const {
        return depth >= 1 && depth <= components_.size() ? &components_[depth - 1]
                                                         : nullptr;
    }
    bool is_everything() const { return components_.empty(); }
    // The path of the first `count` components.
    std::string text(size_t count) const;

  private:
    std::string check(const component_s& component, const dr_meta_node_c*& node) const;

    std::vector<component_s> components_;
};
