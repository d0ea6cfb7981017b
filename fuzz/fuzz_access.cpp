// SPDX-License-Identifier: BSD-2-Clause

// Paths of any bytes, of the access API and of the external walker and dump.
//
// The data is that of fuzzed_daemon.h. The input is lines. Each is pushed as a path from where the
// ones before have led, read as a leaf, and asked of "xwalker" and "dump". Asserted: what is
// entered is left; a path that fails says why in one line, and leaves the context where it was; the
// path of where a path has led leads there again; an answer to a path is whole lines.
#include <cstring>
#include <sstream>
#include <string>

#include "drend.h"
#include "fuzzed_daemon.h"
#include "service/drend_dump.h"
#include "service/drend_xwalker.h"

namespace {

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

bool start() {
    serve_fuzzed_data();
    return define_fuzzed(DEFINITION);
}

std::string path_of(drx_context_s* context) {
    const char* path = nullptr;
    require(drx_get_path(context, &path) == DREND_OK);
    return path;
}

void push(drx_context_s* context, const std::string& line) {
    const std::string before = path_of(context);
    const int entered = elements_entered();
    if (drx_push_path(context, line.c_str()) != DREND_OK) {
        const std::string error = drx_get_error();
        require(!error.empty() && error.find('\n') == std::string::npos);
        require(path_of(context) == before && elements_entered() == entered);
        return;
    }
    const std::string here = path_of(context);
    drx_context_s* other = nullptr;
    require(drx_copy_context(context, &other) == DREND_OK && path_of(other) == here);
    require(drx_push_path(other, here.c_str()) == DREND_OK && path_of(other) == here);
    drx_destroy_context(other);
}

void ask(void* (*function)(void* peer, const char* path), const std::string& line) {
    const std::string answer = answer_of(function, line.c_str());
    require(answer.empty() || answer.ends_with('\n'));
    require(!answer.starts_with("error: ") || answer.find('\n') == answer.size() - 1);
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
    require(elements_entered() == 0);
    dri_reset_xpath_cache();
    return 0;
}
