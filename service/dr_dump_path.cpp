// SPDX-License-Identifier: BSD-2-Clause

#include "service/dr_dump_path.h"

#include "frame/dr_no_such.h"
#include "frame/str_util.h"

namespace {

std::vector<std::string> names_below(const dr_meta_node_c& node) {
    std::vector<std::string> names;
    for (const dr_meta_node_c* child : node.child_list) {
        names.emplace_back(child->name.c_str());
    }
    return names;
}

// The component that a piece between two "/" stands for; false when it has a "[" that is no key's.
bool parse(const std::string& piece, dr_dump_path_c::component_s& component) {
    if (piece.find('[') == std::string::npos) {
        component.name = piece;
        return true;
    }
    if (!piece.ends_with(']') || dri_parse_expr(piece.c_str(), component.name,
                                                component.key, component.value) != 0) {
        return false;
    }
    component.value = dri_strip_quotes(component.value);
    return !component.key.empty();
}

} // namespace

std::string dr_dump_path_c::read(const char* text) {
    const dr_meta_node_c* node = dmn_get_root();
    std::vector<std::string> pieces;
    str_split(text == nullptr ? "" : text, pieces, "/", true);
    for (const std::string& piece : pieces) {
        component_s component;
        if (piece.empty()) {
            continue;
        }
        if (!parse(piece, component)) {
            return dri_quoted_word(piece) + " is no component of a path";
        }
        if (std::string error = check(component, node); !error.empty()) {
            return error;
        }
        components_.push_back(std::move(component));
    }
    return {};
}

// Moves `node` to the component's. Empty, or what is wrong with it.
std::string dr_dump_path_c::check(const component_s& component,
                                  const dr_meta_node_c*& node) const {
    const std::string place = text(components_.size());
    const dr_meta_node_c* child = node->find_child(component.name);
    if (child == nullptr) {
        return dri_no_such(component.name, place, names_below(*node));
    }
    node = child;
    if (component.key.empty()) {
        return {};
    }
    const std::string here = (place == "/" ? "" : place) + "/" + component.name;
    if (!child->is_list()) {
        return here + " is no list";
    }
    const dr_meta_node_c* key = child->find_child(component.key);
    return key != nullptr && key->is_leaf()
               ? std::string()
               : dri_no_such(component.key, here, names_below(*child));
}

std::string dr_dump_path_c::text(size_t count) const {
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += "/" + components_[i].name;
        if (!components_[i].key.empty()) {
            text += "[" + components_[i].key + "=" + components_[i].value + "]";
        }
    }
    return text.empty() ? "/" : text;
}
