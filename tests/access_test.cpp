// SPDX-License-Identifier: BSD-2-Clause

// Values asked for one by one: a daemon with two interfaces, one of which has addresses, a presence
// container, a leaf-list, a dynamic container and a choice, seen through drx_ functions.

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "failing_memory.h"
#include "model/drend_meta_tree.h"
#include "render_fixture.h"

using testing::ElementsAre;

namespace {

struct free_context_s {
    void operator()(drx_context_s* context) const { drx_destroy_context(context); }
};
using context_t = std::unique_ptr<drx_context_s, free_context_s>;

std::vector<row_s> interfaces;
std::vector<row_s> many;
int inside = 0;          // enter without exit
bool has_cookie = false; // of the enter, at the last exit
int list_calls = 0;      // of the list "many"
int leaf_status = DREND_OK;
int row_status = DREND_OK;      // of the list "many", with each row
const void* begun_at = nullptr; // the row that the names of boxes were asked for in

int seek_many(dr_meta_context_s* ctx, const void*) {
    ++list_calls;
    const auto* current = static_cast<const row_s*>(drend_get_element_ref(ctx));
    const row_s* next = current == nullptr ? many.data() : current + 1;
    if (const char* name = drend_get_filter_name(ctx, "name")) {
        const size_t at = std::strtoul(name, nullptr, 10);
        next = current == nullptr && at < many.size() ? &many[at] : nullptr;
    }
    const bool is_at_end = next == nullptr || next == many.data() + many.size();
    drend_set_element_ref(ctx, is_at_end ? nullptr : next);
    return is_at_end ? DREND_NO_EL : row_status;
}

// Marks its place with rows of its own, which its kids are read from.
int name_boxes(dr_meta_context_s* ctx, const void*) {
    static row_s boxes[] = {{"left", 1}, {"right", 2}};
    void* reached = nullptr;
    drend_get_attribute_ref(ctx, &reached);
    begun_at = reached == nullptr ? drend_get_element_ref(ctx) : begun_at;
    row_s* next = reached == nullptr ? boxes : static_cast<row_s*>(reached) + 1;
    if (next == std::end(boxes)) {
        drend_set_attribute_ref(ctx, nullptr);
        return DREND_NO_EL;
    }
    drend_set_attribute_name(ctx, next->name.c_str());
    drend_set_attribute_ref(ctx, next);
    drend_set_element_ref(ctx, next);
    return DREND_OK;
}

int read_status(dr_meta_context_s* ctx, const void*) {
    return leaf_status == DREND_OK ? drend_set_uint8_value(ctx, 6) : leaf_status;
}

class access_test : public render_test {
  protected:
    access_test() {
        interfaces = {{"lo", 65536, {{"::1", 128}, {"127.0.0.1", 8}}}, {"it's", 1500}};
        many.clear();
        for (int i = 0; i < 1000; ++i) {
            many.push_back({std::to_string(i), i % 7});
        }
        inside = list_calls = 0;
        leaf_status = row_status = DREND_OK;
        const auto enter = [](dr_meta_context_s* ctx, const void*) {
            ++inside;
            return drend_set_cookie(ctx, "cookie", &inside);
        };
        const auto exit = [](dr_meta_context_s* ctx, const void*) {
            has_cookie = drend_get_cookie(ctx, "cookie") == &inside;
            return --inside, 0;
        };
        drend_add_enter("/i", enter, nullptr);
        drend_add_exit("/i", exit, nullptr);
        drend_add_list("/i/row", step_rows, &interfaces);
        drend_add_enter("/i/row", enter, nullptr);
        drend_add_exit("/i/row", exit, nullptr);
        drend_add_str_leaf("/i/row/name", read_name, nullptr);
        drend_add_int32_leaf("/i/row/mtu", read_number, nullptr);
        drend_add_uint8_leaf("/i/row/state", read_status, nullptr);
        add_rows("/i/row/address", nullptr, "ip", "length");
        drend_add_boolean_leaf(
            "/i/row/large",
            [](dr_meta_context_s* ctx, const void*) {
                const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
                return drend_set_boolean_value(ctx, row->number > 9000);
            },
            nullptr);
        drend_add_str_leaf("/i/row/large/why", read_text, "loops");
        drend_add_cont_cb("/i/row/box", name_boxes, nullptr);
        drend_add_int32_leaf("/i/row/box/left", read_number, nullptr);
        drend_add_int32_leaf("/i/row/box/right", read_number, nullptr);
        drend_add_list("/many", seek_many, nullptr);
        drend_add_str_leaf("/many/name", read_name, nullptr);
        drend_add_int32_leaf("/many/number", read_number, nullptr);
        drend_add_boolean_leaf(
            "/yes",
            [](dr_meta_context_s* ctx, const void*) {
                return drend_set_boolean_value(ctx, 1);
            },
            nullptr);
        drend_add_decimal64_leaf(
            "/load",
            [](dr_meta_context_s* ctx, const void*) {
                return drend_set_decimal64_value(ctx, 1.5);
            },
            nullptr);
        const std::string show = command_json("show", R"(interfaces=/i(
            interface*=row{key: [`name`]}(
                name, kind?(by-mtu!(mtu)), status=state{map: [[`6`, `up`]]},
                address*(ip, length), ips**=address(#=ip),
                large=large{presence: `true`}(why), box=box(l=left, r=right),
                astray=nowhere()),
            lo*=row[name=lo](mtu)))");
        const std::string all = command_json("many", R"(m(
            one*=/many{key: [`name`]}(name, number),
            yes=/yes{data_type: `boolean`},
            load=/load{data_type: `decimal64`, data_decimal64_fraction: 3}))");
        const char get[] = "corvane-netconf-get";
        define("[" + show + ", " + all + R"(, {"dc_name": "tagless"}, )" +
               command_json(get, "a=/i()") + ", " + command_json(get, "b=/i()") + "]");
    }
    ~access_test() override {
        context_.reset();
        EXPECT_EQ(inside, 0);
        EXPECT_EQ(dri_inuse_count(), 0u);
    }

    drx_context_s* open(const char* command = "show") {
        drx_context_s* context = nullptr;
        EXPECT_EQ(drx_create_context(command, &context), DREND_OK);
        context_.reset(context);
        return context;
    }
    // A leaf's text, or what failed.
    static std::string text_of(drx_context_s* context, const char* path) {
        drx_value_s value;
        const int status = drx_get_leaf_value(context, path, &value);
        return status == DREND_OK ? value.text
                                  : std::to_string(status) + " " + drx_get_error();
    }
    static std::string path_of(drx_context_s* context) {
        const char* path = nullptr;
        EXPECT_EQ(drx_get_path(context, &path), DREND_OK);
        return path;
    }
    static std::string kids_of(drx_context_s* context) {
        const char* const* names = nullptr;
        EXPECT_EQ(drx_get_kids_names(context, &names), DREND_OK);
        std::string text;
        for (; *names != nullptr; ++names) {
            text += std::string(text.empty() ? "" : " ") + *names;
        }
        return text;
    }

    context_t context_;
};

} // namespace

TEST_F(access_test, a_path_leads_to_values) {
    drx_context_s* context = open();
    EXPECT_EQ(inside, 0);
    EXPECT_EQ(path_of(context) + " " + drx_type_text(drx_get_type(context)), "/ root");
    EXPECT_EQ(kids_of(context), "interfaces");
    const struct {
        const char* path;
        const char* here; // what the path is then; null: as it was given
        const char* type;
        const char* kids;
    } places[] = {
        {"/interfaces", nullptr, "container", "interface lo"},
        {"interfaces/interface", "/interfaces/interface", "list",
         "name mtu status address ips large box astray"},
        {"//interfaces//interface[name='lo']/", "/interfaces/interface[name='lo']",
         "list element", "name mtu status address ips large box astray"},
        {"/interfaces/interface[2]", "/interfaces/interface[name='it\\'s']", "list element",
         "name mtu status address ips large box astray"},
        {"/interfaces/interface[name='it\\'s']", nullptr, "list element",
         "name mtu status address ips large box astray"},
        {"/interfaces/interface[mtu > 0x600][mtu > -1][status='up']/address[length=8]",
         "/interfaces/interface[name='lo']/address[2]", "list element", "ip length"},
        {"/interfaces/interface[name='lo']/mtu", nullptr, "leaf", ""},
        {"/interfaces/interface[name='lo']/ips", nullptr, "leaf-list", ""},
        {"/interfaces/interface[name='lo']/ips[2]", nullptr, "leaf-list element", ""},
        {"/interfaces/interface[name='lo']/large", nullptr, "container", "why"},
        {"/interfaces/lo[1]", nullptr, "list element", "mtu"},
    };
    for (const auto& row : places) {
        ASSERT_EQ(drx_push_path(context, row.path), DREND_OK) << drx_get_error();
        EXPECT_EQ(path_of(context), row.here == nullptr ? row.path : row.here);
        EXPECT_STREQ(drx_type_text(drx_get_type(context)), row.type);
        EXPECT_EQ(kids_of(context), row.kids);
        EXPECT_GT(inside, 0);
        // The path that is given leads to the same place.
        const std::string path = path_of(context);
        ASSERT_EQ(drx_push_path(context, path.c_str()), DREND_OK) << drx_get_error();
        EXPECT_EQ(path_of(context), path);
        EXPECT_EQ(drx_pop_path(context), DREND_OK);
        EXPECT_EQ(path_of(context), "/");
        EXPECT_EQ(inside, 0) << row.path;
        EXPECT_TRUE(has_cookie);
    }
}

TEST_F(access_test, leaves_have_texts_and_types) {
    drx_context_s* context = open();
    ASSERT_EQ(drx_push_path(context, "/interfaces/interface[name='lo']"), DREND_OK);
    const char* const row = "/interfaces/interface[name='lo']";
    const struct {
        const char* path;
        std::string text;
    } leaves[] = {
        {"name", "lo"},
        {"mtu", "65536"},
        {"status", "up"},
        {"large/why", "loops"},
        {"address[ip='127.0.0.1']/length", "8"},
        {"ips[2]", "127.0.0.1"},
        {"box/l", "1"}, // from the row that the daemon named
        {"box/r", "2"},
        {"/interfaces/interface[2]/mtu", "-1 no 'interfaces' below " + std::string(row) +
                                             "; there are name, mtu, status, address, ips, "
                                             "large, box, astray"},
        {"", "-1 " + std::string(row) + " is a list element, no leaf"},
        {"large", "-1 " + std::string(row) + "/large is a container, no leaf"},
    };
    for (const auto& leaf : leaves) {
        EXPECT_EQ(text_of(context, leaf.path), leaf.text);
        EXPECT_EQ(path_of(context), row);
    }
    drx_value_s value;
    EXPECT_EQ(drx_get_leaf_value(context, "mtu", &value), DREND_OK);
    EXPECT_EQ(value.type, DRX_INT);
    EXPECT_EQ(value.as.int_value, 65536);
    EXPECT_EQ(drx_get_leaf_value(context, "status", &value), DREND_OK);
    EXPECT_EQ(value.type, DRX_TEXT);
    EXPECT_EQ(drx_set_raw_values(context, 1), 0);
    EXPECT_EQ(drx_get_leaf_value(context, "status", &value), DREND_OK);
    EXPECT_EQ(value.type, DRX_UINT);
    EXPECT_EQ(value.as.uint_value, 6u);
    EXPECT_EQ(drx_set_raw_values(context, 0), 1);
    const struct {
        int status;
        const char* text;
    } statuses[] = {
        {DREND_ERR, "2 /interfaces/interface[name='lo']/status has no value"},
        {DREND_SKIP_LEAF, "2 /interfaces/interface[name='lo']/status has no value"},
        {DREND_DEFER, "1 /interfaces/interface[name='lo']/status has no value yet"}};
    for (const auto& expected : statuses) {
        leaf_status = expected.status;
        EXPECT_EQ(text_of(context, "status"), expected.text);
        EXPECT_EQ(drx_push_path(context, "status"), DREND_OK);
        EXPECT_EQ(text_of(context, nullptr), expected.text);
        EXPECT_EQ(drx_pop_path(context), DREND_OK);
    }
    context = open("many");
    EXPECT_EQ(drx_get_leaf_value(context, "m/load", &value), DREND_OK);
    EXPECT_EQ(value.type, DRX_DOUBLE);
    EXPECT_EQ(value.as.double_value, 1.5);
    EXPECT_STREQ(value.text, "1.500");
    EXPECT_EQ(drx_get_leaf_value(context, "m/yes", &value), DREND_OK);
    EXPECT_EQ(value.type, DRX_BOOLEAN);
    EXPECT_EQ(value.as.boolean, 1);
}

TEST_F(access_test, elements_are_stepped_through) {
    drx_context_s* context = open();
    const auto names = [&](const char* path, const char* leaf) {
        std::vector<std::string> found;
        std::set<std::string> paths; // one for each element
        EXPECT_EQ(drx_push_path(context, path), DREND_OK) << drx_get_error();
        while (drx_get_next_element(context) == DREND_OK) {
            found.push_back(text_of(context, leaf));
            EXPECT_TRUE(paths.insert(path_of(context)).second) << path_of(context);
        }
        EXPECT_EQ(drx_get_type(context), DRX_LIST + 3 * (*leaf == '\0'));
        EXPECT_EQ(drx_get_first_element(context), found.empty() ? DREND_NO_EL : DREND_OK);
        EXPECT_EQ(found.empty() || text_of(context, leaf) == found[0], true);
        EXPECT_EQ(drx_pop_path(context), DREND_OK);
        return found;
    };
    EXPECT_THAT(names("/interfaces/interface", "name"), ElementsAre("lo", "it's"));
    EXPECT_THAT(names("/interfaces/interface[1]/address", "length"),
                ElementsAre("128", "8"));
    EXPECT_THAT(names("/interfaces/interface[1]/ips", ""), ElementsAre("::1", "127.0.0.1"));
    EXPECT_THAT(names("/interfaces/interface[2]/address", "ip"), ElementsAre());
    EXPECT_THAT(names("/interfaces/lo", "mtu"), ElementsAre("65536"));
    // A predicate chooses the first element, and those that follow.
    context = open("many");
    for (const int status : {DREND_DEFER, DREND_OK}) {
        row_status = status; // nobody suspends between the calls of this interface
        ASSERT_EQ(drx_push_path(context, "/m/one[number='3']"), DREND_OK);
        int count = 1;
        while (drx_get_next_element(context) == DREND_OK) {
            EXPECT_EQ(text_of(context, "number"), "3");
            ++count;
        }
        EXPECT_EQ(count, 143);
        EXPECT_EQ(drx_get_first_element(context), DREND_OK);
        EXPECT_EQ(text_of(context, "name"), "3");
    }
    // One key is one step of a procedure that seeks.
    list_calls = 0;
    ASSERT_EQ(drx_push_path(context, "/m/one[name='900']/number"), DREND_OK);
    EXPECT_EQ(text_of(context, ""), "4");
    EXPECT_EQ(list_calls, 1);
    EXPECT_EQ(drx_get_next_element(context), DREND_ERR);
    EXPECT_STREQ(drx_get_error(), "/m/one[name='900']/number is no list");
}

TEST_F(access_test, a_wrong_path_says_what_there_is_and_moves_nothing) {
    drx_context_s* context = open();
    ASSERT_EQ(drx_push_path(context, "/interfaces/interface[name='lo']"), DREND_OK);
    const std::string here = path_of(context);
    const int entered = inside;
    const std::string kids = "name, mtu, status, address, ips, large, box, astray";
    const struct {
        const char* path;
        int status;
        std::string error;
    } wrong[] = {
        {"mtus", DREND_ERR, "no 'mtus' below " + here + "; there are " + kids},
        {"/none", DREND_ERR, "no 'none' below /; there are interfaces"},
        {"by-mtu/mtu", DREND_ERR, "no 'by-mtu' below " + here + "; there are " + kids},
        {"..", DREND_ERR, "no '..' below " + here + "; there are " + kids},
        {"\x1b[2J", DREND_ERR, "'\\x1b[2J' is no component of a path"},
        {"mtu/x", DREND_ERR, "no 'x' below " + here + "/mtu; there is nothing"},
        {"address/ip", DREND_NO_EL, "which element of " + here + "/address?"},
        {"address[ip='x']", DREND_NO_EL,
         "no 'address[ip='x']' below " + here + "; there are address[1], address[2]"},
        {"address[ ip = 'x = (y)' ]", DREND_NO_EL,
         "no 'address[ip='x = (y)']' below " + here + "; there are address[1], address[2]"},
        {"/interfaces/interface[name='lo0']/mtu", DREND_NO_EL,
         "no 'interface[name='lo0']' below /interfaces; there are interface[name='lo'], "
         "interface[name='it\\'s']"},
        {"/interfaces/interface[7]", DREND_NO_EL,
         "no 'interface[7]' below /interfaces; there are interface[name='lo'], "
         "interface[name='it\\'s']"},
        {"/interfaces/interface[name=lo]", DREND_ERR,
         "no 'lo' below /interfaces/interface; there are " + kids +
             " (texts stand in quotes)"},
        {"/interfaces/interface[nam='lo']", DREND_ERR,
         "no 'nam' below /interfaces/interface; there are " + kids +
             " (texts stand in quotes)"},
        {"/interfaces/interface[contains(nam, 'l')]", DREND_ERR,
         "no 'nam' below /interfaces/interface; there are " + kids +
             " (texts stand in quotes)"},
        {"/interfaces/interface[2]/large", DREND_NO_EL,
         "/interfaces/interface[name='it\\'s']/large is not there"},
        {"astray", DREND_NO_EL,
         here + "/astray has no data: the source 'nowhere' leads nowhere"},
        {"mtu['a'='b']", DREND_NO_EL, here + "/mtu is not as its predicate says"},
        {"address[", DREND_ERR, "'address[' is no component of a path"},
        {"[1]", DREND_ERR, "'[1]' is no component of a path"},
        {"address[ip='", DREND_ERR, "a quote is never closed"},
    };
    for (const auto& row : wrong) {
        EXPECT_EQ(drx_push_path(context, row.path), row.status) << row.path;
        EXPECT_EQ(drx_get_error(), row.error);
        EXPECT_EQ(path_of(context), here);
        EXPECT_EQ(inside, entered) << row.path;
    }
    EXPECT_EQ(drx_push_path(context, std::string(5000, '/').c_str()), DREND_ERR);
    EXPECT_STREQ(drx_get_error(), "the path is too large");
    EXPECT_EQ(drx_pop_path(context), DREND_OK);
    EXPECT_EQ(drx_pop_path(context), DREND_ERR);
    EXPECT_STREQ(drx_get_error(), "nothing is pushed");

    drx_context_s* none = context;
    EXPECT_EQ(drx_create_context("shaw", &none), DREND_ERR);
    EXPECT_EQ(none, nullptr);
    EXPECT_STREQ(drx_get_error(), "no 'shaw'; there are show, many, corvane-netconf-get-0, "
                                  "corvane-netconf-get-1, corvane-netconf-get");
    EXPECT_EQ(drx_create_context("tagless", &none), DREND_ERR);
    drx_destroy_context(nullptr);
    context = open("many");
    EXPECT_EQ(drx_push_path(context, "m/one[name='1000']"), DREND_NO_EL);
    EXPECT_THAT(drx_get_error(), testing::EndsWith("one[name='7'], ..."));
    context = open("corvane-netconf-get"); // a root that is not printed itself
    EXPECT_EQ(kids_of(context), "a b");
    EXPECT_EQ(drx_push_path(context, "b"), DREND_OK);
    EXPECT_EQ(path_of(context), "/b");
}

TEST_F(access_test, a_copy_goes_its_own_way) {
    drx_context_s* context = open();
    ASSERT_EQ(drx_push_path(context, "interfaces/interface[mtu > 1000]"), DREND_OK);
    ASSERT_EQ(drx_get_next_element(context), DREND_OK);
    ASSERT_EQ(drx_push_path(context, "box"), DREND_OK);
    for (const char* leaf : {"l", "r", "l"}) {
        EXPECT_NE(text_of(context, leaf), "");
        EXPECT_EQ(begun_at, &interfaces[1]) << leaf; // not where the last look left off
    }
    const std::string here = path_of(context);
    const int entered = inside;
    drx_context_s* made = nullptr;
    ASSERT_EQ(drx_copy_context(context, &made), DREND_OK) << drx_get_error();
    context_t copy(made);
    EXPECT_EQ(inside, 2 * entered); // entered for itself
    EXPECT_EQ(path_of(made), here);
    EXPECT_EQ(drx_pop_path(made), DREND_OK);
    EXPECT_EQ(drx_get_next_element(made), DREND_NO_EL); // by the same predicate
    EXPECT_EQ(drx_get_next_element(made), DREND_OK);
    EXPECT_EQ(text_of(made, "name"), "lo");
    EXPECT_EQ(path_of(context), here);
    context_.reset(); // its exits leave the copy alone
    EXPECT_EQ(inside, entered);
    EXPECT_EQ(text_of(made, "mtu"), "65536");
    many.assign(2, {"x", 1});
    context = open("many");
    ASSERT_EQ(drx_push_path(context, "m/one[2]"), DREND_OK);
    EXPECT_EQ(path_of(context), "/m/one[name='x']");
    many[0].name = many[1].name = "y";
    EXPECT_EQ(drx_copy_context(context, &made), DREND_NO_EL);
    EXPECT_EQ(made, nullptr);
    EXPECT_STREQ(drx_get_error(), "/m/one[name='x'] is gone");
}

TEST_F(access_test, a_context_keeps_its_definitions_until_it_goes) {
    drx_context_s* context = open();
    ASSERT_EQ(drx_push_path(context, "/interfaces/interface[name='lo']"), DREND_OK);
    redefine_tree("show", "new()");
    dri_reload_json();
    EXPECT_EQ(dri_get_set_count(), 2);
    EXPECT_EQ(text_of(context, "mtu"), "65536");
    drx_context_s* made = nullptr;
    ASSERT_EQ(drx_copy_context(context, &made), DREND_OK);
    context_.reset();
    EXPECT_EQ(dri_get_set_count(), 2); // the copy's, too
    EXPECT_EQ(text_of(made, "status"), "up");
    drx_destroy_context(made);
    EXPECT_EQ(dri_get_set_count(), 1);
    EXPECT_EQ(kids_of(open()), "new");
}

TEST_F(access_test, memory_that_runs_out_takes_a_context_to_its_root) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    const std::function<int(drx_context_s*)> calls[] = {
        [](drx_context_s* context) {
            return drx_push_path(context, "/interfaces/interface[name='it\\'s']/box/l");
        },
        [](drx_context_s* context) {
            return drx_push_path(context, "address[length > 100]/ip");
        },
        [](drx_context_s* context) {
            drx_value_s value;
            return drx_get_leaf_value(context, "large/why", &value);
        },
        [](drx_context_s* context) { return drx_get_next_element(context); },
        [](drx_context_s* context) {
            const char* path = nullptr;
            return drx_get_path(context, &path);
        },
        [](drx_context_s* context) {
            drx_context_s* made = nullptr;
            const int status = drx_copy_context(context, &made);
            drx_destroy_context(made);
            return status;
        },
    };
    for (const auto& call : calls) {
        bool has_failed = true;
        for (long number = 1; has_failed; ++number) {
            drx_context_s* context = open();
            ASSERT_EQ(drx_push_path(context, "/interfaces/interface[mtu > 9]"), DREND_OK);
            dri_reset_xpath_cache();
            failing_allocation = number;
            const int status = call(context);
            has_failed = failing_allocation <= 0;
            failing_allocation = 0;
            EXPECT_EQ(status, has_failed ? DREND_ERR : DREND_OK) << number;
            if (has_failed) {
                EXPECT_STREQ(drx_get_error(), "out of memory");
                EXPECT_EQ(path_of(context), "/");
            }
            EXPECT_EQ(drx_push_path(context, "/interfaces/interface[name='lo']"), DREND_OK);
            EXPECT_EQ(text_of(context, "mtu"), "65536");
            ASSERT_FALSE(HasFailure());
        }
        context_.reset();
        EXPECT_EQ(inside, 0);
    }
    failing_allocation = 1;
    drx_context_s* context = nullptr;
    EXPECT_EQ(drx_create_context("show", &context), DREND_ERR);
    failing_allocation = 0;
}
