// SPDX-License-Identifier: BSD-2-Clause

// What the tests of whole commands share: a recording peer, definitions and a model in few words.
//
// A test reads as a story: define(...) the command, register the model, render(...) it. Only the
// public header is used to render.
//
// Tags are written in few words: "name=source" is a leaf, "name=source(kid, kid)" a container,
// "name*=source(kid)" a list, with "**" a leaf-list, whose value is called "#", with "?" a choice,
// with "!" a case. Without a "=" the source of what has a value or rows is its name, and that of
// others none. Further members stand in braces behind that, without their "dts_" and with ` for ":
// "up=state{map: [[`1`, `yes`]]}".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "drend.h"

// Tags in few words as the JSON that a definition has for them.
std::string tags_json(const std::string& words);
// An entry of a definition file, with further members in JSON.
std::string command_json(const std::string& name, const std::string& tree,
                         const std::string& members = "");

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
    // The same with one command, its tag in few words.
    void define_tree(const std::string& command, const std::string& tree) {
        define("[" + command_json(command, tree) + "]");
    }
    // Writes file number `index` again, without loading.
    void redefine(size_t index, const std::string& json);

    void redefine_tree(const std::string& command, const std::string& tree) {
        redefine(0, "[" + command_json(command, tree) + "]");
    }

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

// Registers a list of such rows, of those below a row without any, with its two leaves.
void add_rows(const std::string& path, const std::vector<row_s>* rows,
              const std::string& name = "name", const std::string& number = "number");

// A leaf procedure that gives the text at `data`.
int read_text(dr_meta_context_s* ctx, const void* data);

// Counts from 0 on for as many rows as there are to be.
class counting_iterator_c : public drend_iterator_c {
  public:
    counting_iterator_c() { ++alive; }
    ~counting_iterator_c() override { --alive; }
    void first(dr_meta_context_s*) override { at_ = 0; }
    void next(dr_meta_context_s*) override { ++at_; }
    bool at_end(dr_meta_context_s*) override { return at_ >= rows; }

    static inline int alive = 0;
    static inline int rows = 3;
    static drend_iterator_c* make(void*) { return new counting_iterator_c; }
    // A leaf procedure that gives the number.
    static int read(dr_meta_context_s* ctx, const void*) {
        auto* base = static_cast<drend_iterator_c*>(drend_get_iterator_c(ctx, 0));
        return drend_set_int32_value(ctx, static_cast<counting_iterator_c*>(base)->at_);
    }

  private:
    int at_ = -1;
};
