// SPDX-License-Identifier: BSD-2-Clause

// Answers of configuration alone, and of all else: what a definition says of a tag, and what a
// request asks for, with filters and without.

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "definitions/drend_lookup.h"
#include "drend.h"
#include "render_fixture.h"
#include "service/drend_dump_tags.h"

using testing::HasSubstr;

namespace {

const std::vector<row_s> PORTS = {
    {"p1", 1, {{"n1", 11}, {"n2", 12}}},
    {"p2", 2, {}},
};

// Configuration: a port's name, speed and "ip", a presence container with its mtu and neighbours.
constexpr char NET[] = R"(net=/net{input_kids: [{`dts_name`: `name`, `dts_type`: `leaf`}]}(
    uptime,
    ports{config: `true`}(
      port*{key: [`name`]}(
        name,
        how?(speed=number,
             state=number{config: `false`, map: [[`1`, `up`], [`2`, `down`]]}),
        ip=ip{presence: `yes`}(
          mtu, peer*=../peer{key: [`name`]}(name, age=number{config: `false`})),
        counters{config: `false`}(in=number))),
    empty{config: `true`}(),
    log**(#=text)))";

class content_test : public render_test {
  protected:
    content_test() {
        drend_add_str_leaf("/net/uptime", read_text, "7");
        add_rows("/net/port", &PORTS);
        drend_add_str_leaf("/net/port/ip", read_text, "true");
        drend_add_str_leaf("/net/port/ip/mtu", read_text, "1500");
        add_rows("/net/port/peer", nullptr);
        drend_add_list("/net/log", step_rows, &LOG);
        drend_add_str_leaf("/net/log/text", read_name, nullptr);
        define_tree("net", NET);
    }

    // What is within the top element.
    std::string shown(const std::string& argument) {
        std::string text = render("net", ("as-ietf-xml compact " + argument).c_str());
        const std::string begin = "<net>";
        const std::string end = "</net>";
        if (text.starts_with(begin) && text.ends_with(end)) {
            text = text.substr(begin.size(), text.size() - begin.size() - end.size());
        }
        return text;
    }

    inline static const std::vector<row_s> LOG = {{"l1", 0}};
};

constexpr char IP1[] = "<ip><mtu>1500</mtu><peer><name>n1</name></peer>"
                       "<peer><name>n2</name></peer></ip>";
constexpr char IP1_STATE[] = "<ip><peer><name>n1</name><age>11</age></peer>"
                             "<peer><name>n2</name><age>12</age></peer></ip>";

} // namespace

TEST_F(content_test, a_kind_of_data_is_shown_with_what_encloses_it) {
    const std::string p1 = "<port><name>p1</name>";
    const std::string p2 = "<port><name>p2</name>";
    const std::string config = "<ports>" + p1 + "<speed>1</speed>" + IP1 + "</port>" + p2 +
                               "<speed>2</speed><ip><mtu>1500</mtu></ip></port></ports>";
    const std::string state = "<uptime>7</uptime><ports>" + p1 + "<state>up</state>" +
                              IP1_STATE + "<counters><in>1</in></counters></port>" + p2 +
                              "<state>down</state><counters><in>2</in></counters></port>"
                              "</ports><log>l1</log>";
    const struct {
        const char* argument;
        std::string shown;
    } cases[] = {
        {"content=config", config},
        {"content=nonconfig", state},
        {"content='config' filter='<net/>'", config},
        {"content=nonconfig filter=/net", state},
        {"content=nonconfig filter=/net/", state},
        {"content=config limit=1",
         "<ports>" + p1 + "<speed>1</speed>" + IP1 + "</port></ports>"},
        {"content=config depth=3", "<ports>" + p1 + "</port>" + p2 + "</port></ports>"},
        {"content=nonconfig depth=1", ""},
        // What is selected says nothing of what is shown of it, nor the other way round.
        {"content=config filter='<net><ports><port><state>up</state></port></ports></net>'",
         "<ports>" + p1 + "<speed>1</speed>" + IP1 + "</port></ports>"},
        {"content=nonconfig filter='<net><ports><port><name>p2</name><speed/><state/>"
         "</port></ports></net>'",
         "<ports>" + p2 + "<state>down</state></port></ports>"},
        {"content=nonconfig filter='<net><ports><port><ip/><speed/></port></ports></net>'",
         "<ports>" + p1 + IP1_STATE + "</port></ports>"},
        {"content=config filter='<net><ports><port><state/></port></ports><log/></net>'",
         ""},
        {"content=config filter='<net><ports><port><ip><peer><age/></peer></ip></port>"
         "</ports></net>'",
         "<ports>" + p1 + "<ip></ip></port>" + p2 + "<ip></ip></port></ports>"},
        // Several elements for one tag: each shows its own of each row.
        {"content=nonconfig filter='<net><ports><port><name>p1</name><counters/></port>"
         "<port><name>p2</name></port></ports></net>'",
         "<ports>" + p1 + "<counters><in>1</in></counters></port>" + p2 +
             "<state>down</state><counters><in>2</in></counters></port></ports>"},
        {"content=nonconfig filter='<net><ports><port><name>p1</name></port>"
         "<port><name>p2</name></port></ports><uptime/></net>'",
         state.substr(0, state.find("<log>"))},
        {"content=config filter=/net/ports/port[state='down']/ip",
         "<ports>" + p2 + "<ip><mtu>1500</mtu></ip></port></ports>"},
        {"content=nonconfig filter=/net/ports/port/speed", ""},
        {"content=nonconfig filter=/net/ports/port[speed=2]",
         "<ports>" + p2 +
             "<state>down</state><counters><in>2</in></counters></port></ports>"},
        {"content=nonconfig name=p2",
         "<ports>" + p2 +
             "<state>down</state><counters><in>2</in></counters></port></ports>"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(shown(one.argument), one.shown) << one.argument;
    }
    EXPECT_EQ(shown("content=all"), shown(""));
}

TEST_F(content_test, keys_are_with_what_is_shown_in_every_form) {
    const std::string filter =
        "content=nonconfig filter='<net><ports><port><state/></port></ports></net>'";
    EXPECT_EQ(
        render("net", filter.c_str()),
        "<net>\n  <ports>\n    <port>\n      <name>p1</name>\n        <state>up</state>\n"
        "    </port>\n    <port>\n      <name>p2</name>\n        <state>down</state>\n"
        "    </port>\n  </ports>\n</net>\n");
    for (const char* form : {"as-json ", "as-ietf-json ", "as-json-lines ", "as-table "}) {
        const std::string text = render("net", (form + filter).c_str());
        EXPECT_THAT(text, HasSubstr("p1")) << form;
        EXPECT_THAT(text, HasSubstr("down")) << form;
        EXPECT_THAT(text, testing::Not(HasSubstr("speed"))) << form;
    }
}

// Rows are counted where the filter shows something of them, or could.
TEST_F(content_test, lists_without_anything_of_a_kind_are_not_gone_through) {
    const std::string filter = " filter='<net><ports><port><state/></port></ports></net>'";
    EXPECT_EQ(render("net", ("count content=nonconfig" + filter).c_str()),
              "/net/ports/port 2\n");
    EXPECT_EQ(render("net", ("count content=config" + filter).c_str()), "");
}

TEST_F(content_test, a_filter_beside_the_arguments_is_told_too) {
    const dri_used_tag_t tag(dri_acquire_command_tag("net"));
    dr_request_s asked;
    asked.top_tag = tag.get();
    const struct {
        const char* args;
        const char* filter;
        const char* shown;
    } cases[] = {
        {"as-ietf-xml compact content=config", "/net/ports/port[name='p2']/speed",
         "<net><ports><port><name>p2</name><speed>2</speed></port></ports></net>"},
        {"as-ietf-xml compact content=nonconfig", "/net/ports/port[name='p2']/speed", ""},
        {"as-ietf-xml compact content=config", "/net//ports//port",
         "error: content: the filter has an empty step\n"},
    };
    for (const auto& one : cases) {
        output.text.clear();
        asked.args = one.args;
        asked.filter = one.filter;
        int status = -1;
        EXPECT_EQ(dri_dump_tags(asked, &status), nullptr);
        EXPECT_EQ(output.text, one.shown) << one.args << one.filter;
    }
}

TEST_F(content_test, what_is_no_kind_is_refused) {
    for (const char* wrong :
         {"content", "content=", "content=true", "content='config state'"}) {
        EXPECT_EQ(shown(wrong), "error: content: \"config\", \"nonconfig\" or \"all\" is "
                                "wanted\n")
            << wrong;
    }
    EXPECT_EQ(shown("content=config filter=/net//ports//port"),
              "error: content: the filter has an empty step\n");
}

// Each definition says what its own tags are.
TEST_F(content_test, merged_definitions_keep_what_each_says) {
    define_tree("net", "net=/net(ports(port*{key: [`name`]}(name, more=number, "
                       "own=number{config: `true`})))");
    EXPECT_THAT(shown("content=config"), HasSubstr("<own>1</own>"));
    EXPECT_THAT(shown("content=config"), testing::Not(HasSubstr("<more>")));
    EXPECT_THAT(shown("content=nonconfig"), HasSubstr("<more>2</more>"));
    EXPECT_THAT(shown("content=nonconfig"), testing::Not(HasSubstr("<own>")));
}
