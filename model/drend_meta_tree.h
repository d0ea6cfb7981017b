// SPDX-License-Identifier: BSD-2-Clause

// The meta tree: the named nodes of a daemon's data and the accessor procedures attached to
// them.
//
//     ""  (root, container)
//      +-- interfaces  (container)   enter, exit
//           +-- interface  (list)    proc steps through the rows
//                +-- name  (leaf)    proc gives the value of the current row
//
//  1. A name occurs once among a node's children; `children` finds it, `child_list` keeps the order
//     of creation, in which everything visits them, and owns the nodes.
//  2. Nodes are never removed singly; dmn_reset_root removes all of them. Each node that is made
//     and each reset begin a new generation, by which remembered nodes are known to be stale.
//
// Registration functions serialise each on a lock of its own; the tree as a whole has none,
// because it is built before rendering starts and read by the daemon's thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>

#include "drend.h"
#include "frame/dr_str_buf.h"

enum dmn_type_e : int32_t {
    DMN_TYPE_LEAF = 1,
    DMN_TYPE_CONT = 2, // what every node is created as
    DMN_TYPE_LIST = 3,
    DMN_TYPE_LIST_EL = 4, // never a node's kind: a list's object once a row is current
};

// What the typed registrations record. The value's type comes from what the procedure sets.
enum dmn_leaf_type_e : int32_t {
    DMN_LEAF_NONE = 0, // lists and containers
    DMN_LEAF_UINT8 = 1,
    DMN_LEAF_BOOLEAN = 1, // shares the code of uint8 on purpose
    DMN_LEAF_UINT16 = 2,
    DMN_LEAF_UINT32 = 3,
    DMN_LEAF_UINT64 = 4,
    DMN_LEAF_INT8 = 5,
    DMN_LEAF_INT16 = 6,
    DMN_LEAF_INT32 = 7,
    DMN_LEAF_INT64 = 8,
    DMN_LEAF_STR = 9,
    DMN_LEAF_IPADDR_V4 = 10,
    DMN_LEAF_XSOCKADDR = 10, // shares the code of IPv4 addresses
    DMN_LEAF_GENERIC = 12,
    DMN_LEAF_DOUBLE = 15,
    DMN_LEAF_DECIMAL64 = 16,
};

// A procedure with its bound data.
struct dr_proc_c {
    dr_proc_c(drend_proc_t proc_, const void* data_) : proc(proc_), data(data_) {}

    drend_proc_t proc;
    const void* data;
};

class dr_meta_node_c {
  public:
    dr_meta_node_c(const char* name, dmn_type_e type);
    ~dr_meta_node_c();
    dr_meta_node_c(const dr_meta_node_c&) = delete;
    dr_meta_node_c& operator=(const dr_meta_node_c&) = delete;

    // The child of exactly that name, or null.
    dr_meta_node_c* find_child(std::string_view name) const;
    // The child of that name, made as a container when there is none.
    dr_meta_node_c* find_or_add(const char* name);

    bool is_leaf() const { return type == DMN_TYPE_LEAF; }
    bool is_list() const { return type == DMN_TYPE_LIST; }
    bool is_cont() const { return type == DMN_TYPE_CONT; }

    dr_str_buf_c name;
    dmn_type_e type;
    dmn_leaf_type_e leaf_type = DMN_LEAF_NONE;
    drend_proc_t proc = nullptr;      // steps through a list, or reads a leaf
    drend_proc_t cont_proc = nullptr; // names a container's children one after the other
    const void* data = nullptr;       // goes with proc and with cont_proc
    dr_proc_c* enter = nullptr;       // owned
    dr_proc_c* exit = nullptr;        // owned
    std::map<std::string, dr_meta_node_c*, std::less<>> children;
    std::list<dr_meta_node_c*> child_list; // owned
};

// The root, made on the first call: a container named "".
dr_meta_node_c* dmn_get_root();
// Destroys the tree and begins a new generation. Nothing may be walking it.
void dmn_reset_root();
// The generation of the tree: never 0, and another one after each node that is made and each
// dmn_reset_root. What was looked up in one generation holds as long as it lasts.
extern std::atomic<unsigned> dmn_tree_generation;
inline unsigned dmn_generation() {
    return dmn_tree_generation.load(std::memory_order_relaxed);
}

// The node at a registration path, with every missing node made on the way. Null when memory runs
// out, after the fatal error "Couldn't find/make" with the component's name.
dr_meta_node_c* dri_find_node_from_path(const char* path);

// The general registrations behind the functions of drend.h. Null arguments leave what a
// node has. 0, also after a fatal error that did not end the process.
int dri_add_path(const char* path, dmn_type_e type, dmn_leaf_type_e leaf_type,
                 drend_proc_t proc, const void* data);
// Sets, or with a null `proc` clears, the container procedure. 0, or -1 when there is no
// node, which has been reported.
int dri_add_cont_path(const char* path, drend_proc_t proc, const void* data);

// Calls the installed handler with a walk's context; see drend_add_walk_handlers. Memory that runs
// out in a call that the start handler makes is std::bad_alloc. The second tells whether
// suspension is asked for.
void dri_call_walk_start(dr_meta_context_s* ctx);
bool dri_call_walk_suspend(dr_meta_context_s* ctx);

// Prints "name: %s\n" with the node's name on standard output, for use in a debugger.
void db_dump_meta_node(dr_meta_node_c* node);
