// SPDX-License-Identifier: BSD-2-Clause

// Random cases: whatever the definitions, a daemon's data and a request are, and whatever happens
// to the answer on its way, these properties hold.
//
// A failure names its seed; DREND_RANDOM_SEED=seed repeats that case alone, DREND_RANDOM_CASES=n
// runs n cases from there on (from 0 by default).

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include <jansson.h>
#include <libxml/parser.h>

#include "definitions/drend_load.h"
#include "model/drend_meta_tree.h"
#include "random_case.h"
#include "render_fixture.h"

namespace {

constexpr unsigned SUSPENSIONS = 25; // of a hundred places
constexpr char NOTHING[] = "210\n";  // the answer that stands for none

// The words that ask for the forms.
enum form_e : unsigned { XML, JSON, TABLE, IETF_XML, IETF_JSON, LINES, FORMS };
constexpr const char* FORM_WORDS[FORMS] = {
    "", "as-json ", "as-table wide ", "as-ietf-xml ", "as-ietf-json ", "as-json-lines "};
constexpr form_e EVERY_FORM[] = {XML, TABLE, IETF_XML, IETF_JSON, LINES, JSON};

// --- peers ---------------------------------------------------------------------------------

struct peer_s {
    std::string text{};
    size_t room = 1 << 20; // the send that goes beyond it fails
    void* cookie = nullptr;
    drend_cookie_cleanup_t cleanup = nullptr;
    bool is_gone = false;   // lost or closed: nothing may be sent to it any more
    bool is_closed = false; // nobody may ask for its cookie any more, either
    std::string wrong{};    // what happened to it that may not

    void close() {
        is_gone = is_closed = true;
        if (cookie != nullptr) {
            cleanup(std::exchange(cookie, nullptr));
        }
    }
};

peer_s& peer_of(void* handle) {
    return *static_cast<peer_s*>(handle);
}

void*& cookie_of(void* handle) {
    peer_of(handle).wrong += peer_of(handle).is_closed ? "its cookie after its close " : "";
    return peer_of(handle).cookie;
}

int deliver(void* handle, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = va_arg(args, const char*);
    va_end(args);
    peer_s& peer = peer_of(handle);
    peer.wrong += peer.is_gone ? "sent to when it was gone: " + text : "";
    peer.wrong += text.empty() ? "sent an empty text" : "";
    peer.is_gone |= peer.text.size() + text.size() > peer.room;
    peer.text += peer.is_gone ? "" : text;
    return peer.is_gone ? DREND_PEER_LOST : 0;
}

int flush(void* handle) {
    peer_of(handle).wrong += peer_of(handle).is_gone ? "flushed when it was gone" : "";
    return 0;
}

// Walks that were handed over for continuing.
std::vector<void*> waiting;

// --- what an answer holds --------------------------------------------------------------------

// The names and values of what was printed, in any order.
using values_t = std::multiset<std::pair<std::string, std::string>>;

// What the two forms write differently made equal: control characters, blanks around a leaf-list's
// value, and prefixes, which JSON does not know.
std::string comparable(std::string text) {
    for (size_t at; (at = text.find("\uFFFD")) != std::string::npos;) {
        text.replace(at, 3, " ");
    }
    for (char& c : text) {
        c = (c > 0 && c < ' ') || c == '\xFF' ? ' ' : c;
    }
    text.erase(0, text.find_first_not_of(' '));
    text.erase(text.find_last_not_of(' ') + 1);
    return text.substr(text.starts_with("p:") ? 2 : 0);
}

void collect(const xmlNode* element, values_t& values) {
    const xmlNode* kid = xmlFirstElementChild(const_cast<xmlNode*>(element));
    if (kid == nullptr) {
        xmlChar* text = xmlNodeGetContent(element);
        values.insert({reinterpret_cast<const char*>(element->name),
                       comparable(reinterpret_cast<const char*>(text))});
        xmlFree(text);
    }
    for (; kid != nullptr; kid = xmlNextElementSibling(const_cast<xmlNode*>(kid))) {
        collect(kid, values);
    }
}

void collect(const char* name, json_t* value, values_t& values) {
    if (const char* colon = strchr(name, ':')) {
        name = colon + 1; // behind a module
    }
    if (json_is_string(value)) {
        values.insert({name, comparable(json_string_value(value))});
    } else if (json_is_integer(value)) {
        values.insert({name, std::to_string(json_integer_value(value))});
    } else if (json_is_boolean(value)) {
        values.insert({name, json_is_true(value) ? "true" : "false"});
    }
    for (size_t i = 0; i < json_array_size(value); ++i) {
        collect(name, json_array_get(value, i), values);
    }
    const char* key = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value, key, member) {
        collect(key, member, values);
    }
}

values_t values_of_xml(const std::string& text) {
    // Merged definitions have several top elements, a list one for each row.
    const std::string whole = "<_>" + (text == NOTHING ? "" : text) + "</_>";
    xmlDoc* document =
        xmlReadMemory(whole.data(), static_cast<int>(whole.size()), "answer", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOWARNING | XML_PARSE_NOERROR);
    values_t values;
    EXPECT_NE(document, nullptr) << "the XML is well-formed:\n" << text;
    if (document != nullptr) {
        collect(xmlDocGetRootElement(document), values);
    }
    xmlFreeDoc(document);
    return values;
}

// The document; null for none.
json_t* parsed(const std::string& text, bool has_twins) {
    json_error_t error;
    json_t* document =
        json_loads(text.c_str(), has_twins ? 0 : JSON_REJECT_DUPLICATES, &error);
    EXPECT_NE(document, nullptr) << "the JSON parses: " << error.text << " in\n" << text;
    return document;
}

values_t values_of_json(const std::string& text, bool has_twins) {
    // A command that is a list prints its member alone.
    json_t* document = parsed(text == NOTHING         ? "{}"
                              : text.starts_with('{') ? text
                                                      : "{" + text + "}",
                              has_twins);
    values_t values;
    collect("", document, values);
    json_decref(document);
    return values;
}

void replace_all(std::string& text, std::string_view what, std::string_view by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
}

// The words of a table, values among them, without names. One text that the library shows for
// values has a blank.
values_t values_of_table(const std::string& text) {
    values_t values;
    std::string whole = text;
    replace_all(whole, "Conversion Error",
                "Conversion\x01"
                "Error");
    std::istringstream words(whole);
    for (std::string word; words >> word;) {
        word.erase(word.find_last_not_of(',') + 1);
        word = word == "\"\"" ? "" : word;
        for (const char* control : {"\\t", "\\r"}) {
            replace_all(word, control, " ");
        }
        values.insert({"", comparable(word)});
    }
    EXPECT_FALSE(text.starts_with('\n')) << "a blank line comes first:\n" << text;
    EXPECT_EQ(text.find(" \n"), std::string::npos) << "blanks end a line:\n" << text;
    EXPECT_EQ(text.find('\033'), std::string::npos) << text;
    return values;
}

// The rows of the outermost lists in a document, one to a line.
void list_rows(json_t* value, bool is_in_list, std::string& lines) {
    for (size_t i = 0; i < json_array_size(value); ++i) {
        list_rows(json_array_get(value, i), true, lines);
    }
    if (json_is_object(value) && is_in_list) {
        char* line = json_dumps(value, JSON_SORT_KEYS);
        lines.append(line).append("\n");
        free(line);
        return;
    }
    const char* key = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value, key, member) {
        list_rows(member, false, lines);
    }
}

std::string listed(const values_t& values) {
    std::string text;
    for (const auto& [name, value] : values) {
        text += name + "=" + value + "\n";
    }
    return text;
}

// --- the fixture -----------------------------------------------------------------------------

class random_test : public render_test {
  protected:
    random_test() {
        drend_set_send_method_w_return(deliver);
        drend_set_flush_method(flush);
        drend_set_get_cookie_method([](void* peer) { return cookie_of(peer); });
        drend_set_set_cookie_method(
            [](void* peer, void* cookie) { return cookie_of(peer) = cookie, 0; });
        drend_set_cleanup_setup_method([](void* peer, drend_cookie_cleanup_t cleanup) {
            return peer_of(peer).cleanup = cleanup, 0;
        });
        drend_set_reschedule_handler([](void*, void* walk) { waiting.push_back(walk); },
                                     nullptr);
    }
    ~random_test() override {
        drend_set_get_cookie_method(nullptr);
        drend_set_set_cookie_method(nullptr);
        drend_set_cleanup_setup_method(nullptr);
        surround(0, 0);
    }

    void run(uint64_t seed) {
        case_ = std::make_unique<case_s>(seed);
        dice_ = dice_c(seed + 1);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", argument: " + case_->argument +
                     ", definitions:\n" + case_->json());
        dmn_reset_root();
        case_->serve();
        redefine(0, case_->json());
        drend_dir_init();
        const int before = failures();
        if (!find_command()) {
            EXPECT_TRUE(case_->may_be_refused) << "the definition loads";
            return;
        }
        answers_parse_and_agree();
        if (failures() == before) {
            suspension_changes_no_byte();
            a_lost_peer_is_left_alone();
            a_walk_that_is_given_up_is_gone();
            a_busy_peer_keeps_its_walk();
            the_dump_of_values_may_be_suspended();
            pages_have_everything();
        }
    }

    static int failures() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        return test->result()->total_part_count();
    }

  private:
    // --- verbs ---

    bool find_command() {
        const char* word = nullptr;
        for (subcode_ = 0; (word = drend_menu_get_command_string(subcode_)) != nullptr;
             ++subcode_) {
            if (word == case_->command) {
                return true;
            }
        }
        return false;
    }

    int ask(peer_s& peer, form_e form, unsigned suspensions) {
        waiting.clear();
        case_->begin_run(dice_.next(), suspensions);
        // Of a form alone, unlike "as-json", the answer has no style; a word of any other kind
        // makes it the same again.
        const std::string other = form > JSON ? "other " : "";
        return drend_dump_tags(&peer, subcode_,
                               (FORM_WORDS[form] + other + case_->argument).c_str());
    }

    static void go_on(
        const std::function<void()>& between = [] {}, int slices = -1) {
        while (!waiting.empty() && slices-- != 0) {
            void* walk = waiting.back();
            waiting.pop_back();
            between();
            drend_defer_continue(walk);
        }
    }

    static void surround(unsigned send_buffer, int suspends_on_hidden_rows) {
        drend_set_send_buffer(send_buffer);
        drend_set_suspend_on_hidden_rows(suspends_on_hidden_rows);
    }

    void draw_surroundings() {
        static constexpr unsigned sizes[] = {0, 0, 1, 100, 5000};
        surround(dice_.one_of(sizes), dice_.chance(50));
    }

    void reload(const std::string& json) {
        redefine(0, json);
        dri_reload_json();
    }

    void expect_nothing_left(const peer_s& peer, const char* when) {
        EXPECT_EQ(peer.wrong, "") << when;
        EXPECT_EQ(peer.cookie, nullptr) << when;
        EXPECT_TRUE(case_->is_balanced()) << when << " each enter has had its exit";
        EXPECT_EQ(dri_inuse_count(), 0U) << when;
        EXPECT_EQ(dri_get_set_count(), 1) << when;
    }

    // --- properties ---

    void answers_parse_and_agree() {
        values_t values[FORMS];
        surround(0, 0);
        for (const form_e form : EVERY_FORM) {
            peer_s peer;
            EXPECT_EQ(ask(peer, form, 0), 0);
            go_on();
            ASSERT_FALSE(case_->is_overrun() || peer.is_gone) << "the answer ends";
            expect_nothing_left(peer, "after an answer");
            whole_[form] = peer.text;
            values[form] = values_in(form);
        }
        for (const form_e form : {JSON, IETF_XML, IETF_JSON}) {
            if (form == IETF_JSON && case_->has_internal_lists()) {
                continue; // members of one name
            }
            EXPECT_EQ(listed(common(values[XML])), listed(common(values[form])))
                << FORM_WORDS[form] << "holds the same values as XML:\n"
                << whole_[XML] << whole_[form];
        }
        EXPECT_EQ(listed(missing(values[XML], values[TABLE])), "")
            << "a table holds what XML holds:\n"
            << whole_[XML] << whole_[TABLE];
        // By the last of the answers.
        EXPECT_EQ(listed(exact(values[JSON])), listed(given()))
            << "what the daemon gives stands in its row once:\n"
            << whole_[JSON];
        if (!case_->has_twins && !case_->has_internal_lists()) {
            EXPECT_EQ(listed(with_text(values[IETF_XML])),
                      listed(with_text(values[IETF_JSON])))
                << "the same content:\n"
                << whole_[IETF_XML] << whole_[IETF_JSON];
            if (!case_->may_be_refused) {
                lines_are_the_rows();
            }
        }
    }

    values_t values_in(form_e form) const {
        const std::string& text = whole_[form];
        switch (form) {
        case XML:
        case IETF_XML:
            return values_of_xml(text);
        case TABLE:
            return values_of_table(text);
        case LINES: // which are compared as a whole
            return {};
        default:
            return values_of_json(text, case_->has_twins || (form == IETF_JSON &&
                                                             case_->has_internal_lists()));
        }
    }

    // The values of regular elements that a table does not hold as often.
    values_t missing(const values_t& xml, const values_t& table) const {
        values_t rest;
        values_t left = table;
        for (const auto& [name, value] : xml) {
            if (!case_->shown.contains(name)) {
                continue;
            }
            const auto found = left.find({"", value});
            if (found == left.end()) {
                rest.insert({name, value});
            } else {
                left.erase(found);
            }
        }
        return rest;
    }

    void lines_are_the_rows() {
        std::string lines;
        std::string rows;
        std::istringstream stream(whole_[LINES] == NOTHING ? "" : whole_[LINES]);
        for (std::string line; std::getline(stream, line);) {
            json_t* row = parsed(line, false);
            list_rows(row, true, lines);
            json_decref(row);
        }
        json_t* document =
            parsed(whole_[IETF_JSON] == NOTHING ? "[]" : whole_[IETF_JSON], false);
        list_rows(document, !case_->has_lists(), rows);
        json_decref(document);
        EXPECT_EQ(lines, rows) << "a line is a row of the document:\n"
                               << whole_[LINES] << whole_[IETF_JSON];
    }

    // Without empty ones, which in XML may also be containers.
    static values_t with_text(values_t values) {
        std::erase_if(values, [](const auto& value) { return value.second.empty(); });
        return values;
    }

    // The values that all forms print: no internal ones, no zeros, which XML may leave out, and
    // no keys of rows of which a filter shows nothing else.
    values_t common(values_t values) const {
        std::erase_if(values, [&](const auto& value) {
            const auto& [name, text] = value;
            const auto found = case_->shown.find(name);
            return found == case_->shown.end() || name.starts_with('_') ||
                   (found->second.leaf->is_key && !case_->argument.empty()) ||
                   (text.starts_with('0') && atof(text.c_str()) == 0);
        });
        return values;
    }

    values_t exact(values_t values) const {
        std::erase_if(values, [&](const auto& value) {
            const auto found = case_->shown.find(value.first);
            return found == case_->shown.end() || !found->second.is_exact;
        });
        return values;
    }

    // What the daemon gave, since the run began, for leaves that were read for being printed alone.
    values_t given() const {
        values_t values;
        for (const auto& [name, shown] : case_->shown) {
            for (unsigned row = 0; shown.is_exact && row < shown.leaf->rows; ++row) {
                if (shown.leaf->given[row]) {
                    values.insert({name, comparable(case_->text_of(shown, row))});
                }
            }
        }
        return values;
    }

    void suspension_changes_no_byte() {
        static const std::string others[] = {"[]", "[{", ""};
        for (const form_e form : EVERY_FORM) {
            peer_s peer;
            unsigned reloads = dice_.below(3);
            draw_surroundings();
            EXPECT_EQ(ask(peer, form, SUSPENSIONS), 0);
            go_on([&] {
                if (reloads > 0 && dice_.chance(50)) {
                    --reloads;
                    reload(dice_.chance(50) ? case_->json() : dice_.one_of(others));
                }
            });
            EXPECT_EQ(peer.text, whole_[form]) << "the same bytes however often suspended";
            expect_nothing_left(peer, "after a suspended answer");
            reload(case_->json());
        }
    }

    void a_lost_peer_is_left_alone() {
        const form_e form = dice_.one_of(EVERY_FORM);
        const size_t size = whole_[form].size();
        peer_s peer;
        draw_surroundings();
        peer.room = dice_.chance(30) ? size - 1 : dice_.below(size);
        const int result = ask(peer, form, dice_.chance(50) ? SUSPENSIONS : 0);
        EXPECT_EQ(result, peer.cookie == nullptr ? DREND_PEER_LOST : 0) << "of a lost peer";
        go_on();
        EXPECT_TRUE(peer.is_gone);
        EXPECT_EQ(peer.text, whole_[form].substr(0, peer.text.size()));
        expect_nothing_left(peer, "after the loss of the peer");
    }

    // Dropped, or by the closing of its peer; the next walk may lie where it lay.
    void a_walk_that_is_given_up_is_gone() {
        const form_e form = dice_.one_of(EVERY_FORM);
        const bool is_dropped = dice_.chance(50);
        peer_s peer;
        peer_s next;
        surround(0, 0);
        ask(peer, form, SUSPENSIONS);
        go_on([] {}, static_cast<int>(dice_.below(4)));
        if (void* walk = peer.cookie) {
            if (is_dropped) {
                drend_drop_walk(walk);
            } else {
                peer.close();
            }
            EXPECT_EQ(drend_defer_continue(walk), DREND_ERR) << "a timer that comes late";
            expect_nothing_left(peer, is_dropped ? "after a drop" : "after a close");
            ask(next, form, SUSPENSIONS);
            peer.close();
            go_on();
            EXPECT_EQ(next.text, whole_[form]) << "the next peer's answer is whole";
            expect_nothing_left(next, "after the next peer's answer");
        }
    }

    void a_busy_peer_keeps_its_walk() {
        const form_e form = dice_.one_of(EVERY_FORM);
        peer_s peer;
        ask(peer, form, SUSPENSIONS);
        if (void* walk = peer.cookie) {
            const std::string before = std::exchange(peer.text, "");
            EXPECT_EQ(drend_dump(&peer), nullptr) << "a busy peer gets no dump";
            EXPECT_EQ(peer.cookie, walk) << "a busy peer keeps its walk";
            EXPECT_TRUE(peer.text.starts_with("error: ")) << "but a line: " << peer.text;
            peer.text = before;
            go_on();
            EXPECT_EQ(peer.text, whole_[form]) << "the answer of a busy peer is whole";
            peer.close();
            expect_nothing_left(peer, "after the answer of a busy peer");
        }
    }

    // A page behind a row whose keys other rows have too may begin with rows of an earlier page.
    // Keys are read once more for a cursor, and may have changed since.
    void pages_have_everything() {
        static std::string cursor;
        static bool is_complete;
        drend_set_answer_methods(nullptr, [](void*, const drend_answer_end_s* end) {
            cursor = end->cursor == nullptr ? "" : end->cursor;
            is_complete = end->end == DREND_ANSWER_COMPLETE;
            return 0;
        });
        const std::string limit = " limit=" + std::to_string(1 + dice_.below(3)) + " ";
        const std::string argument = case_->argument;
        draw_surroundings();
        values_t values;
        std::set<std::string> before;
        cursor.clear();
        do {
            before.insert(cursor);
            case_->argument = argument + limit + (cursor.empty() ? "" : "cursor=" + cursor);
            peer_s peer;
            is_complete = false;
            ask(peer, JSON, SUSPENSIONS);
            go_on();
            expect_nothing_left(peer, "after a page");
            if (is_complete) {
                values.merge(values_of_json(peer.text, case_->has_twins));
            }
        } while (is_complete && !cursor.empty() && !before.contains(cursor));
        EXPECT_TRUE(is_complete || has_odd_keys() || case_->has_twins)
            << "no row is lost between pages";
        if (is_complete && cursor.empty()) {
            const values_t whole = values_of_json(whole_[JSON], case_->has_twins);
            EXPECT_EQ(paged(values), paged(whole))
                << "the pages of " << limit << " hold what the whole holds:\n"
                << whole_[JSON];
        }
        case_->argument = argument;
        drend_set_answer_methods(nullptr, nullptr);
    }

    bool has_odd_keys() const {
        return std::any_of(
            case_->nodes.begin(), case_->nodes.end(), [](const node_s& node) {
                const bool is_odd = node.odd.first != 0 || node.odd.later != 0;
                return node.is_key && (is_odd || !node.odd.sets_value);
            });
    }

    std::set<values_t::value_type> paged(const values_t& values) const {
        std::set<values_t::value_type> distinct;
        for (const auto& value : exact(values)) {
            if (!case_->shown.at(value.first).leaf->is_key) {
                distinct.insert(value);
            }
        }
        return distinct;
    }

    void the_dump_of_values_may_be_suspended() {
        std::string texts[2];
        for (const bool suspends : {false, true}) {
            peer_s peer;
            case_->begin_run(dice_.next(), suspends ? SUSPENSIONS : 0);
            drend_dump(&peer);
            go_on();
            texts[suspends] = peer.text;
            expect_nothing_left(peer, "after a dump");
        }
        EXPECT_EQ(texts[1], texts[0]) << "the same dump however often suspended";
    }

    std::unique_ptr<case_s> case_;
    dice_c dice_{0};
    unsigned subcode_ = 0;
    std::string whole_[FORMS]; // the answer in each form
};

uint64_t number_from(const char* variable, uint64_t otherwise) {
    const char* text = getenv(variable);
    return text == nullptr ? otherwise : strtoull(text, nullptr, 10);
}

} // namespace

TEST_F(random_test, whatever_comes_these_properties_hold) {
    const uint64_t first = number_from("DREND_RANDOM_SEED", 0);
    const uint64_t cases = number_from("DREND_RANDOM_CASES",
                                       getenv("DREND_RANDOM_SEED") == nullptr ? 2000 : 1);
    for (uint64_t seed = first; seed < first + cases && failures() < 20; ++seed) {
        run(seed);
    }
}
