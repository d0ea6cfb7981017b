// SPDX-License-Identifier: BSD-2-Clause

#include "render_fixture.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

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

// --- tags in few words ---

std::string read_word(const char*& at, const char* ends) {
    const size_t length = strcspn(at, ends);
    at += length;
    return {at - length, length};
}

// What stands between braces, behind a comma.
std::string read_members(const char*& at) {
    if (*at != '{') {
        return "";
    }
    const char* const begin = ++at;
    for (int open = 1; open > 0; ++at) {
        open += (*at == '{') - (*at == '}');
    }
    static const std::regex name(R"((^|,)(\s*)([a-z0-9_]+):)");
    return ", " + std::regex_replace(std::string(begin, at - 1), name, "$1$2`dts_$3`:");
}

std::string read_tags(const char*& at);

std::string read_tag(const char*& at) {
    static const std::map<std::string, std::string> types = {{"", "container"},
                                                             {"*", "list"},
                                                             {"**", "leaf-list"},
                                                             {"?", "choice"},
                                                             {"!", "case"}};
    const std::string name = read_word(at, "*?!={(,)");
    const std::string mark = read_word(at, "={(,)");
    const bool has_source = *at == '=';
    std::string source = has_source ? read_word(++at, "{(,)") : name;
    const std::string members = read_members(at);
    const bool is_leaf = *at != '(';
    if (!has_source && !is_leaf && !mark.starts_with('*')) {
        source.clear();
    }
    std::string json = "{`dts_name`: `" + (name == "#" ? "__zor_leaf_list_value__" : name) +
                       "`, `dts_source`: `" + source + "`" + members;
    if (!members.starts_with(", `dts_type`")) {
        json += ", `dts_type`: `" + (is_leaf ? "leaf" : types.at(mark)) + "`";
    }
    if (!is_leaf) {
        json += ", `dts_kids`: [" + read_tags(++at) + "]";
        ++at;
    }
    return json + "}";
}

std::string read_tags(const char*& at) {
    std::string json;
    for (;;) {
        at += strspn(at, ", \n");
        if (*at == '\0' || *at == ')') {
            return json;
        }
        json += (json.empty() ? "" : ", ") + read_tag(at);
    }
}

} // namespace

std::string tags_json(const std::string& words) {
    const char* at = words.c_str();
    std::string json = read_tags(at);
    EXPECT_STREQ(at, "") << "what is left of " << words;
    std::replace(json.begin(), json.end(), '`', '"');
    return json;
}

std::string command_json(const std::string& name, const std::string& tree,
                         const std::string& members) {
    return R"({"dc_name": ")" + name + "\", " + members + (members.empty() ? "" : ", ") +
           R"("dc_tag": )" + tags_json(tree) + "}";
}

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

void add_rows(const std::string& path, const std::vector<row_s>* rows,
              const std::string& name, const std::string& number) {
    drend_add_list(path.c_str(), rows == nullptr ? step_rows_below : step_rows, rows);
    drend_add_str_leaf((path + "/" + name).c_str(), read_name, nullptr);
    drend_add_int32_leaf((path + "/" + number).c_str(), read_number, nullptr);
}

int read_text(dr_meta_context_s* ctx, const void* data) {
    return drend_set_string_value(ctx, static_cast<const char*>(data));
}
