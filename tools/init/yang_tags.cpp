// SPDX-License-Identifier: BSD-2-Clause

// libyang compiles the modules; the compiled nodes become tags.
//
// A module's namespace and name stand where its nodes begin: at the top, and where it adds to
// another one's. An enumeration becomes a value map from its numbers, which is what daemons have,
// to its names.
#include "schema_tags.h"

#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>

#include <libyang/libyang.h>

namespace {

template <auto Release>
struct releaser_s {
    template <typename Object>
    void operator()(Object* object) const {
        Release(object);
    }
};
using context_ref_t = std::unique_ptr<ly_ctx, releaser_s<ly_ctx_destroy>>;

void release_input(ly_in* input) {
    ly_in_free(input, 1);
}
using input_ref_t = std::unique_ptr<ly_in, releaser_s<release_input>>;

// What libyang says without help, for standard error is this program's.
[[noreturn]] void fail(const std::string& file, const ly_ctx* context) {
    const char* sentence = ly_errmsg(context);
    throw std::runtime_error(file + ": " + (sentence == nullptr ? "no module" : sentence));
}

// --- types ---

struct type_word_s {
    LY_DATA_TYPE type;
    const char* word;
};
// All others are strings.
constexpr type_word_s TYPE_WORDS[] = {
    {LY_TYPE_BINARY, "binary"}, {LY_TYPE_UINT8, "uint8"},     {LY_TYPE_UINT16, "uint16"},
    {LY_TYPE_UINT32, "uint32"}, {LY_TYPE_UINT64, "uint64"},   {LY_TYPE_BITS, "bits"},
    {LY_TYPE_BOOL, "boolean"},  {LY_TYPE_DEC64, "decimal64"}, {LY_TYPE_EMPTY, "empty"},
    {LY_TYPE_UNION, "union"},   {LY_TYPE_INT8, "int8"},       {LY_TYPE_INT16, "int16"},
    {LY_TYPE_INT32, "int32"},   {LY_TYPE_INT64, "int64"},
};

std::string word_of(LY_DATA_TYPE type) {
    for (const type_word_s& row : TYPE_WORDS) {
        if (row.type == type) {
            return row.word;
        }
    }
    return "";
}

// The type at the end of a chain of references.
const lysc_type& real_type(const lysc_type& type) {
    const auto* reference = reinterpret_cast<const lysc_type_leafref*>(&type);
    return type.basetype == LY_TYPE_LEAFREF ? *reference->realtype : type;
}

// In single quotes, which the library turns into double ones.
std::string attribute(const std::string& name, const char* value) {
    std::string text;
    for (const char* c = value; *c != '\0'; ++c) {
        text += *c == '&'    ? "&amp;"
                : *c == '<'  ? "&lt;"
                : *c == '\'' ? "&apos;"
                : *c == '"'  ? "&quot;"
                             : std::string(1, *c);
    }
    return name + "='" + text + "'";
}

void add_modules(const lysc_ident& identity, std::set<const lys_module*>& modules) {
    LY_ARRAY_COUNT_TYPE n = 0;
    LY_ARRAY_FOR(identity.derived, n) {
        modules.insert(identity.derived[n]->module);
    }
}

// A value that names an identity of another module has that module's name in front, which is right
// in XML and in JSON; with identities of several modules the daemon's data has to say whose they
// are.
void add_prefix(skeleton_tag_s& tag, const lysc_type_identityref& type,
                const lys_module* own) {
    std::set<const lys_module*> modules;
    LY_ARRAY_COUNT_TYPE n = 0;
    LY_ARRAY_FOR(type.bases, n) {
        add_modules(*type.bases[n], modules);
    }
    if (modules.size() == 1 && *modules.begin() != own) {
        const lys_module& module = **modules.begin();
        const std::string name = std::string("xmlns:") + module.name;
        tag.prefix = std::string(module.name) + ":";
        tag.attributes += (tag.attributes.empty() ? "" : " ") + attribute(name, module.ns);
    }
}

void add_type(skeleton_tag_s& tag, const lysc_type& given, const lys_module* module) {
    const lysc_type& type = real_type(given);
    tag.data_type = word_of(type.basetype);
    if (type.basetype == LY_TYPE_DEC64) {
        tag.fraction = reinterpret_cast<const lysc_type_dec&>(type).fraction_digits;
    } else if (type.basetype == LY_TYPE_IDENT) {
        add_prefix(tag, reinterpret_cast<const lysc_type_identityref&>(type), module);
    } else if (type.basetype == LY_TYPE_ENUM) {
        const auto& enumeration = reinterpret_cast<const lysc_type_enum&>(type);
        LY_ARRAY_COUNT_TYPE n = 0;
        LY_ARRAY_FOR(enumeration.enums, n) {
            tag.map.emplace_back(std::to_string(enumeration.enums[n].value),
                                 enumeration.enums[n].name);
        }
    }
}

// --- nodes ---

constexpr uint16_t HIDDEN = LYS_CHOICE | LYS_CASE; // not printed themselves
constexpr uint16_t SHOWN = HIDDEN | LYS_CONTAINER | LYS_LIST | LYS_LEAF | LYS_LEAFLIST;

// `module` is that of the element around them.
std::vector<skeleton_tag_s> tags_of(const lysc_node* first, const lys_module* module,
                                    size_t level);

void add_kind(skeleton_tag_s& tag, const lysc_node& node) {
    if (node.nodetype == LYS_CHOICE || node.nodetype == LYS_CASE) {
        tag.type = node.nodetype == LYS_CHOICE ? "choice" : "case";
    } else if (node.nodetype == LYS_CONTAINER) {
        tag.has_presence = (node.flags & LYS_PRESENCE) != 0;
    } else if (node.nodetype == LYS_LIST) {
        tag.type = "list";
    } else {
        tag.type = "leaf";
        const auto& leaf = reinterpret_cast<const lysc_node_leaf&>(node);
        const auto& leaf_list = reinterpret_cast<const lysc_node_leaflist&>(node);
        add_type(tag, node.nodetype == LYS_LEAF ? *leaf.type : *leaf_list.type,
                 node.module);
    }
}

bool is_config(const lysc_node* node) {
    return node != nullptr && (node->flags & LYS_CONFIG_W) != 0;
}

// What an element says that is configuration within one that is not, or the other way round. That
// around it is the next one that is printed.
std::string config_of(const lysc_node& node) {
    const lysc_node* around = node.parent;
    while (around != nullptr && (around->nodetype & HIDDEN) != 0) {
        around = around->parent;
    }
    const bool begins = is_config(&node) != is_config(around);
    return !begins ? "" : is_config(&node) ? "true" : "false";
}

skeleton_tag_s tag_of(const lysc_node& node, const lys_module* module, size_t level) {
    const bool is_printed = (node.nodetype & HIDDEN) == 0;
    skeleton_tag_s tag;
    tag.name = node.name;
    if (is_printed) {
        tag.source = (node.parent == nullptr ? "/" : "") + tag.name;
        tag.config = config_of(node);
    }
    if (is_printed && node.module != module) {
        module = node.module;
        tag.attributes = attribute("xmlns", module->ns);
        tag.module = module->name;
    }
    add_kind(tag, node);
    if (node.nodetype == LYS_LEAFLIST) {
        return make_leaf_list(std::move(tag), "value");
    }
    tag.kids = tags_of(lysc_node_child(&node), module, level + 1);
    for (const lysc_node* kid = lysc_node_child(&node); kid != nullptr; kid = kid->next) {
        if (lysc_is_key(kid)) {
            tag.keys.emplace_back(kid->name);
        }
    }
    return tag;
}

std::vector<skeleton_tag_s> tags_of(const lysc_node* first, const lys_module* module,
                                    size_t level) {
    if (level > SCHEMA_LEVELS_MAX) {
        throw std::runtime_error("nodes are too deep");
    }
    std::vector<skeleton_tag_s> tags;
    for (const lysc_node* node = first; node != nullptr && node->parent == first->parent;
         node = node->next) { // kids of other cases follow those of the first one
        const bool is_current = (node->flags & (LYS_STATUS_DEPRC | LYS_STATUS_OBSLT)) == 0;
        if ((node->nodetype & SHOWN) != 0 && is_current) {
            skeleton_tag_s tag = tag_of(*node, module, level);
            if (tag.type == "leaf" || tag.has_presence || !tag.kids.empty()) {
                tags.push_back(std::move(tag));
            }
        }
    }
    return tags;
}

// --- modules ---

const lys_module* parse(ly_ctx* context, const std::string& file) {
    ly_in* opened = nullptr;
    if (ly_in_new_filepath(file.c_str(), 0, &opened) != LY_SUCCESS) {
        throw std::runtime_error(file + ": cannot be read");
    }
    const input_ref_t input(opened);
    const char* features[] = {"*", nullptr};
    const bool is_yin = file.ends_with(".yin");
    lys_module* module = nullptr;
    if (lys_parse(context, input.get(), is_yin ? LYS_IN_YIN : LYS_IN_YANG, features,
                  &module) != LY_SUCCESS) {
        fail(file, context);
    }
    return module;
}

context_ref_t make_context(const std::vector<std::string>& files,
                           const std::vector<std::string>& folders) {
    ly_ctx* made = nullptr;
    ly_log_options(LY_LOSTORE_LAST);
    if (ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD, &made) !=
        LY_SUCCESS) {
        throw std::runtime_error("libyang does not start");
    }
    context_ref_t context(made);
    const auto search = [&](const std::filesystem::path& folder) {
        const LY_ERR status =
            ly_ctx_set_searchdir(made, folder.empty() ? "." : folder.c_str());
        if (status != LY_SUCCESS && status != LY_EEXIST) {
            fail(folder, made);
        }
    };
    for (const std::string& folder : folders) {
        search(folder);
    }
    for (const std::string& file : files) {
        search(std::filesystem::path(file).parent_path());
    }
    return context;
}

} // namespace

std::vector<skeleton_tag_s> read_yang_tags(const std::vector<std::string>& files,
                                           const std::vector<std::string>& folders) {
    const context_ref_t context = make_context(files, folders);
    std::set<const lys_module*> known;
    std::vector<const lys_module*> modules;
    for (const std::string& file : files) {
        const lys_module* module = parse(context.get(), file);
        if (known.insert(module).second) {
            modules.push_back(module);
        }
    }
    std::vector<skeleton_tag_s> tags;
    for (const lys_module* module : modules) { // compiled again with each that was added
        for (skeleton_tag_s& tag : tags_of(module->compiled->data, nullptr, 1)) {
            tags.push_back(std::move(tag));
        }
    }
    if (tags.empty()) {
        throw std::runtime_error("there is no data at the top of these modules; name those "
                                 "that they add to, too");
    }
    return tags;
}
