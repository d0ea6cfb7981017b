// SPDX-License-Identifier: BSD-2-Clause

// Kids that are not wanted are noted where a container notes the kids that it has been through
// already, so that the walk need not know why it passes them over.
#include "render/dr_page.h"

#include <algorithm>
#include <map>

#include "expr/dr_xp_eval.h"

namespace {

// Takes every name for one that can be sought by: what is gathered is what the filter pins.
class every_name_c final : public drend_value_lookup_c {
  public:
    bool get_value(const char*, dr_str_buf_c&) override { return false; }
    void get_local_name(dr_str_buf_c&) override {}
    bool get_meta_name(const char* name, dr_str_buf_c& out) override {
        out = name;
        return true;
    }
    bool find_value(const std::string&, unsigned, dr_xp_value_c&) override { return false; }
};

// What is not printed itself has no rows that anybody could ask for.
bool is_counted_kind(const drend_tag_object_c& tobj) {
    return tobj.type() == DT_TYPE_LIST && !tobj.dto_tag->is_hidden();
}

dr_dynamic_kids_s& notes_of(drend_tag_object_c& tobj) {
    if (tobj.dto_dynamic == nullptr) {
        tobj.dto_dynamic = std::make_unique<dr_dynamic_kids_s>();
        tobj.dto_dynamic->visited.resize(tobj.dto_tag->dt_kids.size());
        tobj.dto_dynamic->finished = true;
    }
    return *tobj.dto_dynamic;
}

} // namespace

// --- kids -----------------------------------------------------------------------------------

unsigned dr_page_c::level() const {
    unsigned level = 0;
    for (size_t n = 0; n < position_.tag_depth(); ++n) {
        level += position_.tag(n)->dto_tag->is_hidden() ? 0 : 1;
    }
    return level;
}

void dr_page_c::restrict(drend_tag_object_c& tobj) {
    if (is_seeking_) {
        follow_cursor(tobj);
    }
    if (wish_.depth > 0) {
        cut_below(tobj);
    }
    if (wish_.rows_only) {
        drop_leaves(tobj);
    }
}

// Passes over the kids before the one that the cursor leads through.
void dr_page_c::follow_cursor(drend_tag_object_c& tobj) {
    const auto& way = wish_.behind->way;
    if (way_at_ + 1 == way.size() || way[way_at_] != tobj.dto_tag) {
        return;
    }
    const auto& kids = tobj.dto_tag->dt_kids;
    const auto next = std::find(kids.begin(), kids.end(), way[++way_at_]);
    std::fill_n(notes_of(tobj).visited.begin(), next - kids.begin(), true);
}

// At the last level only the keys of rows are walked: they say which row it is.
void dr_page_c::cut_below(drend_tag_object_c& tobj) {
    if (level() < wish_.depth || tobj.type() == DT_TYPE_LEAF_LIST) {
        return;
    }
    dr_dynamic_kids_s& notes = notes_of(tobj);
    notes.finished = true;
    const auto& kids = tobj.dto_tag->dt_kids;
    for (size_t i = 0; i < kids.size(); ++i) {
        notes.visited[i] = notes.visited[i] || !kids[i]->isset_flag(DT_FLAG_KEY);
    }
}

void dr_page_c::drop_leaves(drend_tag_object_c& tobj) {
    const auto has_rows = [](const drend_tag_c* kid) {
        return kid->dt_type != DT_TYPE_LEAF && kid->dt_type != DT_TYPE_LEAF_LIST;
    };
    const auto& kids = tobj.dto_tag->dt_kids;
    if (std::none_of(kids.begin(), kids.end(), has_rows)) {
        tobj.dto_kid = kids.size();
        return;
    }
    auto& visited = notes_of(tobj).visited;
    for (size_t i = 0; i < kids.size(); ++i) {
        visited[i] = visited[i] || !has_rows(kids[i]);
    }
}

// --- rows -----------------------------------------------------------------------------------

void dr_page_c::list_begins(drend_tag_object_c& tobj) {
    if (counted_ == nullptr) {
        row_ = 0;
    }
    if (is_seeking_ && is_sought_in(tobj)) {
        seek_by_keys(tobj);
    }
}

void dr_page_c::list_ends(const drend_tag_object_c& tobj) {
    if (counted_ == &tobj) {
        counted_ = nullptr;
    }
    is_over_ = is_over_ || (is_seeking_ && is_sought_in(tobj));
}

bool dr_page_c::wants_row(drend_tag_object_c& tobj) {
    if (is_seeking_ && is_sought_in(tobj)) {
        return seek(tobj);
    }
    if (wish_.limit == 0 || !is_counted_kind(tobj)) {
        return true;
    }
    if (counted_ == nullptr && !has_one_row(tobj)) {
        counted_ = &tobj;
    }
    if (counted_ != &tobj) {
        return true;
    }
    if (shown_ == wish_.limit) {
        is_over_ = true;
        return false;
    }
    ++row_;
    if (++shown_ == wish_.limit) {
        note_row(tobj);
    }
    return true;
}

// Whether a list has one row only, which is not worth a page.
bool dr_page_c::has_one_row(const drend_tag_object_c& tobj) {
    if (is_pinned(tobj)) {
        return true;
    }
    dr_meta_context_c beside(*position_.context(0));
    dr_row_filter_c::hand_off(&tobj, beside);
    return !dr_row_filter_c::step_to_row(beside);
}

// Whether the filter says what all keys are.
bool dr_page_c::is_pinned(const drend_tag_object_c& tobj) const {
    const dr_step_filter_s* way = filter_.only_way(&tobj);
    const auto& keys = tobj.dto_tag->dt_keys;
    if (way == nullptr || way->parsed == nullptr || keys.empty()) {
        return false;
    }
    every_name_c names;
    std::map<std::string, std::string> pinned;
    for (const dr_xp_predicate_s& predicate : way->parsed->predicates()) {
        dri_gather_filter_expr(*predicate.node, names, pinned);
    }
    return std::all_of(keys.begin(), keys.end(),
                       [&](const std::string& key) { return pinned.contains(key); });
}

// --- cursors --------------------------------------------------------------------------------

// Has the daemon's list procedure go straight to the row, as far as it can.
void dr_page_c::seek_by_keys(drend_tag_object_c& tobj) {
    drend_tags_access_context_value_lookup_c lookup(position_, reader_);
    dr_meta_context_c::names_t names;
    for (size_t i = 0; i < wish_.behind->keys.size(); ++i) {
        dr_str_buf_c name;
        if (lookup.get_meta_name(tobj.dto_tag->dt_keys[i].c_str(), name)) {
            names[name.c_str()] = wish_.behind->keys[i];
        }
    }
    if (!names.empty()) {
        tobj.dto_filter_names =
            std::make_shared<const dr_meta_context_c::names_t>(std::move(names));
    }
}

// False: no row is wanted up to the one that is sought.
bool dr_page_c::seek(drend_tag_object_c& tobj) {
    ++row_;
    if (is_sought(tobj)) {
        is_seeking_ = false;
        counted_ = &tobj;
        filter_.gather_names(&tobj);
        dr_row_filter_c::hand_off(&tobj, *position_.context(0));
    }
    return false;
}

bool dr_page_c::is_sought(const drend_tag_object_c& tobj) {
    const dr_cursor_s& behind = *wish_.behind;
    if (behind.keys.empty()) {
        return row_ == behind.row;
    }
    const auto& names = tobj.dto_tag->dt_keys;
    for (size_t i = 0; i < names.size(); ++i) {
        std::string_view text;
        if (reader_.read(names[i], text) != DREND_OK || text != behind.keys[i]) {
            return false;
        }
    }
    return true;
}

// Notes where to go on behind the row of the list on top.
void dr_page_c::note_row(const drend_tag_object_c& tobj) {
    cursor_.clear();
    for (size_t n = position_.tag_depth(); n-- > 0;) {
        const drend_tag_c& tag = *position_.tag(n)->dto_tag;
        if (!tag.is_hidden()) {
            cursor_ += '/';
            dri_append_cursor_word(cursor_, tag.name());
        }
    }
    const size_t place = cursor_.size();
    for (const std::string& name : tobj.dto_tag->dt_keys) {
        std::string_view text;
        if (reader_.read(name, text) != DREND_OK) {
            cursor_.resize(place);
            break;
        }
        cursor_ += '=';
        dri_append_cursor_word(cursor_, text);
    }
    if (cursor_.size() == place) {
        cursor_.append("#").append(std::to_string(row_));
    }
}
