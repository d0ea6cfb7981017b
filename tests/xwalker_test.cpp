// SPDX-License-Identifier: BSD-2-Clause

// What operators ask of the "drend" menu by path: "xwalker" and "dump".

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "model/drend_meta_tree.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_deferral.h"
#include "render_fixture.h"
#include "service/drend_fixed_commands.h"

namespace {

std::vector<row_s> rows;
std::vector<void*> waiting;
bool suspends = false;
int leaf_status = DREND_OK;
int list_calls = 0;
int inside = 0;

int step_or_seek(dr_meta_context_s* ctx, const void*) {
    ++list_calls;
    const auto* current = static_cast<const row_s*>(drend_get_element_ref(ctx));
    const row_s* next = current == nullptr ? rows.data() : current + 1;
    const row_s* const end = rows.data() + rows.size();
    if (const char* name = drend_get_filter_name(ctx, "name")) {
        next = rows.data();
        while (next != end && next->name != name) {
            ++next;
        }
        next = current == nullptr ? next : end;
    }
    drend_set_element_ref(ctx, next == end ? nullptr : next);
    return next == end ? DREND_NO_EL : DREND_OK;
}

class xwalker_test : public render_test {
  protected:
    xwalker_test() : peer_(mgmt_sock_open_local(stdout)) {
        rows = {{"a", 1, {{"x", 11}}}, {"b", 2, {{"y", 12}, {"z", 13}}}};
        waiting.clear();
        suspends = false;
        leaf_status = DREND_OK;
        inside = 0;
        drend_add_enter(
            "/t", [](dr_meta_context_s*, const void*) { return ++inside; }, nullptr);
        drend_add_exit(
            "/t", [](dr_meta_context_s*, const void*) { return --inside; }, nullptr);
        drend_add_list("/t/row", step_or_seek, nullptr);
        drend_add_str_leaf("/t/row/name", read_name, nullptr);
        drend_add_str_leaf(
            "/t/row/state",
            [](dr_meta_context_s* ctx, const void*) {
                return leaf_status == DREND_OK ? drend_set_string_value(ctx, "up")
                                               : leaf_status;
            },
            nullptr);
        add_rows("/t/row/below", nullptr);
        drend_add_boolean_leaf(
            "/t/on",
            [](dr_meta_context_s* ctx, const void*) {
                return drend_set_boolean_value(ctx, 1);
            },
            nullptr);
        drend_add_str_leaf("/t/on/why", read_text, "because");
        drend_add_walk_handlers(
            nullptr, [](dr_meta_context_s*, void*) { return suspends ? 1 : 0; }, nullptr);
        const std::string tree = R"(t=/t(row*{key: [`name`]}(
            name, state{data_type: `uint8`},
            p:far{namespace: `xmlns:q='urn:q' xmlns:p='urn:p'`}(),
            below*{namespace: `xmlns:q='urn:q' xmlns='urn:b'`}(number))))";
        define("[" + command_json("rows", tree, R"("dc_help": "Shows rows")") +
               R"(, {"dc_name": "tagless"}])");
        drend_init(nullptr, nullptr, 0, nullptr);
        drend_set_flush_method([](void*) { return ++output.flushes, 0; });
        drend_set_reschedule_handler([](void*, void* walk) { waiting.push_back(walk); },
                                     nullptr);
    }
    ~xwalker_test() override {
        drend_set_flush_method(nullptr);
        mgmt_sock_close(peer_);
        drend_set_rebuild_menu(nullptr, nullptr);
        EXPECT_EQ(dri_inuse_count(), 0u);
        EXPECT_EQ(inside, 0);
    }

    void start(const char* word, const std::string& argument) {
        dr_str_buf_c text(argument.c_str());
        dri_menu_call_fixed_command_function(peer_, word, text.buf());
    }
    // What a question is answered with, however often it is suspended.
    std::string answer(const char* word, const std::string& argument) {
        start(word, argument);
        while (!waiting.empty()) {
            for (void* walk : std::exchange(waiting, {})) {
                drend_defer_continue(walk);
            }
        }
        return std::exchange(output.text, "");
    }

    void* peer_;
};

const std::string ASK =
    "error: ask with a path, or a path and \"list\" and a number up to 10000\n";

} // namespace

TEST_F(xwalker_test, shows_what_is_at_a_path) {
    const struct {
        const char* question;
        std::string answer;
    } questions[] = {
        {"", "/rows                             Shows rows\n"},
        {" / ", "/rows                             Shows rows\n"},
        {"rows",
         "path  /rows\nkind  command\nkid   t                            container\n"},
        {"/rows/t",
         "path  /rows/t\nkind  container\nkid   row                          list\n"},
        {"/rows/t/row", "path  /rows/t/row\nkind  list\n"
                        "kid   name                         leaf, key\n"
                        "kid   state                        leaf\n"
                        "kid   p:far                        container, xmlns urn:p\n"
                        "kid   below                        list, xmlns urn:b\n"},
        {"rows/t/row[ (name = 'b') and (state = 'up') ]/below[2]/number",
         "path  /rows/t/row[name='b']/below[2]/number\nkind  leaf\ntype  string\nvalue "
         "13\n"},
        {"rows/t/row[2]/state",
         "path  /rows/t/row[name='b']/state\nkind  leaf\ntype  uint8\nvalue up\n"},
        {"rows/t/row list", "/rows/t/row[name='a']\n/rows/t/row[name='b']\n"},
        {"rows/t/row list 2", "/rows/t/row[name='a']\n/rows/t/row[name='b']\n"},
        {"rows/t/row  list  1 ", "/rows/t/row[name='a']\n...\n"},
        {"rows/t/row[name='b']/below list",
         "/rows/t/row[name='b']/below[1]\n/rows/t/row[name='b']/below[2]\n"},
        {"rows/t list", "error: /rows/t is no list\n"},
        {"rows list", "error: /rows is no list\n"},
        {"rows/t/row list 0", ASK},
        {"rows/t/row list 10001", ASK},
        {"rows/t/row list -1", ASK},
        {"rows/t/row list 1x", ASK},
        {"rows/t/row list 1 2", ASK},
        {"rows/t/row lists", ASK},
        {"rows/t/row row", ASK},
        {"row", "error: no 'row' below /; there are rows\n"},
        {"tagless", "error: no 'tagless' below /; there are rows\n"},
        {"rows/x", "error: no 'x' below /rows; there are t\n"},
        {"rows/t/row[name='c']/below", "error: no 'row[name='c']' below /rows/t; there are "
                                       "row[name='a'], row[name='b']\n"},
        {"rows/t/row/name", "error: which element of /rows/t/row?\n"},
        {"rows/t/row[name='a", "error: a quote is never closed\n"},
        {"rows/t/row[name='a'", "error: 'row[name='a'' is no component of a path\n"},
    };
    for (const auto& row : questions) {
        for (const bool is_suspended : {false, true}) {
            suspends = is_suspended;
            output.flushes = 0;
            EXPECT_EQ(answer("xwalker", row.question), row.answer) << row.question;
            EXPECT_GT(output.flushes, 0) << row.question;
        }
    }
    suspends = false;
    for (const int status : {DREND_ERR, DREND_SKIP_LEAF}) {
        leaf_status = status;
        EXPECT_THAT(answer("xwalker", "rows/t/row[1]/state"),
                    testing::EndsWith("\nno value\n"));
    }
    rows.clear();
    EXPECT_EQ(answer("xwalker", "rows/t/row list"), "no elements\n");
}

TEST_F(xwalker_test, a_leaf_that_cannot_say_yet_is_asked_again) {
    leaf_status = DREND_DEFER;
    start("xwalker", "rows/t/row[1]/state");
    ASSERT_EQ(waiting.size(), 1u);
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), waiting[0]);
    EXPECT_EQ(drend_defer_continue(waiting[0]), 1);
    EXPECT_EQ(output.text, "");
    leaf_status = DREND_OK;
    EXPECT_EQ(drend_defer_continue(waiting[0]), 0);
    EXPECT_THAT(output.text, testing::EndsWith("value up\n"));
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
    waiting.clear();

    leaf_status = DREND_DEFER;
    start("xwalker", "rows/t/row[1]/state");
    EXPECT_EQ(inside, 1);
    redefine(0, "[]");
    dri_reload_json();
    EXPECT_EQ(dri_get_set_count(), 2);
    drend_drop_walk(waiting[0]);
    EXPECT_EQ(inside, 0);
    EXPECT_EQ(dri_get_set_count(), 1);
}

TEST_F(xwalker_test, a_dump_is_kept_to_a_path) {
    const std::string end = "\n\n";
    const auto line = [](const std::string& path, const std::string& value) {
        return path + std::string(42 - path.size(), ' ') + ":  [" + value + "]\n";
    };
    const std::string a = line("/t/row/name", "a");
    const std::string b = line("/t/row/name", "b");
    const std::string up = line("/t/row/state", "up");
    const auto below = [&](const char* name, const char* number) {
        return line("/t/row/below/name", name) + line("/t/row/below/number", number);
    };
    const std::string all_b = b + up + below("y", "12") + below("z", "13");
    const std::string names = "; there are name, state, below\n";
    const struct {
        const char* path;
        std::string answer;
    } dumps[] = {
        {"", a + up + below("x", "11") + all_b + line("/t/on", "true") + end},
        {"/t/row", a + up + below("x", "11") + all_b + end},
        {"t/row/name/", a + b + end},
        {"/t/row[name=b]", all_b + end},
        {"/t/row[name='b']/below[name=\"z\"]/number",
         line("/t/row/below/number", "13") + end},
        {"/t/row/below[name=z]", below("z", "13") + end}, // in whatever row
        {"/t/on", line("/t/on", "true") + end},
        {"/t/on/why", line("/t/on/why", "because") + end},
        {"/u", "error: no 'u' below /; there are t\n"},
        {"/t/row[name=b]/u", "error: no 'u' below /t/row[name=b]" + names},
        {"/t/row[nam=b]", "error: no 'nam' below /t/row" + names},
        {"/t/row[below=b]", "error: no 'below' below /t/row" + names},
        {"/t[x=b]", "error: /t is no list\n"},
        {"/t/row[b]", "error: 'row[b]' is no component of a path\n"},
        {"/t/row[name=b]x", "error: 'row[name=b]x' is no component of a path\n"},
        {"/t/row[name=c]/name",
         "error: no 'row[name=c]' below /t; there are row[name=a], row[name=b]\n"},
        {"/t/row[name=a]/below[name=z]",
         "error: no 'below[name=z]' below /t/row[name=a]; there are below[name=x]\n"},
    };
    for (const auto& row : dumps) {
        for (const bool is_suspended : {false, true}) {
            suspends = is_suspended;
            EXPECT_EQ(answer("dump", row.path), row.answer) << row.path;
        }
    }
    list_calls = 0;
    answer("dump", "/t/row[name=b]/name");
    EXPECT_EQ(list_calls, 2); // it sought: the row, and the end
    rows.clear();
    EXPECT_EQ(answer("dump", "/t/row[name=b]"),
              "error: no 'row[name=b]' below /t; there is nothing\n");
    EXPECT_EQ(answer("dump", "/t/row"), end);
}
