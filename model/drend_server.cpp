// SPDX-License-Identifier: BSD-2-Clause

// The value API: what accessor procedures call on the context they receive.
//
// An accessor is C code that may ignore every result. So a call that runs out of memory leaves a
// note in the context, and the library fails the accessor's own call once it is back.
#include <cassert>
#include <cstring>
#include <map>
#include <utility>

#include "frame/dr_no_memory.h"
#include "frame/str_util.h"
#include "model/dr_meta_context.h"
#include "orvex_platform/inet.h"

int af_sock_domain = 0;
int dri_skip_if_empty_leaf = 0;

namespace {

constexpr unsigned IPV4_TEXT = 16;
constexpr unsigned IPV6_TEXT = 46;
// Where a socket address record keeps its address, and how long the record is.
constexpr unsigned SOCKADDR_IPV4_OFFSET = 4;
constexpr unsigned SOCKADDR_IPV6_OFFSET = 12;
constexpr unsigned SOCKADDR_SIZE = 32;

std::map<int, drend_generic_handler_t> generic_handlers;
// Whether an append of the running generic handler's failed; handlers need not look.
thread_local bool append_failed = false;

dr_meta_context_c* checked(dr_meta_context_s* ctx) {
    dr_meta_context_c* dmc = dri_get_meta_context(ctx);
    assert(dmc);
    return dmc;
}

// The value of the leaf being read, or null outside a leaf procedure.
dr_value_c* value_of(dr_meta_context_s* ctx) {
    return ctx == nullptr ? nullptr : dri_get_meta_context(ctx)->value();
}

// Makes a call of an accessor's. When memory runs out in it the result is DREND_ERR, and the
// context knows, for an accessor need not look at results.
template <typename Function>
int unless_no_memory(dr_meta_context_s* ctx, Function&& function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        checked(ctx)->note_no_memory();
        return DREND_ERR;
    }
}

template <typename T>
int set_value(dr_meta_context_s* ctx, dr_value_type_t type, T value) {
    dr_value_c* out = value_of(ctx);
    return out == nullptr
               ? DREND_ERR
               : unless_no_memory(ctx, [&] { return out->set_number(type, value); });
}

// Reads a variable of type T at `data` and sets it through `setter`.
template <typename T, typename Value>
int read_variable(dr_meta_context_s* ctx, const void* data,
                  int (*setter)(dr_meta_context_s*, Value)) {
    if (data == nullptr) {
        return DREND_ERR;
    }
    T variable;
    memcpy(&variable, data, sizeof variable);
    return setter(ctx, static_cast<Value>(variable));
}

// Makes an iterator for the list on top, whose object owns it, so that it goes wherever the walk
// ends. Null when the factory gives none.
drend_iterator_c* own_iterator(dr_meta_context_c& dmc, drend_iterator_factory_t factory) {
    std::shared_ptr<drend_iterator_c> made(
        factory(const_cast<void*>(dmc.get_element_offset(1))));
    drend_iterator_c* iterator = made.get();
    if (iterator != nullptr) {
        dmc.set_top_element(iterator);
        dmc.writable_object(0)->iterator = std::move(made);
    }
    return iterator;
}

template <unsigned Size>
int set_address(dr_meta_context_s* ctx, int family, const void* address) {
    char text[Size];
    const bool is_written =
        address != nullptr && __inet_ntop(family, address, text, sizeof text) != nullptr;
    return is_written ? drend_set_string_value(ctx, text) : DREND_ERR;
}

} // namespace

int drend_set_boolean_value(dr_meta_context_s* ctx, int32_t value) {
    return set_value(ctx, DRV_BOOLEAN, value);
}

int drend_set_int8_value(dr_meta_context_s* ctx, int8_t value) {
    return set_value(ctx, DRV_INT8, value);
}

int drend_set_int16_value(dr_meta_context_s* ctx, int16_t value) {
    return set_value(ctx, DRV_INT16, value);
}

int drend_set_int32_value(dr_meta_context_s* ctx, int32_t value) {
    return set_value(ctx, DRV_INT32, value);
}

int drend_set_int64_value(dr_meta_context_s* ctx, int64_t value) {
    return set_value(ctx, DRV_INT64, value);
}

int drend_set_uint8_value(dr_meta_context_s* ctx, uint8_t value) {
    return set_value(ctx, DRV_UINT8, value);
}

int drend_set_uint16_value(dr_meta_context_s* ctx, uint16_t value) {
    return set_value(ctx, DRV_UINT16, value);
}

int drend_set_uint32_value(dr_meta_context_s* ctx, uint32_t value) {
    return set_value(ctx, DRV_UINT32, value);
}

int drend_set_uint64_value(dr_meta_context_s* ctx, uint64_t value) {
    return set_value(ctx, DRV_UINT64, value);
}

int drend_set_float_value(dr_meta_context_s* ctx, float value) {
    return set_value(ctx, DRV_FLOAT, value);
}

int drend_set_double_value(dr_meta_context_s* ctx, double value) {
    return set_value(ctx, DRV_DOUBLE, value);
}

int drend_set_decimal64_value(dr_meta_context_s* ctx, double value) {
    return drend_set_double_value(ctx, value); // there is no code of its own
}

// The setter that most leaves of most tables call: one function, whoever else sets texts.
[[gnu::flatten]] int drend_set_string_value(dr_meta_context_s* ctx, const char* text) {
    dr_value_c* out = value_of(ctx);
    return out == nullptr ? DREND_ERR
                          : unless_no_memory(ctx, [&] { return out->set_string(text); });
}

int drend_set_str_value(dr_meta_context_s* ctx, const char* format, ...) {
    dr_value_c* out = value_of(ctx);
    va_list args;
    va_start(args, format);
    const int status = out == nullptr ? DREND_ERR : unless_no_memory(ctx, [&] {
        dr_str_buf_c text;
        dri_must_write(sbuf_vappend(text.buf(), format, args));
        return out->set_string(text);
    });
    va_end(args);
    return status;
}

int drend_set_ipv4_value(dr_meta_context_s* ctx, const void* address) {
    return set_address<IPV4_TEXT>(ctx, PLATFORM_AF_INET, address);
}

int drend_set_ipv6_value(dr_meta_context_s* ctx, const void* address) {
    return set_address<IPV6_TEXT>(ctx, PLATFORM_AF_INET6, address);
}

int drend_set_mac_value(dr_meta_context_s* ctx, const void* address) {
    static constexpr char digits[] = "0123456789abcdef";
    if (address == nullptr) {
        return DREND_ERR;
    }
    char text[] = "00:00:00:00:00:00";
    char* at = text;
    for (const unsigned char byte : *static_cast<const unsigned char(*)[6]>(address)) {
        at[0] = digits[byte >> 4];
        at[1] = digits[byte & 15];
        at += 3;
    }
    return drend_set_string_value(ctx, text);
}

int drend_get_boolean_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<uint8_t>(ctx, data, drend_set_boolean_value);
}

int drend_get_int8_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<int8_t>(ctx, data, drend_set_int8_value);
}

int drend_get_int16_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<int16_t>(ctx, data, drend_set_int16_value);
}

int drend_get_int32_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<int32_t>(ctx, data, drend_set_int32_value);
}

int drend_get_int64_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<int64_t>(ctx, data, drend_set_int64_value);
}

int drend_get_uint8_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<uint8_t>(ctx, data, drend_set_uint8_value);
}

int drend_get_uint16_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<uint16_t>(ctx, data, drend_set_uint16_value);
}

int drend_get_uint32_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<uint32_t>(ctx, data, drend_set_uint32_value);
}

int drend_get_uint64_cb(dr_meta_context_s* ctx, const void* data) {
    return read_variable<uint64_t>(ctx, data, drend_set_uint64_value);
}

int drend_get_str_cb(dr_meta_context_s* ctx, const void* data) {
    // Only the context is tested; a null `data` is the registration's mistake.
    return ctx == nullptr
               ? DREND_ERR
               : drend_set_string_value(ctx, *static_cast<const char* const*>(data));
}

int drend_get_ipaddr_v4_cb(dr_meta_context_s* ctx, const void* data) {
    if (data == nullptr) {
        return DREND_ERR;
    }
    drend_set_ipv4_value(ctx, data);
    return DREND_OK;
}

int drend_get_xsockaddr_cb(dr_meta_context_s* ctx, const void* data) {
    if (data == nullptr) {
        return DREND_ERR;
    }
    unsigned char record[SOCKADDR_SIZE];
    memcpy(record, data, sizeof record);
    if (af_sock_domain == PLATFORM_AF_INET) {
        set_address<IPV4_TEXT>(ctx, af_sock_domain, record + SOCKADDR_IPV4_OFFSET);
    } else if (af_sock_domain == PLATFORM_AF_INET6) {
        set_address<IPV6_TEXT>(ctx, af_sock_domain, record + SOCKADDR_IPV6_OFFSET);
    }
    return DREND_OK;
}

int drend_get_cached_cb(dr_meta_context_s* ctx, const void* data) {
    if (ctx == nullptr) {
        return DREND_ERR;
    }
    const char* text =
        dri_get_meta_context(ctx)->get_cached_value(static_cast<const char*>(data));
    return drend_set_string_value(ctx, text); // null is the empty text
}

int drend_register_generic_handler(int kind, drend_generic_handler_t handler) {
    return dri_unless_no_memory(DREND_ERR, [&] {
        generic_handlers[kind] = handler;
        return DREND_OK;
    });
}

int drend_append(str_buf_s* out, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int status = sbuf_vappend(out, format, args);
    va_end(args);
    append_failed = append_failed || status != 0;
    return status;
}

int drend_set_generic(dr_meta_context_s* ctx, int kind, const void* data,
                      unsigned int length) {
    const auto found = generic_handlers.find(kind);
    if (found == generic_handlers.end() || found->second == nullptr) {
        return DREND_ERR;
    }
    return unless_no_memory(ctx, [&] {
        dr_str_buf_c text;
        append_failed = false;
        found->second(data, length, text.buf());
        dri_must_write(append_failed ? -1 : 0);
        return drend_set_string_value(ctx, text);
    });
}

void drend_set_skip_if_empty_leaf(int flag) {
    dri_skip_if_empty_leaf = flag;
}

int drend_get_skip_if_empty_leaf(void) {
    return dri_skip_if_empty_leaf;
}

int drend_set_element_ref(dr_meta_context_s* ctx, const void* ref) {
    return drend_set_element_ref_offset(ctx, 0, ref);
}

void* drend_get_element_ref(dr_meta_context_s* ctx) {
    return const_cast<void*>(checked(ctx)->get_element_offset(0));
}

int drend_set_element_ref_offset(dr_meta_context_s* ctx, unsigned int offset,
                                 const void* ref) {
    return unless_no_memory(ctx, [&] {
        checked(ctx)->set_element_offset(offset, ref);
        return DREND_OK;
    });
}

void* drend_get_element_ref_offset(dr_meta_context_s* ctx, unsigned int offset) {
    return const_cast<void*>(checked(ctx)->get_element_offset(offset));
}

unsigned int drend_get_element_ref_offset_max(dr_meta_context_s* ctx) {
    return checked(ctx)->depth();
}

void* drend_get_iterator_c(dr_meta_context_s* ctx, unsigned int offset) {
    return drend_get_element_ref_offset(ctx, offset);
}

const char* drend_get_filter_name(dr_meta_context_s* ctx, const char* name) {
    const dr_meta_context_c::names_t* names = checked(ctx)->filter_names().get();
    if (names == nullptr) {
        return nullptr;
    }
    for (const auto& [filtered, text] : *names) { // a handful
        if (filtered == name) {
            return text.c_str();
        }
    }
    return nullptr;
}

int drend_iterator_c_it_cb(dr_meta_context_s* ctx, const void* data) {
    return unless_no_memory(ctx, [&] {
        auto* current = static_cast<drend_iterator_c*>(drend_get_element_ref(ctx));
        if (current == nullptr) {
            const auto factory =
                reinterpret_cast<drend_iterator_factory_t>(const_cast<void*>(data));
            current = own_iterator(*checked(ctx), factory);
            if (current == nullptr) {
                return DREND_ERR;
            }
            current->first(ctx);
        } else {
            current->next(ctx);
        }
        if (current->at_end(ctx)) {
            drend_set_element_ref(ctx, nullptr);
        }
        return DREND_OK;
    });
}

int drend_set_cookie(dr_meta_context_s* ctx, const char* name, void* cookie) {
    return unless_no_memory(ctx, [&] {
        checked(ctx)->set_daemon_cookie(name, cookie);
        return DREND_OK;
    });
}

void* drend_get_cookie(dr_meta_context_s* ctx, const char* name) {
    return checked(ctx)->get_daemon_cookie(name);
}

int drend_add_str_cached(dr_meta_context_s* ctx, const char* name, const char* format,
                         ...) {
    va_list args;
    va_start(args, format);
    const int status = unless_no_memory(ctx, [&] {
        std::string text;
        str_vappend(text, format, args);
        checked(ctx)->add_cached_value(name, text);
        return DREND_OK;
    });
    va_end(args);
    return status;
}

int drend_set_attribute_name(dr_meta_context_s* ctx, const char* name) {
    return unless_no_memory(ctx, [&] {
        if (name != nullptr) {
            checked(ctx)->set_attribute_name(name);
        }
        return DREND_OK;
    });
}

int drend_set_attribute_ref(dr_meta_context_s* ctx, void* ref) {
    return unless_no_memory(ctx, [&] {
        checked(ctx)->set_attribute_ref(ref);
        return DREND_OK;
    });
}

int drend_get_attribute_ref(dr_meta_context_s* ctx, void** ref) {
    *ref = checked(ctx)->get_attribute_ref();
    return 0;
}
