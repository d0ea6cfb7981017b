// SPDX-License-Identifier: BSD-2-Clause

// Copying and printing recurse, which the bound on a tree's height allows. An assignment first
// takes and then frees, for its source may be a part of what it replaces.

#include "expr/xp_node.h"

#include <algorithm>
#include <string>
#include <utility>

#include "expr/dr_text_cache.h"
#include "expr/dr_xp_lexer.h"
#include "frame/drend_trace.h"

namespace {

using children_t = std::vector<std::unique_ptr<xp_node_c>>;

std::unique_ptr<xp_node_c> copy_of(const std::unique_ptr<xp_node_c>& node) {
    return node == nullptr ? nullptr : std::make_unique<xp_node_c>(*node);
}

children_t copy_of(const children_t& nodes) {
    children_t copies;
    copies.reserve(nodes.size());
    for (const auto& node : nodes) {
        copies.push_back(copy_of(node));
    }
    return copies;
}

const char* type_text(int type) {
    static constexpr const char* TEXTS[] = {"none:", "expr:", "value:", "and",  "or",
                                            "<",     ">",     "=",      "call:"};
    return type >= XP_NODE_NONE && type <= XP_NODE_CALL ? TEXTS[type] : "??";
}

void append_text(const xp_node_c& node, std::string& out) {
    const char* quote = node.kind == XP_TOKEN_LITERAL ? "'" : "";
    out += quote;
    out += node.text;
    out += quote;
}

void append_tree(const xp_node_c& node, std::string& out);

void append_call(const xp_node_c& node, std::string& out) {
    out += node.text;
    out += "(";
    const char* separator = "";
    for (const auto& argument : node.args) {
        out += separator;
        append_tree(*argument, out);
        separator = ", ";
    }
    out += ")";
}

void append_tree(const xp_node_c& node, std::string& out) {
    if (node.type == XP_NODE_VALUE) {
        append_text(node, out);
        return;
    }
    if (node.type == XP_NODE_CALL) {
        append_call(node, out);
        return;
    }
    out += "(";
    if (node.left != nullptr) {
        append_tree(*node.left, out);
    }
    if (node.right != nullptr) {
        out += " ";
        out += type_text(node.type);
        out += " ";
        append_tree(*node.right, out);
    }
    out += ")";
}

void append_predicate(const xp_node_c& root, std::string& out) {
    out += "[";
    append_tree(root, out);
    out += "]";
}

void trace_tree(const xp_node_c& node, size_t depth) {
    std::string line(2 * depth, ' ');
    line += type_text(node.type);
    append_text(node, line);
    drend_debug_trace("%s\n", line.c_str());
    for (const auto& argument : node.args) {
        trace_tree(*argument, depth + 1);
    }
    for (const xp_node_c* child : {node.left.get(), node.right.get()}) {
        if (child != nullptr) {
            trace_tree(*child, depth + 1);
        }
    }
}

} // namespace

// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): it loses sight of unique_ptr's pointer here
xp_node_c::xp_node_c(const xp_node_c& other)
    : text(other.text), kind(other.kind), type(other.type), number(other.number),
      slot(other.slot), left(copy_of(other.left)), right(copy_of(other.right)),
      args(copy_of(other.args)), pattern(other.pattern),
      more_predicates(copy_of(other.more_predicates)) {}
// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

xp_node_c& xp_node_c::operator=(const xp_node_c& other) {
    return *this = xp_node_c(other);
}

xp_node_c& xp_node_c::operator=(xp_node_c&& other) noexcept {
    xp_node_c taken(std::move(other)); // before anything is freed: it may be part of this
    text.swap(taken.text);
    kind = taken.kind;
    type = taken.type;
    number = taken.number;
    slot = taken.slot;
    left.swap(taken.left);
    right.swap(taken.right);
    args.swap(taken.args);
    pattern.swap(taken.pattern);
    more_predicates.swap(taken.more_predicates);
    return *this;
}

xp_node_c& xp_node_c::operator=(const xp_node_c* other) {
    return *this = other == nullptr ? xp_node_c() : xp_node_c(*other);
}

void xp_node_c::reset() {
    *this = xp_node_c();
}

void xp_node_c::set_value(int kind_, std::string text_) {
    type = XP_NODE_VALUE;
    kind = kind_;
    text = std::move(text_);
    number = dri_number_of(text);
}

void dri_xpath_dump(const std::vector<xp_node_c>& steps, dr_str_buf_c& out) {
    std::string text;
    for (const xp_node_c& step : steps) {
        const bool is_first = &step == &steps.front();
        if (is_first && step.text.empty()) {
            continue;
        }
        text += is_first ? "" : "/";
        text += step.text;
        if (step.type != XP_NODE_NONE) {
            append_predicate(step, text);
        }
        for (const auto& predicate : step.more_predicates) {
            append_predicate(*predicate, text);
        }
    }
    out = text;
}

size_t dri_memory_below(const xp_node_c& node) {
    size_t memory = dri_text_memory(node.text);
    const auto add_child = [&](const std::unique_ptr<xp_node_c>& child) {
        if (child != nullptr) {
            memory += sizeof(xp_node_c) + DRI_BLOCK_MEMORY + dri_memory_below(*child);
        }
    };
    add_child(node.left);
    add_child(node.right);
    for (const children_t* children : {&node.args, &node.more_predicates}) {
        memory += children->capacity() * sizeof children->front();
        memory += children->empty() ? 0 : DRI_BLOCK_MEMORY;
        std::for_each(children->begin(), children->end(), add_child);
    }
    if (node.pattern != nullptr) {
        memory += sizeof *node.pattern + 2 * sizeof(void*) + DRI_BLOCK_MEMORY;
    }
    return memory;
}

void db_dump_expr(const xp_node_c& node) {
    trace_tree(node, 0);
}
