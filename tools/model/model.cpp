// SPDX-License-Identifier: BSD-2-Clause

// A model is registered as a daemon would register it, without procedures: what the checks look at
// is the tree alone.
#include "model.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include "definitions/dr_json.h"
#include "model/drend_meta_tree.h"

namespace {

void add(const std::string& path, dmn_type_e type, dmn_leaf_type_e leaf = DMN_LEAF_NONE) {
    dri_add_path(path.c_str(), type, leaf, nullptr, nullptr);
}

// --- schema dumps ---

bool add_line(const std::string& line) {
    std::istringstream words(line);
    std::string path;
    std::string kind;
    std::string more;
    if (!(words >> path >> kind) || path[0] != '/' || words >> more) {
        return false;
    }
    if (kind == "container") {
        add(path, DMN_TYPE_CONT);
    } else if (kind == "list") {
        add(path, DMN_TYPE_LIST);
    } else if (kind == "leaf") {
        add(path, DMN_TYPE_LEAF);
    } else {
        return kind == "NA";
    }
    return true;
}

std::string add_dump(const std::string& text) {
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const bool is_blank = line.find_first_not_of(" \r") == std::string::npos;
        if (!is_blank && !add_line(line)) {
            return "line " + std::to_string(number) + " is no path with its kind";
        }
    }
    return "";
}

// --- JSON data ---

void add_data(const std::string& path, const dr_json_c& value);

void add_members(const std::string& path, const dr_json_c& object) {
    object.for_each_member([&](std::string_view name, const dr_json_c& value) {
        add_data(path + "/" + std::string(name), value);
    });
}

void add_rows(const std::string& path, const dr_json_c& array) {
    add(path, DMN_TYPE_LIST);
    for (dr_json_elements_c rows(array); !rows.is_at_end();) {
        const dr_json_c row = rows.take();
        if (row.is_object()) {
            add_members(path, row);
        } else {
            add_data(path + "/" + MODEL_SCALAR, row);
        }
    }
}

void add_data(const std::string& path, const dr_json_c& value) {
    if (value.is_array()) {
        add_rows(path, value);
    } else if (value.is_object()) {
        add(path, DMN_TYPE_CONT);
        add_members(path, value);
    } else {
        add(path, DMN_TYPE_LEAF, value.is_integer() ? DMN_LEAF_INT64 : DMN_LEAF_STR);
    }
}

std::string add_json(const std::string& text) {
    dr_json_document_c document;
    dr_json_document_c::error_s error;
    if (!document.parse(text, error)) {
        return std::to_string(error.line) + ":" + std::to_string(error.column) + ": " +
               error.sentence;
    }
    if (!document.root().is_object()) {
        return "the data is no object";
    }
    add_members("", document.root());
    return "";
}

} // namespace

std::string register_model(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        return "cannot be read";
    }
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const size_t begin = text.find_first_not_of(" \t\r\n");
    const bool is_dump = begin != std::string::npos && text[begin] == '/';
    return is_dump ? add_dump(text) : add_json(text);
}
