// SPDX-License-Identifier: BSD-2-Clause

#include "interrupts.h"

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace {

int wake_pipe[2] = {-1, -1};
volatile sig_atomic_t interrupts = 0;
volatile sig_atomic_t terminal_changed = 0;

void note_signal(int number) {
    const int saved = errno;
    if (number == SIGINT) {
        interrupts = interrupts + 1;
    } else {
        terminal_changed = 1;
    }
    // A full pipe wakes as well as one with one byte more.
    [[maybe_unused]] const ssize_t written = write(wake_pipe[1], "!", 1);
    errno = saved;
}

} // namespace

void install_interrupts() {
    if (pipe2(wake_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return; // signals then have their usual effect
    }
    struct sigaction action = {};
    action.sa_handler = note_signal; // without SA_RESTART: waiting calls return
    for (const int number : {SIGINT, SIGWINCH, SIGCONT}) {
        struct sigaction given = {};
        sigaction(number, nullptr, &given);
        if (given.sa_handler !=
            SIG_IGN) { // as a shell has it for what runs in the background
            sigaction(number, &action, nullptr);
        }
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

int interrupt_count() {
    return interrupts;
}

void forget_interrupts() {
    interrupts = 0;
}

bool take_terminal_change() {
    const bool changed = terminal_changed != 0;
    terminal_changed = 0;
    return changed;
}

int interrupt_fd() {
    return wake_pipe[0];
}

void drain_interrupt_fd() {
    char bytes[64];
    while (read(wake_pipe[0], bytes, sizeof bytes) > 0) {
    }
}
