// SPDX-License-Identifier: BSD-2-Clause

// A management server that runs in a thread of its own, with the library; the test talks to it
// over its socket.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <event2/event.h>
#include <event2/thread.h>
#include <fcntl.h>
#include <unistd.h>

#include "definitions/drend_load.h"
#include "orvex_platform/mgmt_server.h"
#include "render_fixture.h"
#include "socket_client.h"

inline constexpr int PATIENCE_MS = socket_client_c::PATIENCE_MS;
inline const std::string LOST = socket_client_c::LOST;

// Rows are numbers below the size of the table; nothing is stored.
inline std::atomic<uintptr_t> table_size{0};
inline std::atomic<int> leaf_status{DREND_OK};
inline std::atomic<int> leaf_calls{0};
inline std::atomic<int> open_lists{0};
// Called by the server's thread before each leaf is read; set while nothing is served.
inline std::function<void()> on_leaf;

inline int next_number(dr_meta_context_s* ctx, const void*) {
    const auto current = reinterpret_cast<uintptr_t>(drend_get_element_ref(ctx));
    const uintptr_t next = current < table_size ? current + 1 : 0;
    drend_set_element_ref(ctx, reinterpret_cast<void*>(next));
    return next == 0 ? DREND_NO_EL : DREND_OK;
}

inline int read_row_number(dr_meta_context_s* ctx, const void*) {
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

inline long open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
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
        make_menu(nullptr, 0);
    }
    ~mgmt_server_test() override {
        stop();
        platform_close_loop(&loop_);
        EXPECT_EQ(open_lists, 0);
        EXPECT_EQ(dri_inuse_count(), 0u);
        EXPECT_EQ(dri_get_set_count(), 1);
    }

    // The menu to be served: the library's entries behind the daemon's own.
    void make_menu(const drend_menu_entry_s* own, int count) {
        static auto& menus = *new std::vector<drend_menu_entry_s*>;
        menus.push_back(drend_init(&loop_, own, count, nullptr));
        config_.menu = menus.back(); // it lives as long as the process
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
    // A socket that a daemon left that was killed.
    void leave_a_socket() const {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(fd);
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
};
