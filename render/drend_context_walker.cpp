#include "render/drend_context_walker.h"

#include <algorithm>

#include "frame/str_util.h"
#include "render/dr_tags_access_context.h"

namespace {

constexpr int BLANKS_PER_LEVEL = 2;
constexpr char BLANKS[] =
    "                                                                "
    "                                                                ";
constexpr int BLANKS_SIZE = sizeof BLANKS - 1;

} // namespace

int dr_context_walker_c::send_text(void* peer, const char* text) {
    if (status_ != 0) {
        return status_;
    }
    const int sent = ::drend_send(peer, "%s", text);
    if (sent < 0) {
        status_ = DREND_PEER_LOST;
    }
    sends_ += sent == 0;
    return status_;
}

int dr_context_walker_c::drend_send(void* peer, const char* format, ...) {
    dr_str_buf_c text;
    va_list args;
    va_start(args, format);
    sbuf_vappend(text.buf(), format, args);
    va_end(args);
    return send_text(peer, text);
}

int dr_context_walker_c::send_value_text(void* peer, dri_escaper_t escape,
                                         std::string_view before, std::string_view value,
                                         std::string_view after) {
    static constexpr size_t longest = STR_LIMIT - 1;
    static constexpr size_t marker_size = sizeof STR_CUT_MARKER - 1;
    line_.assign(before);
    const size_t head = std::min(before.size(), longest);
    const size_t limit = longest - std::min(longest - head, after.size());
    if (!escape(line_, value, std::max(head, limit))) {
        line_.resize(head);
        escape(line_, value, std::max(head, limit - std::min(limit, marker_size)));
        line_ += STR_CUT_MARKER;
    }
    line_ += after;
    return send_text(peer, line_.c_str());
}

void dr_context_walker_c::dri_indent(void* peer, int level) {
    const int width = level * BLANKS_PER_LEVEL;
    if (width > BLANKS_SIZE) {
        drend_send(peer, "%*s", width, "");
    } else if (width > 0) {
        send_text(peer, BLANKS + BLANKS_SIZE - width);
    }
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
