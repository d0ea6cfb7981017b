// SPDX-License-Identifier: BSD-2-Clause

// Paths of any bytes, of the access API and of the external walker and dump.
//
// The input is lines. Each is pushed as a path from where the ones before have led, read as a
// leaf, and asked of "xwalker" and "dump". Asserted: what is entered is left; a path that fails
// says why in one line, and leaves the context where it was; the path of where a path has led
// leads there again; an answer to a path is whole lines.
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

#include "drend.h"
#include "fuzz_target.h"
#include "service/drend_dump.h"
#include "service/drend_xwalker.h"

namespace {

struct row_s {
    const char* name;
    const char* text;
};
constexpr row_s ROWS[] = {{"a", "it's"}, {"b/c", "]"}, {"d\\", "x"}, {"", "[1]"}};

int inside = 0;
std::string sent;

int step(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    row = row == nullptr ? ROWS : row + 1;
    drend_set_element_ref(ctx, row == std::end(ROWS) ? nullptr : row);
    return row == std::end(ROWS) ? DREND_NO_EL : DREND_OK;
}

template <const char* row_s::*Field>
int read(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    return row == nullptr ? DREND_ERR : drend_set_string_value(ctx, row->*Field);
}

int record_text(void* /*peer*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    sent += va_arg(args, const char*);
    va_end(args);
    return 0;
}

constexpr char DEFINITION[] = R"([{"dc_name": "show", "dc_tag": {
    "dts_name": "top", "dts_source": "/top", "dts_kids": [
    {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_key": ["name"],
     "dts_kids": [
      {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
      {"dts_name": "choice", "dts_type": "choice", "dts_kids": [
        {"dts_name": "text", "dts_type": "leaf", "dts_source": "text"}]},
      {"dts_name": "in", "dts_type": "list", "dts_source": "in", "dts_kids": [
        {"dts_name": "text", "dts_type": "leaf", "dts_source": "text"}]},
      {"dts_name": "all", "dts_type": "leaf-list", "dts_source": "in", "dts_kids": [
        {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf",
         "dts_source": "name"}]}]}]}}])";

void add_paths() {
    const auto enter = [](dr_meta_context_s*, const void*) { return ++inside; };
    const auto exit = [](dr_meta_context_s*, const void*) { return --inside; };
    for (const char* path : {"/top", "/top/row", "/top/row/in"}) {
        drend_add_enter(path, enter, nullptr);
        drend_add_exit(path, exit, nullptr);
    }
    for (const std::string list : {"/top/row", "/top/row/in"}) {
        drend_add_list(list.c_str(), step, nullptr);
        drend_add_str_leaf((list + "/name").c_str(), read<&row_s::name>, nullptr);
        drend_add_str_leaf((list + "/text").c_str(), read<&row_s::text>, nullptr);
    }
}

bool start() {
    const auto directory = std::filesystem::temp_directory_path() /
                           ("fuzz_access_" + std::to_string(getpid()));
    std::filesystem::create_directories(directory / "usr/lib/render");
    std::ofstream(directory / "usr/lib/render/show.json") << DEFINITION;
    add_paths();
    drend_set_prefix(directory.c_str());
    require(drend_dir_init() == 1);
    std::filesystem::remove_all(directory);
    drend_set_send_method_w_return(record_text);
    return true;
}

std::string path_of(drx_context_s* context) {
    const char* path = nullptr;
    require(drx_get_path(context, &path) == DREND_OK);
    return path;
}

void push(drx_context_s* context, const std::string& line) {
    const std::string before = path_of(context);
    const int entered = inside;
    if (drx_push_path(context, line.c_str()) != DREND_OK) {
        const std::string error = drx_get_error();
        require(!error.empty() && error.find('\n') == std::string::npos);
        require(path_of(context) == before && inside == entered);
        return;
    }
    const std::string here = path_of(context);
    drx_context_s* other = nullptr;
    require(drx_copy_context(context, &other) == DREND_OK && path_of(other) == here);
    require(drx_push_path(other, here.c_str()) == DREND_OK && path_of(other) == here);
    drx_destroy_context(other);
}

void ask(void* (*function)(void* peer, const char* path), const std::string& line) {
    sent.clear();
    require(function(nullptr, line.c_str()) == nullptr);
    require(sent.empty() || sent.ends_with('\n'));
    require(!sent.starts_with("error: ") || sent.find('\n') == sent.size() - 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    [[maybe_unused]] static const bool started = start();
    constexpr size_t INPUT_MAX = 2048;
    std::istringstream lines(text_of(data, size, INPUT_MAX));
    drx_context_s* context = nullptr;
    require(drx_create_context("show", &context) == DREND_OK);
    for (std::string line; std::getline(lines, line);) {
        line.resize(strlen(line.c_str()));
        drx_value_s value;
        const std::string before = path_of(context);
        drx_get_leaf_value(context, line.c_str(), &value);
        require(path_of(context) == before);
        push(context, line);
        drx_get_next_element(context);
        ask(dri_xwalker, line);
        ask(dri_dump, line);
    }
    drx_destroy_context(context);
    require(inside == 0);
    dri_reset_xpath_cache();
    return 0;
}
