// SPDX-License-Identifier: BSD-2-Clause

// Stepping through rows and looking at what is there.

#include <cassert>
#include <cstring>
#include <utility>

#include "definitions/dr_tag_names.h"
#include "frame/dr_no_such.h"
#include "frame/str_util.h"
#include "service/dr_access.h"

namespace {

constexpr size_t ROWS_SHOWN = 8; // of a list, to who asked for one that there is not

bool has_row(int status) {
    return status == DREND_OK || status == DREND_DEFER;
}

} // namespace

bool dri_is_list(const drend_tag_c& tag) {
    return tag.dt_type == DT_TYPE_LIST || tag.dt_type == DT_TYPE_LEAF_LIST;
}

std::string dri_below(const std::string& place, const std::string& name) {
    return place == "/" ? place + name : place + "/" + name;
}

std::string dri_step_text(const dr_step_filter_s& step) {
    std::string text;
    char quote = '\0';
    for (const char& c : step.text) {
        if (quote != '\0') {
            quote = c == quote && text.back() != '\\' ? '\0' : quote;
        } else if (c == '\'') {
            quote = c;
        } else if (c == ' ' && (strchr("[]()=<>'", (&c)[1]) != nullptr ||
                                strchr("[(=<>", text.back()) != nullptr)) {
            continue;
        }
        text += c;
    }
    return text;
}

const char* dri_type_word(int type) {
    static constexpr const char* WORDS[] = {
        "root",      "container",        "list", "list element", "leaf",
        "leaf-list", "leaf-list element"};
    return type >= 0 && type < static_cast<int>(std::size(WORDS)) ? WORDS[type] : "unknown";
}

// --- rows ---------------------------------------------------------------------------------------

int dr_access_c::next_row() {
    if (here() == nullptr || !dri_is_list(*here())) {
        return fail(DREND_ERR, get_path() + " is no list");
    }
    level_s& level = levels_.back();
    level.row_text.clear();
    for (;;) {
        const int status = step_row(level);
        is_asked_to_wait_ = status == DREND_DEFER;
        if (!has_row(status)) {
            level.passed = level.row = 0;
            if (!here()->source().empty() && !level.is_single) {
                position_.context(0)->set_top_type(DMN_TYPE_LIST);
            }
            return status == DREND_NO_EL
                       ? status
                       : fail(DREND_ERR, get_path() + ": its list procedure failed");
        }
        ++level.passed;
        if (is_wanted(level)) {
            ++level.row;
            return DREND_OK;
        }
        if (is_asked_to_wait_) {
            return DREND_DEFER;
        }
    }
}

// Has the daemon step to the next row, the first one when none was stepped to.
int dr_access_c::step_row(const level_s& level) {
    if (here()->source().empty()) {
        return DREND_NO_EL;
    }
    if (level.is_single) {
        return level.passed == 0 ? DREND_OK : DREND_NO_EL;
    }
    if (level.wanted > 0 && level.passed >= level.wanted) {
        return DREND_NO_EL;
    }
    const int status = level.passed == 0 ? get_first_element() : get_next_element(nullptr);
    const bool is_at_end = position_.context(0)->get_element_offset(0) == nullptr;
    return has_row(status) && is_at_end ? DREND_NO_EL : status;
}

bool dr_access_c::is_wanted(const level_s& level) {
    return level.wanted > 0 ? level.passed == level.wanted : filter_match(position_.tag(0));
}

int dr_access_c::get_row(bool from_the_first) {
    if (from_the_first && here() != nullptr) {
        levels_.back().passed = levels_.back().row = 0;
    }
    int status = next_row();
    while (status == DREND_DEFER) {
        status = next_row();
    }
    return status;
}

// Says that the row which was searched for is not there, and which ones are.
int dr_access_c::no_such_row() {
    level_s& level = levels_.back();
    const std::string wanted =
        level.wanted > 0 ? here()->name() + "[" + std::to_string(level.wanted) + "]"
                         : dri_step_text(level.filter->step(0).ways.front());
    level.wanted = 0;
    forget_filter(level);
    position_.tag(0)->dto_filter = nullptr;
    std::vector<std::string> rows;
    while (rows.size() < ROWS_SHOWN && get_row(rows.empty()) == DREND_OK) {
        rows.push_back(here()->name() + row_text());
    }
    const bool has_more = rows.size() == ROWS_SHOWN;
    const std::string place = path_of(levels_.size() - 1);
    return fail(DREND_NO_EL, dri_no_such(wanted, place, rows) + (has_more ? ", ..." : ""));
}

// What chooses the row on top among the others: its keys, or else its position.
std::string dr_access_c::row_text() {
    std::string text;
    for (const std::string& key : here()->dt_keys) {
        std::string_view value;
        if (read_leaf(key, value) != DREND_OK || value.ends_with('\\')) {
            text.clear();
            break;
        }
        text += "[" + key + "=";
        dri_append_quoted(text, value);
        text += "]";
    }
    return text.empty() ? "[" + std::to_string(levels_.back().passed) + "]" : text;
}

void dr_access_c::remember_row() {
    if (is_at_row() && levels_.back().row_text.empty()) {
        levels_.back().row_text = row_text();
    }
}

// --- looking ------------------------------------------------------------------------------------

std::string dr_access_c::path_of(size_t count) const {
    std::string path = place_;
    for (size_t i = 0; i < count; ++i) {
        path += "/" + levels_[i].tag->name() + levels_[i].row_text;
    }
    return path.empty() ? "/" : path;
}

std::string dr_access_c::get_path() {
    remember_row();
    return path_of(levels_.size());
}

int dr_access_c::get_type() const {
    if (here() == nullptr) {
        return DRX_ROOT;
    }
    switch (here()->dt_type) {
    case DT_TYPE_LIST:
        return is_at_row() ? DRX_LIST_ELEMENT : DRX_LIST;
    case DT_TYPE_LEAF_LIST:
        return is_at_row() ? DRX_LEAF_LIST_ELEMENT : DRX_LEAF_LIST;
    case DT_TYPE_LEAF:
        return DRX_LEAF;
    default:
        return DRX_CONTAINER;
    }
}

std::vector<const drend_tag_c*> dr_access_c::get_kids() const {
    return here() == nullptr ? dri_nameable_tops(root_) : dri_nameable_kids(*here());
}

int dr_access_c::read(const char* path, const dr_value_c*& value, std::string_view& text) {
    if (*path == '\0') {
        return read_here(value, text);
    }
    if (look_up_leaf(path)) {
        const int status = read_top(value, text);
        position_.take_back();
        return status == DREND_OK ? status : told(status, dri_below(get_path(), path));
    }
    if (const int status = push_path(path)) {
        return status;
    }
    const int status = read_here(value, text);
    pop_path();
    return status;
}

// A leaf of what is on top is read without entering anything; true when it is pushed.
bool dr_access_c::look_up_leaf(const char* path) {
    const dr_meta_context_c* context = position_.context(0);
    const bool is_below = here() != nullptr && (is_at_row() || !dri_is_list(*here())) &&
                          context != nullptr &&
                          context->get_top_node()->cont_proc == nullptr;
    const drend_tag_c* kid = is_below ? here()->find_child(path) : nullptr;
    return kid != nullptr && kid->dt_type == DT_TYPE_LEAF &&
           position_.look_up(path) == DREND_OK;
}

int dr_access_c::read_here(const dr_value_c*& value, std::string_view& text) {
    const bool is_value = get_type() == DRX_LEAF_LIST_ELEMENT &&
                          position_.look_up(DT_LEAF_LIST_VALUE) == DREND_OK;
    if (!is_value && get_type() != DRX_LEAF) {
        return fail(DREND_ERR,
                    get_path() + " is a " + dri_type_word(get_type()) + ", no leaf");
    }
    const int status = read_top(value, text);
    if (is_value) {
        position_.take_back();
    }
    return status == DREND_OK ? status : told(status, get_path());
}

// What is told of a leaf without a value.
int dr_access_c::told(int status, const std::string& path) {
    return status == DREND_DEFER ? fail(status, path + " has no value yet")
                                 : fail(DREND_NO_EL, path + " has no value");
}

// --- another one --------------------------------------------------------------------------------

int dr_access_c::follow(dr_access_c& other) {
    assert(levels_.empty());
    other.remember_row();
    for (const level_s& level : other.levels_) {
        std::vector<const drend_tag_c*> way;
        find_way(level.tag->name(), way);
        int status = enter(way, level.filter, level.wanted);
        if (status == DREND_OK && level.row > 0) {
            status = follow_row(level);
        }
        if (status != DREND_OK) {
            drop_levels(0);
            return status;
        }
    }
    pushes_ = other.pushes_;
    return DREND_OK;
}

// Steps to the row that another one is at.
int dr_access_c::follow_row(const level_s& level) {
    for (;;) {
        const int status = get_row(false);
        if (status != DREND_OK) {
            return status == DREND_NO_EL
                       ? fail(status, get_path() + level.row_text + " is gone")
                       : status;
        }
        if (row_text() == level.row_text) {
            return status;
        }
    }
}
