#include "definitions/drend_tag_object.h"

#include <atomic>

#include "orvex_platform/sbuf.h"

namespace {

// Kept with a load and a store each: an exact count is not worth a locked instruction for
// every element that is printed.
std::atomic<int> dto_count{0};

} // namespace

int dri_get_dto_count() {
    return dto_count.load(std::memory_order_relaxed);
}

drend_tag_object_c::drend_tag_object_c(const drend_tag_c* tag) : dto_tag(tag) {
    dto_count.store(dri_get_dto_count() + 1, std::memory_order_relaxed);
}

drend_tag_object_c::~drend_tag_object_c() {
    const int count = dri_get_dto_count();
    dto_count.store(count > 0 ? count - 1 : 0, std::memory_order_relaxed);
}

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
