// SPDX-License-Identifier: BSD-2-Clause

// The management socket under load: who may connect, floods, slow readers, what is given back.

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <latch>
#include <numeric>
#include <random>
#include <string>
#include <thread>

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
#include "mgmt_server_fixture.h"
#include "orvex_platform/mgmt_server.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

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

class mgmt_server_load_test : public mgmt_server_test {};

} // namespace

TEST_F(mgmt_server_load_test, a_flood_of_nothing_costs_its_peers_turns_alone) {
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

TEST_F(mgmt_server_load_test, a_peer_that_does_not_read_costs_little_and_is_closed) {
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
TEST_F(mgmt_server_load_test, a_slow_reader_is_served) {
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

TEST_F(mgmt_server_load_test, what_peers_had_waiting_goes_back_to_the_system) {
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

TEST_F(mgmt_server_load_test, who_may_connect_and_how_many) {
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

TEST_F(mgmt_server_load_test, descriptors_are_kept_back_for_the_daemon) {
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

TEST_F(mgmt_server_load_test, a_daemon_may_have_closed_its_standard_input) {
    const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDIN_FILENO);
    serve();
    EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0) << "the server's first descriptor";
    EXPECT_EQ(socket_client_c(path_).ask("show-rows"), document("old", 3));
    stop();
    dup2(input, STDIN_FILENO);
    close(input);
}

TEST_F(mgmt_server_load_test, other_users_need_the_group) {
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

TEST_F(mgmt_server_load_test, a_stale_socket_is_replaced_and_a_live_one_is_not) {
    leave_a_socket();
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
    unlink(path_.c_str());
    leave_a_socket();
    stop();
    EXPECT_TRUE(std::filesystem::remove(path_));

    const std::string file_path = path_ + "_file";
    std::ofstream{file_path};
    mgmt_server_config_s config = config_;
    const std::string long_path(200, 'p');
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {file_path.c_str(), nullptr,
         "cannot serve " + file_path + ": the file exists and is no socket"},
        {"", nullptr, "cannot serve : the path is empty or too long"},
        {long_path.c_str(), nullptr,
         "cannot serve " + long_path + ": the path is empty or too long"},
        {"/no/such/directory/s", nullptr,
         "cannot serve /no/such/directory/s: No such file or directory"},
        {config_.path, "no-such-group", "no group no-such-group: unknown"},
    };
    for (const auto& [path, group, why] : cases) {
        config.path = path;
        config.group = group;
        EXPECT_EQ(mgmt_server_open(loop_, &config, error, sizeof error), nullptr);
        EXPECT_EQ(error, why);
    }
    std::filesystem::remove(file_path);
}

// Requests of every kind from many peers at once, some of whom vanish in the middle of an answer,
// while the definitions are replaced again and again.
TEST_F(mgmt_server_load_test, many_peers_that_come_and_go_leave_nothing_behind) {
    const char* scale = getenv("MGMT_SERVER_TEST_PEERS");
    const unsigned peers = scale == nullptr ? 1000 : static_cast<unsigned>(atoi(scale));
    constexpr unsigned REQUESTS = 100;
    constexpr unsigned ROWS = 12;
    table_size = ROWS;
    config_.slice_usec = 20;
    const long descriptors = open_descriptors();
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
    const std::string documents[] = {document("old", ROWS), document("new", ROWS)};
    const std::pair<const char*, std::function<bool(const std::string&)>> kinds[] = {
        {"show-rows\n",
         [&](auto& text) { return text == documents[0] || text == documents[1]; }},
        {"show-rows as-json\n",
         [](auto& text) {
             const bool is_old = text.find("old-top") != std::string::npos;
             return text.find(is_old ? "new" : "old") == std::string::npos &&
                    text.ends_with("}]\n  }\n}");
         }},
        {"dump\n", [](auto& text) { return text.ends_with("]\n\n\n"); }},
        {"sho?\n", [](auto& text) { return text == "drend show-rows\tRows\n"; }},
        {"nonsense\n", [](auto& text) { return text.starts_with("error: "); }},
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
            const auto& [request, is_answer] = kinds[random() % std::size(kinds)];
            client.send_bytes(request);
            if (i == hangs_up_at) {
                client.receive(random() % 2000 + 1);
                return;
            }
            const std::string answer = client.answer();
            EXPECT_TRUE(is_answer(answer)) << request << answer;
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
