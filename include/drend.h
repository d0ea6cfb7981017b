// SPDX-License-Identifier: BSD-2-Clause
/*
 * drend.h - dynamic rendering of a daemon's live data.
 *
 * A daemon describes its data once, as a tree of paths with accessor procedures:
 *
 *     /interfaces/interface            drend_add_list       steps through the rows
 *     /interfaces/interface/name       drend_add_str_leaf   gives one value of a row
 *
 * Definition files, written in JSON, say which elements a command prints and from which
 * path each of them takes its value. When a command runs, the library walks its definition,
 * calls the accessors and streams the answer to the peer that asked.
 *
 * CONVENTIONS
 *
 * Arguments. The first argument of a function that talks to a peer is the peer: a handle
 * that belongs to the daemon and goes unchanged to the methods it installed. An accessor's
 * context comes first in every call made from an accessor. Texts are NUL-terminated; no
 * argument may be NULL unless its function says so.
 *
 * Results. Functions return a status (`enum drend_status`) or 0 for success and a negative
 * value for failure, unless they say otherwise. A function that installs a hook returns the
 * hook that was installed before where its type allows a result.
 *
 * Ownership. The library copies every text it is given, with two exceptions that say so.
 * The data pointers given at registration stay the daemon's and must live as long as the
 * path.
 *
 * Threads. Registration, rendering and continuing belong to one thread, the one that runs
 * the daemon's event loop; accessors are called on it. Other threads may install the hooks
 * that say "any thread", and may load definitions. No function here blocks on the network;
 * what an installed method does is the daemon's affair.
 *
 * From within an accessor a daemon may call everything in "Values", "Rows" and "Context"
 * below, install hooks and load definitions. It may not register paths, and may not render.
 *
 * Errors. What goes wrong with a request is answered to the peer or returned; what is wrong
 * in a definition file or a registration is one line on standard error. Contradictory
 * registrations end the process through drend_err_exit. No C++ exception leaves the
 * library.
 */
#ifndef DREND_H
#define DREND_H

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>

#if defined(DREND_BUILDING_LIBRARY) && defined(__GNUC__)
#define DREND_API __attribute__((visibility("default")))
#else
#define DREND_API
#endif

#if defined(__GNUC__)
#define DREND_PRINTF(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#else
#define DREND_PRINTF(format_index, first_argument)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Statuses ---------------------------------------------------------------------------- */

/* What accessors return and what rendering returns. */
enum drend_status {
    DREND_ERR = -1,  /* failed; a leaf without a value is left out of the output */
    DREND_OK = 0,    /* done */
    DREND_DEFER = 1, /* done for now: suspend the output, continue when the loop is idle */
    DREND_NO_EL = 2, /* no such element; the end of a list */
    DREND_SKIP_LEAF = 3, /* from a leaf procedure only: leave this leaf out */
};

/* The result of a send whose peer is lost. */
#define DREND_PEER_LOST (-3)

/*
 * The name of a status for messages, "DREND_OK" for example, or "UNKNOWN(%d)" with the
 * number for a value that is none of the first four. The text is written into `buffer`, cut
 * to `size` bytes with its NUL (32 always suffice). Returns `buffer`. Any thread.
 */
DREND_API const char* drend_status_text(int status, char* buffer, unsigned int size);

/* ---- Output: the methods through which everything leaves the library --------------------- */

/*
 * Delivers text to a peer. The library calls it with the format "%s" and the finished text
 * as the only argument. The result is 0 for success; DREND_PEER_LOST (or any other negative
 * value) ends the walk that sent.
 */
typedef int (*drend_send_method_t)(void* peer, const char* format, ...);

/* Flushes what is buffered for a peer, or closes the peer. 0 for success. */
typedef int (*drend_peer_method_t)(void* peer);

/* The standard I/O stream that belongs to a peer. */
typedef FILE* (*drend_peer_to_file_method_t)(void* peer);

/* Reports a fatal error, called with the format "%s" and the finished message. */
typedef void (*drend_err_exit_method_t)(int code, int arg, const char* format, ...);

/* A formatter with the contract of vsnprintf: the length that the whole text would have. */
typedef int (*drend_vsnprintf_t)(char* buffer, unsigned int size, const char* format,
                                 va_list args);

/* Receives trace lines, which carry their own line ends. The result is not used. */
typedef int (*drend_debugtrace_cb_t)(const char* format, va_list args);

/* How an answer ended. */
enum drend_answer_end {
    DREND_ANSWER_COMPLETE = 0, /* all of it was sent, or all that its limit allows */
    DREND_ANSWER_REFUSED = 1,  /* nothing was sent but one line "error: ..." */
    DREND_ANSWER_GIVEN_UP = 2, /* it stops where it could not go on, with such a line */
};

/* The end of an answer as a program wants to know it. */
typedef struct drend_answer_end_s {
    int end;          /* an enum drend_answer_end */
    const char* code; /* why, for programs: a word such as "invalid-request"; "nothing" of a
                         complete answer without content, of any other NULL */
    const char* text; /* why, for people: a line without its end; NULL: complete */
    const char*
        cursor;    /* of a complete answer with a limit: where to go on; NULL: no more */
    int has_rows;  /* whether `rows` is said: of a complete answer that has a list */
    uint64_t rows; /* those shown of its lists that are in no other list */
} drend_answer_end_s;

/*
 * Called before the first byte of an answer to `peer`, with the media type of its form
 * ("application/xml", say), and behind its last one. An answer that is refused has an end and no
 * beginning; one whose peer is lost, or that is dropped, has no end. Texts are the library's and
 * valid during the call. On the thread of the answer.
 *
 * Where a line says how an answer ended, "error: ..." or 210, the end method is called before it:
 * it returns 1 when its protocol tells the peer in a way of its own, and the line is not sent; 0
 * otherwise. Of other ends the result is not used.
 */
typedef void (*drend_answer_begin_method_t)(void* peer, const char* media_type);
typedef int (*drend_answer_end_method_t)(void* peer, const drend_answer_end_s* end);

/* Builds the menu again; gets the argument given with it. */
typedef void (*drend_rebuild_menu_fn_t)(void* argument);

/*
 * Install the send method whose result counts, or the one whose result does not. The first
 * wins when both are installed; with neither, text goes to standard output. NULL
 * uninstalls. Takes effect at the next send. Returns the method installed before, or NULL.
 * Any thread.
 */
DREND_API drend_send_method_t drend_set_send_method_w_return(drend_send_method_t method);
DREND_API drend_send_method_t drend_set_send_method(drend_send_method_t method);

/* Installs the flush method; NULL (the default) makes drend_flush do nothing. Returns the
 * method installed before. */
DREND_API drend_peer_method_t drend_set_flush_method(drend_peer_method_t method);

/* Installs the close method; NULL (the default) makes drend_close_peer do nothing. Returns
 * the method installed before. */
DREND_API drend_peer_method_t drend_set_peer_close_method(drend_peer_method_t method);

/* Installs the method that drend_send_peer_ptr uses; NULL is the default. */
DREND_API void drend_set_peer_to_file_method(drend_peer_to_file_method_t method);

/*
 * Installs the method that ends the process on a fatal error. The default writes the
 * message to standard error and calls exit(code). With NULL fatal errors are ignored, which
 * leaves the registration that failed undone. Returns the method installed before. Any
 * thread.
 */
DREND_API drend_err_exit_method_t drend_set_err_exit_method(drend_err_exit_method_t method);

/*
 * Has the answers of requests collected in a buffer of `size` bytes (512 KiB at most), which is
 * sent when it is full, when the answer is suspended and at its end: the same bytes in fewer,
 * longer sends. 0, the default: an answer is sent piece by piece. Takes effect at the next
 * request; while a formatter is installed nothing is collected. Any thread.
 */
DREND_API void drend_set_send_buffer(unsigned int size);

/*
 * Installs the methods by which a protocol learns how answers of the commands begin and end; NULL,
 * the default, for either that is not wanted. Takes effect at the next call. Any thread.
 */
DREND_API void drend_set_answer_methods(drend_answer_begin_method_t begin,
                                        drend_answer_end_method_t end);

/*
 * Installs the formatter that every text passes on its way out; NULL brings back the
 * system's vsnprintf. Any thread.
 */
DREND_API void drend_set_vsnprintf(drend_vsnprintf_t formatter);

/*
 * Formats a text and delivers it to `peer` with the installed send method. A text of 1 MiB
 * or more is cut and ends in " [string > 1M: truncated]". Returns 0, the method's result
 * when that is not 0, or DREND_PEER_LOST when standard output could not be written.
 */
DREND_API int drend_send(void* peer, const char* format, ...) DREND_PRINTF(2, 3);

/*
 * Formats a text, writes it to `stream` and flushes it. 0, or DREND_PEER_LOST. Any thread.
 */
DREND_API int drend_send_file_ptr(FILE* stream, const char* format, ...) DREND_PRINTF(2, 3);
DREND_API int drend_va_send_to_file_ptr(FILE* stream, const char* format, va_list args)
    DREND_PRINTF(2, 0);

/* As drend_send_file_ptr to the stream of `peer`; 0 and nothing when no method is
 * installed. */
DREND_API int drend_send_peer_ptr(void* peer, const char* format, ...) DREND_PRINTF(2, 3);

/* Calls the installed flush, or close, method: its result, or 0 when there is none. */
DREND_API int drend_flush(void* peer);
DREND_API int drend_close_peer(void* peer);

/*
 * The number of successful sends (calls, not bytes) since the last call of this function.
 */
DREND_API int drend_chars_sent_reset(void);

/* Reports a fatal error through the installed method. `arg` is passed on. */
DREND_API void drend_err_exit(int code, int arg, const char* format, ...)
    DREND_PRINTF(3, 4);

/*
 * The daemon's event context: a pointer to its `evContext`, NULL until set. The setter
 * returns 0. Any thread sets; the daemon's thread reads.
 */
DREND_API void* drend_get_event_context(void);
DREND_API int drend_set_event_context(void* event_context);
DREND_API extern void* dri_event_context;

/* Installs the function that builds the daemon's menu again, and its argument. */
DREND_API void drend_set_rebuild_menu(drend_rebuild_menu_fn_t function, void* argument);

/*
 * Switches strictness on (not 0) or off (0, the default). Any thread.
 *
 * A strict daemon refuses to load definitions again when there is an error in them, and keeps those
 * in force; otherwise what is faulty is left out. A daemon always starts. Takes effect at the next
 * load.
 *
 * It answers a request with one line "error: ..." where the answer would silently be another than
 * what was asked for: a filter that does not parse, or names an element or a leaf that the command
 * does not have; an argument that is neither the library's own nor an input parameter of the
 * command; a quote that is never closed; a filter that parameters would replace; a parameter that
 * names no leaf. Otherwise such a request gets what its readable part selects, which may be nothing
 * or everything. Takes effect at the next request.
 */
DREND_API void drend_set_strict(int strict);

/* ---- Tracing ----------------------------------------------------------------------------- */

/* The bits of the trace word, with the prefix of the lines that each enables. */
enum drend_trace_bit {
    DREND_TRACE_WALK = 1,    /* "DR_TAGS_ACCESS: " the walk, tag by tag */
    DREND_TRACE_LOAD = 2,    /* "DR_JSON: " the loading of definition files */
    DREND_TRACE_ERROR = 8,   /* "DR_ERROR: " errors that are silent otherwise */
    DREND_TRACE_WALKER = 16, /* "DR_WALKER: " look-ups of daemons by path */
};

/* The trace word in force. Read it freely; write it through drend_set_trace_flag. */
DREND_API extern uint64_t drend_trace_flags;

/* Replaces the trace word. Lines appear once a callback is installed too. Any thread. */
DREND_API void drend_set_trace_flag(unsigned int flags);

/* Installs the receiver of trace lines; NULL, the default, drops them. Any thread. */
DREND_API void drend_set_debugtrace_cb(drend_debugtrace_cb_t callback);

/* A ready-made receiver that writes to standard error. */
DREND_API int drend_debug_trace_stderr(const char* format, va_list args) DREND_PRINTF(1, 0);

/* Hands a line to the installed receiver, whatever the trace word says. */
DREND_API void drend_debug_trace(const char* format, ...) DREND_PRINTF(1, 2);

/* ---- Registration: the tree of paths ----------------------------------------------------- */

/* The position of a walk in the daemon's data, as accessors see it. Lives as long as the
 * call that received it. */
typedef struct dr_meta_context_s dr_meta_context_s;

/*
 * An accessor. `data` is the pointer registered with it. Returns an `enum drend_status`:
 *
 *   list        DREND_OK with the next row set by drend_set_element_ref, DREND_NO_EL at the
 *               end, DREND_DEFER to show the row and then suspend
 *   leaf        DREND_OK with a value set, DREND_SKIP_LEAF to leave the leaf out, DREND_DEFER
 *               to be asked again later (set no value then), DREND_ERR when there is no value
 *   container   DREND_OK with the next child set by drend_set_attribute_name and one of
 *               drend_set_attribute_ref and drend_set_element_ref, DREND_NO_EL at the end; a
 *               place without a child's name is passed over
 *   enter, exit not examined
 *
 * A leaf is also looked up: for a filter, as a key ahead of its row, by val() in a value map and
 * for a container's presence. A look-up cannot suspend. DREND_DEFER is a failed read there, and
 * so is DREND_OK without a value. What that comes to:
 *
 *   filter      the name has no value: it equals the empty text only
 *   key         the key is printed where it stands among its row's leaves, and may suspend there
 *   val()       the leaf that has the value map is left out
 *   presence    the container is there
 */
typedef int (*drend_proc_t)(dr_meta_context_s* ctx, const void* data);

/*
 * Paths are components separated by "/", from the root; empty components are skipped, so
 * "/a/b", "a/b" and "/a//b/" are one path. Missing nodes on the way are made as containers.
 * Rows of a list are not part of a path: the children of "/interfaces/interface" are the
 * fields of every row. `data` may be NULL. All functions of this group return 0. A path
 * whose procedure is registered a second time with another procedure or other data is a
 * fatal error (drend_err_exit), and so is memory that runs out; should that not end the
 * process, nothing was registered. drend_add_cont_cb alone returns -1 then, when memory ran
 * out.
 */

/* A list: `proc` steps through its rows. */
DREND_API int drend_add_list(const char* path, drend_proc_t proc, const void* data);

/* A container whose children are named by `proc` while it is walked. */
DREND_API int drend_add_cont_cb(const char* path, drend_proc_t proc, const void* data);

/*
 * Called when a walk enters, or leaves, a container or list: exactly one exit for each
 * enter, also when the walk is given up. An exit procedure without an enter procedure on
 * the same path is never called. A second registration on one path is a fatal error.
 */
DREND_API int drend_add_enter(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_exit(const char* path, drend_proc_t proc, const void* data);

/*
 * Leaves, one function for each type. `proc` sets one value with a function of "Values", or
 * is one of the ready-made readers there with the address of a variable as `data`.
 */
DREND_API int drend_add_boolean_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_int8_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_int16_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_int32_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_int64_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_uint8_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_uint16_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_uint32_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_uint64_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_str_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_double_leaf(const char* path, drend_proc_t proc, const void* data);
DREND_API int drend_add_decimal64_leaf(const char* path, drend_proc_t proc,
                                       const void* data);
DREND_API int drend_add_ipaddr_v4_leaf(const char* path, drend_proc_t proc,
                                       const void* data);
DREND_API int drend_add_xsockaddr_leaf(const char* path, drend_proc_t proc,
                                       const void* data);
DREND_API int drend_add_generic_leaf(const char* path, drend_proc_t proc, const void* data);

/*
 * The walk handlers: `start` is called when a walk begins and when it is continued, its
 * result is not used; `suspend` is called after every row that a list procedure gives and
 * returns non-zero to have the walk suspended once that row is shown. Both get `data`. NULL
 * removes one. Replaces earlier handlers. Returns 0. Any thread.
 */
typedef int (*drend_walk_handler_t)(dr_meta_context_s* ctx, void* data);
DREND_API int drend_add_walk_handlers(drend_walk_handler_t start,
                                      drend_walk_handler_t suspend, void* data);

/* ---- Values: called by a leaf procedure to hand its value over --------------------------- */

/*
 * Set the value of the leaf being read. 0, or DREND_ERR outside a leaf procedure or when memory ran
 * out. The latter ends the request with an error whatever the accessor returns. That goes for all
 * setters here and in "Rows" and "Context".
 */
DREND_API int drend_set_boolean_value(dr_meta_context_s* ctx, int32_t value);
DREND_API int drend_set_int8_value(dr_meta_context_s* ctx, int8_t value);
DREND_API int drend_set_int16_value(dr_meta_context_s* ctx, int16_t value);
DREND_API int drend_set_int32_value(dr_meta_context_s* ctx, int32_t value);
DREND_API int drend_set_int64_value(dr_meta_context_s* ctx, int64_t value);
DREND_API int drend_set_uint8_value(dr_meta_context_s* ctx, uint8_t value);
DREND_API int drend_set_uint16_value(dr_meta_context_s* ctx, uint16_t value);
DREND_API int drend_set_uint32_value(dr_meta_context_s* ctx, uint32_t value);
DREND_API int drend_set_uint64_value(dr_meta_context_s* ctx, uint64_t value);
DREND_API int drend_set_float_value(dr_meta_context_s* ctx, float value);
DREND_API int drend_set_double_value(dr_meta_context_s* ctx, double value);
/* A decimal64 value; the definition's tag says how many fraction digits are shown. */
DREND_API int drend_set_decimal64_value(dr_meta_context_s* ctx, double value);
/* A copy of `text`; NULL is the empty text. */
DREND_API int drend_set_string_value(dr_meta_context_s* ctx, const char* text);
/* The formatted text. */
DREND_API int drend_set_str_value(dr_meta_context_s* ctx, const char* format, ...)
    DREND_PRINTF(2, 3);
/*
 * The text of an address, of which `address` points to the bytes in network order, as it does for
 * inet_ntop(3): 4 bytes, a `struct in_addr` for example; 16 bytes, a `struct in6_addr`; the 6
 * bytes of a hardware address, shown as "00:1a:2b:3c:4d:5e". The leaf is registered with
 * drend_add_str_leaf, or one of IPv4 addresses with drend_add_ipaddr_v4_leaf. The text is written
 * in place, nothing is allocated for it but, once in a walk, the room of its value. DREND_ERR for
 * NULL.
 */
DREND_API int drend_set_ipv4_value(dr_meta_context_s* ctx, const void* address);
DREND_API int drend_set_ipv6_value(dr_meta_context_s* ctx, const void* address);
DREND_API int drend_set_mac_value(dr_meta_context_s* ctx, const void* address);

/*
 * Ready-made leaf procedures: register one with the address of a variable as its data, and
 * the leaf shows what the variable holds at the time of the walk. `data` points to a
 * variable of the type in the name (boolean: one byte, 0 or not); NULL gives DREND_ERR.
 */
DREND_API int drend_get_boolean_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_int8_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_int16_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_int32_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_int64_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_uint8_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_uint16_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_uint32_cb(dr_meta_context_s* ctx, const void* data);
DREND_API int drend_get_uint64_cb(dr_meta_context_s* ctx, const void* data);

/* `data` points to a `const char *`, and may not be NULL here; the pointer it points to
 * may. */
DREND_API int drend_get_str_cb(dr_meta_context_s* ctx, const void* data);

/* `data` points to a 16-byte record that begins with an IPv4 address in network order. */
DREND_API int drend_get_ipaddr_v4_cb(dr_meta_context_s* ctx, const void* data);

/*
 * `data` points to a 32-byte socket address, read as `af_sock_domain` says, not as the
 * record's own family says: 2 for an IPv4 address at offset 4, 28 for an IPv6 address at
 * offset 12. For any other domain no value is set.
 */
DREND_API int drend_get_xsockaddr_cb(dr_meta_context_s* ctx, const void* data);
DREND_API extern int af_sock_domain;

/* `data` is the name under which drend_add_str_cached stored a text: that text, or "". */
DREND_API int drend_get_cached_cb(dr_meta_context_s* ctx, const void* data);

/*
 * Values of the daemon's own kinds. A handler writes `length` bytes at `data` as text into
 * `out` with drend_append, which returns 0, or -1 when memory ran out. Registering replaces
 * the handler of a kind. drend_set_generic sets the handler's text as the value: 0, or
 * DREND_ERR for a kind without a handler.
 */
typedef struct str_buf_s str_buf_s;
typedef void (*drend_generic_handler_t)(const void* data, unsigned int length,
                                        str_buf_s* out);
DREND_API int drend_append(str_buf_s* out, const char* format, ...) DREND_PRINTF(2, 3);
DREND_API int drend_register_generic_handler(int kind, drend_generic_handler_t handler);
DREND_API int drend_set_generic(dr_meta_context_s* ctx, int kind, const void* data,
                                unsigned int length);

/* Whether leaves whose text is empty are left out of the output (0, the default: shown). */
DREND_API void drend_set_skip_if_empty_leaf(int flag);
DREND_API int drend_get_skip_if_empty_leaf(void);

/* The range of a decimal64 by its number of fraction digits: { minimum, maximum }; row 0 is
 * not used. */
DREND_API extern const double drv_decimal64_range_table[19][2];

/* ---- Rows: called by list procedures, and by all others to find the row they belong to --- */

/*
 * The reference of the current row: the daemon's pointer to it, never looked at by the
 * library. A list procedure reads the current one (NULL before the first row), sets the
 * next one and returns DREND_OK, or sets NULL and returns DREND_NO_EL. Everything below a
 * row inherits its reference. The setter returns 0.
 */
DREND_API int drend_set_element_ref(dr_meta_context_s* ctx, const void* ref);
DREND_API void* drend_get_element_ref(dr_meta_context_s* ctx);

/*
 * The reference `offset` places above the current node: 0 is the node itself, 1 its parent,
 * so that a list procedure finds the row of the enclosing list at 1. NULL, or nothing set,
 * beyond drend_get_element_ref_offset_max, which is the number of places. The setter
 * returns 0.
 */
DREND_API void* drend_get_element_ref_offset(dr_meta_context_s* ctx, unsigned int offset);
DREND_API int drend_set_element_ref_offset(dr_meta_context_s* ctx, unsigned int offset,
                                           const void* ref);
DREND_API unsigned int drend_get_element_ref_offset_max(dr_meta_context_s* ctx);

/* The same as drend_get_element_ref_offset, for lists driven by an iterator. */
DREND_API void* drend_get_iterator_c(dr_meta_context_s* ctx, unsigned int offset);

/*
 * What the request asks of a key of the list being stepped through: the text that the leaf
 * `name` (a name in the daemon's tree) must equal for a row to be shown, or NULL. A list
 * procedure that finds one may go straight to the matching row. Valid during the call.
 */
DREND_API const char* drend_get_filter_name(dr_meta_context_s* ctx, const char* name);

/* A ready-made list procedure; see drend_iterator_c below. */
DREND_API int drend_iterator_c_it_cb(dr_meta_context_s* ctx, const void* data);

/* ---- Context: what accessors of one walk leave for each other ---------------------------- */

/*
 * A context is a value: everything below the place where something is stored sees it; it is
 * gone when the walk leaves that place.
 */

/* A pointer of the daemon's under a name; NULL when there is none. Setting replaces,
 * returns 0. */
DREND_API int drend_set_cookie(dr_meta_context_s* ctx, const char* name, void* cookie);
DREND_API void* drend_get_cookie(dr_meta_context_s* ctx, const char* name);

/* Stores a formatted text under `name` for drend_get_cached_cb. A NULL name is ignored.
 * Returns 0, or DREND_ERR. */
DREND_API int drend_add_str_cached(dr_meta_context_s* ctx, const char* name,
                                   const char* format, ...) DREND_PRINTF(3, 4);

/*
 * The child that a container procedure has reached: its name (copied; NULL is ignored) and
 * a pointer of the daemon's that marks the position. Setters return 0. The getter stores
 * the pointer through `ref` and returns 0.
 */
DREND_API int drend_set_attribute_name(dr_meta_context_s* ctx, const char* name);
DREND_API int drend_set_attribute_ref(dr_meta_context_s* ctx, void* ref);
DREND_API int drend_get_attribute_ref(dr_meta_context_s* ctx, void** ref);

/* ---- Data sets: JSON in the place of accessors ------------------------------------------- */

/*
 * A data set is a JSON object whose values the library gives for the paths that its members make.
 * An object is a container, an array of objects a list, an array of scalars a list whose one leaf
 * is called "value", a scalar a leaf: int64, double, boolean or string. What is null, or missing in
 * a row, is left out. List procedures seek by texts that a request asks for.
 *
 *     {"sensors": {"sensor": [{"name": "cpu", "celsius": 91}]}}
 *
 * registers the list /sensors/sensor and the leaves /sensors/sensor/name and .../celsius.
 *
 * Sets are known by names and may be loaded, loaded again and dropped between two slices of a walk,
 * which goes on with the sets that it began with; the last of their walks frees them. An access
 * context holds the sets that it was made with. Paths stay registered, of the kind that they are,
 * and belong to their set, which may then have no row and no value for them. No path belongs to two
 * sets, or to a set and the daemon.
 *
 * What a text may be: 64 MiB long, 64 levels deep, and all sets together may have 65,536 paths. Two
 * members of one name, names that cannot stand in a path ("/", "[" and "]", "" , "." and ".."),
 * integers beyond int64, arrays in arrays, objects and scalars in one array and two kinds of value
 * at one path are faults. A text with a fault is refused as a whole.
 *
 * The daemon's thread, as registration; not from within an accessor.
 */

/*
 * Loads `text`, JSON in UTF-8, as the data set `set`, in the place of what was loaded by that name
 * before. 0, or DREND_ERR for a fault or when memory ran out; what was in force then stays, and one
 * line "SET:LINE:COLUMN: SENTENCE", without its end, is cut to `size` bytes and written to `error`,
 * or with a NULL `error` to standard error.
 */
DREND_API int dr_ops_load_from_json(const char* set, const char* text, char* error,
                                    unsigned int size);

/* The same for the text of the regular file `file`, whose name its line begins with. */
DREND_API int dr_ops_load_from_json_file(const char* set, const char* file, char* error,
                                         unsigned int size);

/* Drops a data set. 0, DREND_NO_EL when none of that name is in force, or DREND_ERR when memory ran
 * out. */
DREND_API int dr_ops_drop(const char* set);

/* ---- Definitions and commands ------------------------------------------------------------ */

/*
 * Text put in front of the directories that definition files are loaded from
 * ("/usr/lib/render", "/opt/lib/render", "/var/opt/lib/render"). Copied; "" is the default.
 * Before loading.
 */
DREND_API void drend_set_prefix(const char* prefix);

/* An entry of a menu; an all-zero entry ends a menu. */
typedef struct drend_menu_entry_s {
    const char* command;
    const char* help;
    int subcode;
    struct drend_menu_entry_s* submenu; /* or NULL */
    /* Runs the entry, or NULL. `parse_context` belongs to the management socket. */
    int (*handler)(void* peer, void* parse_context, const char* argument);
} drend_menu_entry_s;

/*
 * Answers what could follow the words of `entry` of a menu that drend_init returned, when it is a
 * command of the definitions: a line for each argument that it takes, "NAME=" or a bare word; a
 * tab and its help; a tab and its type, "form" for a word that says what the answer looks like; a
 * tab and the values that a map gives it, blanks between them. 0, DREND_PEER_LOST, or DREND_ERR
 * for any other entry, with nothing sent.
 */
DREND_API int drend_send_parameters(void* peer, const drend_menu_entry_s* entry);

/*
 * Starts the library for a daemon with a management socket: installs the socket's cookie,
 * flush and close methods, loads and merges the definitions, and has suspended output
 * continued when the loop of `event_context` (an evContext *, kept) is idle. `menu` is the
 * daemon's menu of `count` entries, the all-zero terminator included; with `count` 0 it may
 * be NULL. `load_arg` names the application whose definition files are loaded (NULL: all)
 * and must stay valid.
 *
 * Returns a copy of the menu with an entry "drend" before the terminator, whose sub-menu
 * holds one entry for each render command and the fixed commands, and is made anew by the
 * command "reload". The daemon serves it in place of its own and owns it; it may be freed
 * only at the end of the process. NULL when memory ran out. A daemon whose definitions do
 * not load still starts.
 */
DREND_API drend_menu_entry_s* drend_init(void* event_context,
                                         const drend_menu_entry_s* menu, int count,
                                         const char* load_arg);

/*
 * For a daemon without a menu: loads the definitions of application `load_arg` (NULL: all) and
 * merges them. `load_arg` must stay valid. What is wrong with a file is reported on standard error
 * and left out. 0, or -1 when memory ran out or, while there are definitions in force, a directory
 * or file could not be read; those in force then stay.
 */
DREND_API int drend_app_init(const char* load_arg);

/*
 * The same for every definition file. Returns the number of commands, or -1.
 */
DREND_API int drend_dir_init(void);

/*
 * `start` is called when a command starts, with "", and before each of its elements is
 * walked, with the path of the command's top element; `end` when the command ends, with "".
 * NULL removes a handler; both replace earlier ones. Returns 0. Any thread.
 */
typedef void (*drend_cmd_handler_t)(const char* command, void* user_data);
DREND_API int drend_add_cmd_handlers(drend_cmd_handler_t start, drend_cmd_handler_t end,
                                     void* user_data);

/*
 * Runs the command `name` for `peer` and sends its answer as XML, or in the form that the argument
 * text names: as-json, as-ietf-json, as-ietf-xml, as-json-lines, as-table, count
 * (docs/output-forms.md). `argument` is the request's argument text, or NULL; it may hold a filter,
 * filter='/interfaces/interface[name="lo"]', and the command's input parameters, name=lo. Returns 0
 * when the answer is complete, or when the command is unknown or a send failed (one line each on
 * standard error), DREND_DEFER when it was suspended; the walk then waits to be taken; -1 when
 * memory ran out, which the peer was told.
 */
DREND_API int drend_dump_rpc(void* peer, const char* name, const char* argument);

/* The same without the element "data" that encloses the answer of "corvane-netconf-get". */
DREND_API int drend_dump_rpc_no_root_data_tag(void* peer, const char* name,
                                              const char* argument);

/*
 * The handle of the walk that the last drend_dump_rpc suspended, once; NULL when there is none.
 * The walk then belongs to the caller, who continues it with drend_defer_continue until that
 * returns 0, or drops it. One that nobody takes is dropped when the next drend_dump_rpc is
 * suspended.
 *
 * A handle stands for one walk and is not given to another one later: that a walk is gone is
 * known however old the handle is. It points to nothing.
 */
DREND_API void* drend_take_suspended_rpc(void);

/*
 * Ends a suspended walk and gives back what it holds: at once or, when it is called in a slice
 * of that walk, at the end of the slice, which sends nothing from then on. A peer whose cookie
 * it is loses the cookie. Nothing for NULL or a walk that is gone.
 */
DREND_API void drend_drop_walk(void* walk);

/*
 * Runs the menu entry `subcode`: a render command below the number of those, else a fixed
 * command. The peer always gets an answer: the bare code 210 and a line end when the
 * command printed nothing, one line of error while an earlier request of the peer is
 * suspended. A suspended walk becomes the peer's cookie and is handed to the reschedule
 * handler; without one it waits for its peer to close. Returns 0, DREND_PEER_LOST when a
 * send failed, after which nothing more was sent, or -1 for a refused request, an unknown
 * subcode or a command without tags (one line on standard error; of the latter, strict requests
 * are told, too), or memory that ran out.
 */
DREND_API int drend_dump_tags(void* peer, unsigned int subcode, const char* argument);

/* Sends every registered path with its kind to `peer`. The result of the last send. */
DREND_API int drend_dump_schema(void* peer);

/*
 * Sends every leaf's path and value to `peer`, or one line of error while an earlier request of
 * the peer is suspended. NULL when that is done; else the handle of the suspended dump, which is
 * the peer's cookie, belongs to the library and has been handed to the reschedule handler.
 */
DREND_API void* drend_dump(void* peer);

/* The message id of the command that owns a path of the merged schema, or -1. Any thread. */
DREND_API int drend_get_message_id_from_path(const char* path);

/*
 * The daemon that is responsible for a path of the merged schema: the only one, or the
 * first in byte order of several. NULL when there is none (or, for the first function, more
 * than one). The caller frees the text. Any thread.
 */
DREND_API char* drend_get_only_daemon_responsible(const char* path);
DREND_API char* drend_get_daemon_responsible(const char* path);

/* Forgets parsed filters and compiled patterns; they are made again as needed. */
DREND_API void dri_reset_xpath_cache(void);

/* The texts that truth has in expressions. */
DREND_API extern const char* const xpath_true;
DREND_API extern const char* const xpath_false;

/* ---- The menu ---------------------------------------------------------------------------- */

/*
 * Appends `n` entries, which are copied (their texts are not), to the fixed commands of the
 * "drend" menu. They show after the next rebuild. 0, or -1 with nothing changed when memory
 * ran out.
 */
DREND_API int drend_add_fixed_commands(const drend_menu_entry_s* entries, int n);

/*
 * Adds the fixed commands "check", "trace" and "statistics" to the "drend" menu, once; best
 * before drend_init. "check" answers with what is wrong with the definitions that are loaded, or
 * in "path=PATH", also against what is registered. "trace" shows and sets the trace word: "walk",
 * "load", "error", "walker", "all", "off", and "lines=N" for so many lines. "statistics" counts
 * what the library holds, each a line "NAME: NUMBER": "answers" that are suspended, subscriptions
 * among them, "uses" of root tags by answers under way, "sets" of definitions that exist, those
 * that wait for their last use to end among them, and their "tags"; and in bytes what the whole
 * daemon has "allocated" and what is "free" in its heap, where the C library tells. Without answers
 * there are no uses and one set. 0, or -1 when memory ran out. Any thread.
 */
DREND_API int drend_add_service_commands(void);

/*
 * The menu by index, for daemons that build theirs themselves: the render commands in load
 * order, then the fixed commands. Texts beyond the last index are NULL; those of render
 * commands stay valid until definitions are loaded again. The help of fixed command k
 * stands at the index k + the number of fixed commands, which is its own index only when
 * there are as many render commands; NULL elsewhere. The subcode of a render command is its
 * index, that of a fixed command 0.
 */
DREND_API unsigned int drend_menu_get_count(void);
DREND_API const char* drend_menu_get_command_string(unsigned int index);
DREND_API const char* drend_menu_get_command_help(unsigned int index);
DREND_API int drend_menu_get_command_subcode(unsigned int index);

/* ---- Suspended output -------------------------------------------------------------------- */

/*
 * Called with `arg` and the handle of each walk that was suspended; has drend_defer_continue
 * called with the handle when the loop is idle.
 */
typedef void (*drend_reschedule_handler_t)(void* arg, void* walk);

/* Installs the handler; NULL leaves suspended walks waiting. */
DREND_API void drend_set_reschedule_handler(drend_reschedule_handler_t handler, void* arg);

/*
 * The peer whose answer a suspended walk is, NULL when `walk` is NULL or gone: for a handler that
 * has walks continued in its peers' turns. It takes the same time however many walks there are.
 */
DREND_API void* drend_get_walk_peer(void* walk);

/*
 * Continues a suspended walk. Returns 1 when it was suspended again (and handed to the
 * reschedule handler, unless it is a subscription that has nothing to send), 0 when it is
 * finished and gone, -1 when `walk` is NULL or the handle of no suspended walk: of one that is
 * gone, or is in its slice now. It takes the same time however many walks are suspended.
 */
DREND_API int drend_defer_continue(void* walk);

/* Non-zero: walks ignore every wish to suspend. 0 by default. */
DREND_API extern int dtc_ignore_defer;

/*
 * Non-zero: a wish to suspend is heeded on rows that a filter hides, too, and the walk handler is
 * also asked between the predicates that a row is judged by, so that a search does not keep the
 * daemon from its loop. 0, the default: a wish passes unheeded there.
 */
DREND_API void drend_set_suspend_on_hidden_rows(int flag);

/* The number of contexts made for requests since the start; for diagnostics. */
DREND_API extern int drc_count;

/* One cookie for each peer holds the handle of its suspended walk; these methods reach it.
 * Setters return the method installed before. The clean-up function given to the set-up method
 * is to be called with the cookie when the peer closes. */
typedef void* (*drend_get_cookie_method_t)(void* peer);
typedef int (*drend_set_cookie_method_t)(void* peer, void* cookie);
typedef void (*drend_cookie_cleanup_t)(void* cookie);
typedef int (*drend_cleanup_setup_method_t)(void* peer, drend_cookie_cleanup_t cleanup);
DREND_API drend_get_cookie_method_t
drend_set_get_cookie_method(drend_get_cookie_method_t method);
DREND_API drend_set_cookie_method_t
drend_set_set_cookie_method(drend_set_cookie_method_t method);
/* Any thread. */
DREND_API drend_cleanup_setup_method_t
drend_set_cleanup_setup_method(drend_cleanup_setup_method_t method);
/* What is done with the cookie of a peer that closes; NULL, the default, ends the suspended
 * walk. */
DREND_API drend_cookie_cleanup_t
drend_set_cleanup_cookie_method(drend_cookie_cleanup_t method);

/* ---- Access: a command's values one by one ----------------------------------------------- */

/*
 * For code in the daemon, or a test, that wants values rather than a document. A context is a place
 * in what a command shows: in its definition, and in the daemon's data. It is made at the root,
 * above the command's top element, and moved down by paths:
 *
 *     drx_context_s* context = NULL;
 *     drx_value_s mtu;
 *     if (drx_create_context("show-interfaces", &context) == DREND_OK &&
 *         drx_push_path(context, "/interfaces/interface[name='lo']") == DREND_OK &&
 *         drx_get_leaf_value(context, "mtu", &mtu) == DREND_OK)
 *         printf("%s\n", mtu.text);
 *     drx_destroy_context(context);
 *
 * A path has the names of the answer's elements. Predicates choose rows as they do in a filter,
 * [name='lo'] or [mtu > 1500]; [3] is the third row. Names of choices and cases are left out.
 *
 * Moving enters and leaves what it comes by as a walk does: the accessors of a context find their
 * cookies, and the exit procedures are called when it is left, at the latest when it is destroyed.
 * Rows have to stay where they are for as long. Nothing is sent to anybody, and nothing suspends.
 *
 * Results are DREND_OK; DREND_NO_EL when what is asked for is not there now: no such row, a
 * container that is absent, a leaf without a value; DREND_DEFER from a leaf that has to be asked
 * again later; DREND_ERR for a path that leads nowhere, or memory that ran out. A call that fails
 * leaves the context where it was, but for memory: the context is then back at the root.
 * drx_get_error says in one sentence what failed.
 *
 * A context holds the definitions it was made from: it may outlive a reload, and gives them back
 * when it is destroyed. Contexts belong to the daemon's thread. Not from within an accessor.
 */
typedef struct drx_context_s drx_context_s;

/* What a context is at. */
enum drx_type {
    DRX_ROOT = 0, /* above the command's top element */
    DRX_CONTAINER = 1,
    DRX_LIST = 2, /* at none of its elements */
    DRX_LIST_ELEMENT = 3,
    DRX_LEAF = 4,
    DRX_LEAF_LIST = 5, /* at none of its values */
    DRX_LEAF_LIST_ELEMENT = 6,
};

/* What the daemon set: which member of drx_value_s has the value. */
enum drx_value_type {
    DRX_TEXT = 0, /* text alone; also what a value map made */
    DRX_BOOLEAN = 1,
    DRX_INT = 2,    /* signed, of any width */
    DRX_UINT = 3,   /* unsigned, of any width */
    DRX_DOUBLE = 4, /* floating point and decimal64 */
};

/* A leaf's value. The text is always there, as an answer shows it, not escaped; it belongs to the
 * context and is valid until the next call with that. */
typedef struct drx_value_s {
    int type; /* an enum drx_value_type */
    const char* text;
    union {
        int boolean; /* 0 or 1 */
        int64_t int_value;
        uint64_t uint_value;
        double double_value;
    } as;
} drx_value_s;

/* Makes a context for the command of that name. `*context`, NULL on failure, is the caller's to
 * destroy. DREND_ERR when there is no such command with a tag. */
DREND_API int drx_create_context(const char* command, drx_context_s** context);

/*
 * Makes a context of its own at the same place: each is moved without the other. What is on the
 * way is entered for it, and its rows are found again by their keys, or their positions where
 * there are none, which takes as many steps as a walk to them. DREND_NO_EL when a row has gone.
 * `*copy`, NULL on failure, is the caller's to destroy.
 */
DREND_API int drx_copy_context(drx_context_s* context, drx_context_s** copy);

/* Leaves everything and gives the definitions back. No-op for NULL. */
DREND_API void drx_destroy_context(drx_context_s* context);

/*
 * Moves down along `path`, from the root when it begins with "/". At a list without a predicate the
 * context is at no element yet. A search that predicates make takes as many steps as it needs, one
 * where the list procedure seeks by the key.
 */
DREND_API int drx_push_path(drx_context_s* context, const char* path);

/* Takes the last drx_push_path back; after one from the root, goes to the root. DREND_ERR when
 * there is none. */
DREND_API int drx_pop_path(drx_context_s* context);

/*
 * At a list or leaf-list, moves to its first, or next, element that the path's predicates choose.
 * DREND_NO_EL at the end, where the context is at no element again; the next one from there is the
 * first. What was pushed below an element has to be popped before.
 */
DREND_API int drx_get_first_element(drx_context_s* context);
DREND_API int drx_get_next_element(drx_context_s* context);

/*
 * Reads the leaf at `path` from here; NULL or "" is the leaf, or the element of a leaf-list, that
 * the context is at. The context stays where it is. `*value` is untouched on failure.
 */
DREND_API int drx_get_leaf_value(drx_context_s* context, const char* path,
                                 drx_value_s* value);

/* Non-zero: values are as the daemon sets them, without value maps and the digits of a decimal64.
 * 0 by default. Returns what was set before. */
DREND_API int drx_set_raw_values(drx_context_s* context, int flag);

/* The names of what is below, in the order of the definition, ended by NULL. They belong to the
 * context and are valid until the next call of this function with it. */
DREND_API int drx_get_kids_names(drx_context_s* context, const char* const** names);

/* The path from the root to here, which leads here again; "/" at the root. Valid until the next
 * call of this function with the context. */
DREND_API int drx_get_path(drx_context_s* context, const char** path);

/* What the context is at, an enum drx_type, and the word for one: "list element", for example. */
DREND_API int drx_get_type(drx_context_s* context);
DREND_API const char* drx_type_text(int type);

/* What the last drx_ function that failed says of it, one sentence; "" before that. Valid until the
 * next one fails. The daemon's thread. */
DREND_API const char* drx_get_error(void);

/* ---- Notifications ----------------------------------------------------------------------- */

/*
 * What definitions say of notifications. A daemon knows one by its internal name; each of the
 * events filed under that has a name for the outside and, as a tag tree, a content. Which
 * notifications a leaf's change announces, definitions say by the leaf's path.
 */
typedef struct drx_event_s {
    const char* internal_name;
    const char* external_name;
    const char* app_name;
    const char* name_space; /* as it stands in an element's tag, " xmlns=\"...\"", or "" */
    int has_content;        /* whether there is something to send */
} drx_event_s;

/* Gets one event, or one leaf's path with one internal name; the texts are valid during the call.
 * Returns 0, or something else to be called no more. May call everything. */
typedef int (*drx_event_visitor_t)(const drx_event_s* event, void* data);
typedef int (*drx_leaf_visitor_t)(const char* leaf, const char* internal_name, void* data);

/*
 * Look up: the events of an internal name; the internal names that the leaf at a path announces;
 * those of every leaf whose path contains `path` anywhere. One "/" at the end of a path does not
 * count. The number of calls made, or DREND_ERR when memory ran out. Any thread.
 */
DREND_API int drx_find_events(const char* internal_name, drx_event_visitor_t visitor,
                              void* data);
DREND_API int drx_find_events_of_leaf(const char* path, drx_leaf_visitor_t visitor,
                                      void* data);
DREND_API int drx_find_events_of_container(const char* path, drx_leaf_visitor_t visitor,
                                           void* data);

/*
 * Sends the content of an event to `peer` as drend_dump_tags sends a command's answer: as XML, or
 * JSON and filtered as `argument` (or NULL) says. `external_name` chooses among the events of the
 * internal name; NULL is the first one that has a content. A suspended one becomes the peer's
 * cookie, is handed to the reschedule handler, and is dropped with its peer or by drend_drop_walk.
 *
 * Returns 0 when all of it is sent (nothing, when the daemon has no data for it), DREND_DEFER when
 * it is suspended, DREND_PEER_LOST when a send failed; DREND_NO_EL when there is no such event;
 * DREND_ERR while an earlier answer to the peer is suspended, which nothing is sent into, or when
 * memory ran out, which the peer is told. The daemon's thread, not from within an accessor.
 */
DREND_API int drx_send_event(void* peer, const char* internal_name,
                             const char* external_name, const char* argument);

/*
 * Adds the fixed command "events" to the "drend" menu, once; best before drend_init. It subscribes
 * its peer: the answer begins and has no end, and what is announced from then on stands in it, as a
 * "notification" of NETCONF or RESTCONF, in the form that the request names: XML, as-json,
 * as-ietf-json or as-ietf-xml, with compact and ascii; with filter='<...>', a subtree filter, what
 * that selects. The peer unsubscribes by an interrupt or by closing. 0, or -1 when memory ran out.
 * Any thread.
 */
DREND_API int drend_add_events_command(void);

/*
 * Announces a notification: the contents of all events that definitions file under
 * `internal_name` are made now, once for each form that is wanted, with the time of now, and go to
 * every subscriber. Nothing suspends: a leaf that wishes to be asked again is left out. An event
 * without content is an empty element of its external name.
 *
 * For each subscriber at most 64 KiB wait. What finds no room is dropped, and "events-dropped" with
 * the number stands in its place. A subscriber that takes nothing costs that and no time; its
 * suspended answer, a walk for the reschedule handler, is handed to it when there is something to
 * send.
 *
 * Returns 0, also when nobody has subscribed; DREND_NO_EL when no definition in force has such an
 * event, of which subscribers are told by "event-undefined" with the name; DREND_ERR when memory
 * ran out, which counts as dropped. The daemon's thread, not from within an accessor.
 */
DREND_API int drx_announce_event(const char* internal_name);

#ifdef __cplusplus
} /* extern "C" */

#include <set>
#include <string>

class drend_tag_c;

/* One command of the loaded definitions. The texts are never null. */
struct drend_command_s {
    char* dc_name;
    char* dc_full_command;
    char* dc_cli_command;
    char* dc_cli_merge_tag;
    char* dc_top_of_output;
    char* dc_app_name; /* the daemon that serves the command */
    char* dc_help;
    int32_t dc_message_id;
    drend_tag_c* dc_tag;    /* null for a command without one */
    unsigned dc_load_order; /* position at which it was loaded */
};

/*
 * Who owns a path of the merged schema "corvane-netconf-get": the commands that define the
 * deepest element along `path`, or the daemons that serve them. What is found is added to
 * `out`. The number of entries in `out`, or -1 when the path leads nowhere. The commands
 * stay valid until definitions are loaded again. Any thread.
 */
DREND_API int drend_get_command_set_from_path(const char* path,
                                              std::set<drend_command_s*>& out);
DREND_API int drend_get_daemons_from_path(const char* path, std::set<std::string>& out);

/*
 * An iterator over the rows of a list, for daemons whose tables come with one. Register the
 * list with drend_add_iterator_list and a factory. For each walk of the list the library
 * makes one iterator from the row of the enclosing list and calls first(), then next() for
 * each further row, asking at_end() after either. The iterator itself is the row's
 * reference: leaf procedures get it from drend_get_iterator_c. It is deleted at the end of
 * the list, or as soon as its walk ends early.
 */
class drend_iterator_c {
  public:
    virtual ~drend_iterator_c() = default;
    virtual void first(dr_meta_context_s* ctx) = 0;
    virtual void next(dr_meta_context_s* ctx) = 0;
    virtual bool at_end(dr_meta_context_s* ctx) = 0;
};

/*
 * Makes an iterator with new; `parent` is the reference of the enclosing row, or nullptr.
 */
typedef drend_iterator_c* (*drend_iterator_factory_t)(void* parent);

/* Registers `path` as a list driven by iterators from `factory`. Returns 0. */
inline int drend_add_iterator_list(const char* path, drend_iterator_factory_t factory) {
    return drend_add_list(path, drend_iterator_c_it_cb,
                          reinterpret_cast<const void*>(factory));
}
#endif

#endif
