// SPDX-License-Identifier: BSD-2-Clause

// dr_walk_data_c: what a walk holds of data that may be replaced between two of its slices.
//
// Accessors of such data ask for what is there now. That is what the walk whose slice is running
// held when it began, so that an answer shows one state of the data from its first byte to its
// last, and its rows stay where they are; outside of slices it is what is in force. The last walk
// to end frees data that was replaced.
//
// What the data is, its owner knows (service/dr_data_set.h). Belongs to the daemon's thread.
#pragma once

#include <memory>

class dr_walk_data_c {
  public:
    using data_t = std::shared_ptr<const void>;

    // Holds what is in force and begins the walk's first slice.
    dr_walk_data_c();
    ~dr_walk_data_c();
    dr_walk_data_c(const dr_walk_data_c&) = delete;
    dr_walk_data_c& operator=(const dr_walk_data_c&) = delete;

    // What follows belongs to this walk, until another begins a slice or this one ends.
    void begin_slice() const;

    // Null when there is none.
    static const void* now();
    static const data_t& in_force();
    // What walks see that begin from now on. Does not throw.
    static void put_in_force(data_t data);

  private:
    data_t data_;
};
