// SPDX-License-Identifier: BSD-2-Clause

// The skeleton of a definition file: tags as they were made of a schema, and their text.
#pragma once

#include <string>
#include <utility>
#include <vector>

// What a tag says of itself, in the words of the format; what is empty is not said.
struct skeleton_tag_s {
    std::string name{};
    std::string type{}; // empty: container
    std::string source{};
    std::string data_type{};
    int fraction = 0;
    std::vector<std::string> keys{};
    std::vector<std::pair<std::string, std::string>> map{};
    bool has_presence = false;
    std::string attributes{}; // namespaces, between single quotes
    std::string module{};
    std::string config{};
    std::string prefix{};
    std::vector<skeleton_tag_s> kids{};
};

struct skeleton_options_s {
    std::string
        command; // of every entry; empty: "show-" and the name of the entry's top tag
    std::string application;
};

// A leaf-list, whose values are of that type and at `source`.
skeleton_tag_s make_leaf_list(skeleton_tag_s leaf, const std::string& source);

// The text of a file with an entry for each container of `tops`, and one for all else there is. An
// answer has one element at its top.
std::string skeleton_text(std::vector<skeleton_tag_s> tops,
                          const skeleton_options_s& options);
