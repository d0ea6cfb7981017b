#include "definitions/drend_tag_object.h"

#include "orvex_platform/sbuf.h"

// A member of the value, defined here because only this floor knows what a tag is.
const char* dr_value_c::get_value_as_string(const drend_tag_object_c* tag,
                                            str_buf_s* out) const {
    if (tag == nullptr || !tag->dto_tag->is_decimal64()) {
        return c_str(out);
    }
    if (get_decimal64(out, tag->dto_tag->dt_decimal64_fraction) != 0) {
        sbuf_cpy(out, "Conversion Error");
    }
    return sbuf_str(out);
}
