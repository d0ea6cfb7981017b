// SPDX-License-Identifier: BSD-2-Clause

// Values pass by reference and are made to last only before the lookup is asked again: the usual
// predicate, a name compared with a literal, copies no text. What nodes with operands need of the
// stack is kept in functions of its own, for trees may nest deep.

#include "expr/dr_xp_eval.h"

#include "drend.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "expr/dr_xp_pattern.h"

namespace {

// What stands behind nodes that do nothing but hold another one.
const xp_node_c* behind_brackets(const xp_node_c* node) {
    while (node != nullptr && node->type == XP_NODE_EXPR) {
        node = node->left.get();
    }
    return node;
}

bool is_value(const xp_node_c* node) {
    return node != nullptr && node->type == XP_NODE_VALUE;
}
bool is_literal(const xp_node_c* node) {
    return is_value(node) && node->kind == XP_TOKEN_LITERAL;
}

// A literal, what a name leads to, or a number that is nobody's name and stands for itself.
[[gnu::always_inline]] inline void
value_of(const xp_node_c& node, drend_value_lookup_c& lookup, dr_xp_value_c& out) {
    if (node.kind == XP_TOKEN_LITERAL ||
        (!lookup.find_value(node.text, node.slot, out) && node.number.is_whole)) {
        out.set_lasting(node.text, node.number);
    }
}

// Apart, so that values cost no room for what nodes with parts need.
[[gnu::noinline]] void combine(const xp_node_c& node, drend_value_lookup_c& lookup,
                               dr_xp_value_c& out);

// Fills the empty value `out`; null gives the empty text.
[[gnu::always_inline]] inline void
evaluate(const xp_node_c* node, drend_value_lookup_c& lookup, dr_xp_value_c& out) {
    node = behind_brackets(node);
    if (is_value(node)) {
        value_of(*node, lookup, out);
    } else if (node != nullptr) {
        combine(*node, lookup, out);
    }
}

// Keeps a value for the evaluation of `next`, which may ask the lookup again.
void keep_for(const xp_node_c* next, dr_xp_value_c& value) {
    if (!is_literal(behind_brackets(next))) {
        value.keep();
    }
}

void call(const xp_node_c& node, drend_value_lookup_c& lookup, dr_xp_value_c& out) {
    const dr_xp_function_t function = dri_find_function(node.text);
    if (function == nullptr) {
        return;
    }
    dr_xp_value_c first;
    dr_xp_value_c second;
    for (size_t i = 0; i < node.args.size(); ++i) {
        dr_xp_value_c ignored;
        keep_for(node.args[i].get(), first);
        keep_for(node.args[i].get(), second);
        evaluate(node.args[i].get(), lookup, i == 0 ? first : i == 1 ? second : ignored);
    }
    function({node, lookup, first.text(), second.text()}, out);
}

bool is_operator(const xp_node_c* node) {
    return node != nullptr && node->type >= XP_NODE_AND && node->type <= XP_NODE_EQUAL;
}

bool operate(const xp_node_c& node, drend_value_lookup_c& lookup);

bool truth_of(const xp_node_c* node, drend_value_lookup_c& lookup) {
    node = behind_brackets(node);
    if (is_operator(node)) {
        return operate(*node, lookup);
    }
    dr_xp_value_c value;
    evaluate(node, lookup, value);
    return value.is_true();
}

int32_t number_of(const xp_node_c* node, drend_value_lookup_c& lookup) {
    dr_xp_value_c value;
    evaluate(node, lookup, value);
    return value.as_number();
}

bool are_equal(const xp_node_c& node, drend_value_lookup_c& lookup) {
    const xp_node_c* right = behind_brackets(node.right.get());
    dr_xp_value_c left_value;
    evaluate(node.left.get(), lookup, left_value);
    if (is_literal(right)) {
        return left_value.equals(right->text, right->number);
    }
    dr_xp_value_c right_value;
    left_value.keep();
    evaluate(right, lookup, right_value);
    return left_value.text() == right_value.text();
}

// Both sides are evaluated in any case, the left one first.
bool operate(const xp_node_c& node, drend_value_lookup_c& lookup) {
    const xp_node_c* left = node.left.get();
    const xp_node_c* right = node.right.get();
    if (node.type == XP_NODE_EQUAL) {
        return are_equal(node, lookup);
    }
    if (node.type == XP_NODE_AND || node.type == XP_NODE_OR) {
        const bool first = truth_of(left, lookup);
        const bool second = truth_of(right, lookup);
        return node.type == XP_NODE_AND ? first && second : first || second;
    }
    const int32_t first = number_of(left, lookup);
    const int32_t second = number_of(right, lookup);
    return node.type == XP_NODE_LESS ? first < second : first > second;
}

void combine(const xp_node_c& node, drend_value_lookup_c& lookup, dr_xp_value_c& out) {
    if (is_operator(&node)) {
        out.set_truth(operate(node, lookup));
    } else if (node.type == XP_NODE_CALL) {
        call(node, lookup, out);
    } else if (node.type != XP_NODE_NONE) {
        out.set_lasting("??");
    }
}

void gather_equality(const xp_node_c& node, drend_value_lookup_c& lookup,
                     std::map<std::string, std::string>& out) {
    if (!is_value(node.left.get()) || is_literal(node.left.get()) ||
        !is_literal(node.right.get()) || node.right->text.empty()) {
        return;
    }
    dr_str_buf_c name;
    if (lookup.get_meta_name(node.left->text.c_str(), name)) {
        out[name.c_str()] = node.right->text;
    }
}

} // namespace

bool dri_holds(const xp_node_c& node, drend_value_lookup_c& lookup) {
    const xp_node_c* root = behind_brackets(&node);
    if (is_operator(root)) {
        return operate(*root, lookup);
    }
    dr_xp_value_c value;
    evaluate(root, lookup, value);
    return value.holds();
}

int dri_eval_expr(const xp_node_c& node, drend_value_lookup_c& lookup,
                  dr_str_buf_c& result) {
    const bool holds = dri_holds(node, lookup);
    result = holds ? xpath_true : xpath_false;
    return holds ? 1 : 0;
}

void dri_gather_filter_expr(const xp_node_c& node, drend_value_lookup_c& lookup,
                            std::map<std::string, std::string>& out) {
    if (node.type == XP_NODE_EQUAL) {
        gather_equality(node, lookup, out);
        return;
    }
    if (node.type != XP_NODE_AND && node.type != XP_NODE_EXPR) {
        return;
    }
    for (const xp_node_c* child : {node.left.get(), node.right.get()}) {
        if (child != nullptr) {
            dri_gather_filter_expr(*child, lookup, out);
        }
    }
}

void dri_reset_xpath_cache() {
    dri_forget_paths();
    dri_forget_patterns();
}
