#include "render/dr_value_reader.h"

#include <utility>

int dr_value_reader_c::get_text(const char* path, dr_str_buf_c& out) {
    const bool moved = *path != '\0';
    if (moved && position_.look_up(path) != DREND_OK) {
        return DREND_ERR;
    }
    const int status = read_top(out);
    if (moved) {
        position_.take_back();
    }
    return status;
}

int dr_value_reader_c::read_top(dr_str_buf_c& out) {
    const drend_tag_object_c* tobj = position_.tag(0);
    dr_meta_context_c* context = position_.context(0);
    if (tobj == nullptr || tobj->type() != DT_TYPE_LEAF || context == nullptr) {
        return DREND_ERR;
    }
    dr_value_c value;
    dr_value_c::scratch_t scratch;
    if (context->call_leaf_proc(value) != DREND_OK || value.type() == DRV_NONE) {
        return DREND_ERR;
    }
    if (is_raw) {
        out = value.text(scratch).data();
        return DREND_OK;
    }
    if (translate(*tobj->dto_tag, value) != DREND_OK) {
        return DREND_ERR;
    }
    out = tobj->dto_tag->value_text(value, scratch).data();
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

int dr_value_reader_c::append_raw(const char* path, std::string& out) {
    if (position_.push_context(path, position_.element_ref()) != DREND_OK) {
        return DREND_ERR;
    }
    dr_str_buf_c value;
    const bool outer = std::exchange(is_raw, true);
    const int status = get_text("", value);
    is_raw = outer;
    position_.pop_context();
    if (status == DREND_OK) {
        out += value;
    }
    return status;
}

bool dr_value_reader_c::presence_on(const drend_tag_c& tag) {
    dr_meta_context_c* context = position_.context(0);
    if (!tag.has_presence() || context == nullptr) {
        return false;
    }
    dr_str_buf_c text;
    return context->call_leaf_proc(text.buf()) != DREND_OK || text == "true";
}
