// SPDX-License-Identifier: BSD-2-Clause

// The daemon marks its position with the attribute reference, or with an element reference of its
// own: one that is not inherited.

#include "render/dr_dynamic_kids.h"

bool dri_next_dynamic_kid(dr_meta_context_c& context, const void* inherited,
                          const drend_tag_c& tag, const drend_tag_c*& kid) {
    const int status = context.call_cont_proc();
    const dr_meta_object_c* object = context.get_top_object();
    const bool marked =
        object->attribute_ref != nullptr ||
        (object->element_ref != nullptr && object->element_ref != inherited);
    if ((status != DREND_OK && status != DREND_DEFER) || !marked) {
        // The kids that follow belong to the row that the container belongs to.
        context.set_attribute_ref(nullptr);
        context.set_top_element(inherited);
        return false;
    }
    const std::string& name = object->attribute_name;
    kid = name.empty() ? nullptr : tag.find_child_from_mt_source(name.c_str());
    return true;
}
