// SPDX-License-Identifier: BSD-2-Clause

// Made in two steps: the tags' sources become a tree of paths, and that becomes a document, with
// values, whose lists have two rows each.
//
//     {"dts_type": "list", "dts_source": "/a/b", ...          a --- b (list) --- name (leaf)
//         {"dts_type": "leaf", "dts_source": "name"}
#include "sample_data.h"

#include <cstring>
#include <jansson.h>
#include <map>
#include <memory>
#include <random>
#include <string_view>

namespace {

constexpr size_t ROWS = 2;
constexpr size_t LEVELS_MAX = 32; // of tags, and of paths

struct release_json_s {
    void operator()(json_t* value) const { json_decref(value); }
};
using json_ref_t = std::unique_ptr<json_t, release_json_s>;

std::string_view text_of(const json_t* tag, const char* member) {
    const char* text = json_string_value(json_object_get(tag, member));
    return text == nullptr ? "" : text;
}

bool has_text(const json_t* array, std::string_view text) {
    for (size_t n = 0; n < json_array_size(array); ++n) {
        const char* element = json_string_value(json_array_get(array, n));
        if (element != nullptr && element == text) {
            return true;
        }
    }
    return false;
}

// --- paths ---

enum class kind_e : uint8_t {
    LEAF,
    CONTAINER,
    LIST
}; // whoever wants more of a path gets it

struct path_s {
    path_s* parent = nullptr;
    kind_e kind = kind_e::LEAF;
    const json_t* tag = nullptr; // of a leaf
    bool is_key = false;
    std::map<std::string, std::unique_ptr<path_s>, std::less<>> kids;

    path_s& kid(std::string_view name) {
        std::unique_ptr<path_s>& place = kids[std::string(name)];
        if (place == nullptr) {
            place = std::make_unique<path_s>();
            place->parent = this;
        }
        kind = std::max(kind, kind_e::CONTAINER);
        return *place;
    }
};

size_t depth_of(const path_s* path) {
    size_t depth = 0;
    for (; path->parent != nullptr; path = path->parent) {
        ++depth;
    }
    return depth;
}

// One component; a row that is selected by a key is of a list.
path_s* step(path_s* from, std::string_view component) {
    if (component.empty() || component == ".") {
        return from;
    }
    if (component == "..") {
        return from->parent == nullptr ? from : from->parent;
    }
    const size_t bracket = component.find('[');
    path_s& kid = from->kid(component.substr(0, bracket));
    if (bracket != std::string_view::npos) {
        kid.kind = kind_e::LIST;
    }
    return &kid;
}

// Along a source; what stands in brackets is no way.
path_s* follow(path_s* from, std::string_view source) {
    if (source.starts_with('/')) {
        while (from->parent != nullptr) {
            from = from->parent;
        }
    }
    size_t begin = 0;
    int brackets = 0;
    for (size_t at = 0; at <= source.size(); ++at) {
        const char c = at == source.size() ? '/' : source[at];
        brackets += c == '[' ? 1 : c == ']' ? -1 : 0;
        if (c == '/' && (brackets <= 0 || at == source.size())) {
            from = step(from, source.substr(begin, at - begin));
            begin = at + 1;
        }
    }
    return from;
}

kind_e kind_of(std::string_view type) {
    return type == "list" || type == "leaf-list" ? kind_e::LIST
           : type == "leaf"                      ? kind_e::LEAF
                                                 : kind_e::CONTAINER;
}

void add_tag(path_s& parent, const json_t* tag, const json_t* keys, size_t level) {
    if (level > LEVELS_MAX || depth_of(&parent) > LEVELS_MAX) {
        return;
    }
    const std::string_view source = text_of(tag, "dts_source");
    path_s& path = *follow(&parent, source);
    if (!source.empty() && path.parent != nullptr) {
        path.kind = std::max(path.kind, kind_of(text_of(tag, "dts_type")));
        path.tag = path.tag == nullptr ? tag : path.tag;
        path.is_key = path.is_key || has_text(keys, text_of(tag, "dts_name"));
    }
    const json_t* kids = json_object_get(tag, "dts_kids");
    for (size_t n = 0; n < json_array_size(kids); ++n) {
        add_tag(path, json_array_get(kids, n), json_object_get(tag, "dts_key"), level + 1);
    }
}

// --- values ---

class maker_c {
  public:
    explicit maker_c(uint32_t seed) : random_(seed) {}

    json_ref_t object(const path_s& path, size_t row) {
        json_ref_t made(json_object());
        for (const auto& [name, kid] : path.kids) {
            json_object_set_new(made.get(), name.c_str(), any(*kid, name, row).release());
        }
        return made;
    }

  private:
    json_ref_t any(const path_s& path, const std::string& name, size_t row) {
        switch (path.kind) {
        case kind_e::LEAF:
            return leaf(path, name, row);
        case kind_e::CONTAINER:
            return object(path, row);
        case kind_e::LIST:
            break;
        }
        json_ref_t rows(json_array());
        for (size_t n = 1; n <= ROWS; ++n) {
            json_array_append_new(rows.get(), object(path, n).release());
        }
        return rows;
    }

    // Keys tell the rows of a list apart; a value map has its values.
    json_ref_t leaf(const path_s& path, const std::string& name, size_t row) {
        const std::string_view type = text_of(path.tag, "dts_data_type");
        const bool is_number = type.starts_with("int") || type.starts_with("uint");
        const uint32_t most = type.ends_with("int8") ? 100 : 10000;
        if (const char* mapped = mapped_text(path)) {
            return json_ref_t(json_string(mapped));
        }
        if (is_number) {
            return json_ref_t(
                json_integer(path.is_key ? static_cast<json_int_t>(row) : below(most)));
        }
        if (type == "decimal64" || type == "double") {
            return json_ref_t(json_real(below(most) / 8.0));
        }
        if (type == "boolean") {
            return json_ref_t(json_boolean(below(2)));
        }
        const size_t number = path.is_key ? row : below(100);
        return json_ref_t(json_string((name + "-" + std::to_string(number)).c_str()));
    }

    const char* mapped_text(const path_s& path) {
        const json_t* pairs = json_object_get(path.tag, "dts_map");
        std::vector<const char*> texts;
        for (size_t n = 0; n < json_array_size(pairs); ++n) {
            const char* text =
                json_string_value(json_array_get(json_array_get(pairs, n), 0));
            if (text != nullptr && strcmp(text, "*") != 0) {
                texts.push_back(text);
            }
        }
        return texts.empty() || path.is_key
                   ? nullptr
                   : texts[below(static_cast<uint32_t>(texts.size()))];
    }

    // A distribution would be another one with another standard library.
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

    std::mt19937 random_;
};

} // namespace

std::string make_sample_data(const std::vector<std::filesystem::path>& files,
                             uint32_t seed) {
    path_s root;
    std::vector<json_ref_t> documents; // which the paths refer to
    for (const std::filesystem::path& file : files) {
        documents.emplace_back(json_load_file(file.c_str(), 0, nullptr));
        const json_t* entries = documents.back().get();
        for (size_t n = 0; n < json_array_size(entries); ++n) {
            add_tag(root, json_object_get(json_array_get(entries, n), "dc_tag"), nullptr,
                    1);
        }
    }
    const json_ref_t data = maker_c(seed).object(root, 1);
    const std::unique_ptr<char, decltype(&free)> text(
        json_dumps(data.get(), JSON_INDENT(2)), &free);
    return text == nullptr ? "{}" : text.get();
}
