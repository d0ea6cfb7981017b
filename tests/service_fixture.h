// SPDX-License-Identifier: BSD-2-Clause

// A daemon with a menu that was started, and one peer that asks by its entries.
#pragma once

#include <vector>

#include <gtest/gtest.h>

#include "definitions/drend_lookup.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_deferral.h"
#include "render_fixture.h"

inline const std::vector<row_s> ROWS = {{"a", 1, {{"x", 11}}}, {"b", 2, {{"y", 12}}}};

// Walks handed over for continuing; run_idle continues them as an idle loop would.
inline std::vector<void*> waiting;

// The walk is suspended after every row, or after the row of that number (counted by `rows_seen`).
inline bool suspend_rows = false;
inline int suspend_at = -1;
inline int rows_seen = 0;
inline int event_context; // what drend_init is given for one

class service_test : public render_test {
  protected:
    service_test() : peer_(mgmt_sock_open_local(stdout)) {
        waiting.clear();
        suspend_rows = false;
        suspend_at = -1;
        drend_add_list("/t/row", step_rows, &ROWS);
        drend_add_str_leaf("/t/row/name", read_name, nullptr);
        drend_add_list("/t/row/below", step_rows_below, nullptr);
        drend_add_int32_leaf("/t/row/below/number", read_number, nullptr);
        drend_add_walk_handlers(
            nullptr,
            [](dr_meta_context_s*, void*) {
                return suspend_rows || rows_seen++ == suspend_at ? 1 : 0;
            },
            nullptr);
        define("[" +
               command_json("rows", "t=/t(row*(name))",
                            R"("dc_help": "Shows rows", "dc_app_name": "rowd",
            "dc_message_id": 7)") +
               R"(, {"dc_name": "tagless", "dc_help": "Has no tree"}])");
    }
    ~service_test() override {
        if (peer_ != nullptr) {
            close_peer();
        }
        drend_add_cmd_handlers(nullptr, nullptr, nullptr);
        drend_set_rebuild_menu(nullptr, nullptr);
        EXPECT_EQ(dri_inuse_count(), 0u);
    }

    // Starts the library as a daemon does.
    void start(const drend_menu_entry_s* menu, int count) {
        // A menu lives as long as the process.
        static auto& served = *new std::vector<drend_menu_entry_s*>;
        menu_ = drend_init(&event_context, menu, count, nullptr);
        served.push_back(menu_);
        EXPECT_EQ(drend_set_flush_method([](void*) { return ++output.flushes, 0; }),
                  ms_peer_flush);
        drend_set_reschedule_handler([](void*, void* walk) { waiting.push_back(walk); },
                                     nullptr);
    }
    static void run_idle() {
        while (!waiting.empty()) {
            std::vector<void*> due;
            due.swap(waiting);
            for (void* walk : due) {
                drend_defer_continue(walk);
            }
        }
    }
    // Runs the entry of the "drend" sub-menu of that word.
    int request(const char* word, const char* argument = nullptr) {
        for (const drend_menu_entry_s* entry = submenu(); entry->command != nullptr;
             ++entry) {
            if (strcmp(entry->command, word) == 0) {
                ms_parse_context_s context{entry->subcode};
                return entry->handler(peer_, &context, argument);
            }
        }
        ADD_FAILURE() << "no entry " << word;
        return -1;
    }
    const drend_menu_entry_s* submenu() const {
        const drend_menu_entry_s* entry = menu_;
        while (strcmp(entry->command, "drend") != 0) {
            ++entry;
        }
        return entry->submenu;
    }
    std::vector<std::string> words() const {
        std::vector<std::string> found;
        for (const drend_menu_entry_s* entry = submenu(); entry->command != nullptr;
             ++entry) {
            found.push_back(entry->command);
        }
        return found;
    }
    void close_peer() {
        drend_set_flush_method(nullptr);
        mgmt_sock_close(peer_);
        peer_ = nullptr;
    }
    std::string take_text() {
        std::string text;
        text.swap(output.text);
        return text;
    }

    void* peer_;
    drend_menu_entry_s* menu_ = nullptr;
};

inline constexpr char ROWS_XML[] = "<t>\n  <row>\n    <name>a</name>\n  </row>\n  <row>\n"
                                   "    <name>b</name>\n  </row>\n</t>\n";
