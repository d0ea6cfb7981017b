// SPDX-License-Identifier: BSD-2-Clause

// The access API: dr_access_c for daemons in C. Each function checks, calls, and puts what failed
// into words; no exception passes.
//
// A path from the root moves a second dr_access_c, which takes the first one's place when it has
// arrived: so a wrong path leaves the context where it was. When memory runs out in the middle of a
// move there is no telling where the stacks are: they go, and the next call begins at the root.

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "definitions/drend_lookup.h"
#include "drend.h"
#include "frame/dr_no_such.h"
#include "model/dr_walk_data.h"
#include "service/dr_access.h"

struct drx_context_s {
    explicit drx_context_s(dri_used_tag_t tag) : root(std::move(tag)) {}

    dri_used_tag_t root; // outlives what stands on it
    dr_walk_data_c data; // likewise
    std::unique_ptr<dr_access_c> access;
    bool is_raw = false;
    std::vector<const char*> kids;
    std::string path;
};

namespace {

// The sentence of the last failure. An area of its own: saying that memory ran out needs none.
char last_error[1024];

int fail(int status, const char* error) {
    const size_t size = std::min(strlen(error), sizeof last_error - 1);
    memcpy(last_error, error, size);
    last_error[size] = '\0';
    return status;
}

// What `function` returns, with the context's access when there is a context. Failures other than
// DREND_NO_EL at the end of a list have left a sentence there.
template <typename Function>
int unless_no_memory(drx_context_s* context, Function function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        if (context != nullptr) {
            context->access.reset();
        }
        return fail(DREND_ERR, "out of memory");
    }
}

std::unique_ptr<dr_access_c> make_access(const drx_context_s& context) {
    auto access = std::make_unique<dr_access_c>(*context.root);
    access->set_raw_values(context.is_raw);
    return access;
}

// What `function` returns of the context's access.
template <typename Function>
int with(drx_context_s* context, Function function) {
    return unless_no_memory(context, [&] {
        context->data.begin_slice();
        if (context->access == nullptr) {
            context->access = make_access(*context);
        }
        dr_access_c& access = *context->access;
        access.forget_error();
        const int status = function(access);
        return access.error().empty() ? status : fail(status, access.error().c_str());
    });
}

// Moves a second access from the root, which takes the first one's place.
int go_from_root(drx_context_s* context, const char* path) {
    return unless_no_memory(context, [&] {
        context->data.begin_slice();
        auto access = make_access(*context);
        if (const int status = access->push_path(path)) {
            return fail(status, access->error().c_str());
        }
        context->access = std::move(access);
        return static_cast<int>(DREND_OK);
    });
}

void set_value(const dr_value_c& value, std::string_view text, drx_value_s& out) {
    out.text = text.data();
    out.type = DRX_TEXT;
    if (value.type() == DRV_BOOLEAN) {
        out.type = DRX_BOOLEAN;
        out.as.boolean = text == "true" ? 1 : 0;
    } else if (value.is_integral()) {
        out.type = DRX_INT;
        value.get_int64(out.as.int_value);
    } else if (value.is_uintegral()) {
        out.type = DRX_UINT;
        value.get_uint64(out.as.uint_value);
    } else if (value.is_float() || value.is_double()) {
        out.type = DRX_DOUBLE;
        value.get_double(out.as.double_value);
    }
}

} // namespace

// --- contexts -----------------------------------------------------------------------------------

int drx_create_context(const char* command, drx_context_s** context) {
    *context = nullptr;
    return unless_no_memory(nullptr, [&] {
        dri_used_tag_t root(dri_acquire_command_tag(command));
        if (root == nullptr) {
            return fail(DREND_ERR,
                        dri_no_such(command, "", dri_get_command_names()).c_str());
        }
        *context = new drx_context_s(std::move(root));
        return static_cast<int>(DREND_OK);
    });
}

int drx_copy_context(drx_context_s* context, drx_context_s** copy) {
    *copy = nullptr;
    return with(context, [&](dr_access_c& access) {
        dri_tags_add_inuse(context->root.get());
        auto made = std::make_unique<drx_context_s>(dri_used_tag_t(context->root.get()));
        made->is_raw = context->is_raw;
        made->access = make_access(*made);
        if (const int status = made->access->follow(access)) {
            return fail(status, made->access->error().c_str());
        }
        *copy = made.release();
        return static_cast<int>(DREND_OK);
    });
}

void drx_destroy_context(drx_context_s* context) {
    delete context;
}

// --- moving -------------------------------------------------------------------------------------

int drx_push_path(drx_context_s* context, const char* path) {
    if (*path == '/' && drx_get_type(context) != DRX_ROOT) {
        return go_from_root(context, path);
    }
    return with(context, [&](dr_access_c& access) { return access.push_path(path); });
}

int drx_pop_path(drx_context_s* context) {
    return with(context, [](dr_access_c& access) { return access.pop_path(); });
}

int drx_get_first_element(drx_context_s* context) {
    return with(context, [](dr_access_c& access) { return access.get_row(true); });
}

int drx_get_next_element(drx_context_s* context) {
    return with(context, [](dr_access_c& access) { return access.get_row(false); });
}

// --- looking ------------------------------------------------------------------------------------

int drx_get_leaf_value(drx_context_s* context, const char* path, drx_value_s* value) {
    return with(context, [&](dr_access_c& access) {
        const dr_value_c* found = nullptr;
        std::string_view text;
        const int status = access.read(path == nullptr ? "" : path, found, text);
        if (status == DREND_OK) {
            set_value(*found, text, *value);
        }
        return status;
    });
}

int drx_set_raw_values(drx_context_s* context, int flag) {
    if (context->access != nullptr) {
        context->access->set_raw_values(flag != 0);
    }
    return std::exchange(context->is_raw, flag != 0) ? 1 : 0;
}

int drx_get_kids_names(drx_context_s* context, const char* const** names) {
    return with(context, [&](const dr_access_c& access) {
        context->kids.clear();
        for (const drend_tag_c* kid : access.get_kids()) {
            context->kids.push_back(kid->name().c_str());
        }
        context->kids.push_back(nullptr);
        *names = context->kids.data();
        return static_cast<int>(DREND_OK);
    });
}

int drx_get_path(drx_context_s* context, const char** path) {
    return with(context, [&](dr_access_c& access) {
        context->path = access.get_path();
        *path = context->path.c_str();
        return static_cast<int>(DREND_OK);
    });
}

int drx_get_type(drx_context_s* context) {
    return context->access == nullptr ? static_cast<int>(DRX_ROOT)
                                      : context->access->get_type();
}

const char* drx_type_text(int type) {
    return dri_type_word(type);
}

const char* drx_get_error(void) {
    return last_error;
}
