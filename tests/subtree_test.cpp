// SPDX-License-Identifier: BSD-2-Clause

// NETCONF subtree filters: what they select of a depot's engines and tracks, and what is refused.

#include <gmock/gmock.h>

#include "drend.h"
#include "expr/dr_subtree.h"
#include "render_fixture.h"
#include "repeated.h"

namespace {

struct engine_s {
    const char* name;
    const char* kind;
    const char* driver;
    const char* works;  // who built it,
    const char* number; // and their number for it
    std::vector<const char*> duties;
};
const std::vector<engine_s> ENGINES = {
    {"root", "steam", "Charlie Root", "1", "1", {"museum"}},
    {"fred", "diesel", "Fred Flint", "2", "2", {"shunting", "coal"}},
    {"barney", "diesel", "Barney Rub", "2", "3", {"coal"}},
};
const std::vector<row_s> TRACKS = {{"north", 11}, {"south", 22}};

int steps = 0; // of the list of engines

template <typename Row>
int step(dr_meta_context_s* ctx, const std::vector<Row>& rows) {
    const auto* row = static_cast<const Row*>(drend_get_element_ref(ctx));
    row = row == nullptr ? rows.data() : row + 1;
    const bool ends = row == rows.data() + rows.size();
    drend_set_element_ref(ctx, ends ? nullptr : const_cast<Row*>(row));
    return ends ? DREND_NO_EL : DREND_OK;
}

// Goes straight to the engine of a name that the request demands.
int seek_engine(dr_meta_context_s* ctx, const void*) {
    ++steps;
    const char* name = drend_get_filter_name(ctx, "name");
    if (name == nullptr || drend_get_element_ref(ctx) != nullptr) {
        return name == nullptr ? step(ctx, ENGINES) : static_cast<int>(DREND_NO_EL);
    }
    for (const engine_s& engine : ENGINES) {
        if (std::string(name) == engine.name) {
            return drend_set_element_ref(ctx, const_cast<engine_s*>(&engine));
        }
    }
    return DREND_NO_EL;
}

template <const char* engine_s::*Field>
int read_field(dr_meta_context_s* ctx, const void*) {
    return drend_set_string_value(
        ctx, static_cast<const engine_s*>(drend_get_element_ref(ctx))->*Field);
}

int step_duties(dr_meta_context_s* ctx, const void*) {
    EXPECT_EQ(drend_get_filter_name(ctx, "name"), nullptr); // it is the engines' to seek
    return step(ctx,
                static_cast<const engine_s*>(drend_get_element_ref_offset(ctx, 1))->duties);
}

int read_duty(dr_meta_context_s* ctx, const void*) {
    return drend_set_string_value(
        ctx, *static_cast<const char* const*>(drend_get_element_ref(ctx)));
}

constexpr char DEPOT[] = R"(depot=/depot{namespace: `xmlns='urn:example:depot'`}(
    engines(engine*(
        name, kind, crew?(driver),
        plate=plate{namespace: `xmlns='urn:example:plate'`}(works, number),
        duty**(#=value))),
    track*(name, length)))";

class subtree_test : public render_test {
  protected:
    subtree_test() {
        drend_add_list("/depot/engine", seek_engine, nullptr);
        drend_add_str_leaf("/depot/engine/name", read_field<&engine_s::name>, nullptr);
        drend_add_str_leaf("/depot/engine/kind", read_field<&engine_s::kind>, nullptr);
        drend_add_str_leaf("/depot/engine/driver", read_field<&engine_s::driver>, nullptr);
        drend_add_str_leaf("/depot/engine/plate/works", read_field<&engine_s::works>,
                           nullptr);
        drend_add_str_leaf("/depot/engine/plate/number", read_field<&engine_s::number>,
                           nullptr);
        drend_add_list("/depot/engine/duty", step_duties, nullptr);
        drend_add_str_leaf("/depot/engine/duty/value", read_duty, nullptr);
        add_rows("/depot/track", &TRACKS, "name", "length");
        define_tree("depot", DEPOT);
    }

    // The answer in one line, without the depot's own tags.
    std::string shown(const std::string& filter, const char* more = "") {
        return in_one_line(render("depot", ("filter='" + filter + "'" + more).c_str()));
    }
    // What is shown of the engines or tracks that a filter of the depot's kids selects.
    std::string within(const std::string& filter) {
        return shown("<depot>" + filter + "</depot>");
    }

    static std::string in_one_line(const std::string& text) {
        std::string line;
        for (size_t begin = 0; begin < text.size();) {
            begin = text.find_first_not_of(' ', begin);
            const size_t end = text.find('\n', begin);
            line += text.substr(begin, end - begin);
            begin = end == std::string::npos ? end : end + 1;
        }
        return line;
    }
};

// One engine as it is shown in full.
std::string full(const engine_s& engine) {
    const auto leaf = [](const std::string& name, const char* value) {
        return "<" + name + ">" + value + "</" + name + ">";
    };
    std::string text = "<engine>" + leaf("name", engine.name) + leaf("kind", engine.kind) +
                       leaf("driver", engine.driver) +
                       "<plate xmlns=\"urn:example:plate\">" + leaf("works", engine.works) +
                       leaf("number", engine.number) + "</plate>";
    for (const char* duty : engine.duties) {
        text += leaf("duty", duty);
    }
    return text + "</engine>";
}

std::string depot_of(const std::string& kids) {
    return kids.empty() ? "" : "<depot xmlns=\"urn:example:depot\">" + kids + "</depot>";
}
std::string engines_of(const std::string& engines) {
    return depot_of("<engines>" + engines + "</engines>");
}

const std::string ALL_ENGINES = full(ENGINES[0]) + full(ENGINES[1]) + full(ENGINES[2]);
const std::string ALL_TRACKS = "<track><name>north</name><length>11</length></track>"
                               "<track><name>south</name><length>22</length></track>";

} // namespace

// The examples of RFC 6241, 6.4.1 to 6.4.8, with engines for users.
TEST_F(subtree_test, examples_of_the_rfc) {
    // 6.4.1 no filter; 6.4.2 an empty one
    const std::string all = depot_of("<engines>" + ALL_ENGINES + "</engines>" + ALL_TRACKS);
    EXPECT_EQ(in_one_line(render("depot")), all);
    EXPECT_EQ(shown("<filter/>"), "");
    EXPECT_EQ(shown("<filter type=\"subtree\"></filter>"), "");
    const struct {
        const char* filter; // within <filter><depot>
        std::string engines;
    } cases[] = {
        // 6.4.3 the whole subtree
        {"<engines/>", ALL_ENGINES},
        {"<engines><engine/></engines>", ALL_ENGINES},
        // 6.4.4 all names
        {"<engines><engine><name/></engine></engines>",
         "<engine><name>root</name></engine><engine><name>fred</name></engine>"
         "<engine><name>barney</name></engine>"},
        // 6.4.5 one entry
        {"<engines><engine><name>fred</name></engine></engines>", full(ENGINES[1])},
        // 6.4.6 some elements of one entry
        {"<engines><engine><name>fred</name><kind/><driver/></engine></engines>",
         "<engine><name>fred</name><kind>diesel</kind><driver>Fred "
         "Flint</driver></engine>"},
        // 6.4.7 several subtrees
        {"<engines><engine><name>root</name><plate/></engine>"
         "<engine><name>fred</name><plate><number/></plate></engine>"
         "<engine><name>barney</name><kind>steam</kind><plate><works/></plate></engine>"
         "</engines>",
         "<engine><name>root</name><plate xmlns=\"urn:example:plate\"><works>1</works>"
         "<number>1</number></plate></engine>"
         "<engine><name>fred</name><plate xmlns=\"urn:example:plate\"><number>2</number>"
         "</plate></engine>"},
        // 6.4.8 attributes: what is shown here has none
        {"<engines><engine name=\"fred\"/></engines>", ""},
        {"<engines><engine name=\"fred\"><kind/></engine></engines>", ""},
    };
    for (const auto& c : cases) {
        const std::string expected = c.engines.empty() ? "" : engines_of(c.engines);
        const std::string depot =
            std::string("<depot xmlns=\"urn:example:depot\">") + c.filter + "</depot>";
        // Elements inherit the depot's namespace, so plates are named without any.
        EXPECT_EQ(within(c.filter), expected) << c.filter;
        if (depot.find("<plate") == std::string::npos) {
            EXPECT_EQ(shown("<filter>" + depot + "</filter>"), expected) << c.filter;
            EXPECT_EQ(shown(depot), expected) << c.filter;
        }
    }
}

TEST_F(subtree_test, selection_and_content_matches) {
    const auto engine = [](const std::string& kids) {
        return "<engines><engine>" + kids + "</engine></engines>";
    };
    const std::string fred_coal = "<engine><name>fred</name><duty>coal</duty></engine>";
    const std::string barney_coal = "<engine><name>barney</name><duty>coal</duty></engine>";
    const struct {
        std::string filter;
        std::string expected;
    } cases[] = {
        // two leaves of one list and the whole of another
        {engine("<name/><kind/>") + "<track/>",
         depot_of("<engines><engine><name>root</name><kind>steam</kind></engine><engine>"
                  "<name>fred</name><kind>diesel</kind></engine><engine><name>barney</name>"
                  "<kind>diesel</kind></engine></engines>" +
                  ALL_TRACKS)},
        // in the definition's order, whatever the filter's
        {"<track><length/></track>" + engine("<name>root</name>"),
         depot_of("<engines>" + full(ENGINES[0]) +
                  "</engines><track><length>11</length></track>"
                  "<track><length>22</length></track>")},
        // content matches at two levels, the inner one alone and with a selection
        {engine("<kind>diesel</kind><plate><number>3</number></plate>"),
         engines_of("<engine><kind>diesel</kind></engine><engine><kind>diesel</kind>"
                    "<plate xmlns=\"urn:example:plate\"><works>2</works><number>3</number>"
                    "</plate></engine>")},
        {engine("<plate><number>3</number><works/></plate>"),
         engines_of("<engine><plate xmlns=\"urn:example:plate\"><works>2</works>"
                    "<number>3</number></plate></engine>")},
        // the same element twice: whoever passes one of them shows what that selects
        {"<engines><engine><kind>diesel</kind><name/></engine>"
         "<engine><name>fred</name><driver/></engine></engines>",
         engines_of("<engine><name>fred</name><kind>diesel</kind><driver>Fred Flint"
                    "</driver></engine><engine><name>barney</name><kind>diesel</kind>"
                    "</engine>")},
        {"<engines><engine><kind>steam</kind></engine><engine><name/></engine></engines>",
         engines_of(full(ENGINES[0]) + "<engine><name>fred</name></engine>"
                                       "<engine><name>barney</name></engine>")},
        {"<engines/><engines><engine><name/></engine></engines>", engines_of(ALL_ENGINES)},
        {"<engines><engine><plate><works/></plate></engine>"
         "<engine><plate><number>2</number></plate></engine></engines>",
         engines_of(
             "<engine><plate xmlns=\"urn:example:plate\"><works>1</works></plate>"
             "</engine><engine><plate xmlns=\"urn:example:plate\"><works>2</works>"
             "<number>2</number></plate></engine><engine>"
             "<plate xmlns=\"urn:example:plate\"><works>2</works></plate></engine>")},
        // several content matches: all of them
        {engine("<kind>diesel</kind><driver>Barney Rub</driver>"),
         engines_of(full(ENGINES[2]))},
        {engine("<name>fred</name><name>barney</name>"), ""},
        // leaf-lists: an entry matches, and is the one that is shown beside a selection
        {engine("<duty>coal</duty>"), engines_of(full(ENGINES[1]) + full(ENGINES[2]))},
        {engine("<duty>coal</duty><name/>"), engines_of(fred_coal + barney_coal)},
        {engine("<duty>coal</duty><duty>shunting</duty>"), engines_of(full(ENGINES[1]))},
        {engine("<duty/><name>root</name>"),
         engines_of("<engine><name>root</name><duty>museum</duty></engine>")},
        // white space around a text does not count, within it does
        {engine("<name>\n   fred\t</name>"), engines_of(full(ENGINES[1]))},
        {engine("<driver>Fred  Flint</driver>"), ""},
        {engine("<name>  </name>"),
         engines_of("<engine><name>root</name></engine><engine><name>fred</name></engine>"
                    "<engine><name>barney</name></engine>")},
        {engine("<driver><![CDATA[Fred]]> &#70;lint<!-- who --></driver>"),
         engines_of(full(ENGINES[1]))},
        // below a choice, and what is not there
        {engine("<driver>Fred Flint</driver><name/>"),
         engines_of("<engine><name>fred</name><driver>Fred Flint</driver></engine>")},
        {engine("<crew><driver/></crew>"), ""},
        {engine("<cab/>"), ""},
        {engine("<name>fred</name><cab/>"),
         engines_of("<engine><name>fred</name></engine>")},
        {engine("<plate>2</plate>"), ""},
        {engine("<name><first/></name>"), ""},
        {"<engine/>", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(within(c.filter), c.expected) << c.filter;
    }
}

// Where it is judged by its entries, too.
TEST_F(subtree_test, a_leaf_list_that_is_entered_is_left) {
    static std::string log;
    const auto note = [](dr_meta_context_s*, const void* sign) {
        return log += static_cast<const char*>(sign), 0;
    };
    drend_add_enter("/depot/engine/duty", note, "+");
    drend_add_exit("/depot/engine/duty", note, "-");
    log.clear();
    within("<engines><engine><duty>none</duty></engine></engines>");
    EXPECT_EQ(log, "+-+-+-"); // once for each engine
}

TEST_F(subtree_test, namespaces_select) {
    const std::string works = engines_of(
        "<engine><plate "
        "xmlns=\"urn:example:plate\"><works>1</works></plate></engine><engine>"
        "<plate xmlns=\"urn:example:plate\"><works>2</works></plate></engine><engine>"
        "<plate xmlns=\"urn:example:plate\"><works>2</works></plate></engine>");
    const struct {
        const char* filter;
        std::string expected;
    } cases[] = {
        {"<d:depot xmlns:d=\"urn:example:depot\"><d:track/></d:depot>",
         depot_of(ALL_TRACKS)},
        {"<depot xmlns=\"urn:example:depot\"><track xmlns=\"\"/></depot>",
         depot_of(ALL_TRACKS)},
        {"<depot xmlns=\"urn:example:other\"><track/></depot>", ""},
        {"<depot xmlns:x=\"urn:example:other\"><x:track/></depot>", ""},
        {"<depot xmlns=\"urn:example:depot\"><engines><engine>"
         "<plate xmlns=\"urn:example:plate\"><works/></plate></engine></engines></depot>",
         works},
        {"<depot xmlns=\"urn:example:depot\"><engines><engine><plate><works/></plate>"
         "</engine></engines></depot>",
         ""},
        {"<nc:filter xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
         "nc:type=\"subtree\">"
         "<depot><track/></depot></nc:filter>",
         depot_of(ALL_TRACKS)},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<depot><track/></depot>",
         depot_of(ALL_TRACKS)},
        {"<depot><track><name>north</name></track></depot><other/>"
         "<depot><track><name>south</name></track></depot>",
         depot_of(ALL_TRACKS)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(shown(c.filter), c.expected) << c.filter;
    }
}

TEST_F(subtree_test, every_form_and_slice_shows_the_same) {
    const std::string filter = "<depot><engines><engine><name>fred</name><duty>coal</duty>"
                               "</engine></engines><track><length/></track></depot>";
    EXPECT_EQ(shown(filter, " as-json"),
              R"({"depot" : {"engines" : {"engine" : [{"name" : "fred","kind" : "diesel",)"
              R"("driver" : "Fred Flint","plate" : {"works" : "2","number" : "2"},)"
              R"("duty" : ["shunting","coal"]}]},"track" : [{"length" : "11"},)"
              R"({"length" : "22"}]}})");
    const std::string at_once = shown(filter);
    const std::string twice = "<depot><engines><engine><kind>diesel</kind><duty/></"
                              "engine><engine><name>root</name>"
                              "<kind>steam</kind><plate/></engine></engines></depot>";
    const std::string twice_at_once = shown(twice);
    drend_add_walk_handlers(
        nullptr, [](dr_meta_context_s*, void*) { return 1; }, nullptr);
    for (const int on_hidden_rows : {0, 1}) {
        drend_set_suspend_on_hidden_rows(on_hidden_rows);
        EXPECT_EQ(shown(filter), at_once);
        EXPECT_GT(slices, 1);
        EXPECT_EQ(shown(twice), twice_at_once);
        EXPECT_GT(slices, 1);
    }
    drend_set_suspend_on_hidden_rows(0);
}

TEST_F(subtree_test, a_key_is_one_step_of_a_seeking_list) {
    const auto steps_for = [&](const std::string& filter) {
        steps = 0;
        within("<engines>" + filter + "</engines>");
        return steps;
    };
    const std::string fred = "<engine><name>fred</name></engine>";
    EXPECT_EQ(steps_for(fred), 2); // and one to see that there is no other
    EXPECT_EQ(steps_for("<engine><name>fred</name><plate><works/></plate></engine>"), 2);
    EXPECT_EQ(steps_for(fred + "<engine><name>root</name></engine>"), 4); // either: a scan
    EXPECT_EQ(steps_for("<engine><kind>diesel</kind></engine>"), 4);
}

TEST_F(subtree_test, what_is_no_filter_is_answered_with_one_line) {
    const std::string no_string = "error: Failed to parse the filter string.\n";
    const std::string no_document = "error: Failed to parse the document.\n";
    const std::string no_filter = "error: Can't convert subtree to xpath.\n";
    const auto attributes = [](int count) {
        std::string text = "<depot";
        for (int n = 0; n < count; ++n) {
            text += " a" + std::to_string(n) + "=\">\"";
        }
        return text + "/>";
    };
    const auto nested = [](int depth) {
        return repeated(depth, "<a>") + repeated(depth, "</a>");
    };
    const struct {
        std::string filter;
        std::string answer;
    } cases[] = {
        {"<depot>", no_document},
        {"<depot></tracks>", no_document},
        {"<depot><x:track/></depot>", no_document},
        {"<depot/>&undeclared;", no_document},
        {"<depot a=\"1\" a=\"2\"/>", no_document},
        {"<depot>\x01</depot>", no_document},
        {"<depot>\xff</depot>", no_document},
        {"<!DOCTYPE depot><depot/>", no_document},
        {"<!DOCTYPE d [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><depot>&e;</depot>",
         no_document},
        {"<depot/></f><f>", no_document},
        {"<depot/><?php echo ?>", no_filter},
        {"<depot><track/>text</depot>", no_filter},
        {"<filter>depot</filter>", no_filter},
        {"<depot/>text", no_filter},
        {nested(256), ""},
        {nested(257), no_filter},
        {"<depot>" + repeated(4095, "<x/>") + "</depot>", ""},
        {"<depot>" + repeated(4096, "<x/>") + "</depot>", no_filter},
        {attributes(1024), ""},
        {attributes(1025), no_filter},
        {"<?xml \"?><!-- \" -->" + attributes(1025), no_filter},
        {"<x><![CDATA[\"]]></x>" + attributes(1025), no_filter},
        {"<depot>" + repeated(1025, "a=\"1\" ") + "</depot>", ""}, // a text
        {"<!--" + std::string(65536 - 15, ' ') + "--><depot/>", ""},
        {"<!--" + std::string(65537 - 15, ' ') + "--><depot/>", no_string},
    };
    for (const auto& c : cases) {
        const std::string answer = render("depot", ("filter='" + c.filter + "'").c_str());
        EXPECT_EQ(answer.starts_with("error") ? answer : "", c.answer)
            << c.filter.substr(0, 100);
    }
}

// A command whose top element has no parent to match it.
TEST_F(subtree_test, top_elements_that_are_leaves_or_lists) {
    define_tree("track", "track*=/depot/track(name)");
    define_tree("town", "town=/town");
    drend_add_str_leaf("/town", read_text, "Derry");
    const auto ask = [&](const char* command, const char* filter) {
        return in_one_line(
            render(command, ("filter='" + std::string(filter) + "'").c_str()));
    };
    EXPECT_EQ(ask("track", "<track><name>south</name></track>"),
              "<track><name>south</name></track>");
    EXPECT_EQ(ask("town", "<town/>"), "<town>Derry</town>");
    EXPECT_EQ(ask("town", "<town>Derry</town>"), "<town>Derry</town>");
    EXPECT_EQ(ask("town", "<town>Ulm</town>"), "");
}
