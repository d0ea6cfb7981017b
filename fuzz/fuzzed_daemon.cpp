// SPDX-License-Identifier: BSD-2-Clause

// Accessors of a few lines each, over rows that never change: a daemon's state must not make two
// runs of one input differ.
#include "fuzzed_daemon.h"

#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

#include <jansson.h>
#include <libxml/parser.h>
#include <unistd.h>

#include "definitions/drend_load.h"
#include "drend.h"

namespace {

struct row_s {
    const char* name;
    int32_t number;
    const char* text;
};
constexpr row_s ROWS[] = {{"a", 0, "it's"},
                          {"it's \"x\"", -7, "]"},
                          {"b/c]=<&\x01\xff", 12, "x"},
                          {"d\\", 3, "b/c"},
                          {"", INT32_MAX, "[1]"}};
constexpr const char* FIELDS[] = {"alpha", "beta"};
constexpr unsigned char HARDWARE_ADDRESS[] = {2, 0, 0, 0xAB, 0xCD, 0xEF};

struct peer_s {
    std::string text;
    void* cookie = nullptr;
    manner_s manner = {};
};

int inside = 0;
bool was_late = false;
bool suspends = false;
void* suspended = nullptr;
std::string cursor;

int deliver(void* peer, const char* format, ...) {
    auto* to = static_cast<peer_s*>(peer);
    if (to->manner.sends >= 0 && to->manner.sends-- == 0) {
        to->manner.sends = 0; // once lost it stays so
        return DREND_PEER_LOST;
    }
    va_list args;
    va_start(args, format);
    to->text += va_arg(args, const char*);
    va_end(args);
    return 0;
}

// --- accessors ---

int step(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    row = row == nullptr ? ROWS : row + 1;
    drend_set_element_ref(ctx, row == std::end(ROWS) ? nullptr : row);
    return row == std::end(ROWS) ? DREND_NO_EL : DREND_OK;
}

template <auto Set, auto Field>
int read(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    return row == nullptr ? DREND_ERR : Set(ctx, row->*Field);
}
constexpr drend_proc_t read_name = read<drend_set_string_value, &row_s::name>;
constexpr drend_proc_t read_text = read<drend_set_string_value, &row_s::text>;
constexpr drend_proc_t read_number = read<drend_set_int32_value, &row_s::number>;

class cells_c : public drend_iterator_c {
  public:
    void first(dr_meta_context_s*) override { row_ = ROWS; }
    void next(dr_meta_context_s*) override { ++row_; }
    bool at_end(dr_meta_context_s*) override { return row_ == std::end(ROWS); }
    const row_s& row() const { return *row_; }

  private:
    const row_s* row_ = nullptr;
};

int read_cell(dr_meta_context_s* ctx, const void*) {
    const auto* cells = static_cast<const cells_c*>(
        static_cast<const drend_iterator_c*>(drend_get_iterator_c(ctx, 0)));
    return drend_set_string_value(ctx, cells->row().name);
}

int name_field(dr_meta_context_s* ctx, const void*) {
    void* reached = nullptr;
    drend_get_attribute_ref(ctx, &reached);
    const auto* field = static_cast<const char* const*>(reached);
    field = field == nullptr ? FIELDS : field + 1;
    if (field == std::end(FIELDS)) {
        drend_set_attribute_ref(ctx, nullptr);
        return DREND_NO_EL;
    }
    drend_set_attribute_name(ctx, *field);
    return drend_set_attribute_ref(ctx, const_cast<const char**>(field));
}

int read_late(dr_meta_context_s* ctx, const void*) {
    return std::exchange(was_late, true) ? drend_set_uint8_value(ctx, 0) : DREND_DEFER;
}

void print_address(const void* data, unsigned int length, str_buf_s* out) {
    for (unsigned i = 0; i < length; ++i) {
        drend_append(out, "%s%02x", i == 0 ? "" : ":",
                     static_cast<const unsigned char*>(data)[i]);
    }
}

template <auto Set, auto Value>
int give(dr_meta_context_s* ctx, const void*) {
    return Set(ctx, Value);
}

void add_values() {
    drend_add_str_leaf(
        "/top/text",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_string_value(ctx, "a<b&c>\"'\\\x01\t\xff\u20ac\n]]>");
        },
        nullptr);
    drend_add_int32_leaf("/top/number", give<drend_set_int32_value, -7>, nullptr);
    drend_add_uint64_leaf("/top/big", give<drend_set_uint64_value, UINT64_MAX>, nullptr);
    drend_add_boolean_leaf("/top/truth", give<drend_set_boolean_value, 1>, nullptr);
    drend_add_decimal64_leaf(
        "/top/ratio",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_decimal64_value(ctx, -12.345);
        },
        nullptr);
}

void add_odd_leaves() {
    drend_register_generic_handler(1, print_address);
    drend_add_generic_leaf(
        "/top/address",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_generic(ctx, 1, HARDWARE_ADDRESS, sizeof HARDWARE_ADDRESS);
        },
        nullptr);
    const auto answer = [](const char* path, drend_proc_t proc) {
        drend_add_str_leaf(path, proc, nullptr);
    };
    answer("/top/skipped",
           [](dr_meta_context_s*, const void*) -> int { return DREND_SKIP_LEAF; });
    answer("/top/failing",
           [](dr_meta_context_s*, const void*) -> int { return DREND_ERR; });
    answer("/top/unset", [](dr_meta_context_s*, const void*) -> int { return DREND_OK; });
    answer("/top/late", read_late);
}

void add_rows() {
    for (const char* path : {"/top/row", "/top/row/words", "/top/row/in"}) {
        drend_add_list(path, step, nullptr);
    }
    for (const char* path : {"/top/row/name", "/top/row/words/value", "/top/row/in/name"}) {
        drend_add_str_leaf(path, read_name, nullptr);
    }
    for (const char* path : {"/top/row/text", "/top/row/in/text"}) {
        drend_add_str_leaf(path, read_text, nullptr);
    }
    drend_add_int32_leaf("/top/row/number", read_number, nullptr);
    drend_add_iterator_list("/top/cell",
                            [](void*) -> drend_iterator_c* { return new cells_c; });
    drend_add_str_leaf("/top/cell/name", read_cell, nullptr);
    drend_add_cont_cb("/top/row/fields", name_field, nullptr);
    for (const char* path : {"/top/row/fields/alpha", "/top/row/fields/beta"}) {
        drend_add_int32_leaf(path, read_number, nullptr);
    }
    for (const char* path : {"/top", "/top/row", "/top/row/in", "/top/row/fields"}) {
        drend_add_enter(
            path, [](dr_meta_context_s*, const void*) { return ++inside; }, nullptr);
        drend_add_exit(
            path, [](dr_meta_context_s*, const void*) { return --inside; }, nullptr);
    }
}

// The directory that definitions are loaded from, which goes with the process.
const std::filesystem::path& render_directory() {
    static const struct folder_s {
        std::filesystem::path top = std::filesystem::temp_directory_path() /
                                    ("drend_fuzz_" + std::to_string(getpid()));
        std::filesystem::path render = top / "usr/lib/render";
        folder_s() {
            std::filesystem::create_directories(render);
            drend_set_prefix(top.c_str());
        }
        ~folder_s() { std::filesystem::remove_all(top); }
        folder_s(const folder_s&) = delete;
        folder_s& operator=(const folder_s&) = delete;
    } folder;
    return folder.render;
}

} // namespace

void serve_fuzzed_data() {
    add_values();
    add_odd_leaves();
    add_rows();
    drend_set_send_method_w_return(deliver);
    drend_set_get_cookie_method(
        [](void* peer) { return static_cast<peer_s*>(peer)->cookie; });
    drend_set_set_cookie_method([](void* peer, void* cookie) {
        return static_cast<peer_s*>(peer)->cookie = cookie, 0;
    });
    drend_set_cleanup_setup_method([](void*, drend_cookie_cleanup_t) { return 0; });
    drend_set_reschedule_handler([](void*, void* walk) { suspended = walk; }, nullptr);
    drend_add_walk_handlers(
        nullptr, [](dr_meta_context_s*, void*) { return suspends ? 1 : 0; }, nullptr);
    drend_set_suspend_on_hidden_rows(1);
    drend_set_answer_methods(nullptr, [](void*, const drend_answer_end_s* end) {
        cursor = end->cursor == nullptr ? "" : end->cursor;
        return 0;
    });
}

bool define_fuzzed(const std::string& json) {
    std::ofstream(render_directory() / "fuzzed.json", std::ios::trunc | std::ios::binary)
        << json;
    return drend_dir_init() >= 0;
}

namespace {

// Continues a peer's walk until it ends, and takes what has been sent.
std::string finish(peer_s& peer) {
    constexpr int SLICES_MAX = 1000;
    for (int slices = 0; suspended != nullptr; ++slices) {
        require(slices < SLICES_MAX);
        const int status = drend_defer_continue(std::exchange(suspended, nullptr));
        require(status >= 0 || peer.manner.sends == 0);
    }
    require(peer.cookie == nullptr);
    return std::move(peer.text);
}

} // namespace

int elements_entered() {
    return inside;
}

std::string answer_of(unsigned subcode, const char* argument, const manner_s& manner) {
    peer_s peer{.text = "", .manner = manner};
    was_late = false;
    suspends = manner.suspends;
    cursor.clear();
    const int status = drend_dump_tags(&peer, subcode, argument);
    require(status == 0 || peer.manner.sends == 0 ||
            (peer.text.starts_with("error: ") && peer.cookie == nullptr));
    std::string text = finish(peer);
    suspends = false;
    require(inside == 0 && (!text.empty() || manner.sends >= 0));
    return text;
}

const std::string& last_cursor() {
    return cursor;
}

std::string answer_of(void* (*function)(void* peer, const char* path), const char* path) {
    peer_s peer;
    was_late = false;
    const void* const walk = function(&peer, path); // that is not over yet
    require(walk == suspended);
    return finish(peer);
}

bool is_xml_content(const std::string& content) {
    const std::string text = "<_>" + content + "</_>";
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "answer", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOWARNING | XML_PARSE_NOERROR |
                          XML_PARSE_HUGE),
        xmlFreeDoc);
    return document != nullptr;
}

bool is_json_document(const std::string& text) {
    const std::unique_ptr<json_t, void (*)(json_t*)> document(
        json_loadb(text.data(), text.size(), 0, nullptr), json_decref);
    return document != nullptr;
}
