// SPDX-License-Identifier: BSD-2-Clause

// The management socket as its clients see it: the server runs in a thread of its own, with the
// library, and the test talks to it over the socket.

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <latch>
#include <numeric>
#include <random>
#include <thread>

#include <event2/event.h>
#include <event2/thread.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <linux/netlink.h>
#include <sys/file.h>
#include <sys/resource.h>
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
// Called by the server's thread before each leaf is read; set while nothing is served.
std::function<void()> on_leaf;

int next_number(dr_meta_context_s* ctx, const void*) {
    const auto current = reinterpret_cast<uintptr_t>(drend_get_element_ref(ctx));
    const uintptr_t next = current < table_size ? current + 1 : 0;
    drend_set_element_ref(ctx, reinterpret_cast<void*>(next));
    return next == 0 ? DREND_NO_EL : DREND_OK;
}

int read_row_number(dr_meta_context_s* ctx, const void*) {
    ++leaf_calls;
    if (on_leaf) {
        on_leaf();
    }
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
        on_leaf = nullptr;
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
        thread_ = std::thread([this] { event_base_loop(base(), EVLOOP_NO_EXIT_ON_EMPTY); });
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
            base(), -1, EV_TIMEOUT,
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
        on_loop([this] { event_base_loopbreak(base()); });
        thread_.join();
        mgmt_server_close(server_);
        server_ = nullptr;
    }
    event_base* base() { return static_cast<event_base*>(loop_.opaque); }

    std::string path_;
    evContext loop_{};
    mgmt_server_config_s config_{};
    mgmt_server_s* server_ = nullptr;
    std::thread thread_;
    drend_menu_entry_s* menu_ = nullptr;
};

// Peers that send one byte, again and again, as fast as it is taken.
class flood_c {
  public:
    flood_c(const std::string& path, char byte, int peers) {
        for (int i = 0; i < peers; ++i) {
            threads_.emplace_back([this, path, byte] {
                socket_client_c client(path);
                const std::string bytes(65536, byte);
                while (!is_over_ && client.send_bytes(bytes)) {
                    sent += bytes.size();
                }
            });
        }
    }
    ~flood_c() {
        is_over_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    std::atomic<size_t> sent{0};

  private:
    std::atomic<bool> is_over_{false};
    std::vector<std::thread> threads_;
};

size_t resident_bytes() {
    size_t pages = 0;
    std::ifstream statm("/proc/self/statm");
    statm >> pages >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

// Whether a socket's other end can be asked for its groups, `count` now. Emulators may not do it.
bool tells_groups(size_t count) {
    int ends[2];
    socklen_t size = 0;
    gid_t none = 0;
    return socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 &&
           getsockopt(ends[0], SOL_SOCKET, SO_PEERGROUPS, &none, &size) != 0 &&
           size == count * sizeof(gid_t);
}

// Opens `most` descriptors, or as many as there are, and closes them. Their numbers.
std::vector<int> take_descriptors(size_t most) {
    std::vector<int> taken;
    for (int fd; taken.size() < most && (fd = dup(STDERR_FILENO)) >= 0;) {
        taken.push_back(fd);
    }
    for (const int fd : taken) {
        close(fd);
    }
    return taken;
}

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

// With slices of a row, each as long as any other turn, it is turns that are counted.
TEST_F(mgmt_server_test, a_long_answer_and_all_that_begin_have_the_same_share) {
    constexpr size_t PEERS = 200;
    constexpr unsigned REQUESTS = 50; // of each
    constexpr unsigned ROWS = 3000;
    table_size = ROWS;
    config_.slice_usec = 1;
    std::atomic<unsigned long> answered{0};
    on_leaf = [&] {
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
            peer->send_bytes("show-rows filter='/none'\n");
        }
    }
    reader.send_bytes("show-rows\n");
    all_sent.count_down();
    holder.join();
    EXPECT_EQ(reader.answer(), document("old", ROWS));
    EXPECT_GT(answered, ROWS / 2u);
    EXPECT_LT(answered, ROWS * 2u);
}

TEST_F(mgmt_server_test, a_flood_of_nothing_costs_its_peers_turns_alone) {
    constexpr int ROWS = 300;
    constexpr size_t TURN = 16384; // what a peer may have read in a turn
    constexpr size_t ON_ITS_WAY = 3 * (65536 + 300000);
    for (const char byte : {'\n', '\x03'}) {
        table_size = ROWS;
        leaf_calls = 0;
        config_.slice_usec = 1;
        std::atomic<size_t> sent_at[3]{}; // when it begins, has a signal come and ends
        std::atomic<size_t> sent_at_signal{0};
        std::atomic<flood_c*> flood{nullptr};
        on_leaf = [&] {
            const int row = leaf_calls;
            if (row == ROWS / 2) {
                raise(SIGUSR1);
            }
            for (const int part : {0, 1, 2}) {
                if (row == std::max(1, part * ROWS / 2)) {
                    sent_at[part] = flood.load()->sent.load();
                }
            }
        };
        auto call = [&] { sent_at_signal = flood.load()->sent.load(); };
        event* signal = evsignal_new(
            base(), SIGUSR1,
            [](evutil_socket_t, short, void* data) {
                (*static_cast<decltype(call)*>(data))();
            },
            &call);
        event_add(signal, nullptr);
        serve();
        {
            flood_c peers(path_, byte, 3);
            flood = &peers;
            while (peers.sent < 10 * ON_ITS_WAY) {
            }
            socket_client_c reader(path_);
            EXPECT_EQ(reader.ask("show-rows"), document("old", ROWS));
            EXPECT_LT(sent_at[2] - sent_at[0], ROWS * TURN + ON_ITS_WAY);
            EXPECT_LT(sent_at_signal - sent_at[1], ON_ITS_WAY);
        }
        stop();
        event_free(signal);
    }
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
    do {
        EXPECT_THAT(other.ask("?"), HasSubstr("show-rows"));
    } while (leaf_calls == 0);
    wait_for_peers(2); // closed
    // What fits into the waters and the kernel's buffer: nowhere near the table.
    EXPECT_LT(leaf_calls, 30000);
    EXPECT_EQ(open_lists, 0);
    EXPECT_THAT(idle.ask("?"), HasSubstr("show-rows"));
}

// A byte now and then, long before any buffer of the kernel is used up.
TEST_F(mgmt_server_test, a_slow_reader_is_served) {
    const int diagnostics = socket(AF_NETLINK, SOCK_RAW, NETLINK_SOCK_DIAG);
    if (diagnostics < 0) {
        GTEST_SKIP() << "this machine does not tell what lies unread";
    }
    close(diagnostics);
    config_.stall_seconds = 1;
    serve();
    table_size = 10000000;
    using clock = std::chrono::steady_clock;
    constexpr auto TOO_LONG = std::chrono::milliseconds(200);
    clock::duration pause{}; // the longest that this machine did not let the reader read
    do {
        socket_client_c slow(path_);
        slow.send_bytes("show-rows\n");
        pause = {};
        const auto begin = clock::now();
        for (auto last = begin; last - begin < std::chrono::milliseconds(2500);) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            ASSERT_TRUE(slow.receive(1));
            pause = std::max(pause, clock::now() - last);
            last = clock::now();
        }
        EXPECT_TRUE(stats().peers == 1 || pause > TOO_LONG);
        slow.hang_up();
        wait_for_peers(0);
    } while (pause > TOO_LONG);
}

TEST_F(mgmt_server_test, what_peers_had_waiting_goes_back_to_the_system) {
#ifdef DREND_SANITIZE
    GTEST_SKIP() << "the checker's own memory is in the way";
#endif
    constexpr size_t PEERS = 100;
    serve();
    table_size = 10000000;
    const size_t before = resident_bytes();
    std::vector<std::unique_ptr<socket_client_c>> peers;
    while (peers.size() < PEERS) {
        peers.push_back(std::make_unique<socket_client_c>(path_));
        peers.back()->send_bytes("show-rows\n");
    }
    // Nobody reads: each is suspended when enough waits for it.
    for (size_t held = 0; held < PEERS * 60000;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        held = resident_bytes() - before;
    }
    peers.erase(peers.begin(), peers.end() - 1); // one stays, and keeps nothing but its own
    wait_for_peers(1);
    EXPECT_LT(resident_bytes() - before, PEERS * 30000);
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

TEST_F(mgmt_server_test, descriptors_are_kept_back_for_the_daemon) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const unsigned setting : {0U, 20U}) {
        config_.spare_descriptors = setting;
        serve();
        const auto limit = static_cast<rlim_t>(take_descriptors(1).front()) + 60;
        const rlimit lowered{limit, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
        std::vector<std::unique_ptr<socket_client_c>> peers;
        std::string answer;
        do {
            peers.push_back(std::make_unique<socket_client_c>(path_));
            answer = peers.back()->ask("sho?");
        } while (answer == "drend show-rows\tRows\n");
        EXPECT_EQ(answer, "error: there are too few descriptors left\n");
        peers.pop_back();
        EXPECT_EQ(peers.front()->ask("show-rows"), document("old", 3));
        const size_t kept = setting == 0 ? limit / 16 : setting;
        EXPECT_THAT(take_descriptors(100).size(),
                    testing::AllOf(testing::Ge(kept), testing::Le(kept + 2)));
        stop();
        setrlimit(RLIMIT_NOFILE, &before);
    }
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
    // Asks as a user with that main group and, behind many others, that one.
    const auto ask_as = [&](gid_t main_group, gid_t other_group) {
        int pipes[2];
        EXPECT_EQ(pipe(pipes), 0);
        std::vector<gid_t> groups(1000, other_group);
        std::iota(groups.begin(), groups.end() - 1, 60000);
        const pid_t child = fork();
        if (child == 0) {
            const bool changed = setgroups(groups.size(), groups.data()) == 0 &&
                                 tells_groups(groups.size()) && setgid(main_group) == 0 &&
                                 setuid(12345) == 0;
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
    if (ask_as(allowed, 54321) == "unchanged") {
        GTEST_SKIP() << "this machine does not tell a peer's groups";
    }
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
    EXPECT_FALSE(std::filesystem::exists(path_ + ".lock"));

    // Somebody is about to serve the path.
    const int lock = open((path_ + ".lock").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    EXPECT_EQ(mgmt_server_open(loop_, &config_, error, sizeof error), nullptr);
    EXPECT_EQ(error, "cannot serve " + path_ + ": another process serves it");
    close(lock);
    serve();
    // Somebody has put a socket in the place of this one.
    const int other = socket(AF_UNIX, SOCK_STREAM, 0);
    unlink(path_.c_str());
    ASSERT_EQ(bind(other, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(other);
    stop();
    EXPECT_TRUE(std::filesystem::remove(path_));

    const std::string file_path = path_ + "_file";
    std::ofstream{file_path};
    mgmt_server_config_s config = config_;
    const std::string long_path(200, 'p');
    const struct {
        const char* path;
        const char* group;
        std::string error;
    } cases[] = {
        {file_path.c_str(), nullptr,
         "cannot serve " + file_path + ": the file exists and is no socket"},
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
    std::filesystem::remove(file_path);
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
    on_leaf = [&] {
        if (leaf_calls == failing) {
            EXPECT_EQ(mgmt_server_fail_answer("the table is locked"), 0);
            EXPECT_EQ(mgmt_server_fail_answer("and more"), 0);
        }
    };
    serve();
    socket_client_c client(path_);
    EXPECT_EQ(client.ask("show-rows"), "error: the table is locked\n");
    config_.slice_usec = 1; // suspended and continued
    for (const int row : {2, 3}) {
        on_loop([&] { failing = leaf_calls + row; });
        const std::string answer = client.ask("show-rows");
        EXPECT_THAT(answer, StartsWith("<old-top>\n  <old-row>\n    <old>00000001<"));
        EXPECT_THAT(answer, EndsWith(">\n\nerror: the table is locked\n"));
        EXPECT_EQ(open_lists, 0);
    }
    on_loop([&] {
        failing = leaf_calls + 2;
        EXPECT_EQ(mgmt_server_fail_answer("of whom?"), -1);
    });
    EXPECT_EQ(client.ask("dump"),
              "/t/row/number                             :  [00000001]\n"
              "\nerror: the table is locked\n");
    EXPECT_EQ(client.ask("show-rows"), document("old", 3));
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
