// SPDX-License-Identifier: BSD-2-Clause

// A model is registered as for the checks, and its paths become tags.
#include "schema_tags.h"

#include <algorithm>
#include <stdexcept>

#include "definitions/dr_xml_text.h"
#include "frame/escape.h"
#include "model/drend_meta_tree.h"
#include "tools/model/model.h"

namespace {

// The name of an element that comes nearest to that of a path.
std::string element_name(std::string_view path_name) {
    std::string name;
    while (!path_name.empty()) {
        const size_t length = dri_utf8_length(path_name);
        const std::string character(path_name.substr(0, length));
        name += length > 0 && dri_is_xml_name("a" + character) ? character : "_";
        path_name.remove_prefix(std::max<size_t>(length, 1));
    }
    return dri_is_xml_name(name) ? name : "_" + name;
}

// A list of bare values, as they are in JSON data.
bool is_leaf_list(const skeleton_tag_s& list) {
    return list.kids.size() == 1 && list.kids[0].type == "leaf" &&
           list.kids[0].source == MODEL_SCALAR;
}

std::vector<skeleton_tag_s> tags_below(const dr_meta_node_c& parent, const char* separator,
                                       size_t level);

skeleton_tag_s tag_of(const dr_meta_node_c& node, const char* separator, size_t level) {
    skeleton_tag_s tag;
    tag.name = element_name(node.name.c_str());
    tag.source = separator + std::string(node.name.c_str());
    tag.kids = tags_below(node, "", level + 1);
    if (node.is_list()) {
        tag.type = "list";
    } else if (node.is_leaf() && tag.kids.empty()) {
        tag.type = "leaf";
        tag.data_type = node.leaf_type == DMN_LEAF_INT64 ? "int64" : "";
    }
    tag.has_presence = node.is_leaf() && !tag.kids.empty();
    if (is_leaf_list(tag)) {
        skeleton_tag_s value = std::move(tag.kids[0]);
        tag.kids.clear();
        tag.data_type = value.data_type;
        return make_leaf_list(std::move(tag), value.source);
    }
    return tag;
}

// Without those that would print nothing.
std::vector<skeleton_tag_s> tags_below(const dr_meta_node_c& parent, const char* separator,
                                       size_t level) {
    if (level > SCHEMA_LEVELS_MAX) {
        throw std::runtime_error("paths are too deep");
    }
    std::vector<skeleton_tag_s> tags;
    for (const dr_meta_node_c* node : parent.child_list) {
        skeleton_tag_s tag = tag_of(*node, separator, level);
        if (tag.type == "leaf" || !tag.kids.empty()) {
            tags.push_back(std::move(tag));
        }
    }
    return tags;
}

} // namespace

std::vector<skeleton_tag_s> read_model_tags(const std::string& file) {
    const std::string fault = register_model(file);
    if (!fault.empty()) {
        throw std::runtime_error(file + ": " + fault);
    }
    std::vector<skeleton_tag_s> tags = tags_below(*dmn_get_root(), "/", 1);
    if (tags.empty()) {
        throw std::runtime_error(file + ": there is nothing in it");
    }
    return tags;
}
