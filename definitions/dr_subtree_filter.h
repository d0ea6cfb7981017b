// SPDX-License-Identifier: BSD-2-Clause

// Makes the steps of a NETCONF subtree filter for a command: what its elements select is found out
// once, in the definition.
//
//  1. A tag has a step when an element selects it; a step has one way for each such element, and
//     one for each way above that selects everything. Elements that no tag fits leave no trace, nor
//     do those within which nothing can be shown.
//  2. A content match of a leaf is an equality, which list procedures may seek by; one of a
//     leaf-list asks for an entry.
//  3. What elements say is compared as output shows it: names without prefix, the namespaces that
//     tags declare, values as texts.
#pragma once

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"
#include "expr/dr_subtree.h"

// `root` has the filter's branches as kids. Null when the steps are too many.
dr_filter_t dri_subtree_filter(const drend_tag_c& top, const dr_subtree_node_s& root);
