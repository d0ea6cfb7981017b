// SPDX-License-Identifier: BSD-2-Clause

// Which tags walks are using, and the sets that wait for their last walk to end.
//
// Uses are counted in the tags and waiting sets are linked through themselves: neither putting
// a tag in use nor retiring a set needs memory, so neither can fail.
#include "definitions/drend_load.h"

#include <atomic>
#include <cassert>
#include <utility>

#include "frame/drend_lock.h"

namespace {

struct in_use_s {
    drend_lock_c lock;
    unsigned count = 0;
};

struct retirement_s {
    drend_lock_c lock;
    dr_daemon_context_c* first = nullptr;
    std::atomic<unsigned> count{0};
};

in_use_s& in_use() {
    static in_use_s state;
    return state;
}

retirement_s& retirement() {
    static retirement_s state;
    return state;
}

void add_use(const drend_tag_c* tag) {
    ++tag->dt_uses;
    ++in_use().count;
}

void drop_use(const drend_tag_c* tag) {
    assert(tag->dt_uses > 0 && in_use().count > 0); // each use is taken back once
    --tag->dt_uses;
    --in_use().count;
}

bool is_in_use(const dr_daemon_context_c& set) {
    drend_lock_guard_c guard(in_use().lock);
    return set.is_walked();
}

// Takes the sets that no walk uses off the retirement list.
dr_daemon_context_c* take_unused(retirement_s& list) {
    dr_daemon_context_c* unused = nullptr;
    dr_daemon_context_c** place = &list.first;
    while (*place != nullptr) {
        dr_daemon_context_c* set = *place;
        if (is_in_use(*set)) {
            place = &set->next_retired;
            continue;
        }
        *place = set->next_retired;
        set->next_retired = unused;
        unused = set;
        list.count.fetch_sub(1, std::memory_order_relaxed);
    }
    return unused;
}

} // namespace

void dri_tags_add_inuse(const drend_tag_c* tag) {
    drend_lock_guard_c guard(in_use().lock);
    for (const drend_tag_c* source : tag->dt_merged_sources) {
        add_use(source);
    }
    add_use(tag);
}

void dri_tags_delete_inuse(const drend_tag_c* tag) {
    drend_lock_guard_c guard(in_use().lock);
    for (const drend_tag_c* source : tag->dt_merged_sources) {
        drop_use(source);
    }
    drop_use(tag);
}

unsigned dri_inuse_count() {
    drend_lock_guard_c guard(in_use().lock);
    return in_use().count;
}

bool dri_retirement_waits() {
    return retirement().count.load(std::memory_order_relaxed) != 0;
}

void dri_free_daemon_context(dr_daemon_context_c* set) {
    retirement_s& list = retirement();
    dr_daemon_context_c* unused = nullptr;
    {
        drend_lock_guard_c guard(list.lock);
        if (set != nullptr) {
            assert(set->next_retired == nullptr); // it is retired once
            set->next_retired = list.first;
            list.first = set;
            list.count.fetch_add(1, std::memory_order_relaxed);
        }
        unused = take_unused(list);
    }
    // A large set takes a while to destroy, and nobody else can reach it any more.
    while (unused != nullptr) {
        delete std::exchange(unused, unused->next_retired);
    }
}
