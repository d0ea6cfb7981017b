// SPDX-License-Identifier: BSD-2-Clause

// The hooks' slots, and the one way of a text to a peer.
//
// A text that needs no formatting is passed on as it is: that is faster, and it reaches the peer
// when no memory is left to format it in, which is when error messages are needed.
#include "frame/drend_hooks.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "frame/dr_collected_sends.h"
#include "frame/dr_no_memory.h"
#include "frame/dr_published.h"
#include "frame/drend_lock.h"
#include "frame/str_util.h"

void* dri_event_context = nullptr;

namespace {

// A fatal error is reported with this method until a daemon installs its own.
void exit_with_message(int code, int arg, const char* format, ...) DREND_PRINTF(3, 4);

std::atomic<drend_send_method_t> send_method_w_return{nullptr};
std::atomic<drend_send_method_t> send_method{nullptr};
std::atomic<drend_peer_method_t> flush_method{nullptr};
std::atomic<drend_peer_method_t> peer_close_method{nullptr};
std::atomic<drend_peer_to_file_method_t> peer_to_file_method{nullptr};
std::atomic<drend_err_exit_method_t> err_exit_method{exit_with_message};

std::atomic<drend_answer_begin_method_t> answer_begin_method{nullptr};
std::atomic<drend_answer_end_method_t> answer_end_method{nullptr};

// Counts for the daemon's thread only, hence no atomic.
int send_counter = 0;

std::atomic<bool> is_strict{false};

struct rebuild_menu_s {
    drend_rebuild_menu_fn_t function = nullptr;
    void* argument = nullptr;
};
dr_published_c<rebuild_menu_s> rebuild_menu;

drend_lock_c event_context_lock;

int write_and_flush(FILE* stream, const char* text) {
    const bool written = fputs(text, stream) != EOF;
    fflush(stream);
    return written ? 0 : DREND_PEER_LOST;
}

int deliver(void* peer, const char* text) {
    if (dr_collected_sends_c* collected = dr_collected_sends_c::now()) {
        return collected->take(text);
    }
    if (const auto method = send_method_w_return.load(std::memory_order_acquire)) {
        return method(peer, "%s", text);
    }
    if (const auto method = send_method.load(std::memory_order_acquire)) {
        method(peer, "%s", text);
        return 0;
    }
    return write_and_flush(stdout, text);
}

// The only argument of "%s", or a format that has none, as it is, when it need not be formatted
// and so cannot run out of memory: the text is short enough, and no daemon wants to see it in its
// formatter. Null otherwise.
DREND_PRINTF(1, 0)
const char* finished_text(const char* format, va_list args) {
    const bool is_argument = format[0] == '%' && format[1] == 's' && format[2] == '\0';
    if (!str_formatter_is_system() || (!is_argument && strchr(format, '%') != nullptr)) {
        return nullptr;
    }
    const char* text = format;
    if (is_argument) {
        va_list copy;
        va_copy(copy, args);
        text = va_arg(copy, const char*);
        va_end(copy);
    }
    return text != nullptr && strnlen(text, STR_LIMIT) < STR_LIMIT ? text : nullptr;
}

// The text of a fatal error, kept in `message` if need be; the format when memory runs out.
DREND_PRINTF(1, 0)
const char* message_text(const char* format, va_list args, std::string& message) {
    if (const char* whole = finished_text(format, args)) {
        return whole;
    }
    return dri_unless_no_memory(format, [&] {
        str_vappend(message, format, args);
        return message.c_str();
    });
}

void exit_with_message(int code, int /*arg*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string message;
    fputs(message_text(format, args, message), stderr);
    va_end(args);
    fflush(stderr);
    exit(code);
}

DREND_PRINTF(2, 0)
int format_and_deliver(void* peer, const char* format, va_list args) {
    return dri_unless_no_memory(static_cast<int>(DREND_ERR), [&] {
        std::string text;
        str_vappend(text, format, args);
        return deliver(peer, text.c_str());
    });
}

} // namespace

drend_send_method_t drend_set_send_method_w_return(drend_send_method_t method) {
    return send_method_w_return.exchange(method, std::memory_order_acq_rel);
}

drend_send_method_t drend_set_send_method(drend_send_method_t method) {
    return send_method.exchange(method, std::memory_order_acq_rel);
}

drend_peer_method_t drend_set_flush_method(drend_peer_method_t method) {
    return flush_method.exchange(method, std::memory_order_acq_rel);
}

drend_peer_method_t drend_set_peer_close_method(drend_peer_method_t method) {
    return peer_close_method.exchange(method, std::memory_order_acq_rel);
}

void drend_set_peer_to_file_method(drend_peer_to_file_method_t method) {
    peer_to_file_method.store(method, std::memory_order_release);
}

drend_err_exit_method_t drend_set_err_exit_method(drend_err_exit_method_t method) {
    return err_exit_method.exchange(method, std::memory_order_acq_rel);
}

void drend_set_answer_methods(drend_answer_begin_method_t begin,
                              drend_answer_end_method_t end) {
    answer_begin_method.store(begin, std::memory_order_release);
    answer_end_method.store(end, std::memory_order_release);
}

void dri_answer_begins(void* peer, const char* media_type) {
    const auto method = answer_begin_method.load(std::memory_order_acquire);
    if (method != nullptr && dr_collected_sends_c::now() == nullptr) {
        method(peer, media_type);
    }
}

bool dri_answer_ends(void* peer, const drend_answer_end_s& end) {
    if (dr_collected_sends_c::now() != nullptr) {
        return true; // nobody is to get a line
    }
    const auto method = answer_end_method.load(std::memory_order_acquire);
    return method != nullptr && method(peer, &end) != 0;
}

void drend_set_vsnprintf(drend_vsnprintf_t formatter) {
    str_set_vsnprintf(formatter);
}

int drend_send(void* peer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const char* whole = finished_text(format, args);
    const int result =
        whole != nullptr ? deliver(peer, whole) : format_and_deliver(peer, format, args);
    va_end(args);
    if (result == 0) {
        ++send_counter;
    }
    return result;
}

int dri_send_text(void* peer, const char* text, size_t length) {
    if (length >= STR_LIMIT || !str_formatter_is_system()) {
        return drend_send(peer, "%s", text);
    }
    const int result = deliver(peer, text);
    if (result == 0) {
        ++send_counter;
    }
    return result;
}

int drend_va_send_to_file_ptr(FILE* stream, const char* format, va_list args) {
    return dri_unless_no_memory(static_cast<int>(DREND_ERR), [&] {
        std::string text;
        str_vappend(text, format, args);
        return write_and_flush(stream, text.c_str());
    });
}

int drend_send_file_ptr(FILE* stream, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = drend_va_send_to_file_ptr(stream, format, args);
    va_end(args);
    return result;
}

int drend_send_peer_ptr(void* peer, const char* format, ...) {
    const auto method = peer_to_file_method.load(std::memory_order_acquire);
    if (method == nullptr) {
        return 0;
    }
    va_list args;
    va_start(args, format);
    const int result = drend_va_send_to_file_ptr(method(peer), format, args);
    va_end(args);
    return result;
}

int drend_flush(void* peer) {
    const auto method = flush_method.load(std::memory_order_acquire);
    return method == nullptr || dr_collected_sends_c::now() != nullptr ? 0 : method(peer);
}

int drend_close_peer(void* peer) {
    const auto method = peer_close_method.load(std::memory_order_acquire);
    return method == nullptr ? 0 : method(peer);
}

int drend_chars_sent_reset(void) {
    const int sent = send_counter;
    send_counter = 0;
    return sent;
}

void drend_err_exit(int code, int arg, const char* format, ...) {
    const auto method = err_exit_method.load(std::memory_order_acquire);
    if (method == nullptr) {
        return;
    }
    std::string message;
    va_list args;
    va_start(args, format);
    const char* text = message_text(format, args, message);
    va_end(args);
    ++send_counter;
    method(code, arg, "%s", text);
}

void* drend_get_event_context(void) {
    return std::atomic_ref<void*>(dri_event_context).load(std::memory_order_acquire);
}

int drend_set_event_context(void* event_context) {
    event_context_lock.lock();
    std::atomic_ref<void*>(dri_event_context)
        .store(event_context, std::memory_order_release);
    return event_context_lock.unlock();
}

void drend_set_strict(int strict) {
    is_strict.store(strict != 0, std::memory_order_relaxed);
}

bool dri_is_strict() {
    return is_strict.load(std::memory_order_relaxed);
}

void drend_set_rebuild_menu(drend_rebuild_menu_fn_t function, void* argument) {
    rebuild_menu.set({function, argument});
}

bool dri_call_rebuild_menu() {
    const rebuild_menu_s hook = rebuild_menu.get();
    if (hook.function == nullptr) {
        return false;
    }
    hook.function(hook.argument);
    return true;
}

const char* drend_status_text(int status, char* buffer, unsigned int size) {
    static constexpr struct {
        int status;
        const char* name;
    } names[] = {{DREND_OK, "DREND_OK"},
                 {DREND_DEFER, "DREND_DEFER"},
                 {DREND_NO_EL, "DREND_NO_EL"},
                 {DREND_ERR, "DREND_ERR"}};
    for (const auto& row : names) {
        if (row.status == status) {
            snprintf(buffer, size, "%s", row.name);
            return buffer;
        }
    }
    snprintf(buffer, size, "UNKNOWN(%d)", status);
    return buffer;
}
