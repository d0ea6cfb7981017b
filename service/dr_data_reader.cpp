// SPDX-License-Identifier: BSD-2-Clause

// From JSON text to rows, in three passes over jansson's document: which paths there are, their
// registration, and the values. The only source of this floor that knows jansson.
//
// jansson says where a text is no JSON. Where a value stands that is JSON and fits nowhere is
// counted: a document has its names and values in the order of the text, so the n-th of the one is
// the n-th of the other.
#include "service/dr_data_reader.h"

#include <algorithm>
#include <jansson.h>
#include <new>

#include "service/dr_data_shape.h"

namespace {

struct release_json_s {
    void operator()(json_t* value) const { json_decref(value); }
};
using document_t = std::unique_ptr<json_t, release_json_s>;

// Calls `visit(name, value)` for the members of an object until it returns false; whether it never
// did.
template <typename Visit>
bool each_member(json_t* object, Visit visit) {
    for (void* at = json_object_iter(object); at != nullptr;
         at = json_object_iter_next(object, at)) {
        if (!visit(std::string_view(json_object_iter_key(at)),
                   json_object_iter_value(at))) {
            return false;
        }
    }
    return true;
}

template <typename Visit>
bool each_element(json_t* array, Visit visit) {
    for (size_t n = 0; n < json_array_size(array); ++n) {
        if (!visit(json_array_get(array, n))) {
            return false;
        }
    }
    return true;
}

// --- where a value stands ---

// Behind the name, number, word or bracket that begins at `at`.
size_t behind(std::string_view text, size_t at) {
    if (text[at] == '{' || text[at] == '[') {
        return at + 1;
    }
    if (text[at] != '"') {
        return std::min(text.find_first_of(",]} \t\r\n", at), text.size());
    }
    for (++at; text[at] != '"'; ++at) {
        at += text[at] == '\\' ? 1 : 0;
    }
    return at + 1;
}

// Where the name or value of that number begins in a text that is JSON.
size_t place_of(std::string_view text, size_t number) {
    constexpr char BETWEEN[] = " \t\r\n,:]}";
    size_t at = text.find_first_not_of(BETWEEN);
    for (; number > 0; --number) {
        at = text.find_first_not_of(BETWEEN, behind(text, at));
    }
    return at;
}

std::string fault_text(size_t line, size_t column, const std::string& sentence) {
    return std::to_string(line) + ":" + std::to_string(column) + ": " + sentence;
}

std::string fault_at(std::string_view text, const dr_data_fault_s& fault) {
    const std::string_view before = text.substr(0, place_of(text, fault.number));
    size_t line = 1;
    size_t column = 1;
    for (const char c : before) {
        const bool is_inside =
            (static_cast<unsigned char>(c) & 0xC0U) == 0x80; // a character
        line += c == '\n' ? 1 : 0;
        column = c == '\n' ? 1 : column + (is_inside ? 0 : 1);
    }
    return fault_text(line, column, fault.sentence);
}

// --- the shape ---

bool is_scalar(const json_t* value) {
    return !json_is_object(value) && !json_is_array(value);
}

dmn_leaf_type_e leaf_type_of(const json_t* value) {
    switch (json_typeof(value)) {
    case JSON_INTEGER:
        return DMN_LEAF_INT64;
    case JSON_REAL:
        return DMN_LEAF_DOUBLE;
    case JSON_TRUE:
    case JSON_FALSE:
        return DMN_LEAF_BOOLEAN;
    case JSON_STRING:
        return DMN_LEAF_STR;
    default:
        return DMN_LEAF_NONE;
    }
}

dmn_type_e kind_of(const json_t* value) {
    return json_is_object(value)  ? DMN_TYPE_CONT
           : json_is_array(value) ? DMN_TYPE_LIST
                                  : DMN_TYPE_LEAF;
}

// What the sources of definitions can lead to.
bool is_path_name(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of("/[]") == std::string_view::npos;
}

class shaper_c {
  public:
    explicit shaper_c(dr_data_fault_s& fault) : fault_(fault) {}

    bool add_object(dr_data_shape_s& shape, json_t* object, size_t depth) {
        if (depth > DR_DATA_DEPTH_MAX) {
            return fail("nested deeper than " + std::to_string(DR_DATA_DEPTH_MAX) +
                        " levels");
        }
        return each_member(object, [&](std::string_view name, json_t* value) {
            ++number_; // the name; the value is next
            return add_member(shape, name, value, depth);
        });
    }

  private:
    bool add_member(dr_data_shape_s& shape, std::string_view name, json_t* value,
                    size_t depth) {
        if (!is_path_name(name)) {
            return fail("the name '" + std::string(name) + "' cannot stand in a path");
        }
        ++number_;
        if (json_is_null(value)) {
            return true;
        }
        dr_data_shape_s* kid = kid_of(shape, name, value);
        return kid != nullptr &&
               (kid->kind == DMN_TYPE_CONT   ? add_object(*kid, value, depth + 1)
                : kid->kind == DMN_TYPE_LIST ? add_array(*kid, value, depth + 1)
                                             : true);
    }

    // The kid of that name, which is of the value's kind; null, with a fault, when it is not.
    dr_data_shape_s* kid_of(dr_data_shape_s& shape, std::string_view name, json_t* value) {
        auto found = shape.kids.find(name);
        if (found == shape.kids.end()) {
            found = shape.kids.emplace(name, std::make_unique<dr_data_shape_s>()).first;
            shape.order.push_back(found->first);
            found->second->kind = kind_of(value);
            found->second->leaf_type = leaf_type_of(value);
            found->second->number = number_;
        }
        if (found->second->kind != kind_of(value)) {
            fail("'" + std::string(name) + "' is of another kind than before");
            return nullptr;
        }
        return found->second.get();
    }

    bool add_array(dr_data_shape_s& shape, json_t* array, size_t depth) {
        return each_element(array, [&](json_t* element) {
            ++number_;
            return json_is_null(element) || add_element(shape, element, depth);
        });
    }

    bool add_element(dr_data_shape_s& shape, json_t* element, size_t depth) {
        if (json_is_array(element)) {
            return fail("an array in an array");
        }
        if (shape.has_scalars ? !is_scalar(element)
                              : is_scalar(element) && !shape.order.empty()) {
            return fail("objects and scalars in one array");
        }
        shape.has_scalars = is_scalar(element);
        return shape.has_scalars ? kid_of(shape, DR_DATA_VALUE, element) != nullptr
                                 : add_object(shape, element, depth + 1);
    }

    bool fail(std::string sentence) {
        fault_ = {number_, std::move(sentence)};
        return false;
    }

    dr_data_fault_s& fault_;
    size_t number_ = 0; // of the name or value that is looked at
};

// --- the rows ---

dr_data_cell_t scalar_of(const json_t* value) {
    switch (json_typeof(value)) {
    case JSON_INTEGER:
        return static_cast<int64_t>(json_integer_value(value));
    case JSON_REAL:
        return json_real_value(value);
    case JSON_TRUE:
        return true;
    case JSON_FALSE:
        return false;
    default:
        return std::string(json_string_value(value), json_string_length(value));
    }
}

void put(dr_data_row_s& row, const dr_data_shape_s& shape, dr_data_cell_t value) {
    const unsigned cell = shape.path->cell;
    if (cell >= row.cells.size()) {
        row.cells.resize(cell + 1);
    }
    row.cells[cell] = std::move(value);
}

dr_data_rows_t rows_of(const dr_data_shape_s& shape, json_t* array);

void fill(dr_data_row_s& row, const dr_data_shape_s& shape, json_t* object) {
    each_member(object, [&](std::string_view name, json_t* value) {
        if (json_is_null(value)) {
            return true;
        }
        const dr_data_shape_s& kid = shape.kid(name);
        if (kid.kind == DMN_TYPE_CONT) {
            fill(row, kid, value);
        } else {
            put(row, kid, json_is_array(value) ? rows_of(kid, value) : scalar_of(value));
        }
        return true;
    });
}

dr_data_rows_t rows_of(const dr_data_shape_s& shape, json_t* array) {
    dr_data_rows_t rows;
    rows.reserve(json_array_size(array));
    each_element(array, [&](json_t* element) {
        if (json_is_object(element)) {
            rows.emplace_back().cells.reserve(shape.path->cells);
            fill(rows.back(), shape, element);
        } else if (!json_is_null(element)) {
            put(rows.emplace_back(), shape.kid(DR_DATA_VALUE), scalar_of(element));
        }
        return true;
    });
    return rows;
}

// Null, with a fault, for what is no JSON object.
document_t parse(std::string_view text, std::string& fault) {
    if (text.size() > DR_DATA_SIZE_MAX) {
        fault = fault_text(1, 1, "larger than 256 MiB");
        return nullptr;
    }
    json_error_t error;
    document_t document(
        json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error));
    const bool is_told = error.text[0] != '\0'; // not always what ran out
    if (document == nullptr &&
        (!is_told || json_error_code(&error) == json_error_out_of_memory)) {
        throw std::bad_alloc();
    }
    if (document == nullptr) {
        const auto line = static_cast<size_t>(std::max(error.line, 1));
        const auto column = static_cast<size_t>(std::max(error.column, 1));
        fault = fault_text(line, column, error.text);
    } else if (!json_is_object(document.get())) {
        fault = fault_text(1, 1, "no object");
        return nullptr;
    }
    return document;
}

} // namespace

std::shared_ptr<const dr_data_row_s> dri_read_data(std::string_view text, unsigned set,
                                                   unsigned& cells, std::string& fault) {
    const document_t document = parse(text, fault);
    if (document == nullptr) {
        return nullptr;
    }
    dr_data_shape_s shape;
    dr_data_fault_s found;
    if (!shaper_c(found).add_object(shape, document.get(), 1) ||
        !dri_register_data(shape, set, cells, found)) {
        fault = fault_at(text, found);
        return nullptr;
    }
    auto whole = std::make_shared<dr_data_row_s>();
    fill(*whole, shape, document.get());
    return whole;
}
