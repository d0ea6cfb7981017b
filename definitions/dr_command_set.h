// SPDX-License-Identifier: BSD-2-Clause

// dr_command_set_c: the commands that use a tag, in load order, each once.
//
// A vector: most tags have no command or one, and the schema merge adds them in order.
// Not safe for concurrent use of one object.
#pragma once

#include <cassert>
#include <vector>

#include "definitions/drend_command.h"

class dr_command_set_c {
  public:
    using iterator = std::vector<drend_command_s*>::const_iterator;

    // One that was loaded before none of those that are in it.
    void insert(drend_command_s* command) {
        assert(empty() || !drend_load_order_s()(command, commands_.back()));
        if (empty() || commands_.back() != command) {
            commands_.push_back(command);
        }
    }

    iterator begin() const { return commands_.begin(); }
    iterator end() const { return commands_.end(); }
    size_t size() const { return commands_.size(); }
    bool empty() const { return commands_.empty(); }

  private:
    std::vector<drend_command_s*> commands_;
};
