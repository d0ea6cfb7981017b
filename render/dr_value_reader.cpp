// SPDX-License-Identifier: BSD-2-Clause

// Leaves are read without moving where that gives the same, else by moving there and back.

#include "render/dr_value_reader.h"

#include "frame/drend_trace.h"

int dr_value_reader_c::get_text(std::string_view path, dr_str_buf_c& out) {
    std::string_view text;
    const int status = read(path, text);
    if (status == DREND_OK) {
        out = text.data();
    }
    return status;
}

int dr_value_reader_c::read(std::string_view path, std::string_view& out) {
    return give(fetch(path), out);
}

int dr_value_reader_c::read(const drend_tag_c& kid, std::string_view& out) {
    return give(fetch_kid(kid), out);
}

// Ends the reading of a leaf, which is null when it has failed.
int dr_value_reader_c::give(const drend_tag_c* leaf, std::string_view& out) {
    end_visit();
    if (leaf == nullptr) {
        return DREND_ERR;
    }
    out = text_of(*leaf);
    return DREND_OK;
}

bool dr_value_reader_c::find(std::string_view path, dr_xp_value_c& out) {
    const drend_tag_c* leaf = fetch(path);
    if (leaf != nullptr) {
        show(*leaf, out);
    }
    return leaf != nullptr;
}

// Reads the leaf at `path` and translates its value. The leaf's tag, or null.
const drend_tag_c* dr_value_reader_c::fetch(std::string_view path) {
    if (position_.tag(0) == nullptr) {
        return nullptr;
    }
    if (path.empty()) {
        return fetch_top();
    }
    const drend_tag_c* kid = position_.leaf_below_row(path);
    return kid != nullptr ? fetch_kid(*kid) : fetch_by_moving(path);
}

const drend_tag_c* dr_value_reader_c::fetch_kid(const drend_tag_c& kid) {
    if (dr_position_c::is_leaf_below_row(kid) && visit(kid)) {
        return fetch_leaf(*visited_, kid) ? &kid : nullptr;
    }
    return fetch_by_moving(kid.name());
}

const drend_tag_c* dr_value_reader_c::fetch_by_moving(std::string_view path) {
    end_visit();
    if (position_.look_up(path) != DREND_OK) {
        return nullptr;
    }
    const drend_tag_c* leaf = fetch_top();
    position_.take_back();
    return leaf;
}

// The same for the tag on top.
const drend_tag_c* dr_value_reader_c::fetch_top() {
    const drend_tag_c* tag = position_.tag(0)->dto_tag;
    dr_meta_context_c* context = position_.context(0);
    const bool is_leaf = tag->dt_type == DT_TYPE_LEAF && context != nullptr;
    return is_leaf && fetch_leaf(*context, *tag) ? tag : nullptr;
}

std::string_view dr_value_reader_c::text_of(const drend_tag_c& tag) {
    return is_raw ? value_.text(scratch_) : tag.value_text(value_, scratch_);
}

int dr_value_reader_c::read_top(const dr_value_c*& value, std::string_view& text) {
    const drend_tag_object_c* top = position_.tag(0);
    dr_meta_context_c* context = position_.context(0);
    if (top == nullptr || context == nullptr || top->type() != DT_TYPE_LEAF) {
        return DREND_ERR;
    }
    const drend_tag_c& tag = *top->dto_tag;
    value_.clear();
    int status = context->call_leaf_proc(value_);
    if (status == DREND_OK && value_.type() == DRV_NONE) {
        status = DREND_ERR;
    }
    if (!is_raw && (status == DREND_OK || has_substitute(tag, status))) {
        status = translate(tag, value_);
    }
    value = &value_;
    text = text_of(tag);
    return status;
}

int dr_value_reader_c::translate(const drend_tag_c& tag, dr_value_c& value) {
    const dr_map_parts_t* expression = nullptr;
    const int status = tag.translate_value(value, expression);
    if (status != DREND_OK || expression == nullptr) {
        return status;
    }
    std::string result;
    const int evaluated = eval_parts(*expression, result);
    return evaluated == 0 ? value.set_string(result.c_str()) : evaluated;
}

int dr_value_reader_c::eval_expression(str_buf_s* text) {
    if (*sbuf_str(text) != '=') {
        return 0;
    }
    std::string result;
    if (eval_parts(dri_map_parts(sbuf_str(text)), result) != 0) {
        return -1;
    }
    dri_must_write(sbuf_cpy(text, result.c_str()));
    return 0;
}

// Concatenates literals and the raw values of leaves. A malformed expression has no parts.
int dr_value_reader_c::eval_parts(const dr_map_parts_t& parts, std::string& out) {
    for (const dr_map_part_s& part : parts) {
        if (!part.term.is_val) {
            out += part.term.text;
        } else if (append_raw(part, out) != DREND_OK) {
            return -1;
        }
    }
    return parts.empty() ? -1 : 0;
}

// The value that the daemon has at the part's path, relative to where the walk is.
int dr_value_reader_c::append_raw(const dr_map_part_s& part, std::string& out) {
    if (position_.push_context(part.path, part.term.text.c_str(),
                               position_.element_ref()) != DREND_OK) {
        return DREND_ERR;
    }
    dr_value_c value; // the last one read may be the one that is being translated
    int status = position_.context(0)->call_leaf_proc(value);
    if (status == DREND_OK && value.type() == DRV_NONE) {
        status = DREND_ERR;
    }
    if (status == DREND_OK) {
        dr_value_c::scratch_t scratch;
        out += value.text(scratch);
    }
    position_.pop_context();
    return status == DREND_OK ? DREND_OK : DREND_ERR;
}

bool dr_value_reader_c::presence_on(const drend_tag_c& tag) {
    dr_meta_context_c* context = position_.context(0);
    if (!tag.has_presence() || context == nullptr) {
        return false;
    }
    dr_str_buf_c text;
    return context->call_leaf_proc(text.buf()) != DREND_OK || text == "true";
}
