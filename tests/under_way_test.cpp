// SPDX-License-Identifier: BSD-2-Clause

// What is switched on while a row is being printed: from there on the walk has to take other ways,
// and prints the same bytes.

#include <cstdarg>
#include <cstdio>

#include "render_fixture.h"

namespace {

int noticed; // how often what was switched on was heard from

int format_noticed(char* buffer, unsigned size, const char* format, va_list args) {
    ++noticed;
    return vsnprintf(buffer, size, format, args);
}

// What an accessor of a daemon may do under way.
struct switch_s {
    const char* name = nullptr;
    void (*on)() = nullptr;
    void (*off)() = nullptr;
    int heard = 1; // from it, at least; a formatter gets each text that is left by itself
};

constexpr switch_s SWITCHES[] = {
    {"trace",
     [] {
         drend_set_debugtrace_cb([](const char*, va_list) { return ++noticed; });
         drend_set_trace_flag(DREND_TRACE_WALK);
     },
     [] {
         drend_set_trace_flag(0);
         drend_set_debugtrace_cb(nullptr);
     }},
    {"start handler",
     [] {
         drend_add_cmd_handlers([](const char*, void*) { ++noticed; }, nullptr, nullptr);
     },
     [] { drend_add_cmd_handlers(nullptr, nullptr, nullptr); }},
    {"formatter", [] { drend_set_vsnprintf(format_noticed); },
     [] { drend_set_vsnprintf(nullptr); }, 10},
    {"new path",
     [] {
         noticed += drend_add_str_leaf(("/late" + std::to_string(noticed)).c_str(),
                                       read_text, "") == 0;
     },
     [] {}},
};

const switch_s* chosen; // what the accessor switches on, or null

// The leaf in the middle of a row, which is asked in each row and switches on in the second.
int read_switch(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    if (row->number == 2 && chosen != nullptr) {
        chosen->on();
    }
    return drend_set_string_value(ctx, row->number == 2 ? "" : "<off>");
}

class under_way_test : public render_test {
  protected:
    under_way_test() {
        chosen = nullptr;
        drend_add_list("/row", step_rows, &rows_);
        for (const std::string below : {"", "/in", "/in/deep"}) {
            drend_add_str_leaf(("/row" + below + "/name").c_str(), read_name, nullptr);
            drend_add_str_leaf(("/row" + below + "/switch").c_str(), read_switch, nullptr);
            drend_add_int32_leaf(("/row" + below + "/number").c_str(), read_number,
                                 nullptr);
        }
    }

    // A command whose rows have the switch `level` containers deep, among leaves of all kinds.
    void define_at(unsigned level) {
        std::string kids;
        for (const unsigned at : {2U, 1U, 0U}) {
            std::string own = at == level ? "name, switch, " : "name, ";
            own += "number{map: [[`2`, `two`], [`*`, `*`]]}, name";
            const std::string name = at == 1 ? "deep" : "in";
            own += kids.empty() ? "" : ", " + name + "=" + name + "(" + kids + ")";
            kids = own + ", number";
        }
        define_tree("c" + std::to_string(level), "t=/(row*{key: [`name`]}(" + kids + "))");
    }

    // What is printed with that switch, and whether it was noticed.
    std::string render_with(const switch_s* change, unsigned level, const char* argument) {
        chosen = change;
        noticed = 0;
        std::string text = render(("c" + std::to_string(level)).c_str(), argument);
        if (change != nullptr) {
            change->off();
            EXPECT_GE(noticed, change->heard);
        }
        return text;
    }

  private:
    std::vector<row_s> rows_{{"a&b", 1}, {"c", 2}, {"a name of many letters", 3}, {"", 4}};
};

} // namespace

TEST_F(under_way_test, what_is_switched_on_in_a_row_changes_no_byte) {
    for (unsigned level = 0; level < 3; ++level) {
        define_at(level);
    }
    for (const unsigned collected : {0U, 100U, 16384U}) {
        drend_set_send_buffer(collected);
        for (unsigned level = 0; level < 3; ++level) {
            for (const char* argument : {"", "as-json", "style=s", "as-json style=s"}) {
                const std::string whole = render_with(nullptr, level, argument);
                EXPECT_GT(whole.size(), 1000u);
                for (const switch_s& change : SWITCHES) {
                    SCOPED_TRACE(std::string(change.name) + " " + argument);
                    EXPECT_EQ(render_with(&change, level, argument), whole);
                }
            }
        }
    }
    drend_set_send_buffer(0);
}

// What led nowhere is remembered only until a path is registered.
TEST_F(under_way_test, a_leaf_is_shown_from_the_row_on_in_which_it_is_registered) {
    static constexpr switch_s LATE = {
        "late leaf", [] { drend_add_str_leaf("/row/late", read_name, nullptr); }, [] {}};
    define_tree("late", "t=/(row*(switch, late))");
    chosen = &LATE;
    EXPECT_EQ(render("late", ""), "<t>\n"
                                  "  <row>\n    <switch>&lt;off&gt;</switch>\n  </row>\n"
                                  "  <row>\n    <switch></switch>\n"
                                  "    <late>c</late>\n  </row>\n"
                                  "  <row>\n    <switch>&lt;off&gt;</switch>\n"
                                  "    <late>a name of many letters</late>\n  </row>\n"
                                  "  <row>\n    <switch>&lt;off&gt;</switch>\n"
                                  "    <late></late>\n  </row>\n"
                                  "</t>\n");
}
