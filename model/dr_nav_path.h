// SPDX-License-Identifier: BSD-2-Clause

// A navigation path, cut into steps once so that moving along it neither splits nor
// searches texts.
//
//     ../interface[name=lo]/mtu   ->   UP, CHILD interface (key name, value lo), CHILD mtu
//
//  1. A key that a component names stays in force for the later components of the same path
//     that name none; an empty one, "[=x]", ends it. A component's name stays in force for a
//     later one that holds "=" but no "[".
//  2. A path with an unclosed "[" ends in a BROKEN step, which fails when it is reached.
//
// A path is immutable but for the node that each step remembers; that memory belongs to the
// thread that walks.
#pragma once

#include <cassert>
#include <memory>
#include <string>
#include <vector>

#include "model/drend_meta_tree.h"

enum class dr_nav_kind_e : uint8_t {
    ROOT,   // an empty component: back to the root
    UP,     // ".."
    SELF,   // "."
    CHILD,  // a child by name
    BROKEN, // no component at all: the path is malformed
};

// What selects one row of a list.
struct dr_nav_key_s {
    std::string name;
    std::string value;
};

class dr_nav_step_c {
  public:
    explicit dr_nav_step_c(dr_nav_kind_e kind) : kind_(kind) {}
    dr_nav_step_c(std::string name, std::shared_ptr<const dr_nav_key_s> key)
        : kind_(dr_nav_kind_e::CHILD), name_(std::move(name)), key_(std::move(key)) {}

    dr_nav_kind_e kind() const { return kind_; }
    const std::string& name() const { return name_; }
    // The key in force, or null.
    const dr_nav_key_s* key() const { return key_.get(); }
    // The child of `parent` that a CHILD step names, or null.
    dr_meta_node_c* find_in(const dr_meta_node_c* parent) const {
        return known_parent_ == parent && known_generation_ == dmn_generation()
                   ? known_child_
                   : search_in(parent);
    }

  private:
    dr_meta_node_c* search_in(const dr_meta_node_c* parent) const;

    dr_nav_kind_e kind_;
    mutable unsigned known_generation_ = 0;
    mutable const dr_meta_node_c* known_parent_ = nullptr;
    mutable dr_meta_node_c* known_child_ = nullptr;
    std::string name_;
    std::shared_ptr<const dr_nav_key_s> key_; // shared by the steps that it is in force for
};

class dr_nav_path_c {
  public:
    dr_nav_path_c() = default;
    explicit dr_nav_path_c(const char* path);

    const std::vector<dr_nav_step_c>& steps() const { return steps_; }
    // Whether it is the name of a child and nothing else.
    bool is_child() const {
        return steps_.size() == 1 && steps_[0].kind() == dr_nav_kind_e::CHILD;
    }
    // Of such a path: that child of `parent`, or null.
    dr_meta_node_c* child_of(const dr_meta_node_c* parent) const {
        assert(is_child());
        return steps_[0].find_in(parent);
    }

  private:
    std::vector<dr_nav_step_c> steps_;
};
