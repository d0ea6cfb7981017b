// SPDX-License-Identifier: BSD-2-Clause

// The dumps. The value dump recurses, for the depth of the meta tree is the daemon's own; its
// frames are for going on after a suspension, from the innermost outwards.
#include "service/drend_dump.h"

#include <cassert>
#include <memory>

#include "frame/dr_no_such.h"
#include "frame/str_util.h"
#include "render/dr_answer.h"
#include "render/dr_deferral.h"

namespace {

constexpr char END_OF_DUMP[] = "\n\n";
constexpr size_t ROWS_SHOWN = 8; // of a list, to who asked for one that there is not

const char* kind_word(dmn_type_e type) {
    switch (type) {
    case DMN_TYPE_LEAF:
        return "leaf";
    case DMN_TYPE_LIST:
        return "list";
    case DMN_TYPE_CONT:
        return "container";
    default:
        return "NA";
    }
}

// Formats here and not in the send, whose failures a dump does not look at: memory that runs out
// must not leave a line out.
void send_line(void* peer, const char* format, const char* first, const char* second) {
    std::string line;
    str_append(line, format, first, second);
    drend_send(peer, "%s", line.c_str());
}

void dump_schema_node(void* peer, const dr_meta_node_c& node, const std::string& prefix) {
    std::string path = prefix + node.name.c_str();
    send_line(peer, "%s  %s \n", path.c_str(), kind_word(node.type));
    if (node.name.size() != 0) {
        path += "/";
    }
    for (const dr_meta_node_c* child : node.child_list) {
        dump_schema_node(peer, *child, path);
    }
}

} // namespace

int dri_dump_schema(void* peer) {
    dump_schema_node(peer, *dmn_get_root(), "/");
    return drend_send(peer, "%s", END_OF_DUMP);
}

int drend_dump_schema(void* peer) {
    return dri_answer<int>(peer, DREND_ERR, [&] { return dri_dump_schema(peer); });
}

void* dri_dump(void* peer, const char* path) {
    auto dump = std::make_unique<dr_mt_dump_context_c>(peer);
    if (dump->run(path)) {
        return nullptr;
    }
    void* handle =
        dr_suspendable_c::keep(std::move(dump), dr_suspendable_c::keeper_e::PEER);
    dri_deferred(handle);
    return handle;
}

void* drend_dump(void* peer) {
    if (dri_refuse_while_answering(peer)) {
        return nullptr;
    }
    return dri_answer<void*>(peer, nullptr, [&] { return dri_dump(peer); });
}

dr_mt_dump_context_c::dr_mt_dump_context_c(void* peer) : dr_suspendable_c(peer) {}

dr_mt_dump_context_c::~dr_mt_dump_context_c() {
    while (const dr_meta_node_c* node = position_.get_top_node()) {
        position_.call_exit_proc(node->type); // what an abandoned dump is still inside of
        position_.pop_object();
    }
}

bool dr_mt_dump_context_c::run(const char* path) {
    error_ = path_.read(path);
    if (!error_.empty()) {
        return end_slice(false);
    }
    dri_call_walk_start(&position_);
    return end_slice(dump_internal("", "/") == DREND_DEFER);
}

void dr_mt_dump_context_c::finish() {
    if (is_gone()) {
        return;
    }
    if (!has_sent_ && !error_.empty()) {
        dri_refuse(peer(), "invalid-path", "error: " + error_ + "\n");
        return;
    }
    drend_send(peer(), "%s", END_OF_DUMP);
    drend_flush(peer());
}

dr_mt_dump_context_c* dr_mt_dump_context_c::defer_continue() {
    dri_call_walk_start(&position_);
    while (!frames_.empty() && !is_gone()) {
        const dr_dump_context_c frame = frames_.back();
        if (go_on_with(frame) == DREND_DEFER) {
            return this;
        }
        // A row is left by its list, which goes on with the next one.
        if (!position_.get_top_object()->is_list_el()) {
            position_.push_path("..", false, nullptr);
        }
    }
    return nullptr;
}

void dr_mt_dump_context_c::pop_frame([[maybe_unused]] int kind) {
    assert(!frames_.empty() && frames_.back().kind == kind);
    frames_.pop_back();
}

// Goes on with the node of a frame after what was suspended inside of it.
int dr_mt_dump_context_c::go_on_with(const dr_dump_context_c& frame) {
    switch (frame.kind) {
    case dr_dump_context_c::LEAF:
        pop_frame(frame.kind);
        return dump_leaf(frame.path); // it was suspended by its own procedure
    case dr_dump_context_c::CONT:
        ++position_.writable_object(0)->child_pos;
        return dump_kids_from_here(frame.path);
    default:
        return dump_rows(frame.path);
    }
}

// Moves to the child `name` ("/": the root), dumps it and moves back.
int dr_mt_dump_context_c::dump_internal(const std::string& prefix, const char* name) {
    const dr_meta_node_c* parent = position_.get_top_node();
    if (parent == nullptr) {
        position_.push_path(name, false, nullptr);
    } else {
        position_.push_child(parent->find_child(name));
    }
    const int status = dump_top(prefix + name);
    if (status != DREND_DEFER) {
        position_.push_path("..", false, nullptr);
    }
    return status;
}

int dr_mt_dump_context_c::dump_top(const std::string& path) {
    switch (position_.get_top_object()->type) {
    case DMN_TYPE_CONT:
        return dump_kid_values(path);
    case DMN_TYPE_LIST:
        return dump_list(path);
    default:
        assert(position_.get_top_object()->is_leaf());
        // A presence container's leaf has something below it.
        return path_.at(position_.depth()) == nullptr ? dump_leaf(path)
                                                      : dump_kid_values(path);
    }
}

int dr_mt_dump_context_c::dump_kid_values(const std::string& path) {
    const dr_meta_node_c* node = position_.get_top_node();
    const std::string prefix = node->name.size() == 0 ? path : path + "/";
    position_.writable_object(0)->child_pos = position_.get_top_node()->child_list.begin();
    position_.call_enter_proc(DMN_TYPE_CONT);
    frames_.push_back({dr_dump_context_c::CONT, prefix});
    return dump_kids_from_here(prefix);
}

int dr_mt_dump_context_c::dump_kids_from_here(const std::string& prefix) {
    int status = DREND_OK;
    const dr_meta_node_c* node = position_.get_top_node();
    while (position_.get_top_object()->child_pos != node->child_list.end()) {
        const dr_meta_node_c* child = *position_.get_top_object()->child_pos;
        const dr_dump_path_c::component_s* only = path_.at(position_.depth());
        status = only == nullptr || child->name == only->name.c_str()
                     ? dump_internal(prefix, child->name)
                     : DREND_OK;
        if (status == DREND_DEFER || is_gone()) {
            return DREND_DEFER; // the end of the dump leaves what it is inside of
        }
        ++position_.writable_object(0)->child_pos;
    }
    position_.call_exit_proc(DMN_TYPE_CONT);
    pop_frame(dr_dump_context_c::CONT);
    return status;
}

int dr_mt_dump_context_c::dump_list(const std::string& path) {
    frames_.push_back({dr_dump_context_c::LIST, path});
    position_.call_enter_proc(DMN_TYPE_LIST);
    return dump_rows(path);
}

int dr_mt_dump_context_c::dump_rows(const std::string& path) {
    const dr_dump_path_c::component_s* key = key_here();
    int status = DREND_OK;
    for (;;) {
        status = step_row(key);
        const bool has_row = position_.get_element_offset(0) != nullptr;
        if ((status != DREND_OK && status != DREND_DEFER) || !has_row) {
            break;
        }
        position_.set_top_type(DMN_TYPE_LIST_EL);
        std::string text;
        const bool is_wanted =
            key == nullptr || (read_key(key->key, text) && text == key->value);
        const int dumped = is_wanted ? dump_kid_values(path) : DREND_OK;
        if (dumped == DREND_DEFER || status == DREND_DEFER || is_gone()) {
            return DREND_DEFER;
        }
    }
    if (key != nullptr && !has_sent_ && error_.empty()) {
        note_rows(*key);
    }
    position_.set_top_type(DMN_TYPE_LIST);
    position_.call_exit_proc(DMN_TYPE_LIST);
    pop_frame(dr_dump_context_c::LIST);
    return status == DREND_DEFER ? DREND_OK : status;
}

// The key of the only row of the list on top that is wanted, or null.
const dr_dump_path_c::component_s* dr_mt_dump_context_c::key_here() const {
    const dr_dump_path_c::component_s* component = path_.at(position_.depth() - 1);
    return component == nullptr || component->key.empty() ? nullptr : component;
}

// Has the daemon step to the next row, or go straight to the one of a key.
int dr_mt_dump_context_c::step_row(const dr_dump_path_c::component_s* key) {
    if (key == nullptr) {
        return dri_unless_ignored(position_.call_list_proc());
    }
    position_.set_filter_names(std::make_shared<const dr_meta_context_c::names_t>(
        dr_meta_context_c::names_t{{key->key, key->value}}));
    const int status = dri_unless_ignored(position_.call_list_proc());
    position_.set_filter_names(nullptr);
    return status;
}

// The text of a leaf of the row on top.
bool dr_mt_dump_context_c::read_key(const std::string& name, std::string& text) {
    position_.push_child(position_.get_top_node()->find_child(name));
    dr_value_c value;
    dr_value_c::scratch_t scratch;
    std::string_view found;
    const bool is_read =
        position_.call_leaf_proc(value) == DREND_OK && value.get_text(found, scratch);
    if (is_read) {
        text = found;
    }
    position_.pop_object();
    return is_read;
}

// Notes that a list, which is at its end, has no row of that key, and which ones it has.
void dr_mt_dump_context_c::note_rows(const dr_dump_path_c::component_s& key) {
    std::vector<std::string> rows;
    std::string text;
    position_.set_top_element(nullptr);
    while (rows.size() < ROWS_SHOWN && position_.call_list_proc() >= DREND_OK &&
           position_.get_element_offset(0) != nullptr && read_key(key.key, text)) {
        rows.push_back(key.name + "[" + key.key + "=" + text + "]");
    }
    position_.set_top_element(nullptr);
    const std::string wanted = key.name + "[" + key.key + "=" + key.value + "]";
    error_ = dri_no_such(wanted, path_.text(position_.depth() - 2), rows) +
             (rows.size() == ROWS_SHOWN ? ", ..." : "");
}

int dr_mt_dump_context_c::dump_leaf(const std::string& path) {
    frames_.push_back({dr_dump_context_c::LEAF, path});
    dr_value_c value;
    const int status = dri_unless_ignored(position_.call_leaf_proc(value));
    if (status == DREND_DEFER) {
        return status;
    }
    dr_str_buf_c text;
    if (status == DREND_OK && value.get_string(text.buf()) == 0) {
        has_sent_ = true;
        send_line(peer(), "%-40s  :  [%s]\n", path.c_str(), text.c_str());
    }
    pop_frame(dr_dump_context_c::LEAF);
    return status;
}
