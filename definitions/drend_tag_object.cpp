// SPDX-License-Identifier: BSD-2-Clause

#include "definitions/drend_tag_object.h"

#include "frame/dr_str_buf.h"

// A member of the value, defined here because only this floor knows what a tag is.
const char* dr_value_c::get_value_as_string(const drend_tag_object_c* tag,
                                            str_buf_s* out) const {
    scratch_t scratch;
    dri_must_write(sbuf_cpy(
        out, (tag == nullptr ? text(scratch) : tag->dto_tag->value_text(*this, scratch))
                 .data()));
    return sbuf_str(out);
}
