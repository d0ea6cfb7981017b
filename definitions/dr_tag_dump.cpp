// SPDX-License-Identifier: BSD-2-Clause

// A tag tree as text, for people.
#include "definitions/drend_tag.h"

#include <set>

#include "definitions/drend_lookup.h"
#include "frame/dr_no_such.h"
#include "frame/str_util.h"

namespace {

// What is sent at once is below the limit of a send.
constexpr size_t PIECE_MAX = STR_LIMIT / 2;

// A tag whose kids are being printed.
struct level_s {
    const drend_tag_c* tag;
    drend_tag_c::kids_t::const_iterator next;
};

std::string app_names(const drend_tag_c& tag) {
    std::multiset<std::string> sorted;
    for (const drend_command_s* command : tag.dt_commands) {
        sorted.insert(command->dc_app_name);
    }
    std::string joined;
    str_join(std::vector<std::string>(sorted.begin(), sorted.end()), joined, " ");
    return joined;
}

// Sends a text of any length, cut behind ends of lines where it is too long for one send.
int send_lines(void* peer, std::string_view text) {
    int status = 0;
    while (!text.empty() && status == 0) {
        const size_t end = text.substr(0, PIECE_MAX).rfind('\n');
        const std::string piece(
            text.substr(0, end == std::string_view::npos ? PIECE_MAX : end + 1));
        status = drend_send(peer, "%s", piece.c_str());
        text.remove_prefix(piece.size());
    }
    return status;
}

void dump_head(const drend_tag_c& tag, str_buf_s* out, int indent) {
    dri_must_write(sbuf_indent_append(out, indent, "%s {\n", tag.name().c_str()));
    dri_must_write(sbuf_indent_append(
        out, indent + 1, "dt_type: %d, dt_data_type: %d, dt_flags: %d, apps: %s\n",
        tag.dt_type, tag.dt_data_type, static_cast<int>(tag.dt_flags),
        app_names(tag).c_str()));
    if (!tag.source().empty()) {
        dri_must_write(
            sbuf_indent_append(out, indent + 1, "source: %s\n", tag.source().c_str()));
    }
}

} // namespace

void drend_tag_c::dump(str_buf_s* out, int indent) const {
    std::vector<level_s> levels;
    dump_head(*this, out, indent);
    levels.push_back({this, dt_kids.begin()});
    while (!levels.empty()) {
        level_s& level = levels.back();
        if (level.next == level.tag->dt_kids.end()) {
            levels.pop_back();
            dri_must_write(
                sbuf_indent_append(out, indent + static_cast<int>(levels.size()), "}\n"));
            continue;
        }
        const drend_tag_c* kid = *level.next++;
        dump_head(*kid, out, indent + static_cast<int>(levels.size()));
        levels.push_back({kid, kid->dt_kids.begin()});
    }
}

int dri_dump_render_tree(void* peer, const char* name) {
    const char* wanted = name == nullptr ? DRI_NETCONF_GET : name;
    const dri_used_tag_t tag(dri_acquire_command_tag(wanted));
    dr_str_buf_c text;
    if (tag) {
        tag->dump(text.buf(), 0);
        text += "\n";
    } else {
        text = "Couldn't find '" + dri_without_controls(wanted) + "'\n";
    }
    return send_lines(peer, text.c_str());
}
