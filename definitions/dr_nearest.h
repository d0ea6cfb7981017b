// SPDX-License-Identifier: BSD-2-Clause

// The known word that a misspelt one was probably meant to be.
//
// By the number of letters that have to be added, dropped, changed or swapped with the next one.
// Constant memory; any thread.
#pragma once

#include <string_view>

class dr_nearest_c {
  public:
    explicit dr_nearest_c(std::string_view word);

    void offer(std::string_view known);
    // The nearest of what was offered; empty when none is near, a third of its letters apart.
    std::string_view found() const { return found_; }

  private:
    std::string_view word_;
    std::string_view found_;
    size_t distance_; // that the next one has to beat
};
