// SPDX-License-Identifier: BSD-2-Clause

#include "expr/dr_xp_eval.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "drend.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "expr/dr_xp_pattern.h"

namespace {

// The text that a node gives: a part of the tree or a constant, or one of its own.
constexpr char NOTHING[] = "";

class text_c {
  public:
    text_c() = default;
    explicit text_c(std::string_view lasting) : lasting_(lasting) {}
    explicit text_c(std::string own) : own_(std::move(own)), is_own_(true) {}
    std::string_view view() const { return is_own_ ? std::string_view(own_) : lasting_; }
    // The same, ending in a NUL: so does everything in a tree.
    const char* c_str() const { return is_own_ ? own_.c_str() : lasting_.data(); }

  private:
    std::string_view lasting_ = NOTHING;
    std::string own_;
    bool is_own_ = false;
};

text_c evaluate(const xp_node_c& node, drend_value_lookup_c& lookup);

bool is_number(const char* text) {
    char* end = nullptr;
    strtol(text, &end, 0);
    return end != text && *end == '\0';
}

// What a value node gives, valid until the lookup is asked again. A number that is nobody's name
// stands for itself.
std::string_view view_of(const xp_node_c& node, drend_value_lookup_c& lookup) {
    std::string_view value;
    if (node.kind == XP_TOKEN_LITERAL) {
        return node.text;
    }
    if (lookup.view_value(node.text, value)) {
        return value;
    }
    return is_number(node.text.c_str()) ? std::string_view(node.text) : "";
}

text_c value_of(const xp_node_c& node, drend_value_lookup_c& lookup) {
    return node.kind == XP_TOKEN_LITERAL ? text_c(std::string_view(node.text))
                                         : text_c(std::string(view_of(node, lookup)));
}

text_c call(const xp_node_c& node, drend_value_lookup_c& lookup) {
    std::string result;
    const dr_xp_function_t function = dri_find_function(node.text.c_str());
    if (function != nullptr) {
        std::vector<std::string> args;
        args.reserve(node.args.size());
        for (const auto& argument : node.args) {
            args.emplace_back(evaluate(*argument, lookup).view());
        }
        function(node, lookup, args, result);
    }
    return text_c(std::move(result));
}

bool is_true(std::string_view text) {
    return !text.empty() && text != "0" && text != xpath_false;
}

int32_t number(const text_c& text) {
    using limits = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(
        std::clamp<long>(strtol(text.c_str(), nullptr, 0), limits::min(), limits::max()));
}

text_c truth(bool value) {
    return text_c(std::string_view(value ? xpath_true : xpath_false));
}

text_c compare(int type, const text_c& left, const text_c& right) {
    switch (type) {
    case XP_NODE_AND:
        return truth(is_true(left.view()) && is_true(right.view()));
    case XP_NODE_OR:
        return truth(is_true(left.view()) || is_true(right.view()));
    case XP_NODE_LESS:
        return truth(number(left) < number(right));
    case XP_NODE_GREATER:
        return truth(number(left) > number(right));
    case XP_NODE_EQUAL:
        return truth(left.view() == right.view());
    default:
        return text_c(std::string_view("??"));
    }
}

bool is_value(const xp_node_c* node, int kind) {
    return node != nullptr && node->type == XP_NODE_VALUE && node->kind == kind;
}

// A value compared with a literal, as nearly every predicate is: nothing has to be kept.
bool is_plain_equality(const xp_node_c& node) {
    return node.type == XP_NODE_EQUAL && node.left != nullptr &&
           node.left->type == XP_NODE_VALUE && is_value(node.right.get(), XP_TOKEN_LITERAL);
}

text_c evaluate(const xp_node_c& node, drend_value_lookup_c& lookup) {
    if (is_plain_equality(node)) {
        return truth(view_of(*node.left, lookup) == node.right->text);
    }
    text_c left;
    text_c right;
    if (node.left != nullptr) {
        left = evaluate(*node.left, lookup);
    }
    if (node.right != nullptr) {
        right = evaluate(*node.right, lookup);
    }
    switch (node.type) {
    case XP_NODE_NONE:
        return {};
    case XP_NODE_EXPR:
        return left;
    case XP_NODE_VALUE:
        return value_of(node, lookup);
    case XP_NODE_CALL:
        return call(node, lookup);
    default:
        return compare(node.type, left, right);
    }
}

void gather_equality(const xp_node_c& node, drend_value_lookup_c& lookup,
                     std::map<std::string, std::string>& out) {
    if (!is_value(node.left.get(), XP_TOKEN_WORD) ||
        !is_value(node.right.get(), XP_TOKEN_LITERAL) || node.right->text.empty()) {
        return;
    }
    dr_str_buf_c name;
    if (lookup.get_meta_name(node.left->text.c_str(), name)) {
        out[name.c_str()] = node.right->text;
    }
}

} // namespace

bool dri_holds(const xp_node_c& node, drend_value_lookup_c& lookup) {
    const text_c value = evaluate(node, lookup);
    return !value.view().empty() && value.view() != xpath_false;
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
