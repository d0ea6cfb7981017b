// SPDX-License-Identifier: BSD-2-Clause

// A container of which not all kids are wanted gets notes, as one whose kids the daemon names has
// them: its kids are walked one by one, and the walk asks of each.
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

bool has_rows(const drend_tag_c* kid) {
    return kid->dt_type != DT_TYPE_LEAF && kid->dt_type != DT_TYPE_LEAF_LIST;
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
    const drend_tag_c& tag = *tobj.dto_tag;
    const bool is_last = is_last_level(tag);
    const bool is_on_way = is_seeking_ && next_on_way(tag) != nullptr;
    if (!is_last && !is_on_way && !wish_.rows_only) {
        return;
    }
    dr_dynamic_kids_s& notes = notes_of(tobj);
    const auto& kids = tag.dt_kids;
    if (wish_.rows_only && std::none_of(kids.begin(), kids.end(), has_rows)) {
        tobj.dto_kid = kids.size();
    }
    notes.finished = notes.finished || is_last || tobj.dto_kid == kids.size();
}

bool dr_page_c::passes_over(const drend_tag_c& in, const drend_tag_c& kid) const {
    const drend_tag_c* next = is_seeking_ ? next_on_way(in) : nullptr;
    return (next != nullptr && next != &kid) || (wish_.rows_only && !has_rows(&kid)) ||
           (is_last_level(in) && !kid.isset_flag(DT_FLAG_KEY));
}

// The kid that the cursor leads through, or null.
const drend_tag_c* dr_page_c::next_on_way(const drend_tag_c& tag) const {
    const auto& way = wish_.behind->way;
    const auto at = std::find(way.begin(), way.end(), &tag);
    return at == way.end() || at + 1 == way.end() ? nullptr : *(at + 1);
}

// At the last level only the keys of rows are walked: they say which row it is.
bool dr_page_c::is_last_level(const drend_tag_c& tag) const {
    return wish_.depth > 0 && tag.dt_type != DT_TYPE_LEAF_LIST && level() >= wish_.depth;
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
    // Copies of a context share an iterator, and the walk's row is where it stands: beside the walk
    // the list has a new one, which begins with the first row.
    if (beside.get_top_object()->iterator != nullptr) {
        beside.set_top_element(nullptr);
        dr_row_filter_c::step_to_row(beside);
    }
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
    const drend_tag_c* above = nullptr;
    for (size_t n = position_.tag_depth(); n-- > 0;) {
        const drend_tag_c& tag = *position_.tag(n)->dto_tag;
        if (!tag.is_hidden()) {
            dri_append_cursor_step(cursor_, above, tag);
        }
        above = above == nullptr || !tag.is_hidden() ? &tag : above;
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
