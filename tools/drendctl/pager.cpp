// SPDX-License-Identifier: BSD-2-Clause

#include "pager.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char DEFAULT[] = "command -v less >/dev/null || exec cat; exec less -FRX";

// In the child: nothing but system calls.
[[noreturn]] void run(const char* command, int input, int output) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    signal(SIGPIPE, SIG_DFL);
    execl("/bin/sh", "sh", "-c", command, nullptr);
    _exit(127);
}

} // namespace

bool pager_c::is_wanted() {
    const char* pager = getenv("PAGER");
    return pager == nullptr || *pager != '\0';
}

bool pager_c::start(int output) {
    const char* pager = getenv("PAGER");
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    pid_ = fork();
    if (pid_ == 0) {
        run(pager == nullptr ? DEFAULT : pager, ends[0], output);
    }
    close(ends[0]);
    fd_ = ends[1];
    if (pid_ < 0) {
        close(fd_);
        fd_ = -1;
    }
    return is_running();
}

void pager_c::finish() {
    if (!is_running()) {
        return;
    }
    close(fd_);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    fd_ = -1;
}
