// SPDX-License-Identifier: BSD-2-Clause

// From JSON text to rows, in three passes over the document: which paths there are, their
// registration, and the values. A fault in the first two leaves everything as it was.
#include "service/dr_data_reader.h"

#include <algorithm>
#include <iterator>

#include "definitions/dr_json.h"
#include "service/dr_data_shape.h"

namespace {

// --- the shape ---

bool is_scalar(const dr_json_c& value) {
    return !value.is_object() && !value.is_array();
}

dmn_type_e kind_of(const dr_json_c& value) {
    return value.is_object()  ? DMN_TYPE_CONT
           : value.is_array() ? DMN_TYPE_LIST
                              : DMN_TYPE_LEAF;
}

dmn_leaf_type_e leaf_type_of(const dr_json_c& value) {
    return value.is_integer()   ? DMN_LEAF_INT64
           : value.is_real()    ? DMN_LEAF_DOUBLE
           : value.is_boolean() ? DMN_LEAF_BOOLEAN
           : value.is_text()    ? DMN_LEAF_STR
                                : DMN_LEAF_NONE;
}

// What the sources of definitions can lead to.
bool is_path_name(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of("/[]") == std::string_view::npos;
}

std::string quoted(std::string_view name) {
    return "'" + std::string(name) + "'";
}

// Goes on to the end of the document after a fault; the first one counts.
class shaper_c {
  public:
    explicit shaper_c(dr_data_fault_s& fault) : fault_(fault) {}

    void add_object(dr_data_shape_s& shape, const dr_json_c& object, size_t depth) {
        if (depth > DR_DATA_DEPTH_MAX) {
            fail(object.place(),
                 "nested deeper than " + std::to_string(DR_DATA_DEPTH_MAX) + " levels");
            return;
        }
        if (object.repeated_members() != 0) {
            fail(object.place(), "a name stands twice in this object");
            return; // nobody knows which of them is meant
        }
        object.for_each_member([&](std::string_view name, const dr_json_c& value) {
            if (!is_path_name(name)) {
                fail(value.name_place(),
                     "the name " + quoted(name) + " cannot stand in a path");
            } else if (!value.is_null()) {
                add_member(shape, name, value, depth);
            }
        });
    }

  private:
    void add_member(dr_data_shape_s& shape, std::string_view name, const dr_json_c& value,
                    size_t depth) {
        dr_data_shape_s& kid = kid_of(shape, name, value);
        if (kid.kind != kind_of(value)) {
            fail(value.place(), quoted(name) + " is of another kind than before");
        } else if (value.is_object()) {
            add_object(kid, value, depth + 1);
        } else if (value.is_array()) {
            add_array(kid, value, depth + 1);
        }
    }

    // The kid of that name, which is as its first value was.
    static dr_data_shape_s& kid_of(dr_data_shape_s& shape, std::string_view name,
                                   const dr_json_c& value) {
        auto found = shape.kids.find(name);
        if (found == shape.kids.end()) {
            found = shape.kids.emplace(name, std::make_unique<dr_data_shape_s>()).first;
            shape.order.push_back(found->first);
            found->second->kind = kind_of(value);
            found->second->leaf_type = leaf_type_of(value);
            found->second->first = value;
        }
        return *found->second;
    }

    void add_array(dr_data_shape_s& shape, const dr_json_c& array, size_t depth) {
        for (dr_json_elements_c elements(array); !elements.is_at_end();) {
            const dr_json_c element = elements.take();
            if (!element.is_null()) {
                add_element(shape, element, depth);
            }
        }
    }

    void add_element(dr_data_shape_s& shape, const dr_json_c& element, size_t depth) {
        const bool is_other = shape.has_scalars
                                  ? !is_scalar(element)
                                  : is_scalar(element) && !shape.order.empty();
        if (element.is_array()) {
            fail(element.place(), "an array in an array");
        } else if (is_other) {
            fail(element.place(), "objects and scalars in one array");
        } else if (is_scalar(element)) {
            shape.has_scalars = true;
            kid_of(shape, DR_DATA_VALUE, element);
        } else {
            add_object(shape, element, depth + 1);
        }
    }

    void fail(const dr_text_place_s& place, std::string sentence) {
        if (fault_.sentence.empty()) {
            fault_ = {place, std::move(sentence)};
        }
    }

    dr_data_fault_s& fault_;
};

// --- the rows ---

dr_data_value_t scalar_of(const dr_json_c& value) {
    if (value.is_integer()) {
        return value.integer(0);
    }
    if (value.is_real()) {
        return value.real();
    }
    if (value.is_boolean()) {
        return value.boolean();
    }
    return std::string(value.text());
}

dr_data_rows_t rows_of(const dr_data_shape_s& shape, const dr_json_c& array);

void add_cells(dr_data_cells_t& cells, const dr_data_shape_s& shape,
               const dr_json_c& object) {
    object.for_each_member([&](std::string_view name, const dr_json_c& value) {
        if (value.is_null()) {
            return;
        }
        const dr_data_shape_s& kid = shape.kid(name);
        if (value.is_object()) {
            add_cells(cells, kid, value);
        } else if (value.is_array()) {
            cells.push_back({kid.path->cell, rows_of(kid, value)});
        } else {
            cells.push_back({kid.path->cell, scalar_of(value)});
        }
    });
}

void fill(dr_data_row_s& row, const dr_data_shape_s& shape, const dr_json_c& object) {
    dr_data_cells_t cells;
    add_cells(cells, shape, object);
    std::sort(cells.begin(), cells.end(),
              [](const dr_data_cell_s& a, const dr_data_cell_s& b) {
                  return a.number < b.number;
              });
    row.cells.reserve(cells.size()); // it stays for long: no more than it needs
    std::move(cells.begin(), cells.end(), std::back_inserter(row.cells));
}

dr_data_rows_t rows_of(const dr_data_shape_s& shape, const dr_json_c& array) {
    dr_data_rows_t rows;
    rows.reserve(array.size());
    for (dr_json_elements_c elements(array); !elements.is_at_end();) {
        const dr_json_c element = elements.take();
        if (element.is_object()) {
            fill(rows.emplace_back(), shape, element);
        } else if (!element.is_null()) {
            rows.emplace_back().cells.push_back(
                {shape.kid(DR_DATA_VALUE).path->cell, scalar_of(element)});
        }
    }
    return rows;
}

// Whether there is a document to go through.
bool parse(dr_json_document_c& document, const std::string& text, dr_data_fault_s& fault) {
    if (text.size() > DR_DATA_SIZE_MAX) {
        fault = {{1, 1}, "larger than 64 MiB"};
        return false;
    }
    dr_json_document_c::error_s error;
    if (!document.parse(text, error)) {
        fault = {{static_cast<uint32_t>(error.line),
                  static_cast<uint32_t>(std::max(error.column, 1))}, // 0: before anything
                 error.sentence};
        return false;
    }
    if (!document.root().is_object()) {
        fault = {document.root().place(), "no object"};
    }
    return fault.sentence.empty();
}

std::shared_ptr<const dr_data_row_s> read(const std::string& text, unsigned set,
                                          unsigned& cells, dr_data_fault_s& fault) {
    dr_json_document_c document;
    if (!parse(document, text, fault)) {
        return nullptr;
    }
    dr_data_shape_s shape;
    shaper_c(fault).add_object(shape, document.root(), 1);
    if (!fault.sentence.empty() || !dri_register_data(shape, set, cells, fault)) {
        return nullptr;
    }
    auto whole = std::make_shared<dr_data_row_s>();
    fill(*whole, shape, document.root());
    return whole;
}

} // namespace

std::shared_ptr<const dr_data_row_s> dri_read_data(const std::string& text, unsigned set,
                                                   unsigned& cells, std::string& fault) {
    dr_data_fault_s found;
    auto whole = read(text, set, cells, found);
    if (whole == nullptr) {
        fault = std::to_string(found.place.line) + ":" +
                std::to_string(found.place.column) + ": " + found.sentence;
    }
    return whole;
}
