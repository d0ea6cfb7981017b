// SPDX-License-Identifier: BSD-2-Clause

// What drendctl makes of texts: requests, framing, answers, and their looks on a terminal.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "definition_files.h"
#include "expr/dri_args.h"
#include "repeated.h"
#include "tools/drendctl/answer_form.h"
#include "tools/drendctl/checked_answer.h"
#include "tools/drendctl/chunk_decoder.h"
#include "tools/drendctl/control_escaper.h"
#include "tools/drendctl/filter_place.h"
#include "tools/drendctl/highlighter.h"
#include "tools/drendctl/menu.h"
#include "tools/drendctl/progress.h"
#include "tools/drendctl/request_text.h"
#include "tools/drendctl/session.h"
#include "tools/drendctl/text_pipe.h"

using testing::ElementsAre;

namespace {

// The events of `bytes` fed in pieces of `size`: "(" begins a chunk, its tag a note, ")" ends an
// answer, "!" is the error; data stand for themselves.
std::string decoded(std::string_view bytes, size_t size) {
    chunk_decoder_c decoder;
    std::string events;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size()))) {
        std::string_view piece = bytes.substr(0, size);
        std::string_view data;
        for (;;) {
            const chunk_event_e event = decoder.next(piece, data);
            if (event == chunk_event_e::need_more) {
                break;
            }
            if (event == chunk_event_e::malformed) {
                return events + "!" + decoder.error();
            }
            events += event == chunk_event_e::data          ? std::string(data)
                      : event == chunk_event_e::answer_ends ? ")"
                      : event == chunk_event_e::note_begins ? std::string(1, decoder.tag())
                                                            : "(";
        }
    }
    return events;
}

// The text with colours as <n>, n being the terminal's number of the colour.
std::string coloured(const std::string& text, size_t size) {
    highlighter_c highlighter;
    std::string out;
    for (size_t i = 0; i < text.size(); i += size) {
        highlighter.add(std::string_view(text).substr(i, size), out);
    }
    highlighter.finish(out);
    for (size_t i = 0; (i = out.find("\033[", i)) != std::string::npos;) {
        out.replace(i, 2, "<");
        out.replace(out.find('m', i), 1, ">");
    }
    return out;
}

// Answers one request after the wish for protocol 2, and at the end of requests sends `more`.
void serve_once(int listener, std::string_view more) {
    const int peer = accept(listener, nullptr, nullptr);
    char byte = 0;
    for (int lines = 0; lines < 2;) {
        lines += read(peer, &byte, 1) == 1 && byte == '\n' ? 1 : 0;
    }
    const std::string_view ended = "\n#s14\nend: complete\n\n##\n";
    send(peer, ended.data(), ended.size(), MSG_NOSIGNAL);
    send(peer, ended.data(), ended.size(), MSG_NOSIGNAL);
    while (read(peer, &byte, 1) == 1) {
    }
    send(peer, more.data(), more.size(), MSG_NOSIGNAL);
    close(peer);
}

} // namespace

TEST(drendctl_text, framing) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"\n#4\n<a/>\n##\n", "(<a/>)"},
        {"\n##\n", ")"},
        {"\n#1\na\n#13\n\n#3\n\n##\n 789a\n##\n\n#1\nb\n##\n", "(a(\n#3\n\n##\n 789a)(b)"},
        {"\n#4294967295\nab", "(ab"},
        {"\n#3\nab", "(ab"},
        {"a", "!malformed answer: byte 0 is not a line feed"},
        {"\na", "!malformed answer: byte 1 is not '#'"},
        {"\n#\n", "!malformed answer: byte 2 is not a length or '#'"},
        {"\n#01\n", "!malformed answer: byte 2 is not a length or '#'"},
        {"\n#1\na#", "(a!malformed answer: byte 5 is not a line feed"},
        {"\n#1a", "!malformed answer: byte 3 is not a digit or a line feed"},
        {"\n#4294967296\n", "!malformed answer: byte 11 is not a length below 2^32"},
        {"\n#t3\na/b\n#1\nc\n#s11\n\n##\n\n#1\nab\n\n##\n\n#2\nde",
         "ta/b(cs\n##\n\n#1\nab\n)(de"},
        {"\n#t\n", "!malformed answer: byte 3 is not a length or '#'"},
        {"\n#t#\n", "!malformed answer: byte 3 is not a length or '#'"},
        {"\n#s1t", "!malformed answer: byte 4 is not a digit or a line feed"},
        {"\n##\n\n##a", ")!malformed answer: byte 7 is not a line feed"},
    };
    for (const auto& [bytes, events] : cases) {
        for (size_t size = 1; size <= bytes.size(); ++size) {
            EXPECT_EQ(decoded(bytes, size), events) << bytes << " by " << size;
        }
    }
}

TEST(drendctl_text, typed_requests) {
    const std::pair<const char*, const char*> cases[] = {
        {"show x=1 --json \t", "show x=1 as-ietf-json"},
        {"show --json x=1", "show --json x=1"},
        {"show --table --wide  --limit 20", "show as-table wide limit=20"},
        {"show --limit x", "show --limit x"},
        {"show 20", "show 20"},
        {"show --xml", "show(xml)"},
        {"show  ", "show  "},
        {"--json", "--json"},
    };
    for (const auto& [line, expected] : cases) {
        const typed_request_s typed = typed_request(line);
        EXPECT_EQ(typed.request + (typed.is_xml ? "(xml)" : ""), expected);
    }
    EXPECT_TRUE(has_form("show x as-json"));
    EXPECT_TRUE(has_form("show as-ietf-xml x"));
    EXPECT_FALSE(has_form("show x=as-json wide as-table=1"));
    EXPECT_TRUE(offers_tables("x=\t\t\t\nas-table\tA\tform\t\n"));
    EXPECT_FALSE(offers_tables("has-table\tA\tform\t\n"));
}

// What comes out of the pipes of a line for an answer in pieces of `size`, or the error.
std::string piped(const char* line, const std::string& answer, size_t size) {
    const piped_line_s cut = cut_at_pipes(line);
    text_pipe_c pipe;
    std::string out;
    if (!pipe.open(cut.stages, out)) {
        return out;
    }
    out = cut.request + ">";
    const auto take = [&out](std::string_view part) {
        out += part;
        return true;
    };
    for (size_t i = 0; i < answer.size(); i += size) {
        EXPECT_TRUE(pipe.add(std::string_view(answer).substr(i, size), take));
    }
    EXPECT_EQ(pipe.finish(take), "");
    return out;
}

TEST(drendctl_text, pipes) {
    const std::string file = testing::TempDir() + "piped_" + std::to_string(getpid());
    const std::string save = "x | exclude b | save " + file;
    const std::string unknown = " is nothing to pipe into; there are include WORD, exclude "
                                "WORD, count, json and save FILE";
    const std::pair<const char*, std::string> cases[] = {
        {"x", "x>ab\nbc\ncd"},
        {"x a='|' b[c|d] | include c", "x a='|' b[c|d]>bc\ncd"},
        {"x|include b|exclude a", "x>bc\n"},
        {"x | count", "x>3\n"},
        {"x | include b | count | include 2", "x>2\n"},
        {"x | count | count", "x>1\n"},
        {"x | grep a", "'grep a'" + unknown},
        {"x | include", "'include'" + unknown},
        {"x | count a", "'count a'" + unknown},
        {"x |", "''" + unknown},
        {"x | save /nowhere/f", "cannot write /nowhere/f: No such file or directory"},
        {save.c_str(), "x>"},
    };
    for (const auto& [line, expected] : cases) {
        for (const size_t size : {size_t{1}, size_t{4}, size_t{100}}) {
            EXPECT_EQ(piped(line, "ab\nbc\ncd", size), expected) << line;
        }
    }
    std::ifstream saved(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), "cd");
    unlink(file.c_str());
}

TEST(drendctl_text, what_is_saved_is_whole_or_gone) {
    const std::string file = testing::TempDir() + "saved_" + std::to_string(getpid());
    const std::pair<std::string, int> cases[] = {{file, EFBIG}, {"/dev/full", ENOSPC}};
    const auto nowhere = [](std::string_view) { return true; };
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    rlimit given{};
    getrlimit(RLIMIT_FSIZE, &given);
    const rlimit small{4, given.rlim_max};
    for (const auto& [path, reason] : cases) {
        text_pipe_c pipe;
        std::string error;
        EXPECT_TRUE(pipe.open({"save " + path}, error)) << error;
        setrlimit(RLIMIT_FSIZE, &small);
        pipe.add(repeated(10000, "line\n"), nowhere);
        error = pipe.finish(nowhere);
        setrlimit(RLIMIT_FSIZE, &given);
        EXPECT_EQ(error, "cannot write " + path + ": " + strerror(reason));
        EXPECT_EQ(access(path.c_str(), F_OK) == 0, path != file);
    }
    signal(SIGXFSZ, handler);
}

TEST(drendctl_text, colours_of_tables) {
    const std::pair<std::string, std::string> cases[] = {
        {"\033[1mname\033[0m\n", "\033[1mname\033[0m\n"},
        {"\033[31ma\033[32mb\033[33mc\033[0m", "\033[31ma\033[32mb\033[33mc\033[0m"},
        {"\033[33mcut", "\033[33mcut\033[0m"}, // the terminal is left as it was
        {"\033[34m\033[2J\033[31;1m", "\\x1b[34m\\x1b[2J\\x1b[31;1m"},
        {"\033\033[1m\033[0", "\\x1b\033[1m\\x1b[0\033[0m"},
        {"\xc3\033[0m\xa4", "\\xc3\033[0m\\xa4"},
    };
    for (const auto& [text, expected] : cases) {
        for (size_t size = 1; size <= text.size(); ++size) {
            control_escaper_c escaper(true);
            std::string out;
            for (size_t i = 0; i < text.size(); i += size) {
                escaper.add(std::string_view(text).substr(i, size), out);
            }
            escaper.finish(out);
            EXPECT_EQ(out, expected) << "by " << size;
        }
    }
}

TEST(drendctl_text, arguments_of_a_command) {
    const std::string answer = "name=\tIts name\tstring\t\nstate=\t\tstring\tup down\n"
                               "limit=\tAt most\tvalue\t\nas-json\tJSON\tform\t\n";
    const std::pair<const char*, const char*> cases[] = {
        {"show ",
         "name=  Its name, string|state=  string: up down|limit=  At most|as-json  JSON|"},
        {"show na", "name=  Its name, string|"},
        {"show name=lo as-json ", "state=  string: up down|limit=  At most|"},
        {"show state=", "state=up|state=down|"},
        {"show state=d", "state=down|"},
        {"show name=x", ""},
    };
    for (const auto& [typed, expected] : cases) {
        std::string text;
        for (const menu_entry_s& entry : menu_entries(answer, typed)) {
            text += entry.word + (entry.help.empty() ? "" : "  " + entry.help) + "|";
        }
        EXPECT_EQ(text, expected) << typed;
    }
}

// What was quoted is what the library's own reader of arguments finds.
TEST(drendctl_text, quoted_values_are_read_back) {
    for (const std::string value :
         {"", "a", "a, b", "it's", "\"", "'", "'\"", "\\'\\\"", "''\"\"'", "a\\b 'c' \"d\"",
          "/a/b[name='it\\'s' or name=\"x\\\"y\"]"}) {
        dr_str_buf_c found;
        const std::string args = "as-json, filter=" + quoted_value(value).value() + " x=1";
        ASSERT_EQ(dri_args_find(args.c_str(), "filter", found), 1) << args;
        found.strip_quotes();
        EXPECT_EQ(found, value) << args;
        EXPECT_EQ(dri_args_find(args.c_str(), "x", found), 1) << args;
    }
    EXPECT_EQ(quoted_value("a\\"), std::nullopt);
}

TEST(drendctl_text, colours) {
    const std::pair<std::string, const char*> cases[] = {
        {"plain <a> {1}", "plain <a> {1}"},
        {"<a>\n <b x='1>'  y=\"2\"/>3</a>",
         "<36><a>\n <b <33>x=<32>'1>'  <33>y=<32>\"2\"<36>/><32>3<36></a><0>"},
        {" {\"a\" : [{\"b\":\"c\\\"d\", \"e\": -1}, \"f\"],\n\"g\":null}",
         " {<33>\"a\" <0>: [{<33>\"b\"<0>:<32>\"c\\\"d\"<0>, <33>\"e\"<0>: <35>-1<0>}, "
         "<32>\"f\"<0>],\n<33>\"g\"<0>:<35>null<0>}"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(coloured(text, 1), expected);
        EXPECT_EQ(coloured(text, text.size()), expected);
    }
    const std::string deep(5000, '[');
    EXPECT_EQ(coloured(deep + "\"a\",\"b\"", 100), deep + "<32>\"a\"<0>,<32>\"b\"<0>");
}

TEST(drendctl_text, control_characters) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"a\n\tb~", "a\n\tb~"},
        {std::string_view("\0\r\x1b\x7f", 4), "\\x00\\x0d\\x1b\\x7f"},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
        {"\x9b\xc2\x9b\xc2\xa0", "\\x9b\\xc2\\x9b\xc2\xa0"},
        {"\xc0\x9b\xe0\x82\x9b\xed\xa0\x80", "\\xc0\\x9b\\xe0\\x82\\x9b\\xed\\xa0\\x80"},
        {"\xf0\x80\x82\x9b\xf4\x90\x80\x80", "\\xf0\\x80\\x82\\x9b\\xf4\\x90\\x80\\x80"},
        {"\xe2\x82\xe2\x1b\xf0\x9f", "\\xe2\\x82\\xe2\\x1b\\xf0\\x9f"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(escaped_controls(text), expected);
    }
}

TEST(drendctl_text, the_place_in_a_filter) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"x filter=/a/b", "4", "/a/b\n   ^\n"},
        {"x a=' filter=no', filter='/a/b' filter=/c", "1", "/a/b\n^\n"},
        {"x filter=/a/", "4", "/a/\n   ^\n"}, // behind the last
        {"x filter=/a[b='c d']", "5", "/a[b='c d']\n    ^\n"},
        {"x filter='/a[b=\\'c\\']/d' y", "10", "/a[b='c']/d\n         ^\n"},
        {"x filter=/\u00e4\u20ac/\U0001f600/b", "6",
         "/\u00e4\u20ac/\U0001f600/b\n     ^\n"},
        {"x filter='/\x1b/\xff\t/b'", "6", "/\\x1b/\\xff\t/b\n          \t^\n"},
        {"x filter=/a", "4", ""}, // there is none
        {"x filter=/a", "0", ""},
        {"x filter=/a", "99999999999999999999", ""},
        {"x filter=/a", "1 of it", ""},
        {"x", "1", ""}, // nor a filter
    };
    for (const auto& [request, character, expected] : cases) {
        const std::string error = "error: filter: ' at character 1' at character ";
        EXPECT_EQ(filter_place(error + character, request), expected) << request;
    }
    EXPECT_EQ(filter_place("error: arguments: quote at character 1", "x filter=/a"), "");
    EXPECT_EQ(filter_place("error: filter: no", "x filter=/a"), "");
    for (const std::string filter : {"/a[b='it\\'s']", "/a[b=\"'\" or c='\"\"']", "a, b"}) {
        const std::string request = "x y=1, filter=" + quoted_value(filter).value();
        EXPECT_EQ(filter_place("error: filter: z at character 1", request),
                  filter + "\n^\n");
    }
}

// What is printed of an answer to "check" that arrives in pieces of `size`, "!" for errors.
std::string checked(const std::string& answer, size_t size) {
    std::string text;
    checked_answer_c checked([&text](std::string_view part) {
        text += part;
        return true;
    });
    for (size_t i = 0; i < answer.size(); i += size) {
        EXPECT_TRUE(checked.add(std::string_view(answer).substr(i, size)));
    }
    checked.finish();
    return text + (checked.has_errors() ? "!" : "");
}

TEST(drendctl_text, the_place_of_a_finding) {
    const definition_files_c files;
    const std::string file =
        files.write("a:1.json", "one\r\n\t\xc3\xa4y\x1b\n" + std::string(200, 'x') +
                                    "\xc3\xa4Y" + std::string(80, 'z'));
    const std::string wide = "  3 | " + std::string(98, 'x') + "\xc3\xa4Y" +
                             std::string(59, 'z') + "\n    | " + std::string(99, ' ') +
                             "^\n";
    const std::pair<std::string, std::string> cases[] = {
        {":1:1: error: wrong: error: [id]", "  1 | one\n    | ^\n"},
        {":1:4: warning: missing", "  1 | one\n    |    ^\n"},
        {":2:4: error: a", "  2 | \t\xc3\xa4y\\x1b\n    | \t  ^\n"},
        {":3:202: error: a", wide},
        {":1:5: error: behind the line's end", ""},
        {":4:1: error: behind the file's end", ""},
        {":0:1: error: a", ""},
        {":1: error: a", ""},
        {": error: no place", ""},
        {":1:1: note: a", ""},
    };
    for (const auto& [finding, source] : cases) {
        const std::string line = file + finding + "\n";
        EXPECT_EQ(checked(line, 7), line + source) << finding;
    }
    for (const char* unreadable : {"/no/such", "/dev/zero", "/"}) {
        const std::string line = std::string(unreadable) + ":1:1: error: a\n";
        EXPECT_EQ(checked(line, 1000), line);
    }
    const std::string endless(200000, 'a');
    EXPECT_EQ(checked(endless, 1000), endless);
}

TEST(drendctl_text, errors_of_a_check) {
    const std::pair<const char*, bool> cases[] = {
        {"0 errors, 3 warnings\n", false},
        {"10 errors, 0 warnings\n", true},
        {"a: warning: 1 errors, [x]\n", false},
        {" {\"severity\": \"error\", \"id\": \"x\"}\n", true},
        {" {\"severity\": \"warning\", \"a\": \"\\\"severity\\\": \\\"error\\\"\"}\n",
         false},
        {"", false},
    };
    for (const auto& [answer, has_errors] : cases) {
        EXPECT_EQ(checked(answer, 3).ends_with("!"), has_errors) << answer;
    }
    const std::pair<const char*, bool> requests[] = {
        {"check", true},
        {" drend  check path=a as-json", true},
        {"", false},
        {"drend", false},
        {"checks", false},
        {"show check", false},
        {"drend drend check", false},
        {"check?", false},
    };
    for (const auto& [request, is_one] : requests) {
        EXPECT_EQ(is_check(request), is_one) << request;
    }
}

TEST(drendctl_text, menus) {
    const std::string answer = "drend show-a\tOne\n\nreload\ndrend show-ab\ttwo\tx\n";
    const auto entries = menu_entries(answer, "");
    EXPECT_EQ(menu_text(entries), "drend show-a   One\nreload\ndrend show-ab  two\tx\n");
    EXPECT_THAT(menu_words(entries), ElementsAre("reload", "show-a", "show-ab"));
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"re", {"reload"}},
        {"d", {"drend"}},
        {"dre ", {"show-a", "show-ab"}},
        {" drend  show-ab", {"show-ab"}},
        {"show-a ", {}},
        {"show ", {}},
        {"drend show-a", {"show-a", "show-ab"}},
        {"drend show-a ", {}},
        {"x", {}},
    };
    for (const auto& [typed, words] : cases) {
        EXPECT_EQ(menu_words(menu_entries(answer, typed)), words) << typed;
    }
    EXPECT_THAT(menu_words(menu_entries("a\x1b\na\nb\n", "a")), ElementsAre("a"));
    EXPECT_EQ(common_beginning({"show-a", "show-ab", "short"}), "sho");
    EXPECT_EQ(common_beginning({}), "");
}

TEST(drendctl_text, progress) {
    using std::chrono::milliseconds;
    const progress_c::time_point_t start{};
    progress_c progress(start);
    EXPECT_EQ(progress.update(5000, start + milliseconds(999)) +
                  progress.finish(5000, 7, start + milliseconds(999)),
              "");
    EXPECT_EQ(progress.update(5000, start + milliseconds(1000)),
              "\r\033[K5.0 kB received, 5.0 kB/s, 1 s");
    EXPECT_EQ(progress.update(9000, start + milliseconds(1249)), "");
    EXPECT_EQ(progress.update(3000000, start + milliseconds(2000)),
              "\r\033[K3.0 MB received, 1.5 MB/s, 2 s");
    const auto end = start + milliseconds(2400);
    EXPECT_EQ(progress.finish(3000000, 12, end), "\r\033[K12 rows, 3.0 MB, 2 s\n");
    EXPECT_EQ(progress.finish(3000000, 12, end), "");
    progress.update(1, start + milliseconds(3000));
    EXPECT_EQ(progress.finish(1, std::nullopt, end), "\r\033[K");
    EXPECT_EQ(size_text(999), "999 bytes");
    EXPECT_EQ(size_text(999999), "1.0 MB");
}

// However long that takes a daemon that is told to take its time.
TEST(drendctl_text, a_session_ends_when_the_daemon_ends_it) {
    const definition_files_c folder;
    sockaddr_un address = {AF_UNIX, ""};
    (folder.directory() + "/s").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ASSERT_EQ(listen(listener, 1), 0);
    for (const auto& [more, expected] :
         {std::pair("", outcome_e::answered), std::pair("\n##\n", outcome_e::lost)}) {
        std::thread daemon(serve_once, listener, more);
        session_c session({address.sun_path, {}});
        EXPECT_EQ(session.ask("x", [](std::string_view) { return true; }).what,
                  outcome_e::answered);
        EXPECT_EQ(session.finish(patience_s::time_point_t::max()).what, expected);
        daemon.join();
    }
    close(listener);
}
