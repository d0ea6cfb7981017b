// SPDX-License-Identifier: BSD-2-Clause

// Attributes were checked when the definition was read; here they are only taken apart.
#include "definitions/dr_scope.h"

#include <algorithm>

#include "definitions/drend_tag.h"

namespace {

constexpr std::string_view XMLNS = "xmlns";
constexpr std::string_view XML = "xml"; // a prefix that is always declared

bool is_declaration(std::string_view name) {
    return name == XMLNS ||
           (name.starts_with(XMLNS) && name.substr(XMLNS.size()).starts_with(':'));
}

// Calls `take` with name and value of each attribute.
template <typename Take>
void for_each_attribute(std::string_view text, const Take& take) {
    static constexpr std::string_view blanks = " \t\r\n";
    for (;;) {
        const size_t begin = text.find_first_not_of(blanks);
        const size_t open = text.find('"');
        const size_t close = text.find('"', open + 1);
        if (begin == std::string_view::npos || close == std::string_view::npos) {
            return;
        }
        const size_t name_end = text.find_first_of(" \t\r\n=", begin);
        take(text.substr(begin, name_end - begin), text.substr(open + 1, close - open - 1));
        text.remove_prefix(close + 1);
    }
}

} // namespace

dr_scope_c::dr_scope_c(const dr_scope_c* outer, const drend_tag_c& tag)
    : outer_(outer), module_(tag.dt_module) {
    if (module_.empty() && outer != nullptr) {
        module_ = outer->module_;
    }
    std::vector<attribute_t> others;
    for_each_attribute(tag.xmlns(), [&](std::string_view name, std::string_view value) {
        if (!is_declaration(name)) {
            others.emplace_back(name, value);
            return;
        }
        const std::string_view* known = find(name);
        if (known == nullptr || *known != value) {
            declared_.emplace_back(name, value);
        }
    });
    declare(declared_);
    std::erase_if(others, [&](const attribute_t& attribute) {
        const auto prefix = attribute.first.substr(
            0, std::min(attribute.first.find(':'), attribute.first.size()));
        const bool has_prefix = prefix.size() < attribute.first.size();
        return has_prefix && prefix != XML &&
               find(std::string(XMLNS).append(":").append(prefix)) == nullptr;
    });
    declare(others);
}

void dr_scope_c::declare(const std::vector<attribute_t>& attributes) {
    for (const auto& [name, value] : attributes) {
        attributes_.append(" ").append(name).append("=\"").append(value).append("\"");
    }
}

const std::string_view* dr_scope_c::find(std::string_view name) const {
    for (const dr_scope_c* scope = this; scope != nullptr; scope = scope->outer_) {
        for (const auto& [declared, value] : scope->declared_) {
            if (declared == name) {
                return &value;
            }
        }
    }
    return nullptr;
}

std::optional<std::string_view> dri_declared_namespace(std::string_view attributes,
                                                       std::string_view prefix) {
    const std::string name =
        std::string(XMLNS).append(prefix.empty() ? "" : ":").append(prefix);
    std::optional<std::string_view> declared;
    for_each_attribute(attributes, [&](std::string_view attribute, std::string_view value) {
        declared = attribute == name ? value : declared;
    });
    return declared;
}

std::string_view dri_module_begun(const dr_scope_c* inner, const dr_scope_c* outer) {
    const bool begins = inner != outer && inner != nullptr &&
                        (outer == nullptr || inner->module() != outer->module());
    return begins ? inner->module() : std::string_view();
}

const dr_scope_c* dr_scope_cache_c::find_or_make(const dr_scope_c* outer,
                                                 const drend_tag_c& tag) {
    for (const auto& scope : scopes_) {
        if (scope->outer() == outer) {
            return scope.get();
        }
    }
    scopes_.push_back(std::make_unique<const dr_scope_c>(outer, tag));
    return scopes_.back().get();
}
