// SPDX-License-Identifier: BSD-2-Clause

// The walk of the reference: a recursion that copies its position at each step and keeps whatever
// it comes to.

#include <algorithm>

#include "reference_data.h"

namespace reference {

bool element_s::has_key(const tag_s& key) const {
    return std::any_of(keys.begin(), keys.end(),
                       [&](const key_s& known) { return known.tag == &key; });
}

namespace {

// --- the walk ------------------------------------------------------------------------------------

class builder_c {
  public:
    builder_c(const case_s& drawn, document_s& document)
        : data_(drawn), request_(*document.request), document_(document),
          is_seeking_(!document.request->behind.way.empty()) {}

    void build() {
        position_t nowhere;
        visit(*document_.top, nowhere, document_.roots);
        document_.is_lost = is_seeking_;
    }

  private:
    // --- moves and look-ups ---

    // False where the way leads nowhere.
    bool follow(position_t& at, const std::string& way) {
        for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
            end = way.find('/', begin);
            if (!move(at, way.substr(begin, end - begin))) {
                return false;
            }
        }
        return !at.empty();
    }

    bool move(position_t& at, const std::string& component) {
        if (component.empty()) {
            at = {{&data_.root()}};
            return true;
        }
        if (component == ".") {
            return true;
        }
        if (component == "..") {
            if (at.size() > 1) {
                at.pop_back();
                return true;
            }
            return false;
        }
        const size_t bracket = component.find('[');
        const node_s* node =
            at.empty() ? nullptr
                       : data_.below(*at.back().node, component.substr(0, bracket));
        if (node == nullptr) {
            return false;
        }
        at.push_back({node, node->kind == node_s::LIST ? nullptr : at.back().row});
        return bracket == std::string::npos || select_row(at, component.substr(bracket));
    }

    // "[key=value]"
    bool select_row(position_t& at, const std::string& key) {
        const size_t equal = key.find('=');
        const std::string name = key.substr(1, equal - 1);
        const std::string wanted = key.substr(equal + 1, key.size() - equal - 2);
        while ((at.back().row = data_.next_row(at)) != nullptr) {
            position_t leaf = at;
            value_s value;
            const bool is_read = move(leaf, name) && data_.read(leaf, value) == DREND_OK;
            if (!is_read || value.type == value_s::NONE) {
                return false;
            }
            if (raw_text(value) == wanted) {
                return at.back().is_row = true;
            }
        }
        return false;
    }

    // The kid of a name, or the first below hidden kids, with where it is.
    const tag_s* look_up(const tag_s& tag, const std::string& name, position_t& at) {
        if (const tag_s* kid = tag.kid(name)) {
            return kid->source.empty() || follow(at, kid->source) ? kid : nullptr;
        }
        for (const tag_ref_t& kid : tag.kids) {
            position_t inside = at;
            const tag_s* found = nullptr;
            if (kid->is_hidden() && (kid->source.empty() || follow(inside, kid->source))) {
                found = look_up(*kid, name, inside);
            }
            if (found != nullptr) {
                at = inside;
                return found;
            }
        }
        return nullptr;
    }

    // Reads a leaf by its name, without waiting for it.
    std::optional<value_s> read(const tag_s& tag, const std::string& name, position_t at) {
        const tag_s* leaf = look_up(tag, name, at);
        value_s value;
        if (leaf == nullptr || leaf->type != "leaf" || data_.read(at, value) != DREND_OK ||
            value.type == value_s::NONE || !translate(*leaf, at, value)) {
            return {};
        }
        value.text = shown_text(*leaf, value);
        return value;
    }

    // --- value maps ---

    bool translate(const tag_s& tag, const position_t& at, value_s& value) {
        if (tag.map.empty()) {
            return true;
        }
        const std::string text = raw_text(value);
        for (const auto& [from, to] : tag.map) {
            if (from == text || from == "*") {
                if (to != "*") {
                    value = {value_s::TEXT, to};
                }
                return to == "*" || !to.starts_with('=') || compute(at, value.text);
            }
        }
        return false;
    }

    // Replaces an expression by its value: literals and val('path'), joined by "+".
    bool compute(const position_t& at, std::string& text) {
        std::string result;
        const std::string expression = text.substr(1) + "+";
        for (size_t begin = 0; begin < expression.size();) {
            const size_t end = expression.find('+', begin);
            const std::string term = expression.substr(begin, end - begin);
            const size_t quote = term.find('\'') + 1;
            const std::string literal = term.substr(quote, term.rfind('\'') - quote);
            position_t leaf = at;
            value_s value{value_s::TEXT, literal};
            if (term.starts_with("val") &&
                (!follow(leaf, literal) || data_.read(leaf, value) != DREND_OK ||
                 value.type == value_s::NONE)) {
                return false;
            }
            result += raw_text(value);
            begin = end + 1;
        }
        text = result;
        return true;
    }

    // --- filters ---

    const step_s* take_step(const tag_s& tag) {
        const bool takes = !tag.is_hidden() && step_ < request_.steps.size();
        return takes ? &request_.steps[step_++] : nullptr;
    }

    // An empty step is not given back: the next element has the one behind it.
    void give_back(const step_s* step) {
        step_ -= step != nullptr && !step->is_empty && step_ > 0 ? 1 : 0;
    }

    bool matches(const tag_s& tag, const step_s* step, const position_t& at) {
        if (step == nullptr || step->is_empty) {
            return true;
        }
        return !step->is_broken && (step->name.empty() || step->name == tag.name) &&
               std::all_of(step->predicates.begin(), step->predicates.end(),
                           [&](const expression_s& one) { return passes(tag, one, at); });
    }

    bool passes(const tag_s& tag, const expression_s& predicate, const position_t& at) {
        class names_of_c final : public names_c {
          public:
            names_of_c(builder_c& builder, const tag_s& tag, const position_t& at)
                : builder_(builder), tag_(tag), at_(at) {}
            std::optional<std::string> value_of(const std::string& name) override {
                const auto value = builder_.read(tag_, name, at_);
                return value.has_value() ? std::optional(value->text) : std::nullopt;
            }
            std::string local_name() override { return tag_.name; }

          private:
            builder_c& builder_;
            const tag_s& tag_;
            const position_t& at_;
        };
        if (at.empty()) {
            return false;
        }
        const bool waits = at.back().node->kind == node_s::LIST && !at.back().is_row &&
                           tag.type == "list" && !is_about_name(predicate);
        names_of_c names(*this, tag, at);
        return waits || holds(evaluate(predicate, names));
    }

    // --- elements ---

    // False where its source leads nowhere.
    bool visit(const tag_s& tag, position_t& above, std::vector<element_s>& out) {
        const step_s* step = take_step(tag);
        position_t moved = above;
        const bool leads = tag.source.empty() || follow(moved, tag.source);
        if (leads) {
            way_.push_back(&tag);
            if (tag.has_source) {
                show(tag, step, tag.source.empty() ? above : moved, out);
            }
            way_.pop_back();
        }
        give_back(step);
        return leads;
    }

    void show(const tag_s& tag, const step_s* step, position_t& at,
              std::vector<element_s>& out) {
        if (tag.type == "leaf") {
            show_leaf(tag, step, at, out);
        } else if (tag.is_list()) {
            show_list(tag, step, at, out);
        } else if (tag.type != "empty") {
            show_container(tag, step, at, out);
        }
    }

    element_s element(element_s::kind_e kind, const tag_s& tag) const {
        return {kind, &tag, way_.size()};
    }

    bool has_style(const tag_s& tag) const {
        return request_.style.empty() || tag.styles.empty() ||
               std::count(tag.styles.begin(), tag.styles.end(), request_.style) > 0;
    }

    void show_leaf(const tag_s& tag, const step_s* step, const position_t& at,
                   std::vector<element_s>& out) {
        if (tag.source.empty() || !matches(tag, step, at) || !has_style(tag)) {
            return;
        }
        element_s leaf = element(element_s::LEAF, tag);
        int status = DREND_DEFER;
        while (status == DREND_DEFER) { // the walk waits
            status = data_.read(at, leaf.value);
        }
        const bool has_substitute =
            status != DREND_SKIP_LEAF &&
            std::any_of(tag.map.begin(), tag.map.end(),
                        [](const auto& pair) { return pair.first == "*"; });
        if ((status == DREND_OK || has_substitute) && translate(tag, at, leaf.value)) {
            leaf.value.is_zero = leaf.value.text == "0" && leaf.value.type != value_s::REAL;
            leaf.value.text = shown_text(tag, leaf.value);
            out.push_back(leaf);
        }
    }

    void show_container(const tag_s& tag, const step_s* step, position_t& at,
                        std::vector<element_s>& out) {
        element_s container = element(element_s::CONTAINER, tag);
        if (!matches(tag, step, at) || (tag.has_presence && !is_present(at))) {
            return;
        }
        container.is_present = tag.has_presence;
        show_kids(at, container);
        out.push_back(container);
    }

    // Unless its leaf gives another text than "true".
    bool is_present(const position_t& at) {
        value_s value;
        return !at.empty() && (data_.read(at, value) != DREND_OK ||
                               value.type == value_s::NONE || value.text == "true");
    }

    void show_kids(position_t& at, element_s& in) {
        const tag_s& tag = *in.tag;
        const bool is_dynamic = !at.empty() && at.back().node->kind == node_s::DYNAMIC;
        std::set<const tag_s*> done;
        const mark_s* row = is_dynamic ? at.back().row : nullptr;
        if (is_dynamic) {
            at.back().attribute = nullptr;
        }
        while (is_dynamic && !is_cut_below(in) && data_.name_kid(at.back())) {
            const std::string name = at.back().attribute_name;
            const auto kid =
                std::find_if(tag.kids.begin(), tag.kids.end(),
                             [&](const tag_ref_t& one) { return one->source == name; });
            if (!name.empty() && kid != tag.kids.end() && is_wanted(in, **kid) &&
                visit(**kid, at, in.kids)) {
                done.insert(kid->get());
            }
        }
        if (is_dynamic) {
            at.back().row = row;
            at.back().attribute = nullptr;
        }
        for (const tag_ref_t& kid : tag.kids) {
            if (!done.contains(kid.get()) && is_wanted(in, *kid)) {
                visit(*kid, at, in.kids);
            }
        }
    }

    bool is_wanted(const element_s& in, const tag_s& kid) const {
        const bool is_value = kid.type == "leaf" || kid.type == "leaf-list";
        const auto on_way =
            std::find(request_.behind.way.begin(), request_.behind.way.end(), in.tag);
        const bool is_beside = is_seeking_ && on_way != request_.behind.way.end() &&
                               in.tag != request_.behind.way.back() && on_way[1] != &kid;
        return !is_over_ && !is_beside && !(is_cut_below(in) && !kid.is_key) &&
               !(request_.form == COUNT && is_value);
    }

    // Whether nothing but keys is shown inside.
    bool is_cut_below(const element_s& in) const {
        const auto levels = std::count_if(
            way_.begin(), way_.end(), [](const tag_s* tag) { return !tag->is_hidden(); });
        return request_.depth > 0 && levels >= static_cast<long>(request_.depth) &&
               in.tag->type != "leaf-list";
    }

    // --- lists ---

    void show_list(const tag_s& tag, const step_s* step, position_t& at,
                   std::vector<element_s>& out) {
        const bool is_one_row = !at.empty() && at.back().is_row;
        if (!matches(tag, step, at) || (!is_one_row && tag.source.empty())) {
            return;
        }
        element_s list = element(element_s::LIST, tag);
        if (is_one_row) {
            show_row(tag, at, list);
        } else {
            count(tag, 0);
            show_rows(tag, step, at, list);
        }
        out.push_back(list);
    }

    void show_rows(const tag_s& tag, const step_s* step, position_t& at, element_s& list) {
        number_ = counted_ == nullptr ? 0 : number_;
        while (!is_over_ && (at.back().row = data_.next_row(at)) != nullptr) {
            at.back().is_row = true;
            if (matches(tag, step, at) && is_on_page(tag, step, at)) {
                show_row(tag, at, list);
            }
        }
        if (counted_ == &tag) {
            counted_ = nullptr;
        }
        is_over_ |= is_seeking_ && request_.behind.way.back() == &tag;
    }

    void show_row(const tag_s& tag, position_t& at, element_s& list) {
        element_s row = element(element_s::ROW, tag);
        count(tag, 1);
        read_keys(at, row);
        show_kids(at, row);
        list.kids.push_back(row);
    }

    // Ahead of the row's content. What is not printed itself has none.
    void read_keys(const position_t& at, element_s& row) {
        const tag_s& tag = *row.tag;
        const bool is_program_form = request_.form == IETF_XML ||
                                     request_.form == IETF_JSON || request_.form == LINES;
        if (tag.type != "list" || tag.is_hidden() || request_.form == COUNT ||
            (tag.is_value() && !is_program_form)) {
            return;
        }
        for (const std::string& name : tag.keys) {
            const tag_s* kid = tag.kid(name);
            if (kid == nullptr || (kid->is_internal() && request_.form != JSON)) {
                continue;
            }
            if (const auto value = read(tag, name, at)) {
                row.keys.push_back({kid, *value});
            }
        }
    }

    void count(const tag_s& tag, unsigned rows) {
        if (tag.type != "list" || tag.is_hidden()) {
            return;
        }
        for (auto& known : document_.counts) {
            if (known.list == &tag) {
                known.rows += rows;
                return;
            }
        }
        std::string path;
        for (const tag_s* on_way : way_) {
            path += on_way->is_hidden() ? "" : "/" + on_way->name;
        }
        document_.counts.push_back({&tag, path, rows});
    }

    // --- pages ---

    // The rows of the outermost lists that have more than one. What comes behind the last one of a
    // page ends it.
    bool is_on_page(const tag_s& tag, const step_s* step, const position_t& at) {
        if (is_seeking_ && request_.behind.way.back() == &tag) {
            ++number_;
            is_seeking_ = !is_sought(tag, at);
            counted_ = is_seeking_ ? counted_ : &tag;
            return false;
        }
        if (request_.limit == 0 || tag.type != "list" || tag.is_hidden()) {
            return true;
        }
        if (counted_ == nullptr && !has_one_row(tag, step, at)) {
            counted_ = &tag;
        }
        if (counted_ != &tag) {
            return true;
        }
        if (shown_ == request_.limit) {
            is_over_ = true;
            document_.next = last_;
            return false;
        }
        ++number_;
        if (++shown_ == request_.limit) {
            last_ = cursor_to(tag, at);
        }
        return true;
    }

    bool has_one_row(const tag_s& tag, const step_s* step, const position_t& at) const {
        std::set<std::string> pinned;
        for (const expression_s& one :
             step == nullptr ? std::vector<expression_s>() : step->predicates) {
            pin(one, pinned);
        }
        const bool is_pinned =
            !tag.keys.empty() &&
            std::all_of(tag.keys.begin(), tag.keys.end(),
                        [&](const std::string& key) { return pinned.contains(key); });
        return is_pinned || data_.next_row(at) == nullptr;
    }

    cursor_s cursor_to(const tag_s& tag, const position_t& at) {
        cursor_s cursor{way_, {}, number_};
        for (const std::string& name : tag.keys) {
            const auto key = read(tag, name, at);
            if (!key.has_value()) {
                cursor.keys.clear();
                break;
            }
            cursor.keys.push_back(key->text);
        }
        return cursor;
    }

    bool is_sought(const tag_s& tag, const position_t& at) {
        for (size_t i = 0; i < request_.behind.keys.size(); ++i) {
            const auto key = read(tag, tag.keys[i], at);
            if (!key.has_value() || key->text != request_.behind.keys[i]) {
                return false;
            }
        }
        return !request_.behind.keys.empty() || number_ == request_.behind.number;
    }

    data_c data_;
    const request_s& request_;
    document_s& document_;
    std::vector<const tag_s*> way_; // to what is visited
    size_t step_ = 0;
    const tag_s* counted_ = nullptr; // whose rows are on the page
    unsigned shown_ = 0;             // of them
    unsigned number_ = 0;            // of the last row of its list
    cursor_s last_;                  // where to go on behind it
    bool is_over_ = false;
    bool is_seeking_;
};

} // namespace

document_s build(const case_s& drawn, const tag_s& top, const request_s& request) {
    document_s document{&top, &request, drawn.command == "corvane-netconf-get"};
    builder_c(drawn, document).build();
    return document;
}

} // namespace reference
