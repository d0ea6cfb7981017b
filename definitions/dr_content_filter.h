// SPDX-License-Identifier: BSD-2-Clause

// Makes of a request's filter, or of none, one that shows less: only configuration, or only what is
// none.
//
//     interfaces           config              interfaces
//      +-- interface       config     state     +-- interface
//      |    +-- name       config    ------>    |    '-- oper-status
//      |    +-- oper-status                     '-- ...
//
//  1. A tag that has nothing of the kind in it gets no step, and so is hidden. One in which
//     everything is of the kind, and everything selected, gets a step without steps below it.
//  2. A row's keys are with whatever is shown of the row, and are no reason to show it.
//  3. What the filter says of the others stays: content matches may be about any leaf.
//
// Which tags are walked is decided here, so a walk asks nothing of the kinds of data.
#pragma once

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"

// `filter` null: everything is selected. `content` is a dt_content_e. Null for a filter with an
// empty step in the middle, which takes another tag in each row.
dr_filter_t dri_content_filter(const drend_tag_c& top, const dr_filter_t& filter,
                               uint8_t content);
