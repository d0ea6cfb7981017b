// SPDX-License-Identifier: BSD-2-Clause

// Cutting paths, and remembering where a step led.
//
// A definition's paths are cut when it is loaded. A step remembers the last child that it found,
// for a list leads every row through the same nodes; the tree's generation says when to forget.
#include "model/dr_nav_path.h"

#include <cassert>
#include <cstring>

#include "frame/str_util.h"

namespace {

// The state that one path carries from component to component.
struct selector_s {
    std::string name;
    std::string key;
    std::string value;
    std::shared_ptr<const dr_nav_key_s> in_force;
};

dr_nav_step_c child_step(const std::string& component, selector_s& selector) {
    if (component.find('=') == std::string::npos) {
        return {component, selector.in_force};
    }
    dri_parse_expr(component.c_str(), selector.name, selector.key, selector.value);
    selector.in_force.reset(); // an empty key selects nothing
    if (!selector.key.empty()) {
        selector.in_force =
            std::make_shared<dr_nav_key_s>(dr_nav_key_s{selector.key, selector.value});
    }
    return {selector.name, selector.in_force};
}

// Whether a component opens a predicate, "[" with "=", that no "]" ever closes.
bool is_unclosed(const char* path) {
    std::vector<std::string> pieces;
    str_split(path, pieces, "/", false);
    bool open = false;
    for (const std::string& piece : pieces) {
        open = open || (piece.find('[') != std::string::npos &&
                        piece.find('=') != std::string::npos);
        if (piece.find(']') != std::string::npos) {
            open = false;
        }
    }
    return open;
}

} // namespace

dr_meta_node_c* dr_nav_step_c::search_in(const dr_meta_node_c* parent) const {
    assert(kind_ == dr_nav_kind_e::CHILD && parent != nullptr);
    dr_meta_node_c* found = parent->find_child(name_);
    if (found != nullptr) { // else not remembered: a daemon may register it later
        known_parent_ = parent;
        known_generation_ = dmn_generation();
        known_child_ = found;
    }
    return found;
}

dr_nav_path_c::dr_nav_path_c(const char* path) {
    if (strpbrk(path, "/[") == nullptr && strchr(path, '=') == nullptr && *path != '.' &&
        *path != '\0') {
        steps_.emplace_back(path, nullptr);
        return;
    }
    std::vector<std::string> components;
    str_split(path, components, "/", true);
    selector_s selector;
    for (const std::string& component : components) {
        if (component.empty()) {
            steps_.emplace_back(dr_nav_kind_e::ROOT);
        } else if (component == "..") {
            steps_.emplace_back(dr_nav_kind_e::UP);
        } else if (component == ".") {
            steps_.emplace_back(dr_nav_kind_e::SELF);
        } else {
            steps_.push_back(child_step(component, selector));
        }
    }
    if (is_unclosed(path)) {
        steps_.emplace_back(dr_nav_kind_e::BROKEN);
    }
}
