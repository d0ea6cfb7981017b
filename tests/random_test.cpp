// SPDX-License-Identifier: BSD-2-Clause

// Random cases: whatever the definitions, a daemon's data and a request are, and whatever happens
// to the answer on its way, these properties hold.
//
// A failure names its seed; DREND_RANDOM_SEED=seed repeats that case alone, DREND_RANDOM_CASES=n
// runs n cases from there on (from 0 by default).

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>

#include <jansson.h>
#include <libxml/parser.h>

#include "definitions/drend_load.h"
#include "model/drend_meta_tree.h"
#include "random_case.h"
#include "reference.h"
#include "render_fixture.h"

namespace {

constexpr unsigned SUSPENSIONS = 25; // of a hundred places
constexpr char NOTHING[] = "210\n";  // the answer that stands for none

// The words that ask for the forms.
enum form_e : unsigned { XML, JSON, TABLE, IETF_XML, IETF_JSON, LINES, COUNT, FORMS };
constexpr const char* FORM_WORDS[FORMS] = {"",
                                           "as-json ",
                                           "as-table wide ",
                                           "as-ietf-xml ",
                                           "as-ietf-json ",
                                           "as-json-lines ",
                                           "count "};
constexpr form_e EVERY_FORM[] = {XML, TABLE, IETF_XML, IETF_JSON, LINES, COUNT, JSON};

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

void expect_xml(const std::string& text) {
    // Merged definitions have several top elements, a list one for each row.
    const std::string whole = "<_>" + (text == NOTHING ? "" : text) + "</_>";
    xmlDoc* document =
        xmlReadMemory(whole.data(), static_cast<int>(whole.size()), "answer", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOWARNING | XML_PARSE_NOERROR);
    EXPECT_NE(document, nullptr) << "the XML is well-formed:\n" << text;
    xmlFreeDoc(document);
}

void expect_json(const std::string& text, bool has_twins) {
    // A command that is a list prints its member alone.
    const std::string whole = text == NOTHING         ? "{}"
                              : text.starts_with('{') ? text
                                                      : "{" + text + "}";
    json_error_t error;
    json_t* document =
        json_loads(whole.c_str(), has_twins ? 0 : JSON_REJECT_DUPLICATES, &error);
    EXPECT_NE(document, nullptr) << "the JSON parses: " << error.text << " in\n" << text;
    json_decref(document);
}

// The words of a text, as far as tables show them as they are.
std::multiset<std::string> words_of(std::string text) {
    for (const char* control : {"\\n", "\\r", "\\t"}) {
        for (size_t at; (at = text.find(control)) != std::string::npos;) {
            text.replace(at, strlen(control), " ");
        }
    }
    for (char& c : text) {
        c = c <= ' ' || c > '~' || c == ',' || c == '"' ? ' ' : c;
    }
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
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
        case_->asks_keys_often = case_->has_twins;
        dice_ = dice_c(seed + 1);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", argument: " + case_->argument +
                     ", definitions:\n" + case_->json());
        dmn_reset_root();
        case_->serve();
        redefine(0, case_->json());
        top_ = reference::load(case_->json());
        drend_dir_init();
        const int before = failures();
        if (!find_command()) {
            EXPECT_TRUE(case_->may_be_refused) << "the definition loads";
            return;
        }
        answers_are_the_references();
        if (failures() == before) {
            suspension_changes_no_byte();
            a_lost_peer_is_left_alone();
            a_walk_that_is_given_up_is_gone();
            a_busy_peer_keeps_its_walk();
            the_dump_of_values_may_be_suspended();
            pages_are_the_references();
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
        asked_ = FORM_WORDS[form] + other + case_->argument;
        return drend_dump_tags(&peer, subcode_, asked_.c_str());
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

    void answers_are_the_references() {
        surround(0, 0);
        for (const form_e form : EVERY_FORM) {
            peer_s peer;
            EXPECT_EQ(ask(peer, form, 0), 0);
            go_on();
            ASSERT_FALSE(case_->is_overrun() || peer.is_gone) << "the answer ends";
            expect_nothing_left(peer, "after an answer");
            whole_[form] = peer.text;
            const reference::request_s request = reference::read_request(*top_, asked_);
            const auto document = reference::build(*case_, *top_, request);
            if (form == TABLE) {
                is_a_table_of(peer.text, document);
                continue;
            }
            const std::string wanted = reference::print(document);
            EXPECT_EQ(peer.text, wanted.empty() ? NOTHING : wanted) << asked_;
        }
        expect_xml(whole_[XML]);
        expect_xml(whole_[IETF_XML]);
        expect_json(whole_[JSON], case_->has_twins);
        expect_json(whole_[IETF_JSON], case_->has_twins || case_->has_internal_lists());
    }

    static void is_a_table_of(const std::string& text,
                              const reference::document_s& document) {
        std::multiset<std::string> words = words_of(text);
        for (const std::string& value : reference::shown_values(document)) {
            for (const std::string& word : words_of(value)) {
                const auto found = words.find(word);
                ASSERT_NE(found, words.end()) << "'" << value << "' is not in\n" << text;
                words.erase(found);
            }
        }
        EXPECT_FALSE(text.starts_with('\n')) << "a blank line comes first:\n" << text;
        EXPECT_EQ(text.find(" \n"), std::string::npos) << "blanks end a line:\n" << text;
        EXPECT_EQ(text.find('\033'), std::string::npos) << text;
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

    // One behind the other, each suspended, until there is none or its row is gone. A page behind a
    // row whose keys other rows have too may begin with rows of an earlier page.
    void pages_are_the_references() {
        static int end;
        static std::string cursor;
        drend_set_answer_methods(nullptr, [](void*, const drend_answer_end_s* answer) {
            end = answer->end;
            cursor = answer->cursor == nullptr ? "" : answer->cursor;
            return 0;
        });
        const form_e form = dice_.one_of(EVERY_FORM);
        const std::string argument = case_->argument;
        const std::string limit = " limit=" + std::to_string(1 + dice_.below(3)) + " ";
        std::set<std::string> before;
        reference::cursor_s behind;
        draw_surroundings();
        case_->asks_keys_often = true;
        cursor.clear();
        do {
            before.insert(cursor);
            case_->argument = argument + limit + (cursor.empty() ? "" : "cursor=" + cursor);
            peer_s peer;
            ask(peer, form, SUSPENSIONS);
            go_on();
            expect_nothing_left(peer, "after a page");
            reference::request_s request = reference::read_request(*top_, asked_);
            request.behind = behind;
            const auto document = reference::build(*case_, *top_, request);
            EXPECT_EQ(end != DREND_ANSWER_COMPLETE, document.is_lost) << asked_;
            if (document.is_lost) {
                break;
            }
            EXPECT_EQ(cursor, document.next.text()) << asked_;
            behind = document.next;
            const std::string wanted = reference::print(document);
            EXPECT_TRUE(form == TABLE || peer.text == (wanted.empty() ? NOTHING : wanted))
                << asked_ << "\nis answered\n"
                << peer.text << "\nand not\n"
                << wanted;
        } while (!cursor.empty() && !before.contains(cursor));
        case_->asks_keys_often = case_->has_twins;
        case_->argument = argument;
        drend_set_answer_methods(nullptr, nullptr);
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
    reference::tag_ref_t top_; // of the command
    std::string asked_;
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
