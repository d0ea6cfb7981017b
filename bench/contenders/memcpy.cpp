// SPDX-License-Identifier: BSD-2-Clause

// The floor: the finished bytes copied into the sink.

#include "bench/contenders/contender.h"
#include "bench/sink.h"

namespace {

std::string finished;

// Has the hand-written contender write into memory.
void prepare(routes_t routes, bool as_json) {
    finished = sink_capture([&] {
        (as_json ? TO_CHARS_CONTENDER.to_json : TO_CHARS_CONTENDER.to_xml)(routes);
    });
}

void copy(routes_t) {
    sink_write(finished);
}

} // namespace

const contender_s MEMCPY_CONTENDER = {"memcpy", layout_e::SAME_BYTES, prepare, copy, copy};
