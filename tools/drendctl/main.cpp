// SPDX-License-Identifier: BSD-2-Clause

// drendctl: the client of a daemon's management socket (docs/socket.md). See drendctl.1.

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <unistd.h>

#include "client.h"
#include "interrupts.h"
#include "prompt.h"
#include "request_text.h"
#include "tools/common/standard_output.h"
#include "watch.h"

namespace {

constexpr double TIMEOUT_MAX = 1e6;

struct options_s {
    std::vector<std::string> words;
    std::string socket = "/run/netstatd/netstatd.sock";
    double timeout = 60;
    std::string filter;
    std::string colour = "auto";
    std::string form_words;
    bool has_form = false;
    std::uint64_t limit = 0;
    std::string watch_seconds; // as they are written
    bool is_list = false;
    std::string begun; // what is to be completed
    // Whether they are given. To look them up by their names takes memory where none may fail.
    const CLI::Option* given_filter = nullptr;
    const CLI::Option* given_watch = nullptr;
    const CLI::Option* given_completion = nullptr;

    bool has_filter() const { return given_filter->count() > 0; }
    bool is_watch() const { return given_watch->count() > 0; }
    bool is_completion() const { return given_completion->count() > 0; }
};

std::string timeout_fault(const std::string& text) {
    char* end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    const bool is_valid = end != text.c_str() && *end == '\0' && std::isfinite(seconds) &&
                          seconds >= 0 && seconds <= TIMEOUT_MAX;
    return is_valid ? "" : "not a number of seconds: " + text;
}

std::string interval_fault(const std::string& text) {
    return read_watch_seconds(text) ? ""
                                    : "not an interval of 0.1 to 86400 seconds: " + text;
}

class formatter_c : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: drendctl [OPTIONS] [WORD... | -]\n\n"
               "The words are the way to a command and its arguments; \"-\" reads requests "
               "from\n"
               "standard input, one a line. Without words there is a prompt.\n";
    }
};

// The arguments that are no options: all behind "--", and what does not begin with "-".
std::vector<std::string> words_of(const CLI::App& app) {
    std::vector<std::string> words;
    bool is_behind_mark = false;
    for (const std::string& word : app.remaining()) {
        if (is_behind_mark || word.size() < 2 || word[0] != '-') {
            words.push_back(word);
        } else if (word == "--") {
            is_behind_mark = true;
        } else {
            throw CLI::ExtrasError("drendctl", {word});
        }
    }
    return words;
}

// The forms exclude each other.
void add_form_options(CLI::App& app, options_s& options) {
    std::vector<CLI::Option*> forms;
    for (const form_option_s& row : form_options()) {
        const auto note = [&options, &row] {
            options.form_words += row.words;
            options.has_form = options.has_form || row.is_form;
        };
        CLI::Option* option = app.add_flag_callback(row.option, note, row.help);
        for (CLI::Option* other : forms) {
            if (row.is_form) {
                option->excludes(other);
            }
        }
        if (row.is_form) {
            forms.push_back(option);
        }
    }
    app.add_option("--limit", options.limit, "Ask for so many rows at most")
        ->type_name("ROWS")
        ->check(CLI::PositiveNumber);
}

void add_options(CLI::App& app, options_s& options) {
    app.allow_extras(); // the words: an option of many values would change those in brackets
    app.formatter(std::make_shared<formatter_c>());
    app.add_option("--socket", options.socket, "The daemon's management socket")
        ->type_name("PATH")
        ->envname("DRENDCTL_SOCKET")
        ->capture_default_str();
    app.add_option("--timeout", options.timeout,
                   "Give up when no byte arrives for so long; 0 is never")
        ->type_name("SECONDS")
        ->check(CLI::Validator(timeout_fault, ""))
        ->capture_default_str();
    add_form_options(app, options);
    options.given_filter =
        app.add_option("--filter", options.filter, "Ask for what the filter EXPR fits")
            ->type_name("EXPR");
    options.given_watch = app.add_flag("--watch{2}", options.watch_seconds,
                                       "Ask again and again, every 2 seconds or every "
                                       "SECONDS (--watch=SECONDS), and mark what changes")
                              ->check(CLI::Validator(interval_fault, ""));
    app.add_flag("--list", options.is_list,
                 "Show what there is, or what may follow the words");
    app.add_option("--color", options.colour, "Colour the answers: auto, always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    // For the shell's completion.
    options.given_completion = app.add_option("--complete", options.begun)->group("");
    app.set_version_flag("--version", "drendctl " DREND_VERSION);
    app.get_formatter()->column_width(24);
}

bool has_colours(const std::string& when) {
    const char* no_colour = getenv("NO_COLOR");
    const bool is_unwanted = no_colour != nullptr && no_colour[0] != '\0';
    return when == "always" ||
           (when == "auto" && isatty(STDOUT_FILENO) == 1 && !is_unwanted);
}

// A standard stream that is closed must not become the connection.
void keep_standard_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1) {
            // Opened the wrong way round, so that using it is still an error.
            [[maybe_unused]] const int opened =
                open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

session_options_s session_options(const options_s& options) {
    session_options_s session;
    session.path = options.socket;
    session.patience.silence =
        std::chrono::milliseconds(std::lround(options.timeout * 1000));
    const bool is_apart = isatty(STDERR_FILENO) == 1 && isatty(STDOUT_FILENO) == 0;
    session.progress_fd = is_apart && !options.is_completion() ? STDERR_FILENO : -1;
    session.watched_output = STDOUT_FILENO;
    return session;
}

// Prints the words that can stand at the end of what is typed. Silent about everything else.
outcome_e print_completions(session_c& session, const std::string& begun) {
    std::vector<menu_entry_s> entries;
    const outcome_s outcome = ask_menu(
        session, begun, patience_s::steady_clock_t::now() + MENU_PATIENCE, entries);
    if (outcome.what == outcome_e::answered) {
        for (const std::string& word : menu_words(entries)) {
            printf("%s\n", word.c_str());
        }
    }
    return outcome.what;
}

outcome_e run(client_c& client, const options_s& options) {
    const std::vector<std::string>& words = options.words;
    const bool is_typed = words.empty() && isatty(STDIN_FILENO) == 1;
    if (options.is_completion()) {
        return print_completions(client.session(), options.begun);
    }
    if (!options.is_list && is_typed) {
        return client.finish(run_prompt(client));
    }
    if (!options.is_list && (words.empty() || (words.size() == 1 && words[0] == "-"))) {
        return client.finish(client.run_lines(STDIN_FILENO));
    }
    std::string error;
    const std::optional<std::string> request = join_words(words, error);
    if (!request) {
        return client.report({outcome_e::usage, error});
    }
    if (options.is_watch()) {
        return client.finish(
            client.watch({*request}, *read_watch_seconds(options.watch_seconds)));
    }
    if (options.is_list) {
        return client.list(words.empty() ? "" : *request + " ");
    }
    return client.finish(client.run({*request}));
}

// All of a stream, in one line: white space of XML is blanks in requests. No more than a request
// may hold, and some, so that what is too long is seen to be.
std::string line_of(FILE* stream) {
    std::string text;
    int c = 0;
    while (text.size() <= REQUEST_MAX && (c = fgetc(stream)) != EOF) {
        text += c == '\n' || c == '\r' ? ' ' : static_cast<char>(c);
    }
    if (ferror(stream) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot read the filter");
    }
    return text;
}

// A filter as it was given, what standard input has for "-", or what a file has that holds XML.
std::string filter_text(const std::string& given) {
    if (given == "-") {
        return line_of(stdin);
    }
    const auto close = [](FILE* file) { fclose(file); };
    const std::unique_ptr<FILE, decltype(close)> file(fopen(given.c_str(), "re"), close);
    std::error_code failure; // what cannot be looked at is no directory
    const bool is_text = file != nullptr && !std::filesystem::is_directory(given, failure);
    const std::string text = is_text ? line_of(file.get()) : "";
    const std::size_t begin = text.find_first_not_of(' ');
    return begin != std::string::npos && text[begin] == '<' ? text.substr(begin) : given;
}

outcome_e run(const options_s& options) {
    client_options_s client_options;
    client_options.reports_to_terminal = isatty(STDERR_FILENO) == 1;
    if (options.has_filter()) {
        const std::optional<std::string> filter = quoted_value(filter_text(options.filter));
        if (!filter) {
            fprintf(stderr, "drendctl: a filter cannot end in a backslash\n");
            return outcome_e::usage;
        }
        client_options.suffix += " filter=" + *filter;
    }
    client_options.suffix += options.form_words;
    client_options.suffix +=
        options.limit > 0 ? " limit=" + std::to_string(options.limit) : "";
    client_options.prefers_tables =
        (isatty(STDOUT_FILENO) == 1 || options.is_watch()) && !options.has_form;
    answer_output_c output(STDOUT_FILENO, isatty(STDOUT_FILENO) == 1,
                           has_colours(options.colour));
    if (isatty(STDIN_FILENO) == 1) {
        output.use_pager();
    }
    session_options_s in_session = session_options(options);
    in_session.on_silence = [&output] { output.show_held(); };
    session_c session(std::move(in_session));
    client_c client(session, output, client_options);
    return run(client, options);
}

// The exit code, once what went through the standard stream is written.
int with_output(outcome_e outcome) {
    return end_of_output("drendctl", static_cast<int>(outcome),
                         static_cast<int>(outcome_e::lost));
}

} // namespace

int main(int argc, char** argv) try {
    options_s options;
    CLI::App app(
        "Asks a daemon through its management socket. Without words it reads requests "
        "at a prompt.",
        "drendctl");
    add_options(app, options);
    try {
        app.parse(argc, argv);
        options.words = words_of(app);
    } catch (const CLI::ParseError& error) {
        const bool is_answer = app.exit(error) == 0; // help or version, as asked
        return with_output(is_answer ? outcome_e::answered : outcome_e::usage);
    }
    keep_standard_streams();
    install_interrupts();
    return with_output(run(options));
} catch (const std::exception& error) {
    fprintf(stderr, "drendctl: %s\n", error.what());
    return static_cast<int>(outcome_e::lost);
}
