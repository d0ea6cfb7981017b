// SPDX-License-Identifier: BSD-2-Clause

// Where the text of answers goes: standard output, exact when it is a file or a pipe, and safe to
// look at when it is a terminal or coloured.
//
// On a terminal more than a screenful goes to a pager, if one may be run: a screenful is held until
// it is known whether there is more, or until nothing has come for a while (`show_held`).
//
// Writing waits for a slow reader, but not beyond an interrupt (see interrupts.h).
#pragma once

#include <cerrno>
#include <string>
#include <string_view>

#include "control_escaper.h"
#include "highlighter.h"
#include "pager.h"
#include "session.h"

class answer_output_c {
  public:
    answer_output_c(int fd, bool is_terminal, bool has_colours)
        : fd_(fd), is_terminal_(is_terminal), has_colours_(has_colours) {}

    void use_pager() { has_pager_ = is_terminal_ && pager_c::is_wanted(); }
    // Shows what is held; this answer is not paged any more.
    void show_held();
    // Whether whoever reads has left the pager before the end.
    bool was_left() const { return was_left_; }

    // What the next answer is: of a table its own colours are shown.
    void begin(bool is_table, bool may_be_paged = true);
    // False once nothing can be written any more; what follows is dropped.
    bool write(std::string_view text);
    // Ends an answer: on a terminal with a line feed, if it has none. False when a part of it
    // was not written, because of an error or an interrupt.
    bool finish();

    bool is_terminal() const { return is_terminal_; }
    bool has_colours() const { return has_colours_; }
    int fd() const { return fd_; }
    // The reader of the pipe went away.
    bool has_lost_reader() const { return error_ == EPIPE; }
    // errno of the write that failed, or 0.
    int error() const { return error_; }

  private:
    void shown(std::string_view text, std::string& out);
    int target() const { return pager_.is_running() ? pager_.fd() : fd_; }
    bool pass_on(std::string_view bytes);
    bool hold(std::string_view bytes);
    bool write_all(std::string_view bytes);
    void write_last(std::string_view bytes);

    const int fd_;
    const bool is_terminal_;
    const bool has_colours_;
    bool has_pager_ = false;
    bool is_holding_ = false; // what has come of this answer
    bool was_left_ = false;
    std::string held_;
    pager_c pager_;
    int error_ = 0;
    bool is_whole_ = true; // as far as it was written
    char last_ = '\n';
    bool is_table_ = false;
    control_escaper_c escaper_;
    highlighter_c highlighter_;
};

// What became of an answer that could not be written: nobody reads, or it is told why.
outcome_s unwritten(const answer_output_c& output);
