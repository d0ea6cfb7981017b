// SPDX-License-Identifier: BSD-2-Clause

// What a line at the prompt does with its answer: REQUEST | include WORD | exclude WORD | count |
// save FILE, one after the other, a line of text at a time.
//
// "json" among them is no filter: it asks for another form.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct piped_line_s {
    std::string request;
    std::vector<std::string> stages; // "include x", "count"
};

// Cuts a line at each "|" that stands outside of quotes and brackets.
piped_line_s cut_at_pipes(std::string_view line);

class text_pipe_c {
  public:
    // Whether each stage is one; else a line in `error`. A file is made anew.
    bool open(const std::vector<std::string>& stages, std::string& error);

    // Takes a part of an answer and gives what comes out at the end to `text`.
    using text_fn = std::function<bool(std::string_view)>;
    bool add(std::string_view part, const text_fn& text);
    // The end of an answer: an unfinished line, and counts. Empty, or a line on why the file was
    // not written as a whole; it is gone then.
    std::string finish(const text_fn& text);

    bool is_empty() const { return stages_.empty(); }

  private:
    enum class kind_e { include, exclude, count, save };
    struct stage_s {
        kind_e kind;
        std::string word;
        unsigned long count = 0;
    };

    bool take_line(std::string_view line, std::size_t first, const text_fn& text);
    bool finish_line(const text_fn& text);
    bool save(std::string_view line);
    std::string close_file();
    bool add_stage(std::string_view stage, std::string& error);

    std::vector<stage_s> stages_;
    std::unique_ptr<FILE, int (*)(FILE*)> file_{nullptr, fclose};
    std::string path_;   // of the file
    int save_error_ = 0; // errno, of the first write that failed
    std::string begun_;  // an unfinished line
};
