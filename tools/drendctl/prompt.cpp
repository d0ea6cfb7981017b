// SPDX-License-Identifier: BSD-2-Clause

#include "prompt.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <memory>

#include <histedit.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "interrupts.h"
#include "request_text.h"
#include "watch.h"

namespace {

constexpr int HISTORY_MAX = 1000;

constexpr char HELP[] =
    "?                    what can stand here; Tab completes it\n"
    "REQUEST              asks the daemon; \"?\" behind a command shows its arguments\n"
    "REQUEST --xml        in another form: --json, --table, --lines, --plain-json, "
    "--count\n"
    "REQUEST --wide       all columns of a table\n"
    "REQUEST --limit N    so many rows at most\n"
    "REQUEST | include WORD\n"
    "                     the lines that hold WORD; | exclude WORD, those that do not\n"
    "REQUEST | count      how many lines there are\n"
    "REQUEST | json       as JSON\n"
    "REQUEST | save FILE  into a file\n"
    "watch [SECONDS] REQUEST\n"
    "                     asks again and again and marks what changes; Ctrl-C ends it\n"
    "help                 this\n"
    "exit, quit, Ctrl-D   ends\n";

// The file of the history, its folder made; empty when there is no place for it.
std::string history_file() {
    const char* state = getenv("XDG_STATE_HOME");
    const char* home = getenv("HOME");
    std::filesystem::path folder;
    if (state != nullptr && state[0] == '/') {
        folder = state;
    } else if (home != nullptr && home[0] == '/') {
        folder = std::filesystem::path(home) / ".local/state";
    } else {
        return "";
    }
    std::error_code ignored; // the history then stays in memory
    std::filesystem::create_directories(folder / "drendctl", ignored);
    return (folder / "drendctl" / "history").string();
}

bool has_open_quote(const std::string& typed) {
    char open = '\0';
    for (std::size_t i = 0; i < typed.size(); ++i) {
        const char c = typed[i];
        if (open == '\0' && (c == '\'' || c == '"')) {
            open = c;
        } else if (c == open && typed[i - 1] != '\\') {
            open = '\0';
        }
    }
    return open != '\0';
}

class prompt_c {
  public:
    explicit prompt_c(client_c& client);

    outcome_e run();

  private:
    static prompt_c& of(EditLine* editor);
    static char* prompt_text(EditLine*);
    static int read_character(EditLine* editor, wchar_t* character);
    static unsigned char complete(EditLine* editor, int);
    static unsigned char question(EditLine* editor, int key);

    void bind_keys();
    bool read_line(std::string& line);
    void remember(const char* line);
    void redraw_after_change();
    bool wait_for_input();
    std::string typed() const;
    outcome_e find_entries(const std::string& typed);
    void show(const std::string& text);

    client_c& client_;
    const std::unique_ptr<EditLine, void (*)(EditLine*)> editor_;
    const std::unique_ptr<History, void (*)(History*)> history_;
    const std::string history_file_;
    std::vector<menu_entry_s> entries_;
};

// What is shown around the answers keeps out of an output that is no terminal.
prompt_c::prompt_c(client_c& client)
    : client_(client),
      editor_(el_init("drendctl", stdin, client.output().is_terminal() ? stdout : stderr,
                      stderr),
              el_end),
      history_(history_init(), history_end), history_file_(history_file()) {
    HistEvent event;
    history(history_.get(), &event, H_SETSIZE, HISTORY_MAX);
    history(history_.get(), &event, H_SETUNIQUE, 1);
    history(history_.get(), &event, H_LOAD, history_file_.c_str());
    if (editor_ != nullptr) {
        bind_keys();
    }
}

void prompt_c::bind_keys() {
    EditLine* const editor = editor_.get();
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_PROMPT, prompt_text);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_HIST, history, history_.get());
    el_set(editor, EL_GETCFN, read_character);
    el_source(editor, nullptr); // the user's ~/.editrc
    // Wide texts are not copied, narrow ones would be and never be freed.
    el_wset(editor, EL_ADDFN, L"drendctl-complete", L"Complete the word", complete);
    el_wset(editor, EL_ADDFN, L"drendctl-question", L"Show what could come", question);
    el_set(editor, EL_BIND, "^I", "drendctl-complete", nullptr);
    el_set(editor, EL_BIND, "?", "drendctl-question", nullptr);
}

outcome_e prompt_c::run() {
    if (editor_ == nullptr || history_ == nullptr) {
        return client_.report({outcome_e::lost, "cannot use the terminal"});
    }
    for (std::string line; read_line(line);) {
        if (line == "exit" || line == "quit") {
            return outcome_e::answered;
        }
        if (line == "help") {
            remember(line.c_str());
            show(HELP);
        } else if (!is_blank(line) && !is_remark(line)) {
            remember(line.c_str());
            if (client_.run_typed(line) == outcome_e::not_wanted) {
                return outcome_e::not_wanted; // nothing that is asked could be seen
            }
            forget_interrupts();
        }
    }
    return outcome_e::answered;
}

// Reads a line without blanks at its ends; an interrupt makes it an empty one. False at the end.
bool prompt_c::read_line(std::string& line) {
    int length = 0;
    // Otherwise a key typed between the prompt and the first read is the terminal's, not ours.
    el_set(editor_.get(), EL_PREP_TERM, 1);
    const char* text = el_gets(editor_.get(), &length);
    line.clear();
    if (text == nullptr) {
        const bool was_interrupted = interrupt_count() > 0;
        forget_interrupts();
        show("\n");
        return was_interrupted;
    }
    line.assign(text, static_cast<std::size_t>(length));
    line.erase(line.find_last_not_of(" \t\r\n") + 1); // npos + 1 is 0
    line.erase(0, line.find_first_not_of(" \t"));
    return true;
}

void prompt_c::remember(const char* line) {
    HistEvent event;
    history(history_.get(), &event, H_ENTER, line);
    const mode_t mask = umask(077); // requests are nobody else's business
    history(history_.get(), &event, H_SAVE, history_file_.c_str());
    umask(mask);
}

prompt_c& prompt_c::of(EditLine* editor) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<prompt_c*>(self);
}

char* prompt_c::prompt_text(EditLine*) {
    static char text[] = "drendctl> ";
    return text;
}

// What libedit reads with: its own way would miss a signal that comes before it waits.
// 1 and a character, 0 at the end, -1 after an interrupt.
int prompt_c::read_character(EditLine* editor, wchar_t* character) {
    prompt_c& self = of(editor);
    mbstate_t state = {};
    for (;;) {
        char byte = 0;
        if (!self.wait_for_input()) {
            return -1;
        }
        const ssize_t size = read(STDIN_FILENO, &byte, 1);
        if (size <= 0) {
            return size == 0 ? 0 : -1;
        }
        const size_t used = mbrtowc(character, &byte, 1, &state);
        if (used != static_cast<size_t>(-2)) {
            if (used == static_cast<size_t>(-1)) {
                *character = L'?'; // no character of this locale
            }
            return 1;
        }
    }
}

// False after an interrupt.
bool prompt_c::wait_for_input() {
    while (interrupt_count() == 0) {
        pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {interrupt_fd(), POLLIN, 0}};
        const int ready = poll(waits, 2, -1);
        if (ready > 0 && waits[1].revents != 0) {
            drain_interrupt_fd();
            redraw_after_change();
        } else if (ready > 0 && interrupt_count() == 0) {
            return true; // no signal came while poll returned
        }
    }
    return false;
}

void prompt_c::redraw_after_change() {
    if (take_terminal_change()) {
        el_set(editor_.get(), EL_PREP_TERM, 1);
        el_resize(editor_.get());
        el_set(editor_.get(), EL_REFRESH);
    }
}

std::string prompt_c::typed() const {
    const LineInfo* line = el_line(editor_.get());
    return std::string(line->buffer, line->cursor);
}

void prompt_c::show(const std::string& text) {
    fputs(text.c_str(), client_.output().is_terminal() ? stdout : stderr);
    fflush(nullptr);
}

// Asks what could stand at the end of `typed`; `nothing` when nothing could. Says why there is no
// answer.
outcome_e prompt_c::find_entries(const std::string& typed) {
    const std::optional<watch_line_s> watch = read_watch_line(typed);
    const outcome_s outcome =
        ask_menu(client_.session(), watch ? std::string(watch->request) : typed,
                 patience_s::steady_clock_t::now() + MENU_PATIENCE, entries_);
    forget_interrupts();
    if (outcome.what == outcome_e::lost) {
        show("\n");
        return client_.report(outcome);
    }
    const bool has_entries = outcome.what == outcome_e::answered && !entries_.empty();
    return has_entries ? outcome_e::answered : outcome_e::nothing;
}

unsigned char prompt_c::complete(EditLine* editor, int) {
    prompt_c& self = of(editor);
    const std::string typed = self.typed();
    if (has_open_quote(typed)) {
        return CC_REFRESH_BEEP;
    }
    const outcome_e found = self.find_entries(typed);
    if (found != outcome_e::answered) {
        return found == outcome_e::nothing ? CC_REFRESH_BEEP : CC_REDISPLAY;
    }
    const std::vector<std::string> words = menu_words(self.entries_);
    std::string more =
        words.empty() ? "" : common_beginning(words).substr(begun_word(typed).size());
    more += words.size() == 1 && !words.front().ends_with('=') ? " " : "";
    if (more.empty()) {
        self.show("\n" + escaped_controls(menu_text(self.entries_)));
        return CC_REDISPLAY;
    }
    return el_insertstr(editor, more.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

unsigned char prompt_c::question(EditLine* editor, int key) {
    prompt_c& self = of(editor);
    const std::string typed = self.typed();
    if (has_open_quote(typed)) {
        const char text[] = {static_cast<char>(key), '\0'};
        return el_insertstr(editor, text) == 0 ? CC_REFRESH : CC_ERROR;
    }
    self.show("?\n");
    const outcome_e found = self.find_entries(typed);
    if (found == outcome_e::answered) {
        self.show(escaped_controls(menu_text(self.entries_)));
    } else if (found == outcome_e::nothing) {
        self.show("nothing can follow\n");
    }
    return CC_REDISPLAY;
}

} // namespace

outcome_e run_prompt(client_c& client) {
    setlocale(LC_CTYPE, ""); // the editor's characters
    const outcome_s connected = client.session().connect();
    if (connected.what != outcome_e::answered) {
        return client.report(connected);
    }
    return prompt_c(client).run();
}
