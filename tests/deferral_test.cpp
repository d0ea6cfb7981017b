// SPDX-License-Identifier: BSD-2-Clause

// Suspension and reload: a walk that is suspended anywhere gives the bytes of the uninterrupted
// one, whatever happens to the definitions meanwhile, and leaves nothing behind.

#include <atomic>
#include <memory>
#include <thread>

#include <event2/event.h>

#include "definitions/drend_load.h"
#include "model/drend_meta_tree.h"
#include "orvex_platform/eventlib.h"
#include "render/dr_deferral.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_tags_access_context.h"
#include "render/dr_xml_cwalker.h"
#include "render_fixture.h"
#include "repeated.h"

namespace {

// Every place at which a walk may be suspended asks here. The walk is suspended at the place number
// `at`, or wherever it can be when `everywhere` is set: once at each kind of place until a leaf
// has been read, so that the walk gets on.
struct suspender_s {
    enum kind_e : unsigned { WALKER = 1, LEAF = 2, LIST = 4, HANDLER = 8 };

    int at = -1;
    bool everywhere = false;
    int asked = 0;
    unsigned used = 0;

    bool wants(kind_e kind) {
        const bool here = everywhere ? (used & kind) == 0 : asked == at;
        ++asked;
        used |= kind;
        return here;
    }
    void leaf_was_read() { used = 0; }
} suspender;

// A walker that also suspends on its own behalf.
template <typename Walker>
class suspending_walker_c : public Walker {
  public:
    using Walker::Walker;
    bool defer_walker() override { return suspender.wants(suspender_s::WALKER); }
};

const std::vector<row_s> ROWS = {{"a", 1, {{"a1", 11}, {"a2", 12}}},
                                 {"b", 2, {}},
                                 {"c", 3, {{"c1", 31}, {"c2", 32}, {"c3", 0}}}};

int enters;
std::map<const void*, int> name_readings; // by row, since it was stepped to

int suspending_rows(dr_meta_context_s* ctx, const void* data) {
    const int status =
        data == nullptr ? step_rows_below(ctx, nullptr) : step_rows(ctx, data);
    name_readings[drend_get_element_ref(ctx)] = 0;
    return status == DREND_OK && suspender.wants(suspender_s::LIST) ? DREND_DEFER : status;
}

int suspending_number(dr_meta_context_s* ctx, const void*) {
    const int status = read_number(ctx, nullptr);
    if (suspender.wants(suspender_s::LEAF)) {
        return DREND_DEFER;
    }
    suspender.leaf_was_read();
    return status;
}

// A key: it may suspend where it stands, but not where it is read ahead, for a look-up cannot wait.
int suspending_name(dr_meta_context_s* ctx, const void*) {
    if (name_readings[drend_get_element_ref(ctx)]++ > 0 &&
        suspender.wants(suspender_s::LEAF)) {
        return DREND_DEFER;
    }
    suspender.leaf_was_read();
    return read_name(ctx, nullptr);
}

int read_is_odd(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
    return drend_set_boolean_value(ctx, row->number % 2);
}

int name_children(dr_meta_context_s* ctx, const void*) {
    static const char* const names[] = {"second", "first", nullptr};
    void* at = nullptr;
    drend_get_attribute_ref(ctx, &at);
    const auto* next = at == nullptr ? names : static_cast<const char* const*>(at) + 1;
    drend_set_attribute_name(ctx, *next);
    drend_set_attribute_ref(ctx,
                            *next == nullptr ? nullptr : const_cast<const char**>(next));
    return DREND_OK;
}

constexpr char DEFINITION[] = R"json(top=/top(
    ch?(
      row*{key: [`name`]}(
        group(number), name,
        sub*=below{key: [`name`]}(
          name, number{zero_suppression: `true`},
          word=number{map: [[`12`, `twelve`], [`*`, `='no '+val('../odd')`]]},
          present=odd{presence: `yes`}(again=../number)),
        dynamic=dynamic(first, rest, second))),
    names**=row(#=number)))json";

class deferral_test : public render_test {
  protected:
    deferral_test() {
        suspender = {};
        enters = 0;
        drend_add_list("/top/row", suspending_rows, &ROWS);
        drend_add_str_leaf("/top/row/name", suspending_name, nullptr);
        drend_add_int32_leaf("/top/row/number", suspending_number, nullptr);
        drend_add_list("/top/row/below", suspending_rows, nullptr);
        drend_add_str_leaf("/top/row/below/name", suspending_name, nullptr);
        drend_add_int32_leaf("/top/row/below/number", suspending_number, nullptr);
        drend_add_boolean_leaf("/top/row/below/odd", read_is_odd, nullptr);
        drend_add_cont_cb("/top/row/dynamic", name_children, nullptr);
        for (const char* leaf : {"first", "second", "rest"}) {
            const std::string path = std::string("/top/row/dynamic/") + leaf;
            drend_add_int32_leaf(path.c_str(), suspending_number, nullptr);
        }
        for (const char* path :
             {"/top", "/top/row", "/top/row/below", "/top/row/dynamic"}) {
            drend_add_enter(
                path, [](dr_meta_context_s*, const void*) { return ++enters; }, nullptr);
            drend_add_exit(
                path, [](dr_meta_context_s*, const void*) { return --enters; }, nullptr);
        }
        drend_add_walk_handlers(
            nullptr,
            [](dr_meta_context_s*, void*) {
                return static_cast<int>(suspender.wants(suspender_s::HANDLER));
            },
            nullptr);
        define_tree("c", DEFINITION);
    }
    ~deferral_test() override {
        EXPECT_EQ(enters, 0);
        EXPECT_EQ(dri_inuse_count(), 0u);
    }

    // A command whose filters never ask the suspender.
    void define_searched() {
        drend_add_str_leaf("/top/row/id", read_name, nullptr);
        drend_add_str_leaf("/top/row/below/id", read_name, nullptr);
        define_tree("searched", "top=/top(row*(id, sub*=below(id)))");
    }

    bool as_json = false;

    // Renders with the suspending walker; calls `between` while the walk is suspended.
    std::string walk(const std::function<void()>& between = nullptr) {
        output.text.clear();
        suspender.asked = 0;
        suspender.used = 0;
        slices = 1;
        const drend_tag_c* tag = dri_acquire_command_tag("c");
        dr_tags_access_context_c context(nullptr);
        suspending_walker_c<dr_xml_cwalker_c> xml(context, nullptr, false);
        suspending_walker_c<dr_json_cwalker_c> json(context, nullptr);
        dr_context_walker_c* walker = &xml;
        if (as_json) {
            walker = &json;
        }
        context.push_tag(tag);
        bool suspended = context.get_value(walker) == DREND_DEFER;
        dri_tags_delete_inuse(tag);
        while (suspended && slices < 1000) {
            ++slices;
            if (between) {
                between();
            }
            suspended = context.defer_continue() != nullptr;
        }
        return output.text;
    }
};

} // namespace

TEST_F(deferral_test, a_walk_suspended_anywhere_gives_the_same_bytes) {
    for (const bool json : {false, true}) {
        as_json = json;
        suspender = {};
        const std::string whole = walk();
        EXPECT_EQ(slices, 1);
        for (const char* found : {json ? "\"number\" : \"32\"" : "<number>32</number>",
                                  json ? "\"word\" : \"twelve\"" : "<word>twelve</word>",
                                  json ? "\"again\" : \"31\"" : "<again>31</again>"}) {
            EXPECT_NE(whole.find(found), std::string::npos) << found;
        }
        const int places = suspender.asked;
        ASSERT_GT(places, 90);
        for (suspender.at = 0; suspender.at < places; ++suspender.at) {
            ASSERT_EQ(walk(), whole) << "suspended at " << suspender.at;
            ASSERT_EQ(slices, 2);
        }
        suspender.everywhere = true;
        EXPECT_EQ(walk(), whole);
        EXPECT_GT(slices, places / 3);

        dtc_ignore_defer = 1; // nobody can stop it any more
        EXPECT_EQ(walk(), whole);
        EXPECT_EQ(slices, 1);
        dtc_ignore_defer = 0;
    }
}

TEST_F(deferral_test, collected_output_has_the_same_bytes) {
    for (const char* command : {"", "as-json"}) {
        const std::string whole = render("c", command);
        for (const unsigned size : {1U, 7U, 64U, 500U, 100000U}) {
            drend_set_send_buffer(size);
            EXPECT_EQ(render("c", command), whole) << size;
            EXPECT_LE(output.sends,
                      size < 100 ? 1000 : static_cast<int>(1 + whole.size() / 400));
            EXPECT_EQ(output.flushes, 1);
        }
        drend_set_send_buffer(0);
    }
}

TEST_F(deferral_test, a_formatter_that_comes_under_way_sees_all_that_follows) {
    static std::string seen;
    seen.clear();
    const std::string whole = render("c");
    drend_set_send_buffer(100000);
    suspender = {};
    suspender.at = 20;
    const auto install = [] {
        drend_set_vsnprintf([](char* buffer, unsigned size, const char* format,
                               va_list args) {
            const int length = vsnprintf(buffer, size, format, args);
            seen += std::string_view(buffer,
                                     std::min<size_t>(static_cast<size_t>(length), size));
            return length;
        });
    };
    EXPECT_EQ(render("c", nullptr, install), whole);
    drend_set_vsnprintf(nullptr);
    drend_set_send_buffer(0);
    EXPECT_EQ(slices, 2);
    EXPECT_GT(seen.size(), 100u);
    EXPECT_TRUE(whole.ends_with(seen)); // each byte once
}

TEST_F(deferral_test, a_search_suspends_on_hidden_rows_if_the_daemon_says_so) {
    const char filter[] = "filter=\"/top/row[name='c']/name\"";
    const std::string whole = render("c", filter);
    EXPECT_NE(whole.find("<name>c</name>"), std::string::npos);
    for (const int flag : {0, 1}) {
        drend_set_suspend_on_hidden_rows(flag);
        suspender = {};
        suspender.at = 0; // the first row, which the filter hides
        EXPECT_EQ(render("c", filter), whole);
        EXPECT_EQ(slices, 1 + flag);
    }
    drend_set_suspend_on_hidden_rows(0);
}

TEST_F(deferral_test, a_row_suspends_between_its_predicates_if_the_daemon_says_so) {
    define_searched();
    for (const std::string form : {"", "as-json "}) {
        const std::string argument = form +
                                     "filter=\"/top/row[id][starts-with('c', id)][id='c']"
                                     "/sub[id][match(id, 'c2')]/id\"";
        const char* const wish = argument.c_str();
        suspender = {};
        const std::string whole = render("searched", wish);
        EXPECT_NE(whole.find("c2"), std::string::npos);
        EXPECT_EQ(whole.find("c1"), std::string::npos);
        const int rows = suspender.asked;
        drend_set_suspend_on_hidden_rows(1);
        suspender = {};
        EXPECT_EQ(render("searched", wish), whole);
        const int places = suspender.asked;
        // Rows a and b fail at their second predicate; c and its three rows come to their last.
        EXPECT_EQ(places - rows, 1 + 1 + 2 + 3);
        for (int at = 0; at < places; ++at) {
            suspender = {};
            suspender.at = at;
            ASSERT_EQ(render("searched", wish), whole) << "suspended at " << at;
            ASSERT_EQ(slices, 2);
            suspender = {};
            suspender.at = at;
            ASSERT_EQ(drend_dump_rpc(nullptr, "searched", wish), DREND_DEFER);
            drend_drop_walk(drend_take_suspended_rpc());
            ASSERT_EQ(enters, 0);
        }
        dtc_ignore_defer = 1;
        suspender = {};
        suspender.everywhere = true;
        EXPECT_EQ(render("searched", wish), whole);
        EXPECT_EQ(slices, 1);
        dtc_ignore_defer = 0;
        drend_set_suspend_on_hidden_rows(0);
    }
}

// Whoever always wishes to suspend gets one predicate to a slice.
TEST_F(deferral_test, each_slice_judges_a_row_further) {
    define_searched();
    static int starts;
    starts = 0;
    drend_add_walk_handlers([](dr_meta_context_s*, void*) { return ++starts; },
                            [](dr_meta_context_s*, void*) { return 1; }, nullptr);
    drend_set_suspend_on_hidden_rows(1);
    const std::string filter = "filter=\"/top/row" + repeated(1000, "[id='c']") + "/id\"";
    EXPECT_NE(render("searched", filter.c_str()).find("<id>c</id>"), std::string::npos);
    EXPECT_EQ(slices, 1 + 2 + 999); // after each hidden row, then within the third
    EXPECT_EQ(starts, slices);
    drend_set_suspend_on_hidden_rows(0);
}

TEST_F(deferral_test, definitions_may_be_replaced_at_every_suspension) {
    as_json = true;
    const std::string json = walk();
    suspender.everywhere = true;
    EXPECT_EQ(walk([] { dri_reload_json(); }), json);
    suspender = {};
    as_json = false;
    const std::string whole = walk();
    const int places = suspender.asked;
    for (suspender.at = 0; suspender.at < places; ++suspender.at) {
        ASSERT_EQ(walk([] {
                      dri_reload_json();
                      EXPECT_EQ(dri_get_set_count(), 2); // the walk's and the new one
                  }),
                  whole);
        ASSERT_EQ(dri_get_set_count(), 1) << "suspended at " << suspender.at;
    }
    suspender.everywhere = true;
    int most = 0;
    EXPECT_EQ(walk([&] {
                  dri_reload_json();
                  most = std::max(most, dri_get_set_count());
              }),
              whole);
    EXPECT_EQ(most, 2); // sets that no walk uses go at the next reload
    EXPECT_EQ(dri_get_set_count(), 1);

    suspender = {};
    redefine_tree("c", "new=/top/row[name=b](name)");
    suspender.at = 5;
    EXPECT_EQ(walk([] { dri_reload_json(); }), whole); // the old definition to its end
    EXPECT_EQ(walk(), "<new>\n  <name>b</name>\n</new>\n");
    redefine(0, "this is no JSON");
    testing::internal::CaptureStderr();
    dri_reload_json();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("json load error: "),
              std::string::npos);
    EXPECT_EQ(dri_acquire_command_tag("c"), nullptr);
}

namespace {

// Two sets of hooks. Each notes that it was called, and whether with the argument of the other.
int arguments[2];
int hooked_calls[2];
int strange_arguments;

template <int Set>
int hooked(const void* argument) {
    ++hooked_calls[Set];
    strange_arguments += argument != &arguments[Set];
    return 0;
}

template <int Set>
void set_hooks() {
    drend_add_cmd_handlers([](const char*, void* data) { hooked<Set>(data); },
                           [](const char*, void* data) { hooked<Set>(data); },
                           &arguments[Set]);
    drend_add_walk_handlers(
        [](dr_meta_context_s*, void* data) { return hooked<Set>(data); },
        [](dr_meta_context_s*, void* data) {
            return hooked<Set>(data) + suspender.wants(suspender_s::HANDLER);
        },
        &arguments[Set]);
    drend_set_vsnprintf([](char* buffer, unsigned size, const char* format, va_list args) {
        return hooked<Set>(&arguments[Set]) + vsnprintf(buffer, size, format, args);
    });
    drend_set_debugtrace_cb(
        [](const char*, va_list) { return hooked<Set>(&arguments[Set]); });
    drend_set_trace_flag(Set);
    drend_set_event_context(&arguments[Set]);
}

} // namespace

TEST_F(deferral_test, other_threads_may_reload_and_set_hooks_during_walks) {
    const std::string whole = walk();
    std::atomic<bool> stop{false};
    std::thread other([&] {
        for (unsigned i = 0; !stop; ++i) {
            set_hooks<0>();
            set_hooks<1>();
            if (i % 64 == 0) {
                dri_reload_json();
            }
        }
    });
    suspender.everywhere = true;
    for (int i = 0; i < 30 || hooked_calls[0] == 0 || hooked_calls[1] == 0; ++i) {
        EXPECT_EQ(walk(), whole);
    }
    stop = true;
    other.join();
    EXPECT_EQ(strange_arguments, 0);
    drend_add_cmd_handlers(nullptr, nullptr, nullptr);
    drend_set_vsnprintf(nullptr);
    drend_set_debugtrace_cb(nullptr);
    drend_set_trace_flag(0);
    drend_set_event_context(nullptr);
    dri_reload_json();
    EXPECT_EQ(dri_get_set_count(), 1);
}

TEST_F(deferral_test, handlers_never_get_the_data_of_others) {
    static int data[2];
    static std::atomic<int> strays;
    strays = 0;
    static const auto check = [](const void* given, int own) {
        strays += given != &data[own];
        return 0;
    };
    const drend_walk_handler_t handlers[] = {
        [](dr_meta_context_s*, void* given) { return check(given, 0); },
        [](dr_meta_context_s*, void* given) { return check(given, 1); }};
    std::atomic<bool> stop{false};
    drend_add_walk_handlers(handlers[0], handlers[0], &data[0]);
    std::thread other([&] {
        for (unsigned i = 0; !stop; ++i) {
            drend_add_walk_handlers(handlers[i % 2], handlers[i % 2], &data[i % 2]);
        }
    });
    dr_meta_context_c context;
    for (int i = 0; i < 500000; ++i) {
        dri_call_walk_start(&context);
        dri_call_walk_suspend(&context);
    }
    stop = true;
    other.join();
    EXPECT_EQ(strays, 0);
}

TEST_F(deferral_test, a_handle_stands_for_one_walk_for_good) {
    const std::string whole = walk();
    const auto suspend = [] {
        suspender = {};
        suspender.at = 12;
        output.text.clear();
        EXPECT_EQ(drend_dump_rpc(nullptr, "c", nullptr), DREND_DEFER);
        return drend_take_suspended_rpc();
    };
    std::vector<void*> old;
    for (int i = 0; i < 50; ++i) {
        void* walk = suspend(); // where one before it lay, most likely
        for (void* handle : old) {
            EXPECT_NE(handle, walk);
            EXPECT_EQ(drend_defer_continue(handle), DREND_ERR);
            drend_drop_walk(handle);
            dri_cleanup_cookie(handle);
        }
        old.push_back(walk);
        if (i % 2 == 0) {
            EXPECT_EQ(drend_defer_continue(walk), 0);
            EXPECT_EQ(output.text, whole);
        } else {
            drend_drop_walk(walk);
        }
    }
}

TEST_F(deferral_test, a_walk_may_be_dropped_in_its_own_slice) {
    static void* running;
    drend_add_int32_leaf(
        "/own",
        [](dr_meta_context_s* ctx, const void*) {
            if (running == nullptr) {
                return static_cast<int>(DREND_DEFER);
            }
            EXPECT_EQ(drend_defer_continue(running), DREND_ERR); // it runs
            drend_drop_walk(running);
            return drend_set_int32_value(ctx, 1);
        },
        nullptr);
    define_tree("own", "top=/top(row*(name, own=/own))");
    running = nullptr;
    ASSERT_EQ(drend_dump_rpc(nullptr, "own", nullptr), DREND_DEFER);
    running = drend_take_suspended_rpc();
    output = {};
    EXPECT_EQ(drend_defer_continue(running), 0);
    EXPECT_EQ(output.text, "");
    EXPECT_EQ(output.flushes, 0);
    EXPECT_EQ(drend_defer_continue(running), DREND_ERR);
}

TEST_F(deferral_test, the_event_loop_continues_a_walk_when_it_is_idle) {
    const std::string whole = walk();
    event_base* base = event_base_new();
    evContext loop{base};
    dri_set_eventlib_rescheduler(&loop);
    suspender = {};
    suspender.everywhere = true;
    output.text.clear();
    ASSERT_EQ(drend_dump_rpc(nullptr, "c", nullptr), DREND_DEFER);
    dri_deferred(drend_take_suspended_rpc());
    event_base_dispatch(base);
    EXPECT_EQ(output.text, whole);

    suspender = {};
    suspender.at = 3;
    ASSERT_EQ(drend_dump_rpc(nullptr, "c", nullptr), DREND_DEFER);
    void* dropped = drend_take_suspended_rpc();
    dri_deferred(dropped);
    drend_drop_walk(dropped); // before its timer fires
    output.text.clear();
    event_base_dispatch(base);
    EXPECT_EQ(output.text, "");
    event_base_free(base);
}

TEST_F(deferral_test, iterators_survive_suspension_and_go_with_a_dropped_walk) {
    drend_add_iterator_list("/it", counting_iterator_c::make);
    drend_add_int32_leaf(
        "/it/at",
        [](dr_meta_context_s* ctx, const void*) {
            if (suspender.wants(suspender_s::LEAF)) {
                return static_cast<int>(DREND_DEFER);
            }
            suspender.leaf_was_read();
            return counting_iterator_c::read(ctx, nullptr);
        },
        nullptr);
    define_tree("it", "l*=/it(at)");
    const std::string whole = render("it");
    EXPECT_NE(whole.find("<at>2</at>"), std::string::npos);
    suspender.everywhere = true;
    EXPECT_EQ(render("it"), whole);
    EXPECT_EQ(counting_iterator_c::alive, 0);
    ASSERT_EQ(drend_dump_rpc(nullptr, "it", nullptr), DREND_DEFER);
    EXPECT_EQ(counting_iterator_c::alive, 1);
    drend_drop_walk(drend_take_suspended_rpc());
    EXPECT_EQ(counting_iterator_c::alive, 0);
}
