// SPDX-License-Identifier: BSD-2-Clause

// Every system call of the management server fails once, with each error that its manual names, and
// each allocation of its opening. What is left is a server, or none and nothing else.

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "failing_calls.h"
#include "failing_memory.h"
#include "mgmt_server_fixture.h"

namespace {

struct fault_s {
    const char* call;
    std::vector<int> errors;
};

const fault_s OPENING[] = {
    {"open", {EACCES, EDQUOT, EINTR, EIO, EMFILE, ENFILE, ENOMEM, ENOSPC, EROFS}},
    {"flock", {EINTR, ENOLCK}},
    {"lstat", {EACCES, EIO, ENOMEM}},
    {"fstat", {EIO, ENOMEM}},
    {"socket", {EACCES, EMFILE, ENFILE, ENOBUFS, ENOMEM}},
    {"connect", {EACCES, EINTR, ENOMEM}},
    {"unlink", {EACCES, EBUSY, EIO, EROFS}},
    {"bind", {EACCES, EADDRINUSE, ENOENT, ENOMEM, ENOSPC, EROFS}},
    {"chmod", {EIO, ENOMEM, EPERM, EROFS}},
    {"listen", {EADDRINUSE}},
    {"fopen", {EACCES, EMFILE, ENFILE, ENOMEM, ENOSPC}},
    {"fchmod", {EIO, EPERM, EROFS}},
    {"rename", {EACCES, EDQUOT, EIO, ENOSPC, EROFS}},
};

// A call that fails with an error; without a call, an allocation.
struct failure_s {
    const char* call = nullptr;
    int error = 0;

    void begin(long number) const {
        if (call == nullptr) {
            failing_allocation = number;
        } else {
            *failing_call() = {call, number, error, nullptr};
        }
    }
    // Whether it has come to that.
    bool end() const {
        const bool has_failed =
            call == nullptr ? failing_allocation <= 0 : failing_call()->number == 0;
        *failing_call() = {};
        failing_allocation = 0;
        return has_failed;
    }
    // Such a call is made again.
    bool is_passing() const { return error == EINTR || error == EAGAIN; }
    std::string name() const {
        return call == nullptr ? "allocation " : std::string(call) + " " + strerror(error);
    }
};

// Does it with the first one failing, the second and so on, until there are no more. How often.
template <typename Do>
long for_each_failure(const Do& does) {
    long number = 1;
    while (does(number)) {
        ++number;
    }
    return number;
}

const fault_s SERVING[] = {
    {"accept4",
     {EAGAIN, EINTR, ECONNABORTED, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPERM, EPROTO}},
    {"getsockopt", {ENOBUFS, ENOMEM}},
    {"recv", {EINTR, ECONNRESET, ENOBUFS, ENOMEM, ENOTCONN}},
    {"send", {EAGAIN, EINTR, ECONNRESET, ENOBUFS, ENOMEM, EPIPE}},
};

class failing_calls_test : public mgmt_server_test {
  protected:
    failing_calls_test()
        : run_dir_(testing::TempDir() + "run_" + std::to_string(getpid())) {
        std::filesystem::create_directory(run_dir_);
        path_ = run_dir_ + "/socket";
        config_.path = path_.c_str();
        config_.run_dir = run_dir_.c_str();
        config_.name = "d";
    }
    ~failing_calls_test() override {
        stop();
        std::filesystem::remove_all(run_dir_);
    }

    // What may be there after an opening that failed, and is gone after one that did not.
    void expect_nothing_left(const std::string& when, bool was_there, long open_before) {
        size_t files = 0;
        for (const auto& file : std::filesystem::directory_iterator(run_dir_)) {
            if (file.path().extension() == ".lock") {
                continue; // it may be another server's
            }
            ++files;
            EXPECT_TRUE(was_there && file.path() == path_) << when << " left " << file;
        }
        EXPECT_LE(files, was_there ? 1U : 0U) << when;
        EXPECT_EQ(open_descriptors(), open_before) << when;
    }

    // Opens and closes with the n-th call, or allocation, failing. Whether it was as many.
    bool open_with(const failure_s& failure, long number, bool is_stale) {
        if (is_stale) {
            leave_a_socket();
        }
        const std::string what = failure.name() + std::to_string(number);
        const long open_before = open_descriptors();
        failure.begin(number);
        memset(error_, 0, sizeof error_);
        server_ = mgmt_server_open(loop_, &config_, error_, sizeof error_);
        const bool has_failed = failure.end();
        if (server_ == nullptr) {
            const char* why = failure.call == nullptr ? "" : strerror(failure.error);
            EXPECT_TRUE(has_failed) << error_;
            EXPECT_THAT(error_, testing::AllOf(testing::HasSubstr(why), testing::Ne("")))
                << what;
            expect_nothing_left(what, is_stale, open_before);
        } else {
            mgmt_server_close(std::exchange(server_, nullptr));
            expect_nothing_left("an opening without " + what, false, open_before);
        }
        std::filesystem::remove(path_);
        return has_failed;
    }

    // Answers of a loop in which the n-th one fails. Whether it did.
    bool ask_with(const failure_s& failure, long number) {
        const std::string whole = document("old", 3);
        on_loop([&] { failure.begin(number); });
        std::string answers[2];
        {
            socket_client_c client(path_);
            client.send_bytes("drend show-rows\ndrend show-rows\n");
            for (std::string& answer : answers) {
                answer = client.answer();
            }
        }
        wait_for_peers(0);
        bool has_failed = false;
        on_loop([&] { has_failed = failure.end(); });
        for (const std::string& answer : answers) {
            const bool is_marked =
                answer.ends_with(LOST) || answer.find("error: ") != std::string::npos;
            EXPECT_TRUE(answer == whole || (is_marked && !failure.is_passing()))
                << failure.name() << number << ": " << answer;
        }
        EXPECT_EQ(socket_client_c(path_).ask("drend show-rows"), whole) << failure.name();
        wait_for_peers(0);
        return has_failed;
    }

    std::string run_dir_;
    char error_[256] = "";
};

TEST_F(failing_calls_test, a_server_opens_or_leaves_nothing_behind) {
    for (const bool is_stale : {false, true}) {
        for (const fault_s& fault : OPENING) {
            for (const int error : fault.errors) {
                const long times = for_each_failure([&](long number) {
                    return open_with({fault.call, error}, number, is_stale);
                });
                EXPECT_TRUE(times > 1 || !is_stale) << fault.call << " is called";
            }
        }
    }
}

TEST_F(failing_calls_test, so_it_does_when_memory_runs_out) {
    if (!allocations_can_fail()) {
        GTEST_SKIP() << "the allocation functions are not this program's";
    }
    EXPECT_GT(for_each_failure([&](long number) { return open_with({}, number, false); }),
              3);
}

TEST_F(failing_calls_test, an_answer_is_whole_or_marked_whatever_fails) {
    serve();
    const long open_before = open_descriptors();
    for (const fault_s& fault : SERVING) {
        for (const int error : fault.errors) {
            EXPECT_GT(for_each_failure([&](long number) {
                          return ask_with({fault.call, error}, number);
                      }),
                      1)
                << fault.call << " is called";
        }
    }
    EXPECT_EQ(open_descriptors(), open_before);
}

TEST_F(failing_calls_test, memory_that_runs_out_costs_its_peer_alone) {
    if (!allocations_can_fail()) {
        GTEST_SKIP() << "the allocation functions are not this program's";
    }
    serve();
    const long open_before = open_descriptors();
    EXPECT_GT(for_each_failure([&](long number) { return ask_with({}, number); }), 10);
    EXPECT_EQ(open_descriptors(), open_before);
}

// The first answers of a server, which has no blocks kept.
TEST_F(failing_calls_test, blocks_that_cannot_be_had_cost_their_peer_alone) {
    EXPECT_GT(for_each_failure([&](long number) {
                  serve();
                  const bool has_failed = ask_with({"mmap", ENOMEM}, number);
                  stop();
                  return has_failed;
              }),
              1);
}

// The socket stays readable; nothing is tried again before a fifth of a second is over.
TEST_F(failing_calls_test, a_server_without_descriptors_waits_for_some) {
    static int tries;
    static const std::function<void()> none_is_left = [] {
        *failing_call() = {"accept4", 1, EMFILE, [] { ++tries, none_is_left(); }};
    };
    tries = 0;
    serve();
    on_loop([] { none_is_left(); });
    const auto begin = std::chrono::steady_clock::now();
    socket_client_c client(path_);
    client.send_bytes("drend show-rows\n");
    for (int i = 0; i < 20 || tries == 0; ++i) {
        on_loop([] {});
    }
    on_loop([] { *failing_call() = {}; });
    EXPECT_LE(tries, 1 + (std::chrono::steady_clock::now() - begin) /
                             std::chrono::milliseconds(200));
    EXPECT_EQ(client.answer(), document("old", 3));
}

TEST_F(failing_calls_test, single_bytes_make_the_same_answers) {
    serve();
    std::vector<std::string> answers[2];
    for (const bool takes_one : {false, true}) {
        on_loop([=] { take_one_byte(takes_one); });
        socket_client_c client(path_);
        client.send_bytes("\n \ndrend show-rows\r\nprotocol=2\ndrend show-rows\nnone\n");
        for (int i = 0; i < 4; ++i) {
            answers[takes_one].push_back(client.answer());
        }
    }
    on_loop([] { take_one_byte(0); });
    EXPECT_EQ(answers[0][0], document("old", 3));
    EXPECT_EQ(answers[1], answers[0]);
}

// It is what it was before or after, or its fault of syntax is told.
TEST_F(failing_calls_test, a_file_that_changes_while_it_is_read) {
    static std::string file;
    static std::string other;
    file = run_dir_ + "/usr/lib/render/d.json";
    other = definition("new") + std::string(100000, ' ');
    const struct {
        const char* what;
        void (*change)();
    } changes[] = {
        {"replaced",
         [] {
             std::ofstream(file + ".new") << other;
             std::filesystem::rename(file + ".new", file);
         }},
        {"written over", [] { std::ofstream(file) << other; }},
        {"truncated", [] { std::filesystem::resize_file(file, 10); }},
        {"emptied", [] { std::filesystem::resize_file(file, 0); }},
        {"removed", [] { std::filesystem::remove(file); }},
    };
    std::filesystem::create_directories(run_dir_ + "/usr/lib/render");
    drend_set_prefix(run_dir_.c_str());
    for (const auto& change : changes) {
        for (long number = 1; number < 12; ++number) {
            std::ofstream(file) << definition("old") + std::string(100000, ' ');
            dri_reload_json();
            *failing_call() = {"read", number, 0, change.change};
            testing::internal::CaptureStderr();
            dri_reload_json();
            const std::string said = testing::internal::GetCapturedStderr();
            *failing_call() = {};
            const std::string answer = render("show-rows");
            const bool is_one =
                answer == document("old", 3) || answer == document("new", 3);
            const bool is_told = said.find("json load error: " + file) != std::string::npos;
            EXPECT_TRUE(is_told || (is_one && said.empty()))
                << change.what << " at read " << number << ": " << said << answer;
        }
    }
}

// Errors of a disk are told, and the definitions in force stay.
TEST_F(failing_calls_test, a_file_that_cannot_be_read_keeps_the_definitions) {
    const fault_s reading[] = {{"open", {EACCES, EIO, EMFILE, ENFILE, EOVERFLOW}},
                               {"opendir", {EACCES, EMFILE, ENFILE}},
                               {"readdir", {EIO, EOVERFLOW}},
                               {"read", {EIO, EISDIR, ENOBUFS}}};
    for (const fault_s& fault : reading) {
        for (const int error : fault.errors) {
            *failing_call() = {fault.call, 1, error, nullptr};
            testing::internal::CaptureStderr();
            dri_reload_json();
            const std::string said = testing::internal::GetCapturedStderr();
            *failing_call() = {};
            EXPECT_THAT(said, testing::HasSubstr(strerror(error)));
            EXPECT_EQ(render("show-rows"), document("old", 3)) << said;
        }
    }
}

} // namespace
