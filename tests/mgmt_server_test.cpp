// SPDX-License-Identifier: BSD-2-Clause

// The management socket as its clients see it: requests, and what becomes of their answers.

#include <atomic>
#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <tuple>

#include <event2/event.h>
#include <fcntl.h>
#include <gmock/gmock.h>

#include "mgmt_server_fixture.h"
#include "orvex_platform/mgmt_server.h"
#include "orvex_platform/mgmt_sock.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(mgmt_server_test, requests_find_their_entries) {
    serve();
    socket_client_c client(path_);
    const std::string rows = document("old", 3);
    const std::pair<const char*, std::string> exact[] = {
        {"drend show-rows", rows},
        {"  dr   sh \t\r", rows},
        {"\n \r\nshow-rows filter='/old-top[0=1]'", "210\n"},
        {"show-rows filter='/old-top/old-row/none'",
         "error: filter: no 'none' below /old-top/old-row; there are old at character "
         "18\n"},
        {"sh?", "drend show-rows\tRows\n"},
        {"show-rows name=x ? ", "210\n"}, // nothing is run
        {"show-rows name='\xff?",
         "error: arguments: a quote that is never closed at character 6\n"},
        {"drend", "error: 'drend' needs one more word: show-rows, dump-schema, dump, "
                  "dump-render-tree, xwalker, reload\n"},
        {"drend no", "error: 'no' is no command; there are: show-rows, dump-schema, dump, "
                     "dump-render-tree, xwalker, reload\n"},
        {"\x1b[2J\xff?x",
         "error: '\\x1b[2J\\xff?x' is no command; there are: drend, show-rows, "
         "dump-schema, dump, dump-render-tree, xwalker, reload\n"},
        // what is no UTF-8 is somebody's value
        {"show-rows filter=\"/old-top[old='\xff\xfe' or 1]\"",
         "error: filter: no 'old' below /old-top; there is nothing at character 10\n"},
        {"show-rows filter=\"/old-top/old-row[old='\xff\xfe']\"", "210\n"},
    };
    for (const auto& [request, answer] : exact) {
        EXPECT_EQ(client.ask(request), answer) << request;
    }
    EXPECT_THAT(client.ask("show-rows name=?"),
                StartsWith("error: arguments: no 'name'; there are filter, "));
    EXPECT_THAT(client.ask("?"), HasSubstr("drend dump\tDump the values"));
    EXPECT_THAT(client.ask("dump"), HasSubstr("[00000003]\n")); // spelled out
    EXPECT_THAT(client.ask("dump-s"), HasSubstr("/t/row/number  leaf \n"));
    EXPECT_EQ(client.ask("show-rows"), rows);
}

// The same requests in both protocols: in the second the text is the answer and nothing else.
TEST_F(mgmt_server_test, a_status_says_how_an_answer_ended) {
    static drend_menu_entry_s below[] = {{"inner", nullptr, 0, nullptr, nullptr}, {}};
    static const drend_menu_entry_s own[] = {
        {"fails", nullptr, 0, nullptr, [](void*, void*, const char*) { return -1; }},
        {"both", "Has more", 0, below, [](void*, void*, const char*) { return -1; }},
        {"fails-late", nullptr, 0, nullptr,
         [](void* peer, void*, const char*) { return mgmt_sock_send(peer, "x\n") - 1; }},
        {}};
    make_menu(own, std::size(own));
    serve();
    const std::string rows = document("old", 3);
    const std::string complete = "[end: complete\n]";
    const std::string nothing = "[end: complete\ncode: nothing\n]";
    const struct {
        std::string request;
        std::string text; // in protocol 1
        std::string answer;
    } cases[] = {
        {"show-rows", rows, "(application/xml)" + rows + "[end: complete\nrows: 3\n]"},
        {"show-rows as-json filter='/old-top[0=1]'", "210\n",
         "(application/json)" + nothing},
        {"show-rows filter='/old-top[0=1]'", "210\n", "(application/xml)" + nothing},
        {"show-rows ?", "210\n", "(text/tab-separated-values)filter=\tOnly what"},
        {"show-rows filter='/none ?", "210\n", "(text/tab-separated-values)filter="},
        {"reload ?", "210\n", nothing},
        {"drend sho?", "drend show-rows\tRows\n",
         "(text/plain)drend show-rows\tRows\n" + complete},
        {"reload", "finish reloading\n", "(text/plain)finish reloading\n" + complete},
        {"bot?", "both\tHas more\n", "(text/plain)both\tHas more\n" + complete},
        {"fails-late", "x\n",
         "(text/plain)x\n[end: given-up\ncode: failed\ntext: the request failed\n]"},
    };
    const std::tuple<std::string, std::string, std::string> refused[] = {
        {"show-rows filter='<'", "invalid-request", "Failed to parse the document.\n"},
        {"dump x", "invalid-path", "no 'x' below /; there are t\n"},
        {"xwalker /old", "unknown-command", "no 'old' below /; there are show-rows\n"},
        {"xwalker /show-rows/x", "invalid-path",
         "no 'x' below /show-rows; there are old-top\n"},
        {"no", "unknown-entry", "'no' is no command; there are: fails,"},
        {"dump-", "ambiguous-entry",
         "'dump-' is ambiguous: dump-schema, dump-render-tree\n"},
        {"drend", "incomplete-entry", "'drend' needs one more word: show-rows"},
        {"fails", "failed", "the request failed\n"},
        {std::string("a\0b", 3), "nul-byte", "a request holds no NUL bytes\n"},
        {"protocol=3", "unknown-protocol", "there are the protocols 1 and 2\n"},
    };
    socket_client_c old_client(path_);
    socket_client_c client(path_);
    EXPECT_EQ(client.ask("protocol=2"), complete);
    for (const auto& [request, text, answer] : cases) {
        EXPECT_THAT(old_client.ask(request), StartsWith(text));
        EXPECT_THAT(client.ask(request), StartsWith(answer));
    }
    for (const auto& [request, code, text] : refused) {
        EXPECT_THAT(old_client.ask(request), StartsWith("error: " + text));
        EXPECT_THAT(client.ask(request),
                    StartsWith("[end: refused\ncode: " + code + "\ntext: " + text));
    }
    const std::string too_long(65537, 'x');
    EXPECT_EQ(client.ask(too_long),
              "[end: refused\ncode: too-long\ntext: a request has at most 65536 bytes\n]");
    EXPECT_EQ(old_client.ask("protocol=1"), "");
    EXPECT_EQ(old_client.ask("show-rows"), rows);
}

TEST_F(mgmt_server_test, many_sends_are_few_chunks) {
    serve();
    table_size = 2000;
    socket_client_c client(path_);
    client.send_bytes("show-rows\n");
    size_t chunks = 0;
    std::string text;
    client.answer_to([&](std::string_view chunk) {
        ++chunks;
        text += chunk;
    });
    EXPECT_EQ(text, document("old", 2000));
    EXPECT_LT(chunks, 200u); // of 2,000 rows or more sends
}

TEST_F(mgmt_server_test, input_is_bounded_and_may_come_in_any_pieces) {
    serve();
    const std::string rows = document("old", 3);
    socket_client_c pieces(path_);
    for (const char byte : std::string("show-rows\nshow-rows\n")) {
        ASSERT_TRUE(pieces.send_bytes({&byte, 1}));
    }
    EXPECT_EQ(pieces.answer(), rows);
    EXPECT_EQ(pieces.answer(), rows);

    // Many at once, more than the server reads ahead, and the end of requests behind them.
    std::string many;
    constexpr int COUNT = 5000;
    for (int i = 0; i < COUNT; ++i) {
        many += "show-rows filter='/old-top[0=1]'     \n";
    }
    std::thread sender([&] {
        pieces.send_bytes(many + "show-rows\nhalf a requ");
        pieces.end_requests();
    });
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(pieces.answer(), "210\n");
    }
    EXPECT_EQ(pieces.answer(), rows);
    EXPECT_EQ(pieces.answer(), LOST);
    sender.join();

    const std::string longest =
        "show-rows filter='/old-top" + std::string(65536 - 27, ' ') + "'";
    socket_client_c client(path_);
    EXPECT_EQ(client.ask(longest), rows);
    client.send_bytes(longest + "x\nshow-rows\n");
    EXPECT_EQ(client.answer(), "error: a request has at most 65536 bytes\n");
    EXPECT_EQ(client.answer(), LOST);
    socket_client_c endless(path_);
    std::thread writer([&] {
        while (endless.send_bytes(std::string(4096, 'y'))) {
        }
    });
    EXPECT_EQ(endless.answer(), "error: a request has at most 65536 bytes\n");
    writer.join();
    wait_for_peers(0);
}

// In protocol 2 that is known to a reader that has not looked at the text.
TEST_F(mgmt_server_test, an_interrupt_ends_the_answer_and_keeps_the_connection) {
    serve();
    for (const std::string end :
         {"error: interrupted\n",
          "[end: interrupted\ncode: interrupted\ntext: interrupted\n]"}) {
        const bool has_status = end.starts_with('[');
        socket_client_c client(path_);
        client.ask(has_status ? "protocol=2" : "protocol=1");
        table_size = 10000000;
        client.send_bytes("show-rows\n");
        ASSERT_TRUE(client.receive(100)); // the answer is under way
        client.send_bytes("show-rows\n\n \nhalf\x03");
        const std::string first = client.answer();
        EXPECT_THAT(
            first, StartsWith(has_status ? "(application/xml)<old-top>\n" : "<old-top>\n"));
        EXPECT_THAT(first, EndsWith((has_status ? ">\n" : "\n") + end));
        EXPECT_EQ(client.answer(), end);
        EXPECT_EQ(client.answer(), end);
        EXPECT_EQ(open_lists, 0);
        table_size = 2;
        EXPECT_THAT(client.ask("\x03show-rows"), // nothing to interrupt
                    HasSubstr(document("old", 2)));
    }
}

TEST_F(mgmt_server_test, interrupts_without_end_are_not_answered_without_end) {
    config_.high_water = 65536;
    serve();
    socket_client_c client(path_);
    std::string flood;
    for (int i = 0; i < 10000; ++i) {
        flood += "x\nx\n\x03";
    }
    // The answers are longer than that: when nobody reads them the server stops reading, too.
    size_t sent = 0;
    for (int idle = 0; idle < 300 && sent < 100000000; ++idle) {
        while (const size_t taken = client.send_some(flood)) {
            sent += taken;
            idle = 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LT(sent, 2000000u);
}

// With slices of a row, each as long as any other turn, it is turns that are counted.
TEST_F(mgmt_server_test, a_long_answer_and_all_that_begin_have_the_same_share) {
    constexpr size_t PEERS = 200;
    constexpr unsigned REQUESTS = 50; // of each
    constexpr unsigned ROWS = 3000;
    table_size = ROWS;
    config_.slice_usec = 1;
    std::atomic<unsigned long> answered{0};
    on_leaf = [&] {
        using steady_t = std::chrono::steady_clock;
        const auto end = steady_t::now() + std::chrono::microseconds(2);
        while (steady_t::now() < end) {
            // a row takes longer than a slice, however fast the library is
        }
        if (leaf_calls == ROWS) {
            answered = mgmt_server_stats(server_).requests;
        }
    };
    serve();
    std::vector<std::unique_ptr<socket_client_c>> peers;
    while (peers.size() < PEERS) {
        peers.push_back(std::make_unique<socket_client_c>(path_));
    }
    socket_client_c reader(path_);
    wait_for_peers(PEERS + 1);
    std::latch all_sent(1);
    std::thread holder([&] { on_loop([&] { all_sent.wait(); }); });
    for (const auto& peer : peers) {
        for (unsigned i = 0; i < REQUESTS; ++i) {
            peer->send_bytes("show-rows filter='/old-top[0=1]'\n");
        }
    }
    reader.send_bytes("show-rows\n");
    all_sent.count_down();
    holder.join();
    EXPECT_EQ(reader.answer(), document("old", ROWS));
    EXPECT_GT(answered, ROWS / 2u);
    EXPECT_LT(answered, ROWS * 2u);
}

TEST_F(mgmt_server_test, a_peer_that_goes_while_its_walk_waits_is_noticed) {
    serve();
    leaf_status = DREND_DEFER;
    socket_client_c other(path_);
    for (const bool sends_on : {false, true}) {
        socket_client_c client(path_);
        client.send_bytes("show-rows\n");
        while (sends_on && client.send_some("more than is read ahead\n") > 0) {
        }
        client.end_requests();
        for (int i = 0; i < 20; ++i) {
            other.ask("?");
        }
        EXPECT_EQ(stats().peers, 2u); // it may still read the answer
        client.hang_up();
        wait_for_peers(1);
        EXPECT_EQ(open_lists, 0);
    }
}

TEST_F(mgmt_server_test, a_request_is_run_whose_peer_does_not_wait_for_the_answer) {
    serve();
    socket_client_c client(path_);
    wait_for_peers(1);
    on_loop([&] {
        client.send_bytes("show-rows\n");
        client.hang_up();
    });
    wait_for_peers(0);
    EXPECT_GT(leaf_calls, 0);
    leaf_status = DREND_DEFER; // and its walk does not wait for anything
    socket_client_c other(path_);
    wait_for_peers(1);
    on_loop([&] {
        other.send_bytes("show-rows\n");
        other.hang_up();
    });
    wait_for_peers(0);
}

TEST_F(mgmt_server_test, a_leaf_that_cannot_answer_is_asked_again_with_patience) {
    serve();
    leaf_status = DREND_DEFER;
    socket_client_c client(path_);
    client.send_bytes("show-rows\n");
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const int calls = leaf_calls;
    const auto passed = std::chrono::steady_clock::now() - begin;
    // After 1, 2, 4 ... 64 milliseconds, and each 100 from then on.
    EXPECT_LT(calls, 12 + passed / std::chrono::milliseconds(100));
    leaf_status = DREND_OK;
    EXPECT_EQ(client.answer(), document("old", 3));
}

TEST_F(mgmt_server_test, a_daemon_may_continue_its_walks_itself) {
    serve();
    static void* waiting;
    waiting = nullptr;
    on_loop([] {
        drend_add_walk_handlers(
            nullptr, [](dr_meta_context_s*, void*) { return 1; }, nullptr);
        drend_set_reschedule_handler([](void*, void* walk) { waiting = walk; }, nullptr);
    });
    socket_client_c client(path_);
    client.send_bytes("show-rows\n");
    while (stats().slices == 0) {
    }
    on_loop([] {
        while (drend_defer_continue(waiting) == 1) {
        }
    });
    EXPECT_EQ(client.answer(), document("old", 3));
    client.send_bytes("show-rows\n");
    while (stats().slices == 1) {
    }
    client.hang_up(); // its walk is dropped before it is continued
    wait_for_peers(0);
    on_loop([] { EXPECT_EQ(drend_defer_continue(waiting), DREND_ERR); });
}

// Between two slices, within one, and within one that is suspended then. What has been answered is
// still sent, and has no end.
TEST_F(mgmt_server_test, a_daemon_may_close_a_peer) {
    static void* asking;
    const drend_menu_entry_s own[] = {{"closed", "", 0, nullptr,
                                       [](void* peer, void*, const char*) {
                                           asking = peer;
                                           return drend_dump_tags(peer, 0, nullptr);
                                       }},
                                      {"bye", "", 0, nullptr,
                                       [](void* peer, void*, const char*) {
                                           drend_send(peer, "bye\n");
                                           return drend_close_peer(peer);
                                       }},
                                      {}};
    make_menu(own, std::size(own));
    config_.high_water = size_t{8} << 20; // more than a socket takes waits then
    for (const int way : {0, 1, 2, 3}) {
        const int suspends = way % 2;
        config_.slice_usec = way < 2 ? 2000 : 60000000; // many slices, or one
        serve();
        for (const bool is_within : {false, true}) {
            on_loop([&] {
                table_size = is_within ? 25000 : 5000000;
                leaf_calls = 0;
                on_leaf = [&] {
                    if (is_within && leaf_calls == 20000) {
                        EXPECT_EQ(drend_close_peer(asking), 0);
                        leaf_status = suspends != 0 ? DREND_DEFER : DREND_OK;
                    }
                };
            });
            socket_client_c client(path_);
            client.send_bytes("closed\n");
            if (!is_within) {
                ASSERT_TRUE(client.receive(100));
                on_loop([] { EXPECT_EQ(drend_close_peer(asking), 0); });
            }
            while (is_within && leaf_calls < 20000) {
            }
            on_loop(
                [] { EXPECT_EQ(open_lists, 0) << "also while the peer takes nothing"; });
            const std::string answer = client.answer();
            EXPECT_TRUE(answer.starts_with("<old-top>\n")) << answer.substr(0, 200);
            EXPECT_TRUE(answer.ends_with(LOST)) << answer.substr(0, 200);
            wait_for_peers(0);
            EXPECT_EQ(open_lists, 0);
            leaf_status = DREND_OK;
        }
        stop();
    }
    serve();
    on_loop([] {
        table_size = 3;
        on_leaf = nullptr;
    });
    socket_client_c idle(path_);
    EXPECT_EQ(idle.ask("closed"), document("old", 3));
    on_loop([] { EXPECT_EQ(drend_close_peer(asking), 0); });
    EXPECT_EQ(idle.answer(), LOST);
    socket_client_c client(path_);
    EXPECT_EQ(client.ask("bye"), "bye\n"); // it had said all
    EXPECT_EQ(client.answer(), LOST);
}

TEST_F(mgmt_server_test, walks_of_nobodys_peer_survive_the_server) {
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    void* peer = mgmt_sock_open_local(stream);
    char error[256] = "";
    server_ = mgmt_server_open(loop_, &config_, error, sizeof error);
    leaf_status = DREND_DEFER;
    drend_dump_tags(peer, 0, nullptr);
    mgmt_server_close(std::exchange(server_, nullptr));
    while (leaf_calls < 5) {
        ASSERT_EQ(event_base_loop(base(), EVLOOP_ONCE), 0); // 1: nothing is waited for
    }
    leaf_status = DREND_OK;
    while (mgmt_sock_get_drend_cookie(peer) != nullptr) {
        ASSERT_EQ(event_base_loop(base(), EVLOOP_ONCE), 0);
    }
    EXPECT_EQ(mgmt_sock_close(peer), 0);
    fclose(stream);
    EXPECT_EQ(text, document("old", 3));
    free(text);
}

TEST_F(mgmt_server_test, an_accessor_may_fail_the_answer) {
    int failing = 1;
    const char* why = "the table is locked";
    on_leaf = [&] {
        if (leaf_calls == failing) {
            EXPECT_EQ(mgmt_server_fail_answer(why), 0);
            EXPECT_EQ(mgmt_server_fail_answer("and more"), 0);
        }
    };
    serve();
    socket_client_c client(path_);
    EXPECT_EQ(client.ask("show-rows"), "error: the table is locked\n");
    config_.slice_usec = 1; // suspended and continued
    for (const std::string end :
         {"\nerror: the table is locked\n",
          "[end: given-up\ncode: unavailable\ntext: the table is locked\n]"}) {
        for (const int row : {2, 3}) {
            on_loop([&] { failing = leaf_calls + row; });
            const std::string answer = client.ask("show-rows");
            EXPECT_THAT(answer, HasSubstr("<old-top>\n  <old-row>\n    <old>00000001<"));
            EXPECT_THAT(answer, EndsWith(">\n" + end));
            EXPECT_EQ(open_lists, 0);
        }
        client.ask("protocol=2");
        on_loop([&] { why = "the table is\nlocked"; }); // a status has a line for it
    }
    client.ask("protocol=1");
    on_loop([&] {
        failing = leaf_calls + 2;
        why = "the table is locked";
        EXPECT_EQ(mgmt_server_fail_answer("of whom?"), -1);
    });
    EXPECT_EQ(client.ask("dump"),
              "/t/row/number                             :  [00000001]\n"
              "\nerror: the table is locked\n");
    EXPECT_EQ(client.ask("show-rows"), document("old", 3));
}

// Accepting, reading and answering, as long as the daemon has something to do itself.
TEST_F(mgmt_server_test, peers_wait_for_the_daemons_own_events) {
    char error[256] = "";
    server_ = mgmt_server_open(loop_, &config_, error, sizeof error);
    ASSERT_NE(server_, nullptr) << error;
    struct own_s {
        mgmt_server_s* server;
        event* again;
        unsigned left;
    } own = {server_, nullptr, 20};
    own.again = event_new(
        base(), -1, EV_PERSIST,
        [](evutil_socket_t, short, void* data) {
            auto* owned = static_cast<own_s*>(data);
            EXPECT_EQ(mgmt_server_stats(owned->server).accepted, 0U);
            if (--owned->left > 0) {
                event_active(owned->again, EV_TIMEOUT, 0);
            }
        },
        &own);
    event_active(own.again, EV_TIMEOUT, 0);
    socket_client_c client(path_);
    client.send_bytes("show-rows\n");
    while (mgmt_server_stats(server_).requests == 0) {
        event_base_loop(base(), EVLOOP_ONCE);
    }
    EXPECT_EQ(own.left, 0U);
    EXPECT_EQ(client.answer(), document("old", 3));
    event_free(own.again);
    mgmt_server_close(std::exchange(server_, nullptr));
}

TEST_F(mgmt_server_test, a_search_keeps_nobody_waiting) {
    config_.slice_usec = 200;
    serve();
    table_size = 99999999;
    socket_client_c searching(path_);
    searching.send_bytes("show-rows filter=\"/old-top/old-row[old='99999999']\"\n");
    socket_client_c other(path_);
    while (leaf_calls < 1000) {
    }
    EXPECT_THAT(other.ask("?"), HasSubstr("show-rows"));
    EXPECT_LT(leaf_calls, 99000000); // answered long before the search was over
    searching.send_bytes("\x03");
    EXPECT_EQ(searching.answer(), "error: interrupted\n");
    table_size = 2000;
    EXPECT_THAT(searching.ask("show-rows filter=\"/old-top/old-row[old='00001999']\""),
                HasSubstr("<old>00001999</old>"));
}
