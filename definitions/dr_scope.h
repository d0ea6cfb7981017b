// SPDX-License-Identifier: BSD-2-Clause

// dr_scope_c: what is in force inside an element of an answer: its YANG module, and the namespaces
// that are declared there.
//
//     interfaces  xmlns="urn:a" xmlns:t="urn:t"  dts_module a    scope a
//      +-- ipv4   xmlns="urn:b" xmlns:t="urn:t"  dts_module b     scope b: declares xmlns="urn:b"
//           +-- mtu                                               the same scope
//
//  1. A tag that says nothing of its own is in the scope of what encloses it.
//  2. A tag keeps one scope for each scope that it was found in: of its own command, and of the
//     merged tree. Equal pointers are equal scopes, as long as the definitions last.
//  3. Scopes belong to the daemon's thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class drend_tag_c;

class dr_scope_c {
  public:
    // `outer` null: of an element that nothing encloses.
    dr_scope_c(const dr_scope_c* outer, const drend_tag_c& tag);

    const dr_scope_c* outer() const { return outer_; }
    // Of the innermost tag that names one; empty: none does.
    std::string_view module() const { return module_; }
    // What the element's opening tag has behind its name: namespaces that are not in force around
    // it, and attributes whose prefixes are.
    const std::string& attributes() const { return attributes_; }

  private:
    using attribute_t = std::pair<std::string_view, std::string_view>;

    void declare(const std::vector<attribute_t>& attributes);
    // The value of a declaration, or null.
    const std::string_view* find(std::string_view name) const;

    const dr_scope_c* const outer_;
    std::string_view module_;           // of a tag
    std::vector<attribute_t> declared_; // here; of the tag
    std::string attributes_;
};

// What `attributes`, as they stand behind a tag's name, declare for `prefix`; the default namespace
// for an empty one. Nothing when they do not.
std::optional<std::string_view> dri_declared_namespace(std::string_view attributes,
                                                       std::string_view prefix);

// The module in whose name a member stands: that of its scope where it is another than around it,
// else empty.
std::string_view dri_module_begun(const dr_scope_c* inner, const dr_scope_c* outer);

// The scopes of one tag.
class dr_scope_cache_c {
  public:
    const dr_scope_c* find_or_make(const dr_scope_c* outer, const drend_tag_c& tag);

  private:
    std::vector<std::unique_ptr<const dr_scope_c>> scopes_;
};
