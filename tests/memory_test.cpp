// SPDX-License-Identifier: BSD-2-Clause

// Memory that runs out at the daemon's edge: no exception passes it, and no answer is silently
// wrong because an accessor did not look at a result.
#include <cstdlib>
#include <thread>
#include <utility>

#include "definitions/drend_load.h"
#include "failing_memory.h"
#include "frame/drend_hooks.h"
#include "render_fixture.h"
#include "repeated.h"
#include "service/drend_menu.h"

namespace {

constexpr int GENERIC_KIND = 1;
const std::string LONG_TEXT = repeated(300, "x"); // longer than any buffer's own area
void* const SOME_POINTER = &failing_allocation;

// Calls `function` once for each allocation in it, which fails. Returns how many there were.
template <typename Function>
long with_each_failure(Function function) {
    for (long failures = 0;; ++failures) {
        failing_allocation = failures + 1;
        function();
        const bool has_failed = failing_allocation <= 0;
        failing_allocation = 0;
        if (!has_failed) {
            return failures;
        }
    }
}

// Makes one call to the library, with the allocation of that number failing if there is one.
struct failing_call_s {
    int (*call)(dr_meta_context_s* ctx);
    long number;
    bool has_failed;
};

int run_call(dr_meta_context_s* ctx, const void* data) {
    auto* failing = static_cast<failing_call_s*>(const_cast<void*>(data));
    failing_allocation = failing->number;
    failing->call(ctx);
    failing->has_failed |= failing_allocation <= 0;
    failing_allocation = 0;
    return DREND_OK; // whatever came of it
}

int write_long_text(dr_meta_context_s* ctx) {
    return drend_add_str_cached(ctx, "name", "%s", LONG_TEXT.c_str());
}

void ignore_error(int, int, const char*, ...) {}

class memory_test : public render_test {
  protected:
    void SetUp() override {
        SKIP_UNLESS_ALLOCATIONS_FAIL();
        output.text.reserve(1 << 20); // the recording is not what is tested
        drend_register_generic_handler(GENERIC_KIND,
                                       [](const void*, unsigned, str_buf_s* out) {
                                           drend_append(out, "%s", LONG_TEXT.c_str());
                                           drend_append(out, "!");
                                       });
    }

    // What the command "c" answers when each allocation of `failing` fails, and when none does.
    void expect_an_error(const char* what, failing_call_s& failing) {
        long failures = 0;
        do {
            failing.number = ++failures;
            failing.has_failed = false;
            const std::string answer = render("c");
            const bool says_so = answer.ends_with("error: out of memory\n");
            EXPECT_EQ(says_so, failing.has_failed) << what << ": " << answer;
        } while (failing.has_failed && !HasFailure());
        EXPECT_GT(failures, 1) << what;
    }
};

TEST_F(memory_test, a_value_that_is_lost_ends_the_answer) {
    const struct {
        const char* what;
        int (*call)(dr_meta_context_s* ctx);
    } calls[] = {
        {"uint64", [](dr_meta_context_s* ctx) { return drend_set_uint64_value(ctx, 7); }},
        {"string",
         [](dr_meta_context_s* ctx) {
             return drend_set_string_value(ctx, LONG_TEXT.c_str());
         }},
        {"str",
         [](dr_meta_context_s* ctx) {
             return drend_set_str_value(ctx, "%s!", LONG_TEXT.c_str());
         }},
        {"generic",
         [](dr_meta_context_s* ctx) {
             return drend_set_generic(ctx, GENERIC_KIND, nullptr, 0);
         }},
        {"cached text", write_long_text},
        {"cookie",
         [](dr_meta_context_s* ctx) {
             return drend_set_cookie(ctx, LONG_TEXT.c_str(), ctx);
         }},
        {"attribute name",
         [](dr_meta_context_s* ctx) {
             return drend_set_attribute_name(ctx, LONG_TEXT.c_str());
         }},
        {"reference above",
         [](dr_meta_context_s* ctx) { return drend_set_element_ref_offset(ctx, 1, ctx); }},
    };
    failing_call_s failing{};
    drend_add_str_leaf("/top/leaf", run_call, &failing);
    define_tree("c", "top=/top(leaf)");
    for (const auto& row : calls) {
        failing.call = row.call;
        expect_an_error(row.what, failing);
    }
}

TEST_F(memory_test, every_form_of_answer_is_whole_or_says_so) {
    static const std::vector<row_s> rows = {
        {LONG_TEXT, 1, {{"x", 11}, {"y", 12}}}, {"b", 2, {{"x", 0}}}, {"c", 3}};
    add_rows("/t/row", &rows);
    drend_add_list("/t/row/item", step_rows_below, nullptr);
    drend_add_str_leaf("/t/row/item/id", read_name, nullptr);
    define_tree(
        "c", "t=/t{namespace: `xmlns='urn:t'`, module: `t`}(row*{key: [`name`]}(name, "
             "number{map: [[`1`, `='<'+val('../name')+'>'`], [`*`, `*`]]}, item**(#=id)))");
    static const std::string forms[] = {
        "", "as-json", "as-table", "as-ietf-xml", "as-ietf-json", "as-json-lines", "count"};
    static const std::string wishes[] = {
        "", "filter=\"/t/row[match(name, '^x') or contains(name, 'b')]\"",
        "filter='<t><row><number>2</number><item>x</item></row><row><name/></row></t>'",
        "limit=1", "depth=2 limit=2 cursor=/t/row=b"};
    for (const std::string& form : forms) {
        for (const std::string& wish : wishes) {
            const std::string argument = form + " " + wish;
            const std::string whole = render("c", argument.c_str());
            const long failures = with_each_failure([&] {
                dri_reset_xpath_cache(); // each time as the first time
                output.text.clear();
                drend_dump_rpc(nullptr, "c", argument.c_str());
                const long left = std::exchange(failing_allocation, 0);
                EXPECT_TRUE(output.text == whole ||
                            output.text.ends_with("error: out of memory\n"))
                    << argument << ": " << output.text;
                failing_allocation = left;
            });
            EXPECT_GT(failures, 5) << argument;
            EXPECT_EQ(dri_inuse_count(), 0U) << argument;
            EXPECT_EQ(render("c", argument.c_str()), whole);
        }
    }
}

// What the C library notes of a thread when something of it is kept, it notes while the daemon
// starts: for want of memory it ends the process.
TEST_F(memory_test, the_first_answer_of_a_thread_needs_no_more) {
    drend_add_str_leaf("/top/leaf", read_text, "x");
    define_tree("c", "top=/top(leaf)");
    long number = 0;
    bool has_failed = false;
    const auto answer_first = [&] {
        EXPECT_GE(drend_dir_init(), 0);
        failing_allocation = number;
        drend_dump_rpc(nullptr, "c", nullptr);
        has_failed = failing_allocation <= 0;
        failing_allocation = 0;
    };
    do {
        ++number;
        std::thread(answer_first).join();
    } while (has_failed);
    EXPECT_GT(number, 1);
}

TEST_F(memory_test, a_thread_that_ends_leaves_nothing) {
    SKIP_UNLESS_HELD_BYTES_COUNT();
    drend_add_str_leaf("/top/leaf", read_text, "x");
    define_tree("c", "top=/top(leaf)");
    const auto answer = [] {
        std::thread([] { drend_dump_rpc(nullptr, "c", nullptr); }).join();
        output.text = {};
    };
    answer();
    const long before = held_bytes;
    answer();
    EXPECT_EQ(held_bytes, before);
}

TEST_F(memory_test, a_finished_text_needs_none) {
    EXPECT_EQ(with_each_failure([] {
                  EXPECT_EQ(drend_send(nullptr, "a line that is not short\n"), 0);
                  EXPECT_EQ(drend_send(nullptr, "%s", LONG_TEXT.c_str()), 0);
              }),
              0);
    EXPECT_EQ(output.text, "a line that is not short\n" + LONG_TEXT);
}

TEST_F(memory_test, so_does_what_any_other_procedure_loses) {
    const auto define_top = [&](const std::string& top) {
        redefine(0, "[" + command_json("c", top + "(leaf=/x/leaf)") + "]");
        drend_dir_init();
    };
    failing_call_s failing{write_long_text, 0, false};
    const auto list = [](dr_meta_context_s* ctx, const void* data) {
        const bool is_first = drend_get_element_ref(ctx) == nullptr;
        run_call(ctx, data);
        drend_set_element_ref(ctx, is_first ? data : nullptr);
        return static_cast<int>(DREND_OK);
    };
    const auto iterate = [](dr_meta_context_s* ctx) {
        return drend_iterator_c_it_cb(
            ctx, reinterpret_cast<const void*>(
                     drend_iterator_factory_t(counting_iterator_c::make)));
    };
    drend_add_str_leaf("/x/leaf", read_text, "text"); // in a context of its own
    drend_add_str_leaf("/list/leaf", read_text, "text");
    drend_add_enter("/enter", run_call, &failing);
    drend_add_list("/list", list, &failing);
    drend_add_cont_cb("/cont", run_call, &failing);
    drend_add_list("/iterators", run_call, &failing);

    define_top("top=/enter");
    expect_an_error("enter", failing);
    define_top("top=/cont");
    expect_an_error("container", failing);
    define_top("top*=/list");
    expect_an_error("list", failing);
    define_top("top*=/list[leaf=text]");
    expect_an_error("search", failing);
    failing.call = iterate;
    define_top("top*=/iterators");
    expect_an_error("iterators", failing);

    failing = {write_long_text, 0, false};
    drend_add_walk_handlers(
        nullptr, [](dr_meta_context_s* ctx, void* data) { return run_call(ctx, data); },
        &failing);
    expect_an_error("walk suspend", failing);
    define_top("top{fid: 1}");
    drend_add_walk_handlers(
        [](dr_meta_context_s* ctx, void* data) { return run_call(ctx, data); }, nullptr,
        &failing);
    expect_an_error("walk start", failing);
}

TEST_F(memory_test, a_string_buffer_throws_and_keeps_its_text) {
    const std::string full(200, 'a'); // as good as fills the area of its own
    const std::function<void(dr_str_buf_c&)> writes[] = {
        [](dr_str_buf_c& text) { text = LONG_TEXT; },
        [](dr_str_buf_c& text) { text += LONG_TEXT; },
        [](dr_str_buf_c& text) { text.ncpy(LONG_TEXT.c_str(), -1); },
        [](dr_str_buf_c& text) { text += text; },
    };
    for (const auto& write : writes) {
        bool has_thrown = false;
        const long failures = with_each_failure([&] {
            dr_str_buf_c text(full.c_str());
            try {
                write(text);
            } catch (const std::bad_alloc&) {
                has_thrown = true;
                EXPECT_EQ(std::string_view(text.c_str()).substr(0, 200), full);
            }
        });
        EXPECT_TRUE(has_thrown);
        EXPECT_GE(failures, 1);
    }
}

TEST_F(memory_test, a_dump_of_a_tree_loses_no_line) {
    for (size_t length = 1; length < 250; ++length) { // any line may be the one too many
        drend_tag_c tag(std::string(length, 't'), "/source");
        drend_tag_c kid("kid", "");
        tag.dt_kids.push_back(&kid);
        dr_str_buf_c whole;
        tag.dump(whole.buf(), 0);
        with_each_failure([&] {
            dr_str_buf_c text;
            try {
                tag.dump(text.buf(), 0);
                EXPECT_EQ(text, whole);
            } catch (const std::bad_alloc&) {
            }
        });
    }
}

TEST_F(memory_test, a_dump_loses_no_line) {
    drend_add_str_leaf("/top/leaf", read_text, LONG_TEXT.c_str());
    output.text.clear();
    drend_dump(nullptr);
    const std::string whole = output.text;
    const long failures = with_each_failure([&] {
        output.text.clear();
        drend_dump(nullptr);
        if (output.text != whole) {
            EXPECT_TRUE(output.text.ends_with("error: out of memory\n")) << output.text;
        }
    });
    EXPECT_GT(failures, 2);
    EXPECT_EQ(output.text, whole);
}

TEST_F(memory_test, no_exception_passes_the_daemons_edge) {
    static const char* const long_name = LONG_TEXT.c_str();
    static const char* const nodes[] = {"/a/b", "/a/l", "/a/c", "/a/e"};
    define("[" + command_json("corvane-netconf-get", "top=/a()", R"("dc_app_name": "d")") +
           "]");
    const auto proc = [](dr_meta_context_s*, const void*) { return 0; };
    static const drend_menu_entry_s entries[] = {{"extra", "", 0, nullptr, nullptr}, {}};
    static auto& menus = *new std::vector<drend_menu_entry_s*>; // a daemon keeps its menu
    menus.reserve(1000);
    struct row_s {
        const char* name;
        void (*call)();
    };
    static const drend_proc_t accessor = proc;
    const row_s calls[] = {
        {"drend_send", [] { drend_send(nullptr, "%s!", long_name); }},
        {"drend_send_file_ptr", [] { drend_send_file_ptr(stderr, "%.0s", long_name); }},
        {"drend_err_exit", [] { drend_err_exit(1, 0, "%s!", long_name); }},
        {"drend_add_str_leaf", [] { drend_add_str_leaf(nodes[0], accessor, nullptr); }},
        {"drend_add_list", [] { drend_add_list(nodes[1], accessor, nullptr); }},
        {"drend_add_cont_cb", [] { drend_add_cont_cb(nodes[2], accessor, nullptr); }},
        {"drend_add_enter", [] { drend_add_enter(nodes[3], accessor, nullptr); }},
        {"drend_add_exit", [] { drend_add_exit(nodes[3], accessor, nullptr); }},
        {"drend_add_walk_handlers",
         [] { drend_add_walk_handlers(nullptr, nullptr, SOME_POINTER); }},
        {"drend_add_cmd_handlers",
         [] { drend_add_cmd_handlers(nullptr, nullptr, SOME_POINTER); }},
        {"drend_set_reschedule_handler",
         [] { drend_set_reschedule_handler(nullptr, SOME_POINTER); }},
        {"drend_register_generic_handler",
         [] { drend_register_generic_handler(77, nullptr); }},
        {"drend_app_init", [] { drend_app_init(nullptr); }},
        {"drend_dir_init", [] { drend_dir_init(); }},
        {"drend_add_fixed_commands", [] { drend_add_fixed_commands(entries, 1); }},
        {"drend_menu_get_command_string", [] { drend_menu_get_command_string(0); }},
        {"drend_dump_rpc", [] { drend_dump_rpc(nullptr, "corvane-netconf-get", "a=b"); }},
        {"drend_dump_rpc_no_root_data_tag",
         [] { drend_dump_rpc_no_root_data_tag(nullptr, "none", nullptr); }},
        {"drend_dump_tags", [] { drend_dump_tags(nullptr, 0, long_name); }},
        {"drend_dump_schema", [] { drend_dump_schema(nullptr); }},
        {"drend_get_message_id_from_path", [] { drend_get_message_id_from_path("top"); }},
        {"drend_get_only_daemon_responsible",
         [] { free(drend_get_only_daemon_responsible("top")); }},
        {"drend_get_daemon_responsible", [] { free(drend_get_daemon_responsible("top")); }},
        {"drend_get_command_set_from_path",
         [] {
             std::set<drend_command_s*> found;
             drend_get_command_set_from_path("top", found);
         }},
        {"drend_get_daemons_from_path",
         [] {
             std::set<std::string> found;
             drend_get_daemons_from_path("top", found);
         }},
        {"drend_init",
         [] { menus.push_back(drend_init(nullptr, entries + 1, 1, nullptr)); }},
        {"drend_set_prefix", [] { drend_set_prefix(long_name); }},
    };
    const drend_err_exit_method_t exits = drend_set_err_exit_method(ignore_error);
    testing::internal::CaptureStderr();
    for (const row_s& row : calls) {
        with_each_failure([&] {
            output.text.clear();
            EXPECT_NO_THROW(row.call()) << row.name;
        });
    }
    testing::internal::GetCapturedStderr();
    drend_set_rebuild_menu(nullptr, nullptr);
    drend_set_get_cookie_method(nullptr);
    drend_set_set_cookie_method(nullptr);
    drend_set_err_exit_method(exits);
}

TEST_F(memory_test, nor_do_the_readers_of_a_context_need_memory) {
    const auto read = [](dr_meta_context_s* ctx, const void*) {
        EXPECT_EQ(with_each_failure([ctx] {
                      drend_get_filter_name(ctx, LONG_TEXT.c_str());
                      drend_get_cookie(ctx, LONG_TEXT.c_str());
                      drend_get_cached_cb(ctx, LONG_TEXT.c_str());
                      drend_get_element_ref_offset(ctx, 1);
                  }),
                  0);
        return static_cast<int>(DREND_OK);
    };
    drend_add_list(
        "/list",
        [](dr_meta_context_s* ctx, const void* data) {
            const bool is_first = drend_get_element_ref(ctx) == nullptr;
            drend_set_element_ref(ctx, is_first ? data : nullptr);
            drend_set_cookie(ctx, "cookie", ctx);
            drend_add_str_cached(ctx, "cached", "%d", 7);
            EXPECT_STREQ(drend_get_filter_name(ctx, "leaf"), "text");
            return static_cast<int>(DREND_OK);
        },
        SOME_POINTER);
    drend_add_str_leaf("/list/leaf", read_text, "text");
    drend_add_str_leaf("/list/read", read, nullptr);
    define_tree("c", "top*=/list(leaf, read)");
    EXPECT_EQ(render("c", "filter=\"/top[leaf='text']\""),
              "<top>\n  <leaf>text</leaf>\n  <read></read>\n</top>\n");
}

} // namespace
