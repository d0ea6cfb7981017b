// SPDX-License-Identifier: BSD-2-Clause

// One pointer says whose slice is running: slices do not nest, for an accessor may not render.
#include "model/dr_walk_data.h"

#include <utility>

namespace {

const dr_walk_data_c* running = nullptr;

// Never destroyed: a process may end with walks under way.
dr_walk_data_c::data_t& data_in_force() {
    static auto& data = *new dr_walk_data_c::data_t;
    return data;
}

} // namespace

dr_walk_data_c::dr_walk_data_c() : data_(data_in_force()) {
    begin_slice();
}

dr_walk_data_c::~dr_walk_data_c() {
    if (running == this) {
        running = nullptr;
    }
}

void dr_walk_data_c::begin_slice() const {
    running = this;
}

const void* dr_walk_data_c::now() {
    return running == nullptr ? data_in_force().get() : running->data_.get();
}

const dr_walk_data_c::data_t& dr_walk_data_c::in_force() {
    return data_in_force();
}

void dr_walk_data_c::put_in_force(data_t data) {
    data_in_force() = std::move(data);
}
