// SPDX-License-Identifier: BSD-2-Clause

// Events as their subscribers get them: what is announced, in which form, and what becomes of those
// who take nothing.

#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "failing_memory.h"
#include "mgmt_server_fixture.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_suspendable.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char OPENING[] =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">";

std::string event(const std::string& name, const std::string& source) {
    return R"({"dc_external_notify_name": ")" + name +
           R"(", "dc_internal_notify_name": "i", "dc_namespace": "xmlns='urn:e'", "dc_tag": )" +
           tags_json(name + "=/e{module: `m`, namespace: `xmlns='urn:e'`}(text=" + source +
                     ")") +
           "}";
}

std::string definitions(const std::string& name) {
    return R"([{"dc_name": "c", "dc_tag": {"dts_name": "t"}}, )" + event(name, "text") +
           ", " + event("absent", "none") +
           R"(, {"dc_external_notify_name": "bare", "dc_internal_notify_name": "b",
               "dc_namespace": "xmlns='urn:b'"}])";
}

// Every time of an event as "T".
std::string timeless(const std::string& text) {
    static const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)");
    return std::regex_replace(text, time, "T");
}

size_t count_of(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The sum of what is said to have been dropped.
size_t dropped_in(const std::string& text) {
    static const std::regex count("<count>(\\d+)</count>");
    size_t sum = 0;
    for (std::sregex_iterator at(text.begin(), text.end(), count), end; at != end; ++at) {
        sum += std::stoul((*at)[1]);
    }
    return sum;
}

std::string announced_text;
std::set<void*> waiting; // walks that have asked to be continued

// A peer within the process; what it was sent is in memory, or it takes nothing.
class listener_c {
  public:
    explicit listener_c(bool is_lost = false)
        : stream_(is_lost ? fopen("/dev/full", "w") : open_memstream(&bytes_, &size_)),
          peer_(mgmt_sock_open_local(stream_)) {
        if (is_lost) {
            setvbuf(stream_, nullptr, _IONBF, 0);
        }
    }
    ~listener_c() {
        close();
        fclose(stream_);
        free(bytes_);
    }
    listener_c(const listener_c&) = delete;
    listener_c& operator=(const listener_c&) = delete;

    void close() { mgmt_sock_close(std::exchange(peer_, nullptr)); }
    int ask(const char* arguments) {
        return drend_dump_tags(peer_, events_index(), arguments);
    }
    void* walk() const { return mgmt_sock_get_drend_cookie(peer_); }
    // What it was sent since the last call.
    std::string take() {
        fflush(stream_);
        std::string text(bytes_ + taken_, size_ - taken_);
        taken_ = size_;
        return timeless(text);
    }

    static unsigned events_index() {
        unsigned index = 0;
        while (std::string_view(drend_menu_get_command_string(index)) != "events") {
            ++index;
        }
        return index;
    }

  private:
    char* bytes_ = nullptr;
    size_t size_ = 0;
    size_t taken_ = 0;
    FILE* stream_;
    void* peer_;
};

class subscription_test : public render_test {
  protected:
    subscription_test() {
        announced_text = "x";
        waiting.clear();
        drend_add_str_leaf(
            "/e/text",
            [](dr_meta_context_s* ctx, const void*) {
                return drend_set_string_value(ctx, announced_text.c_str());
            },
            nullptr);
        drend_add_str_leaf(
            "/e/none",
            [](dr_meta_context_s*, const void*) -> int { return DREND_SKIP_LEAF; },
            nullptr);
        drend_add_events_command();
        define(definitions("e1"));
        drend_init(nullptr, nullptr, 0, nullptr);
        drend_set_send_method_w_return(mgmt_sock_send);
        drend_set_reschedule_handler(
            [](void*, void* walk) {
                const long failing = std::exchange(failing_allocation, 0);
                EXPECT_TRUE(waiting.insert(walk).second);
                failing_allocation = failing;
            },
            nullptr);
    }
    ~subscription_test() override {
        drend_set_rebuild_menu(nullptr, nullptr);
        EXPECT_EQ(dri_inuse_count(), 0u);
    }
    static void run_idle() {
        while (!waiting.empty()) {
            for (void* walk : std::exchange(waiting, {})) {
                drend_defer_continue(walk);
            }
        }
    }
    static int announce(const char* name, const std::string& text) {
        announced_text = text;
        return drx_announce_event(name);
    }
};

std::string noted;

int note(void*, const char* format, ...) {
    va_list args;
    va_start(args, format);
    char text[100];
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    noted += text;
    return 0;
}

std::string xml(const std::string& content) {
    return OPENING + ("\n<eventTime>T</eventTime>\n" + content) + "\n</notification>\n";
}

} // namespace

TEST_F(subscription_test, each_gets_what_is_announced_in_its_form) {
    struct {
        const char* arguments;
        const char* full;
        const char* empty;
        const char* bare;
        const char* undefined;
    } const forms[] = {
        {nullptr, "<e1 xmlns=\"urn:e\">\n  <text>é&lt;</text>\n</e1>",
         "<absent xmlns=\"urn:e\"/>", "<bare xmlns=\"urn:b\"/>",
         "<event-undefined "
         "xmlns=\"urn:orvex:events\"><name>n&lt;</name></event-undefined>"},
        {"as-ietf-xml compact ascii", "<e1 xmlns=\"urn:e\"><text>&#xE9;&lt;</text></e1>",
         "<absent xmlns=\"urn:e\"/>", "<bare xmlns=\"urn:b\"/>",
         "<event-undefined "
         "xmlns=\"urn:orvex:events\"><name>n&lt;</name></event-undefined>"},
        {"as-ietf-json compact", R"("m:e1":{"text":"é<"})", R"("m:absent":{})",
         R"("bare":{})", R"("orvex-events:event-undefined":{"name":"n<"})"},
        {"as-json", "\n  \"e1\" : {\n    \"text\" : \"é<\"\n  }\n",
         "\n  \"absent\" : {\n  }\n", R"("bare":{})", R"("event-undefined":{"name":"n<"})"},
    };
    std::vector<std::unique_ptr<listener_c>> listeners;
    for (const auto& form : forms) {
        for (int copies = 0; copies < 2; ++copies) {
            listeners.push_back(std::make_unique<listener_c>());
            EXPECT_EQ(listeners.back()->ask(form.arguments), 0);
            EXPECT_NE(listeners.back()->walk(), nullptr);
        }
    }
    EXPECT_TRUE(waiting.empty()); // nobody has anything to send
    EXPECT_EQ(announce("i", "é<"), DREND_OK);
    EXPECT_EQ(waiting.size(), listeners.size());
    EXPECT_EQ(announce("b", ""), DREND_OK);
    EXPECT_EQ(announce("n<", ""), DREND_NO_EL);
    run_idle();
    size_t next = 0;
    for (const auto& form : forms) {
        std::string all;
        for (const char* content : {form.full, form.empty, form.bare, form.undefined}) {
            const std::string arguments = form.arguments == nullptr ? "" : form.arguments;
            const bool is_ietf = arguments.starts_with("as-ietf");
            const std::string name =
                is_ietf ? "ietf-restconf:notification" : "notification";
            all += arguments.find("json") != std::string::npos
                       ? "{\"" + name + R"(":{"eventTime":"T",)" + content + "}}\n"
                   : is_ietf
                       ? OPENING + ("<eventTime>T</eventTime>" + std::string(content)) +
                             "</notification>\n"
                       : xml(content);
        }
        EXPECT_EQ(listeners[next++]->take(), all);
        EXPECT_EQ(listeners[next++]->take(), all);
    }
    listener_c late;
    late.ask(nullptr);
    run_idle();
    EXPECT_EQ(late.take(), ""); // what was before is not told again
}

TEST_F(subscription_test, who_is_to_continue_them_may_subscribe_and_announce) {
    static listener_c* late = nullptr;
    listener_c listeners[4];
    for (listener_c& listener : listeners) {
        if (&listener != std::end(listeners) - 1) {
            listener.ask(nullptr);
        }
    }
    late = std::end(listeners) - 1;
    drend_set_reschedule_handler(
        [](void*, void* walk) {
            EXPECT_TRUE(waiting.insert(walk).second);
            if (late != nullptr) {
                std::exchange(late, nullptr)->ask(nullptr);
                announce("b", "");
            }
        },
        nullptr);
    announce("b", "");
    EXPECT_EQ(waiting.size(), std::size(listeners));
    run_idle();
    for (listener_c& listener : listeners) {
        const size_t events = &listener == std::end(listeners) - 1 ? 1 : 2;
        EXPECT_EQ(count_of(listener.take(), "<eventTime>"), events);
    }
}

TEST_F(subscription_test, a_filter_chooses_events_and_what_of_them) {
    listener_c one;
    listener_c some;
    listener_c none;
    one.ask("as-ietf-xml compact filter='<e1 xmlns=\"urn:e\"><text>yes</text></e1>'");
    some.ask("as-ietf-xml compact filter='<absent/><e1/>'");
    none.ask("as-ietf-xml compact filter='<e1 xmlns=\"urn:other\"/>'");
    for (const char* text : {"no", "yes"}) {
        announce("i", text);
        announce("b", "");
    }
    run_idle();
    const std::string yes =
        OPENING + std::string("<eventTime>T</eventTime><e1 xmlns=\"urn:e\">"
                              "<text>yes</text></e1></notification>\n");
    EXPECT_EQ(one.take(), yes);
    const std::string both = some.take();
    EXPECT_THAT(both, testing::AllOf(HasSubstr("<text>no<"), EndsWith(yes)));
    EXPECT_EQ(count_of(both, "eventTime>T"), 2u);
    EXPECT_EQ(none.take(), "");
    announce("n", ""); // what is wrong is told to all
    run_idle();
    EXPECT_THAT(none.take(), HasSubstr("event-undefined"));
}

TEST_F(subscription_test, other_arguments_are_refused) {
    for (const char* arguments :
         {"as-table", "limit=1", "name", "count", "filter=/e1",
          "filter='<e1>' filter='<e1/>'", "filter='<e1/>", "\033[2J", "'as-json'"}) {
        listener_c listener;
        listener.ask(arguments);
        const std::string refusal = listener.take();
        EXPECT_THAT(refusal, StartsWith("error: ")) << arguments;
        EXPECT_EQ(std::count_if(refusal.begin(), refusal.end(), iscntrl), 1) << arguments;
        EXPECT_EQ(listener.walk(), nullptr);
    }
    // Nobody can be sent more later.
    drend_set_send_method_w_return(note);
    drend_dump_tags(nullptr, listener_c::events_index(), "");
    EXPECT_EQ(noted, "error: this peer cannot be kept\n");
    drend_set_send_method_w_return(mgmt_sock_send);
}

TEST_F(subscription_test, what_finds_no_room_is_counted_where_it_was_dropped) {
    listener_c slow;
    listener_c fast;
    slow.ask("compact as-ietf-xml");
    fast.ask("compact as-ietf-xml");
    constexpr int many = 3000;
    for (int i = 0; i < many; ++i) {
        announce("i", std::to_string(i));
        ASSERT_LE(waiting.size(), 2u);
        waiting.erase(fast.walk());
        while (drend_defer_continue(fast.walk()) == 1 && waiting.erase(fast.walk()) > 0) {
        }
    }
    EXPECT_EQ(count_of(fast.take(), "<e1 "), static_cast<size_t>(many));
    const auto gap = [](int count) {
        return "<events-dropped xmlns=\"urn:orvex:events\"><count>" +
               std::to_string(count) + "</count></events-dropped></notification>\n";
    };
    waiting.clear();
    drend_defer_continue(slow.walk()); // a slice makes some room
    announce("i", "later");
    run_idle();
    const std::string told = slow.take();
    const auto shown = static_cast<int>(count_of(told, "<e1 "));
    const auto absent = static_cast<int>(count_of(told, "<absent "));
    EXPECT_LT(told.size(), 70000u);
    EXPECT_GT(told.size(), 40000u); // the times are shorter here
    const int dropped = 2 * (many + 1) - shown - absent;
    EXPECT_THAT(told, HasSubstr(gap(dropped) + OPENING +
                                "<eventTime>T</eventTime><e1 "
                                "xmlns=\"urn:e\"><text>later<"));
    EXPECT_EQ(count_of(told, "events-dropped xmlns"), 1u);
    // One that is longer than a queue is never sent, and that is said at once.
    announce("i", std::string(70000, 'x'));
    run_idle();
    EXPECT_THAT(slow.take(), testing::AllOf(HasSubstr(gap(1)), HasSubstr("<absent ")));
}

TEST_F(subscription_test, end_with_their_peers) {
    listener_c lost(true);
    listener_c closed;
    listener_c dropped;
    listener_c other;
    for (listener_c* listener : {&lost, &closed, &dropped, &other}) {
        listener->ask(nullptr);
    }
    other.ask(nullptr); // one answer at a time
    EXPECT_THAT(other.take(), HasSubstr("still being answered"));
    void* const walk = closed.walk();
    closed.close();
    EXPECT_EQ(drend_get_walk_peer(walk), nullptr);
    EXPECT_NE(drend_get_walk_peer(dropped.walk()), nullptr);
    drend_drop_walk(dropped.walk());
    EXPECT_EQ(announce("b", ""), DREND_OK);
    EXPECT_EQ(waiting.size(), 2u);
    run_idle();
    EXPECT_EQ(lost.walk(), nullptr);
    EXPECT_EQ(dropped.walk(), nullptr);
    EXPECT_EQ(other.take(), xml("<bare xmlns=\"urn:b\"/>"));
    EXPECT_EQ(announce("b", ""), DREND_OK);
    EXPECT_EQ(waiting.size(), 1u);
}

TEST_F(subscription_test, definitions_change_under_them) {
    listener_c listener;
    listener.ask("as-ietf-xml compact");
    redefine(0, definitions("e2"));
    dri_reload_json();
    announce("i", "x");
    EXPECT_EQ(dri_get_set_count(), 1); // a subscription holds none
    redefine(0, R"([{"dc_name": "c", "dc_tag": {"dts_name": "t"}}])");
    dri_reload_json();
    EXPECT_EQ(announce("i", "x"), DREND_NO_EL);
    run_idle();
    const std::string told = listener.take();
    EXPECT_THAT(told, HasSubstr("<e2 xmlns=\"urn:e\"><text>x<"));
    EXPECT_THAT(told, EndsWith("<name>i</name></event-undefined></notification>\n"));
}

TEST_F(subscription_test, memory_that_runs_out_is_told_as_a_gap) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    listener_c listener;
    listener.ask("as-ietf-xml compact");
    bool has_failed = true;
    for (long number = 1; has_failed && !HasFailure(); ++number) {
        dri_reset_xpath_cache();
        announced_text = "some text that has to be allocated";
        failing_allocation = number;
        const int status = drx_announce_event("i");
        has_failed = failing_allocation <= 0;
        failing_allocation = 0;
        EXPECT_EQ(status == DREND_ERR, has_failed) << number;
        announce("b", "");
        run_idle();
        const std::string told = listener.take();
        EXPECT_THAT(told, HasSubstr("<bare "));
        EXPECT_EQ(told.find("events-dropped") != std::string::npos, has_failed) << number;
    }
}

// --- over the socket --------------------------------------------------------------------------

namespace {

// Announces as many events as the argument says.
int announce_many(void* peer, void* /*parse_context*/, const char* argument) {
    for (int left = atoi(argument); left > 0; --left) {
        drx_announce_event("b");
    }
    drend_send(peer, "announced\n");
    return 0;
}

class subscribed_test : public mgmt_server_test {
  protected:
    subscribed_test() {
        drend_add_events_command();
        define(R"([{"dc_external_notify_name": "bare", "dc_internal_notify_name": "b"}])");
        static const drend_menu_entry_s own[] = {
            {"announce", "Announce", 0, nullptr, announce_many}, {}};
        make_menu(own, 2);
        serve();
    }
    static constexpr char EVENTS[] = "protocol=2\nevents as-ietf-xml compact\n";
    static constexpr char BARE[] = "<eventTime>T</eventTime><bare/></notification>\n";

    // Reads the endless answer until `wanted` has come.
    static std::string read_until(socket_client_c& client, const std::string& wanted) {
        static const std::regex header("\n#[ts]?\\d+\n");
        std::string text = timeless(std::regex_replace(client.unread(), header, ""));
        while (text.find(wanted) == std::string::npos && client.receive(65536)) {
            text = timeless(std::regex_replace(client.unread(), header, ""));
        }
        return text;
    }
};

} // namespace

TEST_F(subscribed_test, events_come_while_others_are_answered) {
    socket_client_c client(path_);
    socket_client_c asking(path_);
    client.send_bytes(EVENTS);
    EXPECT_THAT(read_until(client, "events"),
                EndsWith("application/yang-data+xml; stream=events"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(asking.ask("announce 1"), "announced\n");
        EXPECT_EQ(asking.ask("show-rows"), document("old", 3));
    }
    const std::string three = std::string(OPENING) + BARE + OPENING + BARE + OPENING + BARE;
    EXPECT_THAT(read_until(client, three), EndsWith("stream=events" + three));
    // An interrupt ends it; the next request is answered.
    client.send_bytes("\x03show-rows\n");
    EXPECT_THAT(read_until(client, "</old-top>"), HasSubstr("end: interrupted"));
    EXPECT_EQ(asking.ask("announce 1"), "announced\n");
}

TEST_F(subscribed_test, who_takes_nothing_holds_nobody_up) {
    socket_client_c slow(path_);
    socket_client_c gone(path_);
    socket_client_c asking(path_);
    for (socket_client_c* client : {&slow, &gone}) {
        client->send_bytes(EVENTS);
        read_until(*client, "events");
    }
    gone.hang_up();
    constexpr size_t many = 20000;
    for (int i = 0; i < 200; ++i) { // each of them would find room in an empty queue
        EXPECT_EQ(asking.ask("announce 100"), "announced\n");
    }
    // What its connection, its output and its queue have held comes, and the numbers of the rest.
    size_t shown = 0;
    size_t dropped = 0;
    while (shown + dropped < many && slow.receive(65536)) {
        const std::string told = read_until(slow, "");
        shown = count_of(told, "<bare/>");
        dropped = dropped_in(told);
    }
    EXPECT_EQ(shown + dropped, many);
    EXPECT_LT(shown, many / 4); // no more than sockets and queues hold
}
