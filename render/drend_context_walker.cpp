#include "render/drend_context_walker.h"

#include "render/dr_tags_access_context.h"

int dr_context_walker_c::finish_output() {
    output_.release();
    return status() == DREND_PEER_LOST ? 0 : drend_flush(output_.peer());
}

bool dr_context_walker_c::zero_suppression_check(const drend_tag_object_c* tobj,
                                                 const dr_value_c& value) {
    return !tobj->dto_tag->isset_flag(DT_FLAG_ZERO_SUPPRESSION) || !value.is_value_zero();
}

void dr_context_walker_c::emit_keys_for_parent(const drend_tag_object_c* tobj,
                                               dr_context_walker_c* walker) {
    for (const std::string& key : tobj->dto_tag->dt_keys) {
        const drend_tag_c* tag = tobj->dto_tag->find_child(key.c_str());
        dr_str_buf_c text;
        if (tag == nullptr || tag->is_internal_tag() ||
            context_.get_leaf_value(key.c_str(), text) != 0) {
            continue;
        }
        dr_value_c value;
        value.set_string(text);
        keys_emitted_ = true;
        context_.push_key_tag(tag);
        const drend_tag_object_c* key_object = context_.get_top_tag(0);
        walker->push_private(key_object);
        walker->push_value_private(key_object, value);
        walker->pop_private(key_object);
        context_.pop_key_tag();
    }
}
