// SPDX-License-Identifier: BSD-2-Clause

// From a definition's tree to flat columns: the tags are gathered in the order in which a walk
// comes by, then columns of one name are told apart, then they are brought into their own order.
//
// Definitions may nest as deep as their author likes: the tree is gone through with a stack.
#include "render/dr_table_layout.h"

#include <algorithm>
#include <climits>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "frame/dr_text_width.h"
#include "frame/escape.h"

namespace {

// A value that is wider does not widen its column: the others would stand beyond every screen.
constexpr uint32_t MEASURED_MAX = 60;
constexpr uint32_t RATE_WIDTH = 10;

std::string shown(std::string_view text) {
    std::string safe;
    dri_table_escaper.append(safe, text, std::string::npos);
    return safe;
}

std::string heading_of(const drend_tag_c& tag) {
    const bool has_own = tag.dt_table != nullptr && !tag.dt_table->heading.empty();
    return shown(has_own ? tag.dt_table->heading : tag.name());
}

std::string joined(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + " " + name;
}

bool is_number(const drend_tag_c& tag) {
    const int32_t type = tag.dt_data_type;
    return type >= DT_DATA_UINT8 && type <= DT_DATA_DECIMAL64 && tag.dt_map == nullptr;
}

bool is_on_right(const dr_table_tag_s* says, const drend_tag_c& leaf,
                 const drend_tag_c& named) {
    const dr_align_e align = says == nullptr ? dr_align_e::BY_TYPE : says->align;
    return align == dr_align_e::BY_TYPE ? is_number(leaf) || is_number(named)
                                        : align == dr_align_e::RIGHT;
}

bool is_counter(const dr_table_tag_s* says, const drend_tag_c& leaf) {
    const dr_counter_e counter = says == nullptr ? dr_counter_e::BY_TYPE : says->counter;
    return counter == dr_counter_e::BY_TYPE
               ? leaf.dt_data_type == DT_DATA_UINT64 && leaf.dt_map == nullptr
               : counter == dr_counter_e::YES;
}

dr_table_column_s rate_of(const dr_table_column_s& counter) {
    dr_table_column_s rate;
    rate.heading = counter.heading + "/s";
    rate.unit = counter.unit.empty() ? "" : counter.unit + "/s";
    rate.title =
        counter.unit.empty() ? rate.heading : counter.heading + " (" + rate.unit + ")";
    rate.is_right = true;
    rate.kind = dr_table_column_s::RATE;
    return rate;
}

class builder_c {
  public:
    builder_c(const dr_table_layout_c::scope_s& scope,
              const dr_table_layout_c::is_shown_t& is_shown);

    std::vector<dr_table_kid_s> kids;
    std::vector<dr_table_column_s> columns;

  private:
    // A tag whose kids are being gathered, and the containers that lead to it.
    struct level_s {
        const drend_tag_c* tag;
        std::string path;
        size_t next = 0;
    };

    void gather();
    void take(const drend_tag_c& tag, const level_s& level);
    void take_leaf(const drend_tag_c& tag, const level_s& level);
    // The place of a kid of the list itself among its keys; behind them for others.
    size_t key_place(const drend_tag_c& tag) const {
        const auto& keys = scope_.tag.dt_keys;
        const auto key = std::find(keys.begin(), keys.end(), tag.name());
        const bool is_key = key != keys.end() && scope_.tag.find_child(*key) == &tag;
        return is_key ? static_cast<size_t>(key - keys.begin()) : keys.size();
    }
    void take_container(const drend_tag_c& tag, const level_s& level);
    dr_table_kid_s& add_kid(const drend_tag_c& tag, dr_table_kid_s::kind_e kind,
                            const level_s& level);
    void add_column(const drend_tag_c& leaf, const drend_tag_c& named,
                    const std::string& path);
    void tell_apart();
    std::vector<std::pair<int, size_t>> ranks() const;
    void order();
    void add_rates();
    void renumber(const std::vector<uint32_t>& to);
    void set_titles();

    const dr_table_layout_c::scope_s& scope_;
    const dr_table_layout_c::is_shown_t& is_shown_;
    const size_t repeated_; // columns come first
    std::vector<level_s> levels_;
    std::vector<std::string> kid_paths_;
    std::vector<std::string> column_paths_;
    std::unordered_map<std::string, uint32_t> by_place_; // columns by path and name
};

builder_c::builder_c(const dr_table_layout_c::scope_s& scope,
                     const dr_table_layout_c::is_shown_t& is_shown)
    : scope_(scope), is_shown_(is_shown),
      repeated_(scope.repeated == nullptr ? 0 : scope.repeated->columns().size()) {
    if (repeated_ > 0) {
        columns = scope.repeated->columns();
        column_paths_.resize(repeated_);
    }
    gather();
    tell_apart();
    if (!scope.is_section) {
        order();
    }
    if (scope.has_rates && !scope.is_section) {
        add_rates();
    }
    set_titles();
}

// --- gathering --------------------------------------------------------------------------------

void builder_c::gather() {
    const std::string path = repeated_ == 0 ? "" : heading_of(scope_.tag);
    if (scope_.is_top) {
        take(scope_.tag, {&scope_.tag, path});
    } else {
        levels_.push_back({&scope_.tag, path});
    }
    while (!levels_.empty()) {
        level_s& level = levels_.back();
        if (level.next == level.tag->dt_kids.size()) {
            levels_.pop_back();
        } else {
            const drend_tag_c& kid = *level.tag->dt_kids[level.next++];
            take(kid, level_s(level));
        }
    }
}

// Makes a kid of a tag below `level`, or a level that is gone through.
void builder_c::take(const drend_tag_c& tag, const level_s& level) {
    if (tag.dt_type == DT_TYPE_LEAF) {
        take_leaf(tag, level);
    } else if (tag.is_hidden() || tag.dt_type == DT_TYPE_LEAF_LIST) {
        levels_.push_back({&tag, level.path});
    } else if (tag.dt_type == DT_TYPE_LIST) {
        add_kid(tag, dr_table_kid_s::LIST, level);
    } else if (tag.dt_type == DT_TYPE_CONT) {
        take_container(tag, level);
    }
}

void builder_c::take_leaf(const drend_tag_c& tag, const level_s& level) {
    const drend_tag_c& above = *level.tag;
    const bool is_element = above.dt_type == DT_TYPE_LEAF_LIST || tag.is_leaf_list_value();
    const drend_tag_c& named = is_element ? above : tag;
    add_kid(tag, dr_table_kid_s::VALUE, level);
    const bool is_key = key_place(tag) != scope_.tag.dt_keys.size();
    if (!tag.is_internal_tag() && (is_key || is_shown_(tag, named))) {
        add_column(tag, named, level.path);
        dr_table_column_s& column = columns[kids.back().column];
        if (is_key) {
            column.kind = dr_table_column_s::KEY;
        } else if (!is_element && is_counter(column.says, tag)) {
            column.kind = dr_table_column_s::COUNTER;
        }
    }
}

void builder_c::take_container(const drend_tag_c& tag, const level_s& level) {
    if (tag.is_internal_tag() || tag.is_leaf_list_value()) {
        levels_.push_back({&tag, level.path});
        return;
    }
    if (scope_.is_section) {
        add_kid(tag, dr_table_kid_s::CONTAINER, level);
        return;
    }
    if (tag.has_presence()) {
        add_kid(tag, dr_table_kid_s::PRESENCE, level);
        add_column(tag, tag, level.path);
    }
    levels_.push_back({&tag, joined(level.path, heading_of(tag))});
}

dr_table_kid_s& builder_c::add_kid(const drend_tag_c& tag, dr_table_kid_s::kind_e kind,
                                   const level_s& level) {
    kid_paths_.push_back(level.path);
    return kids.emplace_back(dr_table_kid_s{&tag, kind});
}

// Gives the last kid its column: that of a kid of the same name and place, or one of its own.
void builder_c::add_column(const drend_tag_c& leaf, const drend_tag_c& named,
                           const std::string& path) {
    const auto next = static_cast<uint32_t>(columns.size());
    const auto [known, is_new] = by_place_.try_emplace(path + "\n" + named.name(), next);
    kids.back().column = known->second;
    if (!is_new) {
        return;
    }
    column_paths_.push_back(path);
    dr_table_column_s& column = columns.emplace_back();
    column.heading = heading_of(named);
    column.says = (named.dt_table == nullptr ? leaf : named).dt_table.get();
    column.unit = column.says == nullptr ? "" : shown(column.says->unit);
    column.is_right = is_on_right(column.says, leaf, named);
}

// --- names and order --------------------------------------------------------------------------

// Puts the containers' names in front of headings that would stand there twice.
void builder_c::tell_apart() {
    std::unordered_map<std::string, int> times;
    for (const dr_table_column_s& column : columns) {
        ++times[column.heading];
    }
    for (size_t i = repeated_; i < columns.size(); ++i) {
        dr_table_column_s& column = columns[i];
        if (times[column.heading] > 1) {
            column.heading = joined(column_paths_[i], column.heading);
        }
        const bool has_unit = !column.unit.empty() && !scope_.is_section;
        column.title =
            has_unit ? column.heading + " (" + column.unit + ")" : column.heading;
    }
}

// What columns are ordered by: their number, and their place among the keys.
std::vector<std::pair<int, size_t>> builder_c::ranks() const {
    const size_t keys = scope_.tag.dt_keys.size();
    std::vector<std::pair<int, size_t>> ranks;
    for (const dr_table_column_s& column : columns) {
        const int number = column.says == nullptr ? 0 : column.says->column;
        ranks.emplace_back(number == 0 ? INT_MAX : number, keys);
    }
    for (const dr_table_kid_s& kid : kids) {
        if (kid.column != dr_table_kid_s::NO_COLUMN) {
            ranks[kid.column].second =
                std::min(ranks[kid.column].second, key_place(*kid.tag));
        }
    }
    return ranks;
}

void builder_c::order() {
    const auto by_rank = ranks();
    std::vector<uint32_t> from(columns.size());
    std::iota(from.begin(), from.end(), 0U);
    std::stable_sort(from.begin() + static_cast<std::ptrdiff_t>(repeated_), from.end(),
                     [&](uint32_t a, uint32_t b) { return by_rank[a] < by_rank[b]; });
    std::vector<uint32_t> to(columns.size());
    std::vector<dr_table_column_s> ordered;
    for (uint32_t place = 0; place < from.size(); ++place) {
        to[from[place]] = place;
        ordered.push_back(std::move(columns[from[place]]));
    }
    columns = std::move(ordered);
    renumber(to);
}

// Columns that are repeated have theirs already.
void builder_c::add_rates() {
    std::vector<uint32_t> to;
    std::vector<dr_table_column_s> with_rates;
    for (size_t i = 0; i < columns.size(); ++i) {
        to.push_back(static_cast<uint32_t>(with_rates.size()));
        with_rates.push_back(std::move(columns[i]));
        if (i >= repeated_ && with_rates.back().kind == dr_table_column_s::COUNTER) {
            with_rates.push_back(rate_of(with_rates.back()));
        }
    }
    columns = std::move(with_rates);
    renumber(to);
}

void builder_c::renumber(const std::vector<uint32_t>& to) {
    for (dr_table_kid_s& kid : kids) {
        kid.column = kid.column == dr_table_kid_s::NO_COLUMN ? kid.column : to[kid.column];
    }
}

// A container has a title unless it is all that there is; a list, where there is more than one list
// or container.
void builder_c::set_titles() {
    std::unordered_map<std::string, int> times;
    size_t others = 0;
    for (const dr_table_kid_s& kid : kids) {
        if (kid.kind == dr_table_kid_s::CONTAINER || kid.kind == dr_table_kid_s::LIST) {
            ++times[heading_of(*kid.tag)];
            ++others;
        }
    }
    bool is_last = true;
    for (size_t i = kids.size(); i-- > 0;) {
        dr_table_kid_s& kid = kids[i];
        const bool is_list = kid.kind == dr_table_kid_s::LIST;
        const bool is_container = kid.kind == dr_table_kid_s::CONTAINER;
        if ((is_list && others > 1) ||
            (is_container && (others > 1 || !columns.empty() || kid.tag->has_presence()))) {
            const std::string heading = heading_of(*kid.tag);
            kid.title = times[heading] > 1 ? joined(kid_paths_[i], heading) : heading;
        }
        kid.is_last = is_list && is_last;
        kid.is_repeated = is_list && !scope_.is_section && kid.tag->dt_table != nullptr &&
                          kid.tag->dt_table->rows == dr_rows_e::REPEATED;
        is_last = is_last && kid.column == dr_table_kid_s::NO_COLUMN;
    }
}

} // namespace

dr_table_layout_c::dr_table_layout_c(const scope_s& scope, const is_shown_t& is_shown)
    : is_section_(scope.is_section) {
    builder_c built(scope, is_shown);
    kids_ = std::move(built.kids);
    columns_ = std::move(built.columns);
    bool has_widths = !columns_.empty();
    for (dr_table_column_s& column : columns_) {
        label_width_ = std::max(label_width_, dri_text_width(column.heading));
        const bool is_rate = column.kind == dr_table_column_s::RATE;
        column.width = is_rate                  ? RATE_WIDTH
                       : column.says == nullptr ? 0
                                                : static_cast<uint32_t>(column.says->width);
        column.is_shown = column.width != 0;
        has_widths = has_widths && column.is_shown;
    }
    if (has_widths) {
        settle();
    }
}

const dr_table_kid_s* dr_table_layout_c::find_elsewhere(const drend_tag_c& tag,
                                                        size_t& cursor) const {
    for (size_t tried = 0; tried < kids_.size(); ++tried) {
        cursor = cursor < kids_.size() ? cursor : 0;
        if (kids_[cursor++].tag == &tag) {
            return &kids_[cursor - 1];
        }
    }
    return nullptr;
}

const dr_table_kid_s* dr_table_layout_c::first_repeated() const {
    const auto found = std::find_if(kids_.begin(), kids_.end(),
                                    [](const auto& kid) { return kid.is_repeated; });
    return found == kids_.end() ? nullptr : &*found;
}

// --- widths -----------------------------------------------------------------------------------

void dr_table_layout_c::measure(const std::vector<dr_table_cell_s>& cells) {
    for (size_t i = 0; i < cells.size() && !is_settled_; ++i) {
        dr_table_column_s& column = columns_[i];
        const bool is_given = column.says != nullptr && column.says->width != 0;
        if (cells[i].size != 0 && !is_given) {
            column.is_shown = true;
            column.width = std::max(column.width, std::min(cells[i].width, MEASURED_MAX));
        }
    }
}

void dr_table_layout_c::settle() {
    static constexpr size_t MARKS_ROOM = 16; // for both sequences of a color, and fields
    is_settled_ = true;
    line_room_ = 0;
    bool is_before_shown = false;
    for (dr_table_column_s& column : columns_) {
        if (column.kind == dr_table_column_s::RATE) {
            column.is_shown = is_before_shown;
        }
        is_before_shown = column.is_shown;
        if (column.is_shown && (column.says == nullptr || column.says->width == 0)) {
            column.width =
                std::max(column.width, static_cast<uint32_t>(dri_text_width(column.title)));
        }
        line_room_ +=
            column.width + column.heading.size() + column.unit.size() + MARKS_ROOM;
    }
}
