// SPDX-License-Identifier: BSD-2-Clause

#include "render_fixture.h"

#include <cstdarg>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "definitions/drend_load.h"
#include "model/drend_meta_tree.h"

recorded_output_s render_test::output;

namespace {

recorded_output_s* recording = nullptr;

int record(void* /*peer*/, const char* format, ...) {
    EXPECT_STREQ(format, "%s");
    va_list args;
    va_start(args, format);
    const char* text = va_arg(args, const char*);
    va_end(args);
    if (recording->fail_at >= 0 && recording->sends >= recording->fail_at) {
        ++recording->failed;
        return DREND_PEER_LOST;
    }
    ++recording->sends;
    recording->text += text;
    return 0;
}

int count_flush(void* /*peer*/) {
    ++recording->flushes;
    return 0;
}

int step(dr_meta_context_s* ctx, const std::vector<row_s>& rows) {
    const auto* current = static_cast<const row_s*>(drend_get_element_ref(ctx));
    const row_s* next = current == nullptr ? rows.data() : current + 1;
    const bool at_end = next == rows.data() + rows.size();
    drend_set_element_ref(ctx, at_end ? nullptr : next);
    return at_end ? DREND_NO_EL : DREND_OK;
}

} // namespace

render_test::render_test()
    : directory_(testing::TempDir() + "drend_" + std::to_string(getpid())) {
    std::filesystem::create_directories(directory_ + "/usr/lib/render");
    drend_set_prefix(directory_.c_str());
    output = {};
    recording = &output;
    drend_set_send_method_w_return(record);
    drend_set_flush_method(count_flush);
}

render_test::~render_test() {
    drend_set_send_method_w_return(nullptr);
    drend_set_flush_method(nullptr);
    drend_add_walk_handlers(nullptr, nullptr, nullptr);
    drend_set_reschedule_handler(nullptr, nullptr);
    dri_release_daemon_context();
    dmn_reset_root();
    std::filesystem::remove_all(directory_);
}

void render_test::redefine(size_t index, const std::string& json) {
    std::ofstream(directory_ + "/usr/lib/render/" + std::to_string(index) + ".json")
        << json;
}

void render_test::define(const std::string& json) {
    redefine(files_++, json);
    drend_dir_init();
}

std::string render_test::render(const char* command, const char* argument,
                                const std::function<void()>& between) {
    output.text.clear();
    output.sends = output.flushes = 0;
    slices = 1;
    if (drend_dump_rpc(nullptr, command, argument) == DREND_DEFER) {
        void* walk = drend_take_suspended_rpc();
        do {
            ++slices;
            if (between) {
                between();
            }
        } while (drend_defer_continue(walk) == 1);
    }
    return output.text;
}

int step_rows(dr_meta_context_s* ctx, const void* data) {
    return step(ctx, *static_cast<const std::vector<row_s>*>(data));
}

int step_rows_below(dr_meta_context_s* ctx, const void* /*data*/) {
    return step(ctx,
                static_cast<const row_s*>(drend_get_element_ref_offset(ctx, 1))->below);
}

int read_name(dr_meta_context_s* ctx, const void* /*data*/) {
    return drend_set_string_value(
        ctx, static_cast<const row_s*>(drend_get_element_ref(ctx))->name.c_str());
}

int read_number(dr_meta_context_s* ctx, const void* /*data*/) {
    return drend_set_int32_value(
        ctx, static_cast<const row_s*>(drend_get_element_ref(ctx))->number);
}

int read_text(dr_meta_context_s* ctx, const void* data) {
    return drend_set_string_value(ctx, static_cast<const char*>(data));
}
