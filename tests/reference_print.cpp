// SPDX-License-Identifier: BSD-2-Clause

// The forms of the reference: each prints the finished document from the inside out, so that what
// turns out to be empty is known before what encloses it is printed.

#include <algorithm>

#include "reference_text.h"

namespace reference {

namespace {

// What is printed inside an element, and whether that calls for the element to be printed: a key
// that has been printed with its row already does.
struct content_s {
    std::string text{};
    bool is_there = false;
    void add(const content_s& other) {
        text += other.text;
        is_there |= other.is_there;
    }
};

// --- XML -----------------------------------------------------------------------------------------

class xml_c {
  public:
    explicit xml_c(const document_s& document) : document_(document) {}

    std::string print() const {
        const std::string text = kids(document_.roots, nullptr).text;
        return document_.is_wrapped ? "<data>\n" + text + "</data>\n" : text;
    }

  private:
    std::string indent(size_t depth) const {
        const size_t levels_above = document_.top->is_hidden() ? 2 : 1;
        return depth < 2 ? "" : blanks(depth - levels_above);
    }

    static std::string opening(const tag_s& tag) {
        return "<" + tag.name + (tag.attributes.empty() ? "" : " ") + tag.attributes + ">";
    }

    std::string line(const tag_s& tag, size_t depth, const std::string& text,
                     bool has_tags) const {
        return indent(depth) + (has_tags ? opening(tag) : "") + tag.prefix +
               xml_text(text, false, false) + (has_tags ? "</" + tag.name + ">" : "") +
               "\n";
    }

    content_s kids(const std::vector<element_s>& elements, const element_s* in) const {
        content_s all;
        for (const element_s& kid : elements) {
            all.add(kid.kind == element_s::LEAF   ? leaf(kid, in)
                    : kid.kind == element_s::LIST ? kids(kid.kids, nullptr)
                                                  : element(kid));
        }
        return all;
    }

    content_s leaf(const element_s& leaf, const element_s* in) const {
        if (leaf.tag->is_internal() || is_suppressed(leaf)) {
            return {};
        }
        const bool is_key = in != nullptr && in->has_key(*leaf.tag);
        return {is_key
                    ? ""
                    : line(*leaf.tag, leaf.depth, leaf.value.text, !leaf.tag->is_value()),
                true};
    }

    content_s element(const element_s& element) const {
        const tag_s& tag = *element.tag;
        content_s inside = kids(element.kids, &element);
        std::string keys;
        for (const element_s::key_s& key : element.keys) {
            keys += line(*key.tag, element.depth + 1, key.value.text, true);
        }
        if (tag.is_hidden() || tag.is_value()) {
            return inside;
        }
        inside.text.insert(0, inside.is_there ? keys : "");
        const bool is_styled_top = element.depth == 1 && !document_.request->style.empty();
        const bool is_at_once =
            element.kind == element_s::CONTAINER &&
            (element.is_present ||
             (element.depth == 1 && (document_.is_wrapped || is_styled_top)));
        if (tag.is_internal() || !(inside.is_there || is_at_once)) {
            return inside;
        }
        std::string open = opening(tag);
        if (is_styled_top && is_at_once) {
            open.insert(1 + tag.name.size(),
                        " orvex:style=\"" + document_.request->style + "\" ");
        }
        return {indent(element.depth) + open + "\n" + inside.text + indent(element.depth) +
                    "</" + tag.name + ">\n",
                true};
    }

    const document_s& document_;
};

// --- JSON of texts -------------------------------------------------------------------------------

class json_c {
  public:
    explicit json_c(const document_s& document) : document_(document) {}

    std::string print() const {
        const tag_s& top = *document_.top;
        const bool is_object = top.type == "leaf" ? top.is_value() : is_left_out(top);
        std::string text = joined(members(document_.roots, {0, false, nullptr}));
        const std::string cursor =
            document_.next.way.empty()
                ? ""
                : ",\n  \"cursor\" : \"" + document_.next.text() + "\"";
        if (text.empty()) {
            return "";
        }
        if (top.is_list() && !is_object) {
            return text + cursor;
        }
        return "{" + text + cursor + "\n}";
    }

  private:
    struct place_s {
        size_t level;
        bool is_array; // where members have no names
        const element_s* row;
    };

    // Whether it is no element itself.
    static bool is_left_out(const tag_s& tag) { return tag.is_hidden() || tag.is_value(); }

    static std::string joined(const std::vector<std::string>& members) {
        std::string all;
        for (const std::string& member : members) {
            all += (all.empty() ? "" : ",") + member;
        }
        return all;
    }

    static std::string member(const tag_s& tag, const std::string& value, place_s place) {
        return place.is_array ? value
                              : "\n" + blanks(place.level + 1) + "\"" +
                                    json_text(tag.name, false) + "\" : " + value;
    }

    std::vector<std::string> members(const std::vector<element_s>& elements,
                                     place_s place) const {
        std::vector<std::string> all;
        for (const element_s& kid : elements) {
            const auto more = members(kid, place);
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }

    static std::string text(const value_s& value) {
        return "\"" + json_text(value.text, false) + "\"";
    }

    std::vector<std::string> members(const element_s& kid, place_s place) const {
        const tag_s& tag = *kid.tag;
        if (kid.kind == element_s::LEAF) {
            const bool is_known = (tag.is_value() && !place.is_array) ||
                                  (place.row != nullptr && place.row->has_key(tag));
            return is_known ? std::vector<std::string>()
                            : std::vector{member(tag, text(kid.value), place)};
        }
        if (is_left_out(tag)) {
            return members(kid.kids, {place.level, place.is_array, nullptr});
        }
        if (kid.kind == element_s::CONTAINER) {
            return {member(tag, object(kid, place.level + 1), place)};
        }
        if (kid.kind == element_s::LIST) {
            const place_s rows{place.level + 1, place.is_array, nullptr};
            return {member(tag, "[" + joined(members(kid.kids, rows)) + "]", place)};
        }
        if (tag.type == "leaf-list") {
            return members(kid.kids, {place.level + 1, true, nullptr});
        }
        return {object(kid, place.level + 1)};
    }

    std::string object(const element_s& element, size_t level) const {
        const place_s inside{level, false, &element};
        std::vector<std::string> all;
        for (const element_s::key_s& key : element.keys) {
            if (!key.tag->is_value()) { // which has no place here
                all.push_back(member(*key.tag, text(key.value), inside));
            }
        }
        const auto more = members(element.kids, inside);
        all.insert(all.end(), more.begin(), more.end());
        return "{" + joined(all) + "\n" + blanks(level) + "}";
    }

    const document_s& document_;
};

std::string print_counts(const document_s& document) {
    std::string text;
    for (const count_s& count : document.counts) {
        text += count.path + " " + std::to_string(count.rows) + "\n";
    }
    return text;
}

void append_values(const std::vector<element_s>& elements, std::vector<std::string>& out) {
    for (const element_s& kid : elements) {
        if (kid.kind == element_s::LEAF && !kid.tag->is_internal() && !is_suppressed(kid)) {
            const std::string& text = kid.value.text;
            const bool is_there = text.empty() && kid.tag->data_type == "empty";
            out.push_back(kid.tag->prefix + (is_there ? "yes" : text));
        }
        append_values(kid.kids, out);
    }
}

} // namespace

std::vector<std::string> shown_values(const document_s& document) {
    std::vector<std::string> values;
    append_values(document.roots, values);
    return values;
}

std::string print(const document_s& document) {
    switch (document.request->form) {
    case XML:
        return xml_c(document).print();
    case JSON:
        return json_c(document).print();
    case COUNT:
        return print_counts(document);
    default:
        return print_for_programs(document);
    }
}

} // namespace reference
