// SPDX-License-Identifier: BSD-2-Clause

// Lines are cut short of the last column, as far as characters tell: what clears the rest of a
// line would take a character away that stands there. Characters wider than one column are held by
// the terminal, which does not go on to the next line while it is drawn on.
#include "screen.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "interrupts.h"

namespace {

constexpr char ENTER[] = "\033[?1049h\033[?25l";
constexpr char LEAVE[] = "\033[?7h\033[?25h\033[?1049l";
constexpr std::string_view BEGIN = "\033[?7l\033[H";
constexpr std::string_view REST_OF_LINE = "\033[0m\033[K";
constexpr std::string_view END = "\033[J\033[?7h";
constexpr int ENDING[] = {SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
constexpr int ENDINGS = sizeof ENDING / sizeof *ENDING;

volatile sig_atomic_t is_entered = 0;
termios given;
bool has_given = false;
struct sigaction given_actions[ENDINGS];

winsize size() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 ||
        size.ws_col == 0) {
        size.ws_row = 24;
        size.ws_col = 80;
    }
    return size;
}

bool write_all(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0 && (errno != EINTR || interrupt_count() > 0)) {
            return errno == EINTR;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

// Also in a signal handler.
void leave() {
    if (is_entered != 0) {
        is_entered = 0;
        [[maybe_unused]] const ssize_t written =
            write(STDOUT_FILENO, LEAVE, sizeof LEAVE - 1);
        if (has_given) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &given);
        }
    }
}

// The signal then does what it would have done; a process that goes on draws its picture again.
void leave_and_end(int number) {
    const int saved = errno;
    leave();
    raise(number);
    errno = saved;
}

void follow_signals() {
    struct sigaction action = {};
    action.sa_handler = leave_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : ENDING) {
        struct sigaction was = {};
        sigaction(number, nullptr, &was);
        if (was.sa_handler != SIG_IGN) {
            sigaction(number, &action, nullptr);
        }
    }
}

void enter() {
    follow_signals();
    has_given = tcgetattr(STDIN_FILENO, &given) == 0;
    if (has_given) {
        termios quiet = given;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    is_entered = 1;
    write_all(ENTER);
}

} // namespace

screen_c::screen_c() {
    for (int i = 0; i < ENDINGS; ++i) {
        sigaction(ENDING[i], nullptr, &given_actions[i]);
    }
    enter();
}

screen_c::~screen_c() {
    leave();
    for (int i = 0; i < ENDINGS; ++i) {
        sigaction(ENDING[i], &given_actions[i], nullptr);
    }
}

bool screen_c::is_possible() {
    const char* terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && *terminal != '\0' &&
           std::string_view(terminal) != "dumb";
}

std::size_t screen_c::rows() {
    return size().ws_row;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): nobody draws without a screen
bool screen_c::show(const std::vector<std::string>& lines) {
    if (is_entered == 0) { // it was stopped
        enter();
    }
    const winsize screen = size();
    std::string picture(BEGIN);
    for (std::size_t i = 0; i < std::min<std::size_t>(lines.size(), screen.ws_row); ++i) {
        picture.append(i == 0 ? "" : "\r\n");
        picture.append(cropped(lines[i], screen.ws_col - 1U)).append(REST_OF_LINE);
    }
    return write_all(picture.append(END));
}

std::string cropped(const std::string& line, std::size_t columns) {
    std::string shown;
    std::size_t used = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
            const std::size_t end = std::min(line.find('m', i), line.size() - 1);
            shown.append(line, i, end - i + 1);
            i = end;
            continue;
        }
        used += (line[i] & 0xc0) != 0x80 ? 1 : 0;
        if (used <= columns) {
            shown += line[i];
        }
    }
    return shown;
}
