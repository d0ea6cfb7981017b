// SPDX-License-Identifier: BSD-2-Clause

#include "patience.h"

#include <algorithm>

patience_s::time_point_t patience_s::end(time_point_t last_arrival) const {
    return silence.count() == 0 ? deadline : std::min(deadline, last_arrival + silence);
}

int milliseconds_until(patience_s::time_point_t time) {
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    if (time == patience_s::time_point_t::max()) {
        return -1;
    }
    const auto left = ceil<milliseconds>(time - patience_s::steady_clock_t::now()).count();
    return static_cast<int>(std::clamp<long>(left, 0, 3600000));
}
