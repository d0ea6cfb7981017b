// SPDX-License-Identifier: BSD-2-Clause

// The kids of a container whose procedure names them, one after the other.
#pragma once

#include "definitions/drend_tag.h"
#include "model/dr_meta_context.h"

// Asks the procedure of the container that `context` is at for the next child. False at the end,
// with the container back at the row `inherited` that it belongs to. A name that no kid of `tag`
// has gives a null kid, and so does an empty one, for a kid without a source stands at no child.
bool dri_next_dynamic_kid(dr_meta_context_c& context, const void* inherited,
                          const drend_tag_c& tag, const drend_tag_c*& kid);
