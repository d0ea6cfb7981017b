// SPDX-License-Identifier: BSD-2-Clause

// What the tests of whole commands share: a recording peer, definitions and a model in few words.
//
// A test reads as a story: define(...) the command, register the model, render(...) it. Only the
// public header is used to render.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "drend.h"

// Everything that the library sent, and how the connection behaves.
struct recorded_output_s {
    std::string text;
    int sends = 0;
    int flushes = 0;
    int fail_at = -1; // the connection is lost at the send of this number
    int failed = 0;   // sends since then
};

class render_test : public testing::Test {
  protected:
    render_test();
    ~render_test() override;

    // Writes one more definitions file and loads all of them.
    void define(const std::string& json);
    // Writes file number `index` again, without loading.
    void redefine(size_t index, const std::string& json);

    // Renders a command and returns what was sent; goes on with suspended slices until none is
    // left, calling `between` before each.
    std::string render(const char* command, const char* argument = nullptr,
                       const std::function<void()>& between = nullptr);

    static recorded_output_s output;
    int slices = 0; // of the last rendering

  private:
    std::string directory_;
    size_t files_ = 0;
};

// A table: step_rows walks the vector that its data points to, step_rows_below the rows below the
// enclosing row.
struct row_s {
    std::string name;
    int32_t number = 0;
    std::vector<row_s> below{};
};
int step_rows(dr_meta_context_s* ctx, const void* data);
int step_rows_below(dr_meta_context_s* ctx, const void* data);
int read_name(dr_meta_context_s* ctx, const void* data);
int read_number(dr_meta_context_s* ctx, const void* data);

// A leaf procedure that gives the text at `data`.
int read_text(dr_meta_context_s* ctx, const void* data);
