// SPDX-License-Identifier: BSD-2-Clause

// The text of a value for a tag of a walk, as a member of the value: its name is the value's, but
// only this floor knows what a tag is.
#include "definitions/drend_tag_object.h"

#include "frame/dr_str_buf.h"

const char* dr_value_c::get_value_as_string(const drend_tag_object_c* tag,
                                            str_buf_s* out) const {
    scratch_t scratch;
    dri_must_write(sbuf_cpy(
        out, (tag == nullptr ? text(scratch) : tag->dto_tag->value_text(*this, scratch))
                 .data()));
    return sbuf_str(out);
}
