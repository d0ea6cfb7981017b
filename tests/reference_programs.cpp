// SPDX-License-Identifier: BSD-2-Clause

// The forms for programs: an element is a sequence of items, and each form writes these its way.

#include <algorithm>
#include <map>
#include <sstream>

#include "reference_text.h"

namespace reference {

namespace {

// --- forms for programs --------------------------------------------------------------------------

// What is in force inside an element.
struct scope_s {
    size_t level = 0;
    std::string module{};
    std::map<std::string, std::string> declared{};
    const tag_s* leaf_list = nullptr; // whose row this is
};

// Takes over what a tag says, and gives what its opening tag has to say of that.
std::string enter(scope_s& scope, const tag_s& tag) {
    scope.module = tag.module.empty() ? scope.module : tag.module;
    std::string said;
    std::vector<std::string> others;
    std::istringstream attributes(tag.attributes);
    for (std::string attribute; attributes >> attribute;) {
        const std::string name = attribute.substr(0, attribute.find('='));
        if (!name.starts_with("xmlns")) {
            others.push_back(attribute);
        } else if (scope.declared[name] != attribute) {
            scope.declared[name] = attribute;
            said += " " + attribute;
        }
    }
    for (const std::string& other : others) {
        const size_t colon = other.find(':');
        const bool is_known = colon > other.find('=') ||
                              scope.declared.contains("xmlns:" + other.substr(0, colon));
        said += is_known ? " " + other : "";
    }
    return said;
}

// An element, or a value under the name of a leaf-list: not printed yet.
struct item_s {
    const tag_s* named;
    scope_s scope; // around it
    std::string text;
};

// Both forms: what an element holds is a sequence of items, which each of them writes its own way.
class program_form_c {
  public:
    explicit program_form_c(const document_s& document)
        : document_(document),
          is_compact_(document.request->is_compact || document.request->form == LINES) {}
    virtual ~program_form_c() = default;

  protected:
    virtual std::string object(const element_s& element, const scope_s& outer,
                               const std::vector<item_s>& items) const = 0;
    virtual std::string value(const tag_s& tag, const value_s& value, const tag_s& named,
                              const scope_s& outer) const = 0;

    // Whether what is inside calls for the enclosing element.
    bool collect(const std::vector<element_s>& elements, const element_s* in,
                 const scope_s& scope, std::vector<item_s>& items) const {
        bool is_there = false;
        for (const element_s& kid : elements) {
            is_there |= kid.kind == element_s::LEAF ? add_leaf(kid, in, scope, items)
                        : kid.kind == element_s::LIST
                            ? collect(kid.kids, nullptr, scope, items)
                            : add_element(kid, scope, items);
        }
        return is_there;
    }

    // The items inside an element, a row's keys first.
    bool collect_inside(const element_s& element, const scope_s& inside,
                        std::vector<item_s>& items) const {
        std::vector<item_s> content;
        const bool is_there = collect(element.kids, &element, inside, content);
        if (is_there) {
            for (const element_s::key_s& key : element.keys) {
                add_value(*key.tag, key.value, inside, items);
            }
        }
        items.insert(items.end(), content.begin(), content.end());
        return is_there;
    }

    scope_s inside_of(const tag_s& tag, scope_s scope) const {
        if (tag.is_hidden() || tag.is_internal() || tag.is_value()) {
            return scope;
        }
        scope.leaf_list = tag.type == "leaf-list" ? &tag : nullptr;
        if (tag.type != "leaf-list") {
            enter(scope, tag);
            ++scope.level;
        }
        return scope;
    }

    static bool is_element(const tag_s& tag) {
        return !tag.is_hidden() && !tag.is_internal() && !tag.is_value() &&
               tag.type != "leaf-list";
    }

    std::string new_line(size_t level) const {
        return is_compact_ ? "" : "\n" + blanks(level);
    }

    const document_s& document_;
    const bool is_compact_;

  private:
    void add_value(const tag_s& tag, const value_s& of_tag, const scope_s& scope,
                   std::vector<item_s>& items) const {
        const tag_s& named = scope.leaf_list == nullptr ? tag : *scope.leaf_list;
        items.push_back({&named, scope, value(tag, of_tag, named, scope)});
    }

    bool add_leaf(const element_s& leaf, const element_s* in, const scope_s& scope,
                  std::vector<item_s>& items) const {
        const tag_s& tag = *leaf.tag;
        if (tag.is_internal() || is_suppressed(leaf) ||
            (tag.is_value() && scope.leaf_list == nullptr)) {
            return false;
        }
        if (in == nullptr || !in->has_key(tag)) {
            add_value(tag, leaf.value, scope, items);
        }
        return true;
    }

    bool add_element(const element_s& element, const scope_s& scope,
                     std::vector<item_s>& items) const {
        const scope_s inside = inside_of(*element.tag, scope);
        if (!is_element(*element.tag)) {
            return collect_inside(element, inside, items);
        }
        std::vector<item_s> content;
        const bool is_there =
            collect_inside(element, inside, content) || element.is_present;
        if (is_there) {
            const tag_s* named = scope.leaf_list == nullptr ? element.tag : scope.leaf_list;
            items.push_back({named, scope, object(element, scope, content)});
        }
        return is_there;
    }
};

class ietf_xml_c final : public program_form_c {
  public:
    using program_form_c::program_form_c;

    std::string print() const {
        std::vector<item_s> items;
        collect(document_.roots, nullptr, {}, items);
        return joined(items);
    }

  private:
    static std::string joined(const std::vector<item_s>& items) {
        std::string text;
        for (const item_s& item : items) {
            text += item.text;
        }
        return text;
    }

    std::string tagged(const tag_s& tag, const scope_s& outer, const std::string& text,
                       bool has_lines) const {
        scope_s inside = outer;
        const std::string line = is_compact_ ? "" : "\n";
        const std::string indent = is_compact_ ? "" : blanks(outer.level);
        return indent + "<" + tag.name + enter(inside, tag) + ">" +
               (has_lines ? line : "") + text + (has_lines ? indent : "") + "</" +
               tag.name + ">" + line;
    }

    std::string object(const element_s& element, const scope_s& outer,
                       const std::vector<item_s>& items) const override {
        return tagged(*element.tag, outer, joined(items), true);
    }

    std::string value(const tag_s& tag, const value_s& value, const tag_s& named,
                      const scope_s& outer) const override {
        const std::string text =
            tag.prefix + xml_text(value.text, true, document_.request->is_ascii);
        return tagged(named, outer, tag.data_type == "empty" ? "" : text, false);
    }
};

class ietf_json_c : public program_form_c {
  public:
    using program_form_c::program_form_c;

    std::string print() const { return document(cursor()); }

  protected:
    std::string document(const std::string& cursor) const {
        std::vector<item_s> items;
        if (!collect(document_.roots, nullptr, {1}, items) && cursor.empty()) {
            return "";
        }
        const std::string end = cursor.empty() ? "" : (items.empty() ? "" : ",") + cursor;
        return "{" + members(items) + end + new_line(0) + "}" + (is_compact_ ? "" : "\n");
    }

    // The member that says where to go on.
    std::string cursor() const {
        const char* name = is_compact_ ? "\"cursor\":\"" : "\"cursor\": \"";
        return document_.next.way.empty()
                   ? ""
                   : new_line(1) + name + document_.next.text() + "\"";
    }

    std::string members(const std::vector<item_s>& items) const {
        std::string text;
        const tag_s* open = nullptr; // whose array is
        for (const item_s& item : items) {
            if (item.named == open) {
                text += (is_compact_ ? "," : ", ") + item.text;
                continue;
            }
            text += open == nullptr ? "" : "]";
            text += text.empty() ? "" : ",";
            open = item.named->is_list() ? item.named : nullptr;
            text += new_line(item.scope.level) + name(item) + (open == nullptr ? "" : "[") +
                    item.text;
        }
        return text + (open == nullptr ? "" : "]");
    }

    std::string object(const element_s&, const scope_s& outer,
                       const std::vector<item_s>& items) const override {
        return items.empty() ? "{}" : "{" + members(items) + new_line(outer.level) + "}";
    }

  private:
    // Behind its module where another one begins.
    std::string name(const item_s& item) const {
        scope_s inside = item.scope;
        enter(inside, *item.named);
        const std::string module =
            inside.module == item.scope.module ? "" : inside.module + ":";
        const std::string name = item.named->name.substr(item.named->name.find(':') + 1);
        return "\"" + json_text(module + name, false) + (is_compact_ ? "\":" : "\": ");
    }

    std::string value(const tag_s& tag, const value_s& value, const tag_s&,
                      const scope_s&) const override {
        if (tag.data_type == "empty") {
            return "[null]";
        }
        return is_bare(tag, value)
                   ? value.text
                   : "\"" + json_text(tag.prefix, false) +
                         json_text(value.text, document_.request->is_ascii) + "\"";
    }

    static bool is_bare(const tag_s& tag, const value_s& value) {
        static const std::map<std::string, std::pair<long, long>> ranges = {
            {"int8", {-128, 127}},  {"int16", {-32768, 32767}},
            {"uint8", {0, 255}},    {"int32", {-2147483648L, 2147483647L}},
            {"uint16", {0, 65535}}, {"uint32", {0, 4294967295L}}};
        if (!tag.prefix.empty()) {
            return false;
        }
        if (tag.data_type.empty()) {
            return (value.type == value_s::WHOLE && !value.is_long) ||
                   value.type == value_s::TRUTH;
        }
        if (tag.data_type == "boolean") {
            return value.text == "true" || value.text == "false";
        }
        const auto range = ranges.find(tag.data_type);
        if (range == ranges.end() || value.text.size() > 11) {
            return false;
        }
        const long number = atol(value.text.c_str());
        return std::to_string(number) == value.text && number >= range->second.first &&
               number <= range->second.second;
    }
};

// A line for each row of the outermost lists.
class lines_c final : public ietf_json_c {
  public:
    using ietf_json_c::ietf_json_c;

    std::string print() const {
        const bool has_lists = has_lines(*document_.top);
        const std::string all = has_lists ? lines(document_.roots, {}) : document("");
        const std::string end = cursor().empty() ? "" : "{" + cursor() + "}\n";
        return all + (has_lists || all.empty() ? "" : "\n") + end;
    }

  private:
    static bool is_of_lines(const tag_s& tag) {
        return tag.type == "list" && !tag.is_hidden() && !tag.is_internal() &&
               !tag.is_value();
    }

    static bool has_lines(const tag_s& tag) {
        return is_of_lines(tag) ||
               std::any_of(tag.kids.begin(), tag.kids.end(),
                           [](const tag_ref_t& kid) { return has_lines(*kid); });
    }

    std::string lines(const std::vector<element_s>& elements, const scope_s& scope) const {
        std::string text;
        for (const element_s& kid : elements) {
            if (kid.kind == element_s::LIST || kid.kind == element_s::LEAF) {
                text += lines(kid.kids, scope);
                continue;
            }
            const scope_s inside = inside_of(*kid.tag, scope);
            std::vector<item_s> items;
            if (!is_of_lines(*kid.tag)) {
                text += lines(kid.kids, inside);
            } else if (collect_inside(kid, inside, items)) {
                text += "{" + members(items) + "}\n";
            }
        }
        return text;
    }
};

} // namespace

std::string print_for_programs(const document_s& document) {
    switch (document.request->form) {
    case IETF_XML:
        return ietf_xml_c(document).print();
    case IETF_JSON:
        return ietf_json_c(document).print();
    default:
        return lines_c(document).print();
    }
}

} // namespace reference
