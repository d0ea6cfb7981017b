// SPDX-License-Identifier: BSD-2-Clause

// The daemon's data model: registration, navigation, accessor calls and the value API.

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failing_memory.h"
#include "model/dr_meta_context.h"
#include "render_fixture.h"

namespace {

std::string fatal_message;

void keep_fatal(int, int, const char*, ...) __attribute__((format(printf, 3, 4)));
void keep_fatal(int, int, const char* format, ...) {
    va_list args;
    va_start(args, format);
    char text[256];
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    fatal_message = text;
}

class model_test : public testing::Test {
  protected:
    model_test() : before_(drend_set_err_exit_method(keep_fatal)) { fatal_message.clear(); }
    ~model_test() override {
        dmn_reset_root();
        drend_set_err_exit_method(before_);
        drend_add_walk_handlers(nullptr, nullptr, nullptr);
        af_sock_domain = 0;
    }

    static std::string leaf_text(dr_meta_context_c& context) {
        dr_str_buf_c text;
        return context.call_leaf_proc(text.buf()) == DREND_OK ? text.c_str() : "(failed)";
    }
    static std::string path_of(const dr_meta_context_c& context) {
        std::string path;
        for (unsigned n = context.depth(); n-- > 0;) {
            path += context.get_object_offset(n)->node->name.c_str();
            path += n > 0 ? "/" : "";
        }
        return path;
    }

    drend_err_exit_method_t before_;
};

int calls;
int count_call(dr_meta_context_s*, const void* data) {
    ++calls;
    return data == nullptr ? DREND_OK : *static_cast<const int*>(data);
}

} // namespace

TEST_F(model_test, paths_name_nodes_in_order_of_registration) {
    drend_add_str_leaf("z/b", count_call, nullptr);
    drend_add_str_leaf("/z//a/", count_call, nullptr);
    drend_add_list("z", count_call, nullptr); // a container becomes a list
    const dr_meta_node_c* z = dmn_get_root()->find_child("z");
    EXPECT_TRUE(z->is_list());
    EXPECT_STREQ(z->child_list.front()->name, "b");
    EXPECT_STREQ(z->child_list.back()->name, "a");
    EXPECT_EQ(dri_find_node_from_path("//"), dmn_get_root());
    dmn_reset_root();
    EXPECT_TRUE(dmn_get_root()->child_list.empty());
}

TEST_F(model_test, references_are_found_by_their_distance) {
    static const char one = 0;
    static const char two = 0;
    drend_add_str_leaf("a/b", count_call, nullptr);
    dr_meta_context_c context;
    context.push_path("/a/b", false, nullptr);
    EXPECT_EQ(drend_get_element_ref_offset_max(&context), 3U); // the root, a and b
    drend_set_element_ref(&context, &one);
    drend_set_element_ref_offset(&context, 2, &two);
    drend_set_element_ref_offset(&context, 3, &two); // beyond
    const void* const found[] = {&one, nullptr, &two, nullptr};
    for (unsigned n = 0; n < 4; ++n) {
        EXPECT_EQ(drend_get_element_ref_offset(&context, n), found[n]) << n;
    }
}

TEST_F(model_test, contradictory_registrations_are_fatal) {
    static const int one = 1;
    static const int two = 2;
    EXPECT_EQ(drend_add_str_leaf("a", count_call, &one), 0);
    EXPECT_EQ(drend_add_str_leaf("a", count_call, &one), 0);
    EXPECT_EQ(drend_add_int32_leaf("a", nullptr, &two), 0); // only the kind and the data
    EXPECT_EQ(fatal_message, "");
    drend_add_str_leaf("a", count_call, &one);
    EXPECT_EQ(fatal_message,
              "meta-node at 'a' is already populated with different proc and data");
    EXPECT_EQ(dmn_get_root()->find_child("a")->data, &two); // left as it was
    drend_add_enter("a", count_call, nullptr);
    drend_add_enter("a", count_call, nullptr);
    EXPECT_EQ(fatal_message, "meta-node at 'a' already has enter proc");
    drend_add_exit("a", count_call, nullptr);
    drend_add_exit("a", count_call, nullptr);
    EXPECT_EQ(fatal_message, "meta-node at 'a' already has exit proc");
}

// Fatal is what cannot be made, too; should the process go on, one registration alone says so.
TEST_F(model_test, a_node_that_cannot_be_made_is_fatal) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    using add_t = int (*)(const char*, drend_proc_t, const void*);
    const struct {
        add_t add;
        int failed;
    } cases[] = {{drend_add_list, 0}, {drend_add_enter, 0}, {drend_add_cont_cb, -1}};
    for (const auto& row : cases) {
        std::set<std::string> messages;
        for (long failures = 0; fatal_message != "none"; ++failures) {
            dmn_reset_root();
            fatal_message = "none";
            failing_allocation = failures + 1;
            const int result = row.add("a/b", count_call, nullptr);
            failing_allocation = 0;
            EXPECT_EQ(result, fatal_message == "none" ? 0 : row.failed) << failures;
            messages.insert(fatal_message);
        }
        EXPECT_THAT(messages, testing::UnorderedElementsAre(
                                  "none", "Couldn't find/make 'a/b'",
                                  "Couldn't find/make 'a'", "Couldn't find/make 'b'"));
        fatal_message.clear();
    }
}

TEST_F(model_test, navigation_follows_names_dots_and_roots) {
    drend_add_str_leaf("a/b", count_call, nullptr);
    drend_add_str_leaf("a/c", count_call, nullptr);
    const struct {
        const char* path;
        int status;
        const char* reached;
    } cases[] = {
        {"/", DREND_OK, ""},
        {"/a/b", DREND_OK, "/a/b"},
        {"/a/b/../c", DREND_OK, "/a/c"},
        {"/a/./b", DREND_OK, "/a/b"},
        {"/a/b/", DREND_OK, ""}, // a trailing "/" ends at the root
        {"/a//a", DREND_OK, "/a"},
        {"/a/x/b", DREND_ERR, "/a"},
        {"/..", DREND_ERR, ""},
        {"/a/b[k=v", DREND_ERR, "/a"},
        {"/a[k=v]/=", DREND_ERR, "/a"},
        {"a", DREND_ERR, ""}, // nothing to start from
    };
    for (const auto& row : cases) {
        dr_meta_context_c context;
        EXPECT_EQ(context.push_path(row.path, false, nullptr), row.status) << row.path;
        EXPECT_EQ(path_of(context), row.reached) << row.path;
    }
    dr_meta_context_c context;
    context.push_path("/a", false, nullptr);
    EXPECT_EQ(context.push_path(nullptr, false, nullptr), DREND_OK);
    EXPECT_EQ(context.push_path("./b", false, nullptr), DREND_OK);
    EXPECT_EQ(path_of(context), "/a/b");
    EXPECT_EQ(context.get_object_offset(3), nullptr);
}

TEST_F(model_test, a_key_selects_a_row) {
    static const std::vector<row_s> rows = {{"ge-0/0/0", 1, {{"x", 11}, {"y", 12}}},
                                            {"lo", 2, {{"lo", 21}, {"y", 22}}}};
    add_rows("t/row", &rows);
    add_rows("t/row/below", nullptr);
    drend_add_str_leaf("chosen", read_text, "lo");
    const struct {
        const char* path;
        const char* number; // null: the path cannot be pushed
        const char* message;
    } cases[] = {
        {"/t/row[name=lo]/number", "2", ""},
        {"/t/row[name=ge-0/0/0]/number", "1", ""}, // a plain key with slashes
        {"/t/row[name=/chosen]/number", "2", ""},  // the key that a leaf holds
        {"/t/row[name=/nowhere]/number", nullptr,  // no leaf: the text is the key
         "No entry found while trying to fetch element_ref for list row"},
        {"/t/row[number=02]/number", nullptr,
         "No entry found while trying to fetch element_ref for list row"},
        {"/t/row[nokey=1]/number", nullptr, "Leaf nokey not found from element_ref"},
        {"/t/row[name=ge-0/0/0]/below[name=y]/number", "12", ""},
        {"/t/row[name=lo]/below/number", "21", ""}, // the key stays in force
    };
    for (const auto& row : cases) {
        dr_meta_context_c context;
        testing::internal::CaptureStderr();
        const int status = context.push_path(row.path, false, nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.message) << row.path;
        EXPECT_EQ(status, row.number == nullptr ? DREND_ERR : DREND_OK) << row.path;
        if (row.number != nullptr) {
            EXPECT_EQ(leaf_text(context), row.number) << row.path;
        } else {
            EXPECT_EQ(path_of(context), "/t") << row.path; // the list's object is gone
        }
    }
    dr_meta_context_c context;
    EXPECT_EQ(context.push_path("/t/row[name=lo]", false, nullptr), DREND_OK);
    EXPECT_TRUE(context.get_top_object()->is_list_el());
    // An empty key ends the one in force: no row is looked for.
    EXPECT_EQ(context.push_path("/t/row[name=lo]/../row[=x]", false, nullptr), DREND_OK);
    EXPECT_TRUE(context.get_top_object()->is_list());
    EXPECT_EQ(context.get_element_offset(0), nullptr);
}

TEST_F(model_test, a_key_search_shows_its_key_and_no_other_filter_to_the_list) {
    static std::string seen;
    static const std::vector<row_s> rows = {{"a"}, {"b"}};
    drend_add_list(
        "row",
        [](dr_meta_context_s* ctx, const void*) {
            const char* name = drend_get_filter_name(ctx, "name");
            seen += name == nullptr ? "-" : name;
            seen += drend_get_filter_name(ctx, "other") == nullptr ? "" : "!";
            return step_rows(ctx, &rows);
        },
        nullptr);
    drend_add_str_leaf("row/name", read_name, nullptr);
    dr_meta_context_c context;
    context.push_path("/", false, nullptr);
    context.set_filter_names(std::make_shared<const dr_meta_context_c::names_t>(
        dr_meta_context_c::names_t{{"other", "x"}, {"name", "y"}}));
    seen.clear();
    context.push_path("row[name=b]", false, nullptr);
    EXPECT_EQ(seen, "bb");
    EXPECT_STREQ(drend_get_filter_name(&context, "other"), "x");
    context.push_path("../row", true, nullptr); // the first row, asked for without a filter
    EXPECT_EQ(seen, "bb-");
    EXPECT_EQ(context.get_element_offset(0), &rows[0]);
}

TEST_F(model_test, copies_of_a_context_diverge) {
    drend_add_str_leaf("a/b/c", count_call, nullptr);
    int one = 1;
    int two = 2;
    dr_meta_context_c original;
    original.push_path("/a/b", false, nullptr);
    original.set_top_element(&one);
    original.set_daemon_cookie("k", &one);
    original.add_cached_value("t", "old");
    dr_meta_context_c copy(original);
    copy.push_path("c", false, nullptr);
    EXPECT_EQ(copy.get_element_offset(0), &one); // inherited
    copy.set_element_offset(1, &two);            // a frame that both share
    copy.set_daemon_cookie("k", &two);
    copy.add_cached_value("t", "new");
    EXPECT_EQ(copy.get_element_offset(1), &two);
    EXPECT_EQ(original.get_element_offset(0), &one);
    EXPECT_EQ(original.get_daemon_cookie("k"), &one);
    EXPECT_STREQ(original.get_cached_value("t"), "old");
    EXPECT_EQ(path_of(original), "/a/b");
    original = copy;
    copy.pop_object();
    EXPECT_EQ(path_of(original), "/a/b/c");
    EXPECT_STREQ(original.get_cached_value("t"), "new");
}

TEST_F(model_test, what_is_stored_during_a_visit_goes_with_it) {
    static int row;
    static int other;
    drend_add_list("/l", nullptr, nullptr);
    drend_add_str_leaf("/l/x", nullptr, nullptr);
    drend_add_str_leaf("/l/y", nullptr, nullptr);
    dr_meta_node_c* const leaves[] = {dri_find_node_from_path("/l/x"),
                                      dri_find_node_from_path("/l/y")};
    // Whether a visit is ended before the next one begins, and whether it stores anything.
    for (unsigned variant = 0; variant < 16; ++variant) {
        dr_meta_context_c context;
        context.push_path("/l", false, nullptr);
        context.set_top_element(&row);
        if ((variant & 1) != 0) {
            context.set_daemon_cookie("c", &row);
        }
        const void* const cookie = context.get_daemon_cookie("c");
        for (unsigned round = 0; round < 4; ++round) {
            context.visit_leaf(leaves[round % 2], nullptr);
            EXPECT_EQ(context.get_top_node(), leaves[round % 2]);
            EXPECT_EQ(context.depth(), 3u);
            EXPECT_EQ(context.get_element_offset(0), &row);
            EXPECT_EQ(context.get_element_offset(1), &row);
            EXPECT_EQ(context.get_attribute_ref(), nullptr);
            EXPECT_EQ(context.get_daemon_cookie("c"), cookie);
            EXPECT_EQ(context.get_cached_value("v"), nullptr);
            if ((variant & 2) == 0 || round % 2 == 0) {
                const dr_meta_context_c copy(context);
                context.set_daemon_cookie("c", &other);
                context.add_cached_value("v", "text");
                context.set_attribute_ref(&other);
                context.set_attribute_name("name");
                context.set_element_offset(1, &other);
                context.set_element_offset(0, &other);
                EXPECT_EQ(context.get_daemon_cookie("c"), &other);
                EXPECT_EQ(context.get_element_offset(1), &other);
                EXPECT_EQ(copy.get_element_offset(1), &row);
                EXPECT_EQ(copy.get_cached_value("v"), nullptr);
            }
            if ((variant & 4) != 0 && round % 2 == (variant >> 3)) {
                context.end_visit();
                EXPECT_EQ(context.get_top_node()->name, "l");
                EXPECT_EQ(context.get_element_offset(0), &row);
            }
        }
        context.end_visit();
        context.end_visit(); // there is none
        EXPECT_EQ(context.depth(), 2u);
        EXPECT_EQ(context.get_element_offset(0), &row);
        EXPECT_EQ(context.get_daemon_cookie("c"), cookie);
        EXPECT_EQ(context.get_cached_value("v"), nullptr);
    }
}

// A copy that is made while a leaf is visited stays at that leaf when the visit goes on.
TEST_F(model_test, a_copy_made_during_a_visit_stays_where_it_was) {
    drend_add_list("/l", nullptr, nullptr);
    drend_add_str_leaf("/l/x", nullptr, nullptr);
    drend_add_str_leaf("/l/y", nullptr, nullptr);
    dr_meta_context_c context;
    context.push_path("/l", false, nullptr);
    context.visit_leaf(dri_find_node_from_path("/l/x"), nullptr);
    const dr_meta_context_c copy(context);
    context.visit_leaf(dri_find_node_from_path("/l/y"), nullptr);
    EXPECT_EQ(copy.get_top_node()->name, "x");
    EXPECT_EQ(context.get_top_node()->name, "y");
}

TEST_F(model_test, enter_and_exit_are_balanced) {
    static int depth;
    static std::string log;
    depth = 0;
    log.clear();
    const auto enter = [](dr_meta_context_s*, const void*) { return log += "+", ++depth; };
    const auto leave = [](dr_meta_context_s*, const void*) { return log += "-", --depth; };
    drend_add_enter("both", enter, nullptr);
    drend_add_exit("both", leave, nullptr);
    drend_add_exit("only-exit", leave, nullptr);
    dr_meta_context_c context;
    context.push_path("/both", false, nullptr);
    EXPECT_EQ(context.call_enter_proc(DMN_TYPE_LIST), DREND_OK); // not this kind
    EXPECT_EQ(context.call_enter_proc(DMN_TYPE_CONT), 1);
    EXPECT_EQ(context.call_enter_proc(DMN_TYPE_CONT), DREND_OK); // entered already
    dr_meta_context_c copy(context);
    EXPECT_EQ(copy.call_enter_proc(DMN_TYPE_CONT), DREND_OK);
    EXPECT_EQ(copy.call_exit_proc(DMN_TYPE_CONT), DREND_OK); // not the copy's to exit
    EXPECT_EQ(context.call_exit_proc(DMN_TYPE_CONT), 0);
    EXPECT_EQ(context.call_exit_proc(DMN_TYPE_CONT), DREND_OK);
    context.push_path("/only-exit", false, nullptr);
    context.call_enter_proc(DMN_TYPE_CONT);
    context.call_exit_proc(DMN_TYPE_CONT);
    EXPECT_EQ(log, "+-");
}

TEST_F(model_test, list_and_leaf_calls_check_the_node) {
    drend_add_list("list", nullptr, nullptr);
    drend_add_str_leaf("leaf", nullptr, nullptr);
    drend_add_list("full", step_rows, nullptr);
    dr_meta_context_c context;
    dr_value_c value;
    context.push_path("/list", false, nullptr);
    EXPECT_EQ(context.call_list_proc(), DREND_ERR); // no procedure
    EXPECT_EQ(context.call_leaf_proc(value), DREND_ERR);
    context.push_path("/leaf", false, nullptr);
    EXPECT_EQ(context.call_list_proc(), DREND_ERR);
    EXPECT_EQ(context.call_leaf_proc(value), DREND_ERR);
    EXPECT_EQ(drend_set_int8_value(&context, 1), DREND_ERR); // outside a leaf call
    EXPECT_EQ(drend_set_string_value(&context, "x"), DREND_ERR);
}

TEST_F(model_test, ready_made_readers_read_variables) {
    static const int8_t i8 = -8;
    static const int16_t i16 = INT16_MIN;
    static const int32_t i32 = INT32_MIN;
    static const int64_t i64 = INT64_MIN;
    static const uint8_t u8 = 255;
    static const uint16_t u16 = 65535;
    static const uint32_t u32 = UINT32_MAX;
    static const uint64_t u64 = UINT64_MAX;
    static const bool flag = true;
    static const char* text = "hello";
    static const char* no_text = nullptr;
    static const unsigned char v4[16] = {192, 0, 2, 1};
    const struct {
        const char* path;
        drend_proc_t read;
        const void* variable;
        const char* text;
    } cases[] = {{"/i8", drend_get_int8_cb, &i8, "-8"},
                 {"/i16", drend_get_int16_cb, &i16, "-32768"},
                 {"/i32", drend_get_int32_cb, &i32, "-2147483648"},
                 {"/i64", drend_get_int64_cb, &i64, "-9223372036854775808"},
                 {"/u8", drend_get_uint8_cb, &u8, "255"},
                 {"/u16", drend_get_uint16_cb, &u16, "65535"},
                 {"/u32", drend_get_uint32_cb, &u32, "4294967295"},
                 {"/u64", drend_get_uint64_cb, &u64, "18446744073709551615"},
                 {"/flag", drend_get_boolean_cb, &flag, "true"},
                 {"/text", drend_get_str_cb, &text, "hello"},
                 {"/no-text", drend_get_str_cb, &no_text, ""},
                 {"/v4", drend_get_ipaddr_v4_cb, v4, "192.0.2.1"},
                 {"/null", drend_get_int32_cb, nullptr, "(failed)"},
                 {"/cached", drend_get_cached_cb, "c", ""}};
    dr_meta_context_c context;
    for (const auto& row : cases) {
        drend_add_str_leaf(row.path, row.read, row.variable);
        ASSERT_EQ(context.push_path(row.path, false, nullptr), DREND_OK) << row.path;
        EXPECT_EQ(leaf_text(context), row.text) << row.path;
    }
    drend_add_str_cached(&context, "c", "%s-%d", "kept", 7);
    drend_add_str_cached(&context, nullptr, "ignored");
    EXPECT_EQ(leaf_text(context), "kept-7");
}

TEST_F(model_test, addresses_are_set_as_texts) {
    static struct {
        int (*set)(dr_meta_context_s*, const void*);
        const void* address;
        const char* text;
    } cases[] = {
        {drend_set_ipv4_value, "\xc0\x00\x02\xff", "192.0.2.255"},
        {drend_set_ipv4_value, "\0\0\0", "0.0.0.0"},
        {drend_set_ipv6_value, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\xab",
         "2001:db8::ab00"},
        {drend_set_ipv6_value,
         "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff",
         "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {drend_set_mac_value, "\x00\x1a\xb2\xc3\xd4\xff", "00:1a:b2:c3:d4:ff"},
        {drend_set_ipv4_value, nullptr, "(failed)"},
        {drend_set_ipv6_value, nullptr, "(failed)"},
        {drend_set_mac_value, nullptr, "(failed)"},
    };
    static const auto* current = cases;
    drend_add_str_leaf(
        "a",
        [](dr_meta_context_s* ctx, const void*) {
            return current->set(ctx, current->address);
        },
        nullptr);
    dr_meta_context_c context;
    context.push_path("/a", false, nullptr);
    dr_value_c kept; // as a walk keeps one
    kept.resize_buffer(64);
    for (const auto& row : cases) {
        current = &row;
        EXPECT_EQ(leaf_text(context), row.text);
        failing_allocation = 1;
        context.call_leaf_proc(kept);
        EXPECT_EQ(failing_allocation, 1) << row.text; // nothing was allocated
        failing_allocation = 0;
    }
    EXPECT_EQ(drend_set_mac_value(&context, "123456"), DREND_ERR); // outside a leaf call
}

TEST_F(model_test, socket_addresses_are_read_by_the_domain_in_force) {
    static unsigned char record[32] = {};
    record[4] = 10;
    record[7] = 1;
    record[12 + 15] = 1;
    drend_add_xsockaddr_leaf("a", drend_get_xsockaddr_cb, record);
    dr_meta_context_c context;
    context.push_path("/a", false, nullptr);
    dr_value_c unset;
    EXPECT_EQ(context.call_leaf_proc(unset), DREND_OK); // no domain: nothing is set
    EXPECT_EQ(unset.type(), DRV_NONE);
    af_sock_domain = 2;
    EXPECT_EQ(leaf_text(context), "10.0.0.1");
    af_sock_domain = 28;
    EXPECT_EQ(leaf_text(context), "::1");
}

TEST_F(model_test, generic_values_need_a_handler) {
    drend_add_generic_leaf(
        "g",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_generic(ctx, 7, "ab", 2);
        },
        nullptr);
    dr_meta_context_c context;
    context.push_path("/g", false, nullptr);
    EXPECT_EQ(leaf_text(context), "(failed)");
    drend_register_generic_handler(7,
                                   [](const void* data, unsigned length, str_buf_s* out) {
                                       sbuf_printf(out, "<%.*s>", static_cast<int>(length),
                                                   static_cast<const char*>(data));
                                   });
    EXPECT_EQ(leaf_text(context), "<ab>");
    drend_register_generic_handler(7, nullptr);
    EXPECT_EQ(leaf_text(context), "(failed)");
}

TEST_F(model_test, iterators_drive_lists_and_go_with_their_walk) {
    drend_add_iterator_list("it", counting_iterator_c::make);
    drend_add_int32_leaf("it/at", counting_iterator_c::read, nullptr);
    {
        dr_meta_context_c context;
        context.push_path("/it", false, nullptr);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(context.call_list_proc(), DREND_OK);
            dr_meta_context_c leaf(context);
            leaf.push_path("at", false, nullptr);
            EXPECT_EQ(leaf_text(leaf), std::to_string(i));
        }
        EXPECT_EQ(context.call_list_proc(), DREND_OK); // the end
        EXPECT_EQ(context.get_element_offset(0), nullptr);
        EXPECT_EQ(counting_iterator_c::alive, 0);
        context.call_list_proc(); // begins again, and is left in the middle
        EXPECT_EQ(counting_iterator_c::alive, 1);
    }
    EXPECT_EQ(counting_iterator_c::alive, 0);
    {
        dr_meta_context_c found;
        EXPECT_EQ(found.push_path("/it[at=1]", false, nullptr), DREND_OK);
        EXPECT_EQ(counting_iterator_c::alive, 1);
        testing::internal::CaptureStderr();
        dr_meta_context_c not_found;
        EXPECT_EQ(not_found.push_path("/it[at=9]", false, nullptr), DREND_ERR);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(counting_iterator_c::alive, 1);
    }
    EXPECT_EQ(counting_iterator_c::alive, 0);
    counting_iterator_c::rows = 0;
    dr_meta_context_c empty;
    empty.push_path("/it", true, nullptr);
    EXPECT_EQ(empty.get_element_offset(0), nullptr);
    EXPECT_EQ(counting_iterator_c::alive, 0);
    counting_iterator_c::rows = 3;
}
