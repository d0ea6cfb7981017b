// SPDX-License-Identifier: BSD-2-Clause

// Directories are watched and not files: an editor that saves a file puts a new one in its place.
// Each run is a process, because what data has made a path of stays one in the process.
#include "watching.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>
#include <system_error>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int QUIET_MS = 50; // one save is several events

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

class watch_c {
  public:
    explicit watch_c(const std::vector<fs::path>& places) {
        if (fd_ == -1) {
            fail("inotify");
        }
        for (const fs::path& place : places) {
            add(place);
        }
    }
    ~watch_c() { close(fd_); }
    watch_c(const watch_c&) = delete;
    watch_c& operator=(const watch_c&) = delete;

    // Returns when something has changed and nothing more does.
    void wait() const {
        while (!read_events()) {
        }
        pollfd more{fd_, POLLIN, 0};
        while (poll(&more, 1, QUIET_MS) > 0) {
            read_events();
        }
    }

  private:
    void add(const fs::path& place) {
        const fs::path absolute = fs::absolute(place);
        const bool is_file = !fs::is_directory(absolute);
        if (is_file) {
            names_.push_back(absolute.filename().string());
        }
        const std::string folder = (is_file ? absolute.parent_path() : absolute).string();
        if (inotify_add_watch(fd_, folder.c_str(),
                              IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE) ==
            -1) {
            fail(folder.c_str());
        }
    }

    // Whether one of the events that there are is about a file that matters.
    bool read_events() const {
        alignas(inotify_event) char buffer[8192];
        const ssize_t length = read(fd_, buffer, sizeof buffer);
        if (length == -1 && errno != EINTR) {
            fail("inotify");
        }
        bool matters = false;
        for (ssize_t at = 0; at < length;) {
            inotify_event event{};
            memcpy(&event, buffer + at, sizeof event);
            matters = matters || is_ours(event.len == 0 ? "" : buffer + at + sizeof event);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
        return matters;
    }

    bool is_ours(std::string_view name) const {
        return name.ends_with(".json") ||
               std::find(names_.begin(), names_.end(), name) != names_.end();
    }

    const int fd_ = inotify_init1(IN_CLOEXEC);
    std::vector<std::string> names_;
};

void run_apart(const std::function<int()>& function) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == -1) {
        fail("fork");
    }
    if (child == 0) {
        int status = 1;
        try {
            status = function();
        } catch (const std::exception& error) {
            fprintf(stderr, "drend-preview: %s\n", error.what());
        }
        fflush(nullptr);
        _exit(status);
    }
    waitpid(child, nullptr, 0);
}

} // namespace

void run_on_changes(const std::vector<fs::path>& places,
                    const std::function<int()>& function) {
    const watch_c watch(places);
    for (;;) {
        run_apart(function);
        fprintf(stderr, "drend-preview: waiting for changes\n");
        watch.wait();
    }
}
