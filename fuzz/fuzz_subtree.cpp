// SPDX-License-Identifier: BSD-2-Clause

// Subtree filters of any bytes: read, and made steps of for a command.
//
// Asserted: what is read keeps its bounds, holds no text beside elements, and is nothing when it is
// refused; every step belongs to a tag and every way to one above, or to none.
#include <deque>
#include <string>

#include "definitions/dr_subtree_filter.h"
#include "definitions/drend_tag.h"
#include "expr/dr_subtree.h"
#include "fuzz_target.h"

namespace {

size_t count(const dr_subtree_node_s& node, int depth) {
    require(depth <= DR_SUBTREE_DEPTH_MAX);
    require(node.text.empty() || node.kids.empty());
    size_t nodes = 1;
    for (const dr_subtree_node_s& kid : node.kids) {
        require(!kid.name.empty());
        nodes += count(kid, depth + 1);
    }
    return nodes;
}

void check(const dr_filter_node_s& step) {
    for (const dr_step_filter_s& way : step.ways) {
        require(way.parsed != nullptr && step.tag != nullptr);
        require(way.within == DR_WITHIN_NONE || step.above->ways.empty() ||
                way.within < step.above->ways.size());
    }
    for (const dr_filter_node_s* below : step.below) {
        require(below->above == &step);
        check(*below);
    }
}

drend_tag_c* add_kid(drend_tag_c& tag, const char* name, int32_t type) {
    static std::deque<drend_tag_c> tags;
    drend_tag_c* kid = &tags.emplace_back(name, name);
    kid->dt_type = type;
    tag.dt_kids.push_back(kid);
    return kid;
}

// a { b* { c, d { c }, e+ }, b { c } }, all but the second b in a namespace
drend_tag_c& command() {
    static drend_tag_c top("a", "/a");
    if (top.dt_kids.empty()) {
        top.set_namespace("xmlns='urn:a'");
        drend_tag_c* list = add_kid(top, "b", DT_TYPE_LIST);
        add_kid(*list, "c", DT_TYPE_LEAF);
        add_kid(*add_kid(*list, "d", DT_TYPE_CONT), "c", DT_TYPE_LEAF);
        add_kid(*list, "e", DT_TYPE_LEAF_LIST);
        drend_tag_c* other = add_kid(top, "b", DT_TYPE_CONT);
        other->set_namespace("xmlns='urn:b'");
        add_kid(*other, "c", DT_TYPE_LEAF);
    }
    return top;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    dr_subtree_node_s root;
    if (dri_read_subtree(text, root) != nullptr) {
        return 0;
    }
    require(size <= DR_SUBTREE_TEXT_MAX);
    require(count(root, 0) <= DR_SUBTREE_NODES_MAX + 1);
    const dr_filter_t filter = dri_subtree_filter(command(), root);
    if (filter != nullptr) {
        check(filter->top());
    }
    return 0;
}
