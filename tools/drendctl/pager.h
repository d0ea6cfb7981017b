// SPDX-License-Identifier: BSD-2-Clause

// The program that shows text a screen at a time: $PAGER, or "less -FRX", or what "cat" does where
// there is no less.
#pragma once

#include <sys/types.h>

class pager_c {
  public:
    pager_c() = default;
    ~pager_c() { finish(); }
    pager_c(const pager_c&) = delete;
    pager_c& operator=(const pager_c&) = delete;

    // Whether there is one that is not to be left out: an empty PAGER says so.
    static bool is_wanted();
    // Runs it, its output being `output`. False when it cannot be run.
    bool start(int output);
    bool is_running() const { return pid_ > 0; }
    // Where its text goes.
    int fd() const { return fd_; }
    // Says that there is no more text and waits for whoever reads.
    void finish();

  private:
    pid_t pid_ = -1;
    int fd_ = -1;
};
