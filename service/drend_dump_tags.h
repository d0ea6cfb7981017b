// Runs one command for one peer: chooses the output, turns the request's arguments into a filter,
// walks and cleans up, or hands the suspended walk back.
//
// Daemon's thread.
#pragma once

#include "definitions/drend_tag.h"
#include "render/dr_tags_access_context.h"

// Null when the command is finished, with its status (0, or DREND_PEER_LOST) stored; else the
// suspended walk, which finishes everything itself and belongs to the caller until then.
// `filter` may be null; a filter among the arguments replaces it.
dr_tags_access_context_c* dri_dump_tags(void* peer, const drend_tag_c* top_tag,
                                        const char* args, int* status, bool wrap_in_data,
                                        const char* filter);
