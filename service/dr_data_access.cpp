// SPDX-License-Identifier: BSD-2-Clause

// The accessors of data sets.
//
// A row is looked for at its own list, so many steps up, and not where it is inherited: a source
// may lead to a leaf without its row from below a list of the daemon's own, whose rows are not ours
// to look at.
#include <algorithm>

#include "model/dr_meta_context.h"
#include "model/dr_walk_data.h"
#include "service/dr_data_set.h"

namespace {

// Rows that a request's filter hides are passed over here, where that takes one comparison of a
// text. Numbers are left to the filter, which knows when two of them are equal.
class wanted_rows_c {
  public:
    wanted_rows_c(const dr_meta_context_c& context, const dr_data_path_s& list) {
        if (const auto& names = context.filter_names()) {
            for (const auto& [name, text] : *names) {
                add(*context.get_top_node(), list, name, text);
            }
        }
    }

    bool has(const dr_data_row_s& row) const {
        for (const wanted_s& one : wanted_) {
            const std::string* text = std::get_if<std::string>(row.find(one.cell));
            if (text != nullptr && *text != *one.text) {
                return false;
            }
        }
        return true;
    }

  private:
    struct wanted_s {
        unsigned cell;
        const std::string* text;
    };

    void add(const dr_meta_node_c& node, const dr_data_path_s& list,
             const std::string& name, const std::string& text) {
        const dr_meta_node_c* leaf = node.find_child(name);
        const dr_data_path_s* path = leaf == nullptr ? nullptr : dri_data_path(*leaf);
        if (path != nullptr && leaf->is_leaf() && path->list == &list) {
            wanted_.push_back({path->cell, &text});
        }
    }

    std::vector<wanted_s> wanted_;
};

// Null when the walk came here without a row, or the set is not there.
const dr_data_row_s* row_of(const dr_meta_context_c& context, const dr_data_path_s& path) {
    if (path.list != nullptr) {
        return static_cast<const dr_data_row_s*>(context.get_element_offset(path.steps));
    }
    const auto* sets = static_cast<const dr_data_sets_t*>(dr_walk_data_c::now());
    return sets == nullptr || path.set >= sets->size() ? nullptr : (*sets)[path.set].get();
}

const dr_data_value_t* value_of(const dr_meta_context_c& context,
                                const dr_data_path_s& path) {
    const dr_data_row_s* row = row_of(context, path);
    return row == nullptr ? nullptr : row->find(path.cell);
}

struct set_value_s {
    dr_meta_context_s* ctx;

    int operator()(bool value) const { return drend_set_boolean_value(ctx, value ? 1 : 0); }
    int operator()(int64_t value) const { return drend_set_int64_value(ctx, value); }
    int operator()(double value) const { return drend_set_double_value(ctx, value); }
    int operator()(const std::string& value) const {
        return drend_set_string_value(ctx, value.c_str());
    }
    int operator()(const dr_data_rows_t&) const { return DREND_SKIP_LEAF; } // no leaf's
};

const dr_data_row_s* next_row(const dr_data_rows_t& rows, const dr_data_row_s* current,
                              const wanted_rows_c& wanted) {
    const dr_data_row_s* const end = rows.data() + rows.size();
    const dr_data_row_s* next = current == nullptr ? rows.data() : current + 1;
    while (next != end && !wanted.has(*next)) {
        ++next;
    }
    return next == end ? nullptr : next;
}

} // namespace

const dr_data_value_t* dr_data_row_s::find(unsigned number) const {
    if (number < cells.size() && cells[number].number == number) {
        return &cells[number].value; // every cell before it is there
    }
    const auto found = std::lower_bound(
        cells.begin(), cells.end(), number,
        [](const dr_data_cell_s& cell, unsigned wanted) { return cell.number < wanted; });
    return found == cells.end() || found->number != number ? nullptr : &found->value;
}

int dri_step_data_rows(dr_meta_context_s* ctx, const void* data) {
    const dr_meta_context_c& context = *dri_get_meta_context(ctx);
    const auto& path = *static_cast<const dr_data_path_s*>(data);
    const auto* rows = std::get_if<dr_data_rows_t>(value_of(context, path));
    const auto* current = static_cast<const dr_data_row_s*>(context.get_element_offset(0));
    const dr_data_row_s* next =
        rows == nullptr ? nullptr : next_row(*rows, current, wanted_rows_c(context, path));
    drend_set_element_ref(ctx, next);
    return next == nullptr ? DREND_NO_EL : DREND_OK;
}

int dri_read_data_leaf(dr_meta_context_s* ctx, const void* data) {
    const auto& path = *static_cast<const dr_data_path_s*>(data);
    const dr_data_value_t* value = value_of(*dri_get_meta_context(ctx), path);
    return value == nullptr ? static_cast<int>(DREND_SKIP_LEAF)
                            : std::visit(set_value_s{ctx}, *value);
}

dr_data_path_s* dri_data_path(const dr_meta_node_c& node) {
    const bool is_ours = node.proc == dri_step_data_rows || node.proc == dri_read_data_leaf;
    return is_ours ? static_cast<dr_data_path_s*>(const_cast<void*>(node.data)) : nullptr;
}
