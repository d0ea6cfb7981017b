// SPDX-License-Identifier: BSD-2-Clause

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
    const drend_tag_object_c* top = position_.tag(0);
    if (top == nullptr) {
        return DREND_ERR;
    }
    if (path.empty()) {
        return read_leaf(position_.context(0), *top->dto_tag, out);
    }
    // Nearly every name is that of a leaf of the row, which need not be moved to.
    const drend_tag_c* kid =
        path.find('/') == std::string_view::npos ? top->dto_tag->find_child(path) : nullptr;
    if (dr_meta_node_c* leaf = kid == nullptr ? nullptr : visitable_leaf(*kid)) {
        dr_meta_context_c* context = position_.context(0);
        context->visit_leaf(leaf, position_.element_ref());
        const int status = read_leaf(context, *kid, out);
        context->end_visit();
        return status;
    }
    if (position_.look_up(path) != DREND_OK) {
        return DREND_ERR;
    }
    const int status = read_leaf(position_.context(0), *position_.tag(0)->dto_tag, out);
    position_.take_back();
    return status;
}

// The leaf that the context on top may visit for a kid, or null.
dr_meta_node_c* dr_value_reader_c::visitable_leaf(const drend_tag_c& tag) const {
    const dr_meta_context_c* context = position_.context(0);
    if (tag.dt_type != DT_TYPE_LEAF || !tag.source_path().is_child() ||
        context == nullptr || context->is_visiting() || dri_trace_on(DREND_TRACE_WALK)) {
        return nullptr;
    }
    dr_meta_node_c* leaf = tag.source_path().child_of(context->get_top_node());
    return leaf != nullptr && leaf->is_leaf() ? leaf : nullptr;
}

int dr_value_reader_c::read_leaf(dr_meta_context_c* context, const drend_tag_c& tag,
                                 std::string_view& out) {
    if (tag.dt_type != DT_TYPE_LEAF || context == nullptr) {
        return DREND_ERR;
    }
    value_.clear();
    if (context->call_leaf_proc(value_) != DREND_OK || value_.type() == DRV_NONE) {
        return DREND_ERR;
    }
    if (!is_raw && tag.dt_map != nullptr && translate(tag, value_) != DREND_OK) {
        return DREND_ERR;
    }
    out = is_raw ? value_.text(scratch_) : tag.value_text(value_, scratch_);
    return DREND_OK;
}

int dr_value_reader_c::translate(const drend_tag_c& tag, dr_value_c& value) {
    const std::vector<dr_map_term_s>* expression = nullptr;
    const int status = tag.translate_value(value, expression);
    if (status != DREND_OK || expression == nullptr) {
        return status;
    }
    std::string result;
    const int evaluated = eval_terms(*expression, result);
    return evaluated == 0 ? value.set_string(result.c_str()) : evaluated;
}

int dr_value_reader_c::eval_expression(str_buf_s* text) {
    if (*sbuf_str(text) != '=') {
        return 0;
    }
    std::vector<dr_map_term_s> terms;
    std::string result;
    if (dri_map_expr_parse(sbuf_str(text), terms) != 0 || eval_terms(terms, result) != 0) {
        return -1;
    }
    dri_must_write(sbuf_cpy(text, result.c_str()));
    return 0;
}

// Concatenates literals and the raw values of leaves. A malformed expression has no terms.
int dr_value_reader_c::eval_terms(const std::vector<dr_map_term_s>& terms,
                                  std::string& out) {
    for (const dr_map_term_s& term : terms) {
        if (!term.is_val) {
            out += term.text;
        } else if (append_raw(term.text.c_str(), out) != DREND_OK) {
            return -1;
        }
    }
    return terms.empty() ? -1 : 0;
}

// The value that the daemon has at `path`, relative to where the walk is.
int dr_value_reader_c::append_raw(const char* path, std::string& out) {
    if (position_.push_context(path, position_.element_ref()) != DREND_OK) {
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
