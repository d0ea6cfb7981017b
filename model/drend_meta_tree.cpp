// SPDX-License-Identifier: BSD-2-Clause

// Registration: a daemon names paths in any order, and what is missing on the way is made.
//
// A second registration of a path must agree with the first, because two accessors for one leaf
// are a programming error that would otherwise show as wrong data. Conflicts are fatal errors.
#include "model/drend_meta_tree.h"

#include <cassert>
#include <memory>
#include <new>
#include <vector>

#include "frame/dr_no_memory.h"
#include "frame/drend_lock.h"
#include "frame/str_util.h"

std::atomic<unsigned> dmn_tree_generation{1};

namespace {

dr_meta_node_c* root = nullptr;

void begin_generation() {
    if (++dmn_tree_generation == 0) {
        ++dmn_tree_generation; // 0 is what has never been looked up
    }
}

void report_missing(const char* what) {
    drend_err_exit(-1, 0, "Couldn't find/make '%s'", what);
}

// Attaches an enter or exit procedure; `which` names it in the message of a conflict.
int attach(dr_proc_c* dr_meta_node_c::*slot, const char* which, const char* path,
           drend_proc_t proc, const void* data) {
    dr_meta_node_c* node = dri_find_node_from_path(path);
    if (node == nullptr) {
        return 0; // has been reported
    }
    if (node->*slot != nullptr) {
        drend_err_exit(-1, 0, "meta-node at '%s' already has %s proc", path, which);
        return 0;
    }
    node->*slot = new (std::nothrow) dr_proc_c(proc, data);
    if (node->*slot == nullptr) {
        report_missing(path);
    }
    return 0;
}

} // namespace

dr_meta_node_c::dr_meta_node_c(const char* name_, dmn_type_e type_)
    : name(name_), type(type_) {}

dr_meta_node_c::~dr_meta_node_c() {
    for (dr_meta_node_c* child : child_list) {
        delete child;
    }
    delete enter;
    delete exit;
}

dr_meta_node_c* dr_meta_node_c::find_child(std::string_view child_name) const {
    const auto found = children.find(child_name);
    return found == children.end() ? nullptr : found->second;
}

dr_meta_node_c* dr_meta_node_c::find_or_add(const char* child_name) {
    if (dr_meta_node_c* known = find_child(child_name)) {
        return known;
    }
    auto made = std::make_unique<dr_meta_node_c>(child_name, DMN_TYPE_CONT);
    dr_meta_node_c*& place = children.emplace(child_name, nullptr).first->second;
    child_list.push_back(made.get());
    place = made.release(); // the list owns it
    assert(children.size() == child_list.size());
    begin_generation();
    return place;
}

dr_meta_node_c* dmn_get_root() {
    static drend_lock_c lock;
    drend_lock_guard_c guard(lock);
    if (root == nullptr) {
        root = new dr_meta_node_c("", DMN_TYPE_CONT);
    }
    return root;
}

void dmn_reset_root() {
    delete root;
    root = nullptr;
    begin_generation();
}

dr_meta_node_c* dri_find_node_from_path(const char* path) {
    std::vector<std::string> components;
    const char* wanted = path;
    auto* node = dri_unless_no_memory<dr_meta_node_c*>(nullptr, [&] {
        str_split(path, components, "/", false);
        dr_meta_node_c* reached = dmn_get_root();
        for (const std::string& component : components) {
            if (!component.empty()) {
                wanted = component.c_str();
                reached = reached->find_or_add(wanted);
            }
        }
        return reached;
    });
    if (node == nullptr) {
        report_missing(wanted);
    }
    return node;
}

int dri_add_path(const char* path, dmn_type_e type, dmn_leaf_type_e leaf_type,
                 drend_proc_t proc, const void* data) {
    static drend_lock_c lock;
    drend_lock_guard_c guard(lock);
    dr_meta_node_c* node = dri_find_node_from_path(path);
    if (node == nullptr) {
        return 0; // has been reported
    }
    const bool populated = node->proc != nullptr || node->data != nullptr;
    if (proc != nullptr && populated && (node->proc != proc || node->data != data)) {
        drend_err_exit(-1, 0, "meta-node at '%s' %s", path,
                       "is already populated with different proc and data");
        return 0;
    }
    if (proc != nullptr) {
        node->proc = proc;
    }
    if (data != nullptr) {
        node->data = data;
    }
    node->type = type;
    node->leaf_type = leaf_type;
    return 0;
}

int dri_add_cont_path(const char* path, drend_proc_t proc, const void* data) {
    static drend_lock_c lock;
    drend_lock_guard_c guard(lock);
    dr_meta_node_c* node = dri_find_node_from_path(path);
    if (node == nullptr) {
        return -1;
    }
    node->cont_proc = proc;
    if (data != nullptr) {
        node->data = data;
    }
    return 0;
}

int drend_add_enter(const char* path, drend_proc_t proc, const void* data) {
    static drend_lock_c lock;
    drend_lock_guard_c guard(lock);
    return attach(&dr_meta_node_c::enter, "enter", path, proc, data);
}

int drend_add_exit(const char* path, drend_proc_t proc, const void* data) {
    static drend_lock_c lock;
    drend_lock_guard_c guard(lock);
    return attach(&dr_meta_node_c::exit, "exit", path, proc, data);
}

int drend_add_cont_cb(const char* path, drend_proc_t proc, const void* data) {
    return dri_add_cont_path(path, proc, data);
}

int drend_add_list(const char* path, drend_proc_t proc, const void* data) {
    return dri_add_path(path, DMN_TYPE_LIST, DMN_LEAF_NONE, proc, data);
}

// One row for each typed leaf registration of drend.h.
#define ADD_LEAF(name, leaf_type)                                                        \
    int drend_add_##name##_leaf(const char* path, drend_proc_t proc, const void* data) { \
        return dri_add_path(path, DMN_TYPE_LEAF, leaf_type, proc, data);                 \
    }
ADD_LEAF(boolean, DMN_LEAF_BOOLEAN)
ADD_LEAF(int8, DMN_LEAF_INT8)
ADD_LEAF(int16, DMN_LEAF_INT16)
ADD_LEAF(int32, DMN_LEAF_INT32)
ADD_LEAF(int64, DMN_LEAF_INT64)
ADD_LEAF(uint8, DMN_LEAF_UINT8)
ADD_LEAF(uint16, DMN_LEAF_UINT16)
ADD_LEAF(uint32, DMN_LEAF_UINT32)
ADD_LEAF(uint64, DMN_LEAF_UINT64)
ADD_LEAF(str, DMN_LEAF_STR)
ADD_LEAF(double, DMN_LEAF_DOUBLE)
ADD_LEAF(decimal64, DMN_LEAF_DECIMAL64)
ADD_LEAF(ipaddr_v4, DMN_LEAF_IPADDR_V4)
ADD_LEAF(xsockaddr, DMN_LEAF_XSOCKADDR)
ADD_LEAF(generic, DMN_LEAF_GENERIC)
#undef ADD_LEAF

void db_dump_meta_node(dr_meta_node_c* node) {
    printf("name: %s\n", node->name.c_str());
}
