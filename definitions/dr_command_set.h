// SPDX-License-Identifier: BSD-2-Clause

// dr_command_set_c: the commands that use a tag, in load order, each once.
//
// A sorted vector: most tags have no command or one, and the schema merge adds them in order.
// Not safe for concurrent use of one object.
#pragma once

#include <algorithm>
#include <cassert>
#include <vector>

#include "definitions/drend_command.h"

class dr_command_set_c {
  public:
    using iterator = std::vector<drend_command_s*>::const_iterator;

    void insert(drend_command_s* command) {
        const drend_load_order_s before;
        if (commands_.empty() || before(commands_.back(), command)) {
            commands_.push_back(command);
            return;
        }
        const auto place =
            std::lower_bound(commands_.begin(), commands_.end(), command, before);
        if (before(command, *place)) {
            commands_.insert(place, command);
            assert(std::is_sorted(begin(), end(), before));
        }
    }
    void insert(iterator first, iterator last) {
        for (; first != last; ++first) {
            insert(*first);
        }
    }

    iterator begin() const { return commands_.begin(); }
    iterator end() const { return commands_.end(); }
    size_t size() const { return commands_.size(); }
    bool empty() const { return commands_.empty(); }

  private:
    std::vector<drend_command_s*> commands_;
};
