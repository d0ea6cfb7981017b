// The management socket as its clients see it: the server runs in a thread of its own, with the
// library, and the test talks to it over the socket.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <latch>
#include <random>
#include <set>
#include <thread>

#include <event2/event.h>
#include <event2/thread.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "definitions/drend_load.h"
#include "orvex_platform/mgmt_server.h"
#include "orvex_platform/mgmt_sock.h"
#include "render_fixture.h"
#include "socket_client.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr int PATIENCE_MS = socket_client_c::PATIENCE_MS;
const std::string LOST = socket_client_c::LOST;

// Rows are numbers below the size of the table; nothing is stored.
std::atomic<uintptr_t> table_size{0};
std::atomic<int> leaf_status{DREND_OK};
std::atomic<int> leaf_calls{0};
std::atomic<int> open_lists{0};

int next_number(dr_meta_context_s* ctx, const void*) {
    const auto current = reinterpret_cast<uintptr_t>(drend_get_element_ref(ctx));
    const uintptr_t next = current < table_size ? current + 1 : 0;
    drend_set_element_ref(ctx, reinterpret_cast<void*>(next));
    return next == 0 ? DREND_NO_EL : DREND_OK;
}

int read_row_number(dr_meta_context_s* ctx, const void*) {
    ++leaf_calls;
    if (const int status = leaf_status) {
        return status;
    }
    return drend_set_str_value(ctx, "%08lu",
                               reinterpret_cast<uintptr_t>(drend_get_element_ref(ctx)));
}

class mgmt_server_test : public render_test {
  protected:
    mgmt_server_test() {
        table_size = 3;
        leaf_status = DREND_OK;
        leaf_calls = 0;
        drend_add_list("/t/row", next_number, nullptr);
        drend_add_str_leaf("/t/row/number", read_row_number, nullptr);
        drend_add_enter(
            "/t/row", [](dr_meta_context_s*, const void*) { return ++open_lists; },
            nullptr);
        drend_add_exit(
            "/t/row", [](dr_meta_context_s*, const void*) { return --open_lists; },
            nullptr);
        define(definition("old"));
        path_ = testing::TempDir() + "mgmt_" + std::to_string(getpid());
        config_.path = path_.c_str();
        evthread_use_pthreads();
        platform_open_loop(&loop_);
        menu_ = drend_init(&loop_, nullptr, 0, nullptr);
        config_.menu = menu_;
    }
    ~mgmt_server_test() override {
        stop();
        platform_close_loop(&loop_);
        EXPECT_EQ(open_lists, 0);
        EXPECT_EQ(dri_inuse_count(), 0u);
        EXPECT_EQ(dri_get_set_count(), 1);
        static auto& menus = *new std::vector<drend_menu_entry_s*>;
        menus.push_back(menu_); // a menu lives as long as the process
    }

    // Every element of the answer is called `name`, so that a mixture of two sets shows.
    static std::string definition(const std::string& name) {
        return R"([{"dc_name": "show-rows", "dc_help": "Rows", "dc_tag": {"dts_name": ")" +
               name + R"(-top", "dts_source": "/t", "dts_kids": [{"dts_name": ")" + name +
               R"(-row", "dts_type": "list", "dts_source": "row", "dts_kids": [
               {"dts_name": ")" +
               name + R"(", "dts_type": "leaf", "dts_source": "number"}]}]}}])";
    }
    std::string document(const std::string& name, uintptr_t rows) {
        std::string text = "<" + name + "-top>\n";
        for (uintptr_t n = 1; n <= rows; ++n) {
            std::string digits = std::to_string(n);
            digits.insert(0, 8 - digits.size(), '0');
            text += "  <" + name + "-row>\n    <" + name + ">" + digits + "</" + name +
                    ">\n  </" + name + "-row>\n";
        }
        return text + "</" + name + "-top>\n";
    }

    void serve() {
        char error[256] = "";
        server_ = mgmt_server_open(loop_, &config_, error, sizeof error);
        ASSERT_NE(server_, nullptr) << error;
        thread_ = std::thread([this] {
            event_base_loop(static_cast<event_base*>(loop_.opaque),
                            EVLOOP_NO_EXIT_ON_EMPTY);
        });
    }
    // Runs in the server's thread, between two events; returns when it has run.
    template <typename Function>
    void on_loop(Function function) {
        std::atomic<bool> done{false};
        auto call = [&] {
            function();
            done = true;
        };
        const timeval at_once{0, 0};
        event_base_once(
            static_cast<event_base*>(loop_.opaque), -1, EV_TIMEOUT,
            [](evutil_socket_t, short, void* data) {
                (*static_cast<decltype(call)*>(data))();
            },
            &call, &at_once);
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    mgmt_server_stats_s stats() {
        mgmt_server_stats_s found{};
        on_loop([&] { found = mgmt_server_stats(server_); });
        return found;
    }
    // Waits until the server has `count` peers.
    void wait_for_peers(unsigned count) {
        for (int i = 0; i < PATIENCE_MS && stats().peers != count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(stats().peers, count);
    }
    void stop() {
        if (server_ == nullptr) {
            return;
        }
        event_base_loopbreak(static_cast<event_base*>(loop_.opaque));
        thread_.join();
        mgmt_server_close(server_);
        server_ = nullptr;
    }

    std::string path_;
    evContext loop_{};
    mgmt_server_config_s config_{};
    mgmt_server_s* server_ = nullptr;
    std::thread thread_;
    drend_menu_entry_s* menu_ = nullptr;
};

int open_descriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

} // namespace

TEST_F(mgmt_server_test, requests_find_their_entries) {
    serve();
    socket_client_c client(path_);
    const std::string rows = document("old", 3);
    const std::pair<const char*, std::string> exact[] = {
        {"drend show-rows", rows},
        {"show-rows", rows},
        {"  dr   sh \t\r", rows},
        {"\n \r\nshow-rows filter='/old-top/old-row/none'", "210\n"},
        {"sh?", "drend show-rows\tRows\n"},
        {"drend sho?", "drend show-rows\tRows\n"},
        {"show-rows ?", "210\n"},
        {"show-rows name=x ? ", "210\n"}, // nothing is run
        {"show-rows name=?", rows},
        {"show-rows name='\xff?", rows},
        {"dump-", "error: 'dump-' is ambiguous: dump-schema, dump-render-tree\n"},
        {"drend", "error: 'drend' needs one more word: show-rows, dump-schema, dump, "
                  "dump-render-tree, xwalker, reload\n"},
        {"drend no", "error: 'no' is no command; there are: show-rows, dump-schema, dump, "
                     "dump-render-tree, xwalker, reload\n"},
        {"\x1b[2J\xff?x",
         "error: '\\x1b[2J\\xff?x' is no command; there are: drend, show-rows, "
         "dump-schema, dump, dump-render-tree, xwalker, reload\n"},
        {"show-rows name='\xff\xfe", rows}, // what is no UTF-8 is somebody's value
        {"reload", "finish reloading\n"},
    };
    for (const auto& [request, answer] : exact) {
        EXPECT_EQ(client.ask(request), answer) << request;
    }
    EXPECT_THAT(client.ask("?"), HasSubstr("drend dump\tDump the values"));
    EXPECT_EQ(client.ask(std::string("show\0rows", 9)),
              "error: a request holds no NUL bytes\n");
    EXPECT_THAT(client.ask("dump"), HasSubstr("[00000003]\n")); // spelled out
    EXPECT_THAT(client.ask("dump-s"), HasSubstr("/t/row/number  leaf \n"));
    EXPECT_EQ(client.ask("show-rows"), rows);
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
        many += "show-rows filter='/none'            \n";
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

    const std::string longest = "show-rows x=" + std::string(65536 - 12, 'x');
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

TEST_F(mgmt_server_test, an_interrupt_ends_the_answer_and_keeps_the_connection) {
    serve();
    table_size = 10000000;
    socket_client_c client(path_);
    client.send_bytes("show-rows\n");
    ASSERT_TRUE(client.receive(100)); // the answer is under way
    client.send_bytes("show-rows\nhalf\x03");
    const std::string first = client.answer();
    EXPECT_THAT(first, StartsWith("<old-top>\n"));
    EXPECT_THAT(first, EndsWith("\nerror: interrupted\n"));
    EXPECT_EQ(client.answer(), "error: interrupted\n");
    EXPECT_EQ(client.answer(), "error: interrupted\n");
    EXPECT_EQ(open_lists, 0);
    table_size = 2;
    EXPECT_EQ(client.ask("\x03show-rows"), document("old", 2)); // nothing to interrupt
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

TEST_F(mgmt_server_test, a_peer_that_does_not_read_costs_little_and_is_closed) {
    config_.high_water = 65536;
    config_.stall_seconds = 1;
    serve();
    table_size = 10000000;
    socket_client_c idle(path_); // of whom nothing is wanted, however long
    socket_client_c stuck(path_);
    stuck.send_bytes("show-rows\n");
    socket_client_c other(path_);
    while (leaf_calls == 0) {
        EXPECT_THAT(other.ask("?"), HasSubstr("show-rows"));
    }
    wait_for_peers(2); // closed
    // What fits into the waters and the kernel's buffer: nowhere near the table.
    EXPECT_LT(leaf_calls, 30000);
    EXPECT_EQ(open_lists, 0);
    EXPECT_THAT(idle.ask("?"), HasSubstr("show-rows"));
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

TEST_F(mgmt_server_test, who_may_connect_and_how_many) {
    config_.max_peers = 2;
    serve();
    struct stat socket_file {};
    ASSERT_EQ(stat(path_.c_str(), &socket_file), 0);
    EXPECT_EQ(socket_file.st_mode & 07777, 0660u);
    socket_client_c one(path_);
    socket_client_c two(path_);
    EXPECT_THAT(one.ask("?") + two.ask("?"), HasSubstr("show-rows"));
    socket_client_c three(path_);
    EXPECT_EQ(three.answer(), "error: there are too many peers\n");
    EXPECT_EQ(three.answer(), LOST);
    two.hang_up();
    wait_for_peers(1);
    socket_client_c four(path_);
    EXPECT_THAT(four.ask("?"), HasSubstr("show-rows"));
    EXPECT_EQ(stats().refused, 1u);
}

TEST_F(mgmt_server_test, other_users_need_the_group) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be other users";
    }
    const group* daemon_group = getgrnam("daemon");
    ASSERT_NE(daemon_group, nullptr);
    const gid_t allowed = daemon_group->gr_gid;
    config_.group = "daemon";
    serve();
    chmod(path_.c_str(), 0666); // so that the server itself has to tell
    // Asks as a user with that main group and that other one.
    const auto ask_as = [&](gid_t main_group, gid_t other_group) {
        int pipes[2];
        EXPECT_EQ(pipe(pipes), 0);
        const pid_t child = fork();
        if (child == 0) {
            const bool changed = setgroups(1, &other_group) == 0 &&
                                 setgid(main_group) == 0 && setuid(12345) == 0;
            socket_client_c client(path_);
            const std::string answer =
                changed ? client.ask("?").substr(0, 20) : "unchanged";
            _exit(write(pipes[1], answer.data(), answer.size()) < 0);
        }
        close(pipes[1]);
        char text[64] = "";
        EXPECT_GT(read(pipes[0], text, sizeof text - 1), 0);
        close(pipes[0]);
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        return std::string(text);
    };
    EXPECT_THAT(ask_as(allowed, 54321), StartsWith("drend "));
    EXPECT_THAT(ask_as(54321, allowed), StartsWith("drend "));
    EXPECT_THAT(ask_as(54321, 54322), StartsWith("error: you may not"));
}

TEST_F(mgmt_server_test, a_stale_socket_is_replaced_and_a_live_one_is_not) {
    const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(stale);
    serve();
    char error[256] = "";
    EXPECT_EQ(mgmt_server_open(loop_, &config_, error, sizeof error), nullptr);
    EXPECT_EQ(error, "cannot serve " + path_ + ": another process serves it");
    EXPECT_THAT(socket_client_c(path_).ask("?"), HasSubstr("show-rows"));
    stop();
    EXPECT_FALSE(std::filesystem::exists(path_));

    mgmt_server_config_s config = config_;
    const std::string long_path(200, 'p');
    const struct {
        const char* path;
        const char* group;
        std::string error;
    } cases[] = {
        {"/", nullptr, "cannot serve /: the file exists and is no socket"},
        {"", nullptr, "cannot serve : the path is empty or too long"},
        {long_path.c_str(), nullptr,
         "cannot serve " + long_path + ": the path is empty or too long"},
        {"/no/such/directory/s", nullptr,
         "cannot serve /no/such/directory/s: No such file or directory"},
        {config_.path, "no-such-group", "no group no-such-group: unknown"},
    };
    for (const auto& row : cases) {
        config.path = row.path;
        config.group = row.group;
        EXPECT_EQ(mgmt_server_open(loop_, &config, error, sizeof error), nullptr);
        EXPECT_EQ(error, row.error);
    }
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

// Requests of every kind from many peers at once, some of whom vanish in the middle of an answer,
// while the definitions are replaced again and again.
TEST_F(mgmt_server_test, many_peers_that_come_and_go_leave_nothing_behind) {
    const char* scale = getenv("MGMT_SERVER_TEST_PEERS");
    const unsigned peers = scale == nullptr ? 1000 : static_cast<unsigned>(atoi(scale));
    constexpr unsigned REQUESTS = 100;
    constexpr unsigned ROWS = 12;
    table_size = ROWS;
    config_.slice_usec = 20;
    const int descriptors = open_descriptors();
    serve();
    std::atomic<bool> done{false};
    std::thread reloads([&] {
        for (unsigned round = 0; !done; ++round) {
            redefine(0, definition(round % 2 == 0 ? "new" : "old"));
            on_loop([&] {
                dri_reload_json();
                EXPECT_LE(dri_get_set_count(), 2 + static_cast<int>(peers));
            });
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    const std::string expected[] = {document("old", ROWS), document("new", ROWS)};
    const auto check_json = [](const std::string& answer) {
        const bool is_old = answer.find("old-top") != std::string::npos;
        EXPECT_EQ(answer.find(is_old ? "new" : "old"), std::string::npos);
        EXPECT_THAT(answer, EndsWith("}]\n  }\n}"));
    };
    const auto check_xml = [&expected](const std::string& answer) {
        EXPECT_TRUE(answer == expected[0] || answer == expected[1]) << answer;
    };
    const struct {
        const char* request;
        std::function<void(const std::string&)> check;
    } kinds[] = {
        {"show-rows\n", check_xml},
        {"show-rows as-json\n", check_json},
        {"dump\n",
         [](const std::string& answer) { EXPECT_THAT(answer, EndsWith("]\n\n\n")); }},
        {"sho?\n",
         [](const std::string& answer) { EXPECT_EQ(answer, "drend show-rows\tRows\n"); }},
        {"nonsense\n",
         [](const std::string& answer) { EXPECT_THAT(answer, StartsWith("error: ")); }},
    };
    std::latch all_connected(peers);
    // One in ten peers hangs up in the middle of an answer.
    const auto talk = [&](unsigned seed) {
        std::minstd_rand random(seed);
        const auto hangs_up_at = random() % 10 == 0 ? random() % REQUESTS : REQUESTS;
        socket_client_c client(path_);
        client.ask("?");
        all_connected.arrive_and_wait();
        for (unsigned i = 0; i < REQUESTS; ++i) {
            const auto& kind = kinds[random() % std::size(kinds)];
            client.send_bytes(kind.request);
            if (i == hangs_up_at) {
                client.receive(random() % 2000 + 1);
                return;
            }
            kind.check(client.answer());
        }
    };
    std::vector<std::thread> threads;
    for (unsigned peer = 0; peer < peers; ++peer) {
        threads.emplace_back(talk, peer + 1);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    done = true;
    reloads.join();
    wait_for_peers(0);
    EXPECT_EQ(stats().accepted, peers);
    on_loop([] {
        dri_reload_json();
        EXPECT_EQ(dri_inuse_count(), 0u);
        EXPECT_EQ(dri_get_set_count(), 1);
    });
    stop();
    EXPECT_EQ(open_descriptors(), descriptors);
}
