// SPDX-License-Identifier: BSD-2-Clause

// Paths of data sets in the meta tree. All are looked at before the first is registered, for a path
// that was registered cannot be taken back.
#include "service/dr_data_shape.h"

#include <deque>

namespace {

// What one process registers for data sets at most: names of members become paths for good, and
// there are files in which every row is a member.
constexpr size_t PATHS_MAX = 65536;
size_t registered_paths = 0;

// Never freed: the nodes of the meta tree refer to them.
std::deque<dr_data_path_s>& records() {
    static auto& all = *new std::deque<dr_data_path_s>;
    return all;
}

const char* word_for(dmn_type_e kind) {
    return kind == DMN_TYPE_LIST   ? "a list"
           : kind == DMN_TYPE_LEAF ? "a leaf"
                                   : "a container";
}

class check_c {
  public:
    check_c(unsigned set, dr_data_fault_s& fault) : set_(set), fault_(fault) {}

    // `node` is the shape's place, null when there is none yet.
    bool check(const dr_data_shape_s& shape, const dr_meta_node_c* node) {
        for (const std::string_view name : shape.order) {
            const dr_data_shape_s& kid = shape.kid(name);
            const dr_meta_node_c* place =
                node == nullptr ? nullptr : node->find_child(name);
            if (!fits(kid, name, place) || !check(kid, place)) {
                return false;
            }
        }
        return true;
    }

  private:
    bool fits(const dr_data_shape_s& shape, std::string_view name,
              const dr_meta_node_c* node) {
        const std::string quoted = "'" + std::string(name) + "'";
        if (node == nullptr) {
            ++made_;
            return registered_paths + made_ <= PATHS_MAX ||
                   fail(shape, quoted + " would be one path more than data sets may have");
        }
        if (node->type == shape.kind && shape.kind == DMN_TYPE_CONT) {
            return true;
        }
        const dr_data_path_s* path = dri_data_path(*node);
        if (path == nullptr && node->type == shape.kind) {
            return fail(shape, quoted + " is registered by the daemon");
        }
        if (path == nullptr || node->type != shape.kind) {
            return fail(shape, quoted + " is registered as " + word_for(node->type) +
                                   ", and " + word_for(shape.kind) + " here");
        }
        return path->set == set_ || fail(shape, quoted + " belongs to another data set");
    }

    bool fail(const dr_data_shape_s& shape, std::string sentence) {
        fault_ = {shape.first.place(), std::move(sentence)};
        return false;
    }

    const unsigned set_;
    dr_data_fault_s& fault_;
    size_t made_ = 0;
};

// Where a level of paths stands: below which list, so many steps.
struct level_s {
    unsigned set;
    const dr_data_path_s* list;
    unsigned steps;
    unsigned& cells; // of the list's rows, or the whole
};

dr_data_path_s* new_path(const level_s& level) {
    records().push_back({level.set, level.list, level.steps, level.cells});
    ++level.cells;
    return &records().back();
}

// The node, and its record, come to be together: memory that runs out in between costs a cell, and
// leaves no path of a wrong kind.
dr_meta_node_c* make_node(dr_meta_node_c& parent, const char* name, dmn_type_e kind,
                          const level_s& level) {
    dr_data_path_s* path = kind == DMN_TYPE_CONT ? nullptr : new_path(level);
    dr_meta_node_c* node = parent.find_or_add(name);
    ++registered_paths;
    if (path != nullptr) {
        node->proc = kind == DMN_TYPE_LIST ? dri_step_data_rows : dri_read_data_leaf;
        node->data = path;
        node->type = kind;
    }
    return node;
}

void register_kids(dr_data_shape_s& shape, dr_meta_node_c& parent, const level_s& level) {
    for (const std::string_view name : shape.order) {
        dr_data_shape_s& kid = *shape.kids.find(name)->second;
        dr_meta_node_c* node = parent.find_child(name);
        if (node == nullptr) {
            node = make_node(parent, std::string(name).c_str(), kid.kind, level);
        }
        if (kid.kind == DMN_TYPE_CONT) {
            register_kids(kid, *node,
                          {level.set, level.list, level.steps + 1, level.cells});
            continue;
        }
        kid.path = dri_data_path(*node);
        node->leaf_type = kid.leaf_type;
        register_kids(kid, *node, {level.set, kid.path, 1, kid.path->cells});
    }
}

} // namespace

bool dri_register_data(dr_data_shape_s& shape, unsigned set, unsigned& cells,
                       dr_data_fault_s& fault) {
    dr_meta_node_c* root = dmn_get_root();
    if (!check_c(set, fault).check(shape, root)) {
        return false;
    }
    register_kids(shape, *root, {set, nullptr, 1, cells});
    return true;
}
