// SPDX-License-Identifier: BSD-2-Clause

// What a load has to say, as records that standard error and the answer to a reload both print.
//
//     json load error: FILE : 3:7 - invalid token near ':'
//     json load error: FILE : entry 2, command 'show', tag a/b - 'b c' is no name of an element
//     json load error: DIRECTORY - cannot be read: Too many open files
//     json parse error in FILE at entry 4: Neither a command nor a notification, moving on ...
//
// Belongs to the load that made it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

enum class dr_finding_e {
    LEFT_OUT,      // the place's own fault: it is left out, the rest counts
    SKIPPED_ENTRY, // the same for an entry that is none; its line has words of its own
    UNREADABLE,    // there is more than could be read
};

struct dr_finding_s {
    dr_finding_e kind;
    std::string place; // a file or directory, and where in it
    std::string sentence;
};

class dr_findings_c {
  public:
    // Keeps the first MOST of a load, and counts the others.
    static constexpr size_t MOST = 200;

    void add(dr_finding_e kind, std::string place, std::string sentence);
    // Memory ran out: nothing else is worth a line then.
    void note_no_memory();

    // Whether what was loaded is not all that there is.
    bool is_incomplete() const { return is_incomplete_; }

    // Prints each on a line of its own, whatever characters it has. (On standard error an entry
    // that is none has no line end.)
    void print(FILE* stream) const;
    // The same to a peer, until it is lost.
    void send(void* peer) const;

  private:
    template <typename Print>
    void for_each_line(Print print) const;

    std::vector<dr_finding_s> findings_;
    size_t more_ = 0; // than are kept
    bool is_incomplete_ = false;
    bool no_memory_ = false;
};
