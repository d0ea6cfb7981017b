#include "expr/dr_xp_eval.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>
#include <vector>

#include "drend.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "expr/dr_xp_pattern.h"

namespace {

std::string evaluate(const xp_node_c& node, drend_value_lookup_c& lookup);

bool is_number(const char* text) {
    char* end = nullptr;
    strtol(text, &end, 0);
    return end != text && *end == '\0';
}

// A number that is nobody's name stands for itself. What recursion passes through stays small: a
// text buffer is made in a frame of its own.
[[gnu::noinline]] std::string value_of(const xp_node_c& node,
                                       drend_value_lookup_c& lookup) {
    if (node.kind == XP_TOKEN_LITERAL) {
        return node.text;
    }
    dr_str_buf_c value;
    if (lookup.get_value(node.text.c_str(), value)) {
        return value.c_str();
    }
    return is_number(node.text.c_str()) ? node.text : std::string();
}

std::string call(const xp_node_c& node, drend_value_lookup_c& lookup) {
    std::string result;
    const dr_xp_function_t function = dri_find_function(node.text.c_str());
    if (function != nullptr) {
        std::vector<std::string> args;
        args.reserve(node.args.size());
        for (const auto& argument : node.args) {
            args.push_back(evaluate(*argument, lookup));
        }
        function(node, lookup, args, result);
    }
    return result;
}

bool is_true(const std::string& text) {
    return !text.empty() && text != "0" && text != xpath_false;
}

int32_t number(const std::string& text) {
    using limits = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(
        std::clamp<long>(strtol(text.c_str(), nullptr, 0), limits::min(), limits::max()));
}

const char* compare(int type, const std::string& left, const std::string& right) {
    bool result = false;
    switch (type) {
    case XP_NODE_AND:
        result = is_true(left) && is_true(right);
        break;
    case XP_NODE_OR:
        result = is_true(left) || is_true(right);
        break;
    case XP_NODE_LESS:
        result = number(left) < number(right);
        break;
    case XP_NODE_GREATER:
        result = number(left) > number(right);
        break;
    case XP_NODE_EQUAL:
        result = left == right;
        break;
    default:
        return "??";
    }
    return result ? xpath_true : xpath_false;
}

std::string evaluate(const xp_node_c& node, drend_value_lookup_c& lookup) {
    std::string left;
    std::string right;
    if (node.left != nullptr) {
        left = evaluate(*node.left, lookup);
    }
    if (node.right != nullptr) {
        right = evaluate(*node.right, lookup);
    }
    switch (node.type) {
    case XP_NODE_NONE:
        return "";
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

bool is_value(const xp_node_c* node, int kind) {
    return node != nullptr && node->type == XP_NODE_VALUE && node->kind == kind;
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

int dri_eval_expr(const xp_node_c& node, drend_value_lookup_c& lookup,
                  dr_str_buf_c& result) {
    const std::string value = evaluate(node, lookup);
    const bool holds = !value.empty() && value != xpath_false;
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
