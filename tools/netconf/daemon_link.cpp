// SPDX-License-Identifier: BSD-2-Clause

#include "daemon_link.h"

#include <cerrno>

#include <unistd.h>

#include "tools/drendctl/answer_status.h"

namespace {

// In the order of daemon_link_c::type_e.
constexpr const char* TYPES[] = {"application/yang-data+xml", "text/plain",
                                 "text/tab-separated-values"};
constexpr std::string_view ERROR = "error: ";
constexpr std::size_t NOTE_MAX = 4096; // bytes of a type, a status or a refusal

} // namespace

std::string filter_argument(const filter_t* filter) {
    if (filter == nullptr) {
        return "";
    }
    std::string argument = " filter='";
    for (const filter_element_s& element : *filter) {
        argument += element.text;
    }
    return argument + "'";
}

bool daemon_link_c::open(const patience_s& patience) {
    std::string error;
    if (!connection_.open(daemon_.socket, patience, error)) {
        is_denied_ = access(daemon_.socket.c_str(), R_OK | W_OK) != 0 && errno == EACCES;
        fail(error);
        return false;
    }
    unsent_ = std::string(ASK_FOR_STATUS) + "\n";
    return true;
}

rpc_error_s daemon_link_c::fault() const {
    return {"application", is_denied_ ? "access-denied" : "operation-failed", error_};
}

void daemon_link_c::ask(const std::string& request, type_e type) {
    unsent_ += request + "\n";
    wanted_ = type;
    type_.clear();
    status_.clear();
}

// What a daemon that takes no more has to say is in its answer.
void daemon_link_c::send() {
    if (!connection_.send(unsent_)) {
        unsent_.clear();
    }
}

daemon_link_c::state_e daemon_link_c::fail(const std::string& why) {
    error_ = daemon_.name + ": " + why;
    return state_e::failed;
}

daemon_link_c::state_e daemon_link_c::read(const text_fn& text) {
    std::string_view bytes;
    switch (connection_.read(bytes)) {
    case connection_c::read_e::some:
        return take(bytes, text);
    case connection_c::read_e::end:
        return fail("closed the connection");
    case connection_c::read_e::nothing_yet:
        break;
    }
    return state_e::answering;
}

daemon_link_c::state_e daemon_link_c::take(std::string_view bytes, const text_fn& text) {
    state_e state = state_e::answering;
    for (std::string_view data; state == state_e::answering;) {
        switch (chunks_.next(bytes, data)) {
        case chunk_event_e::need_more:
            return state;
        case chunk_event_e::chunk_begins:
        case chunk_event_e::note_begins:
            break;
        case chunk_event_e::data:
            state = take_data(data, text);
            break;
        case chunk_event_e::answer_ends:
            state = is_greeted_ ? finish_answer(!bytes.empty()) : finish_greeting();
            break;
        case chunk_event_e::malformed:
            state = fail(chunks_.error());
        }
    }
    return state;
}

daemon_link_c::state_e daemon_link_c::take_data(std::string_view data,
                                                const text_fn& text) {
    if (chunks_.tag() == '\0' && is_greeted_) {
        const char* wanted = TYPES[static_cast<std::size_t>(wanted_)];
        if (type_.substr(0, type_.find(';')) != wanted) {
            return fail("answers with '" + type_ + "' instead of '" + wanted + "'");
        }
        text(data);
        return state_e::answering;
    }
    std::string& note = chunks_.tag() == '\0'  ? refusal_
                        : chunks_.tag() == 't' ? type_
                                               : status_;
    note += data;
    return note.size() <= NOTE_MAX ? state_e::answering : fail("says too much");
}

// A daemon that refuses the connection, or knows no other protocol, says so in protocol 1.
daemon_link_c::state_e daemon_link_c::finish_greeting() {
    is_greeted_ = read_status(status_).end == "complete";
    type_.clear();
    status_.clear();
    if (is_greeted_) {
        return state_e::answering;
    }
    const std::string line = refusal_.substr(0, refusal_.find('\n'));
    return fail(line.starts_with(ERROR) ? line.substr(ERROR.size())
                                        : "malformed answer: has no protocol 2");
}

daemon_link_c::state_e daemon_link_c::finish_answer(bool has_more) {
    const answer_status_s status = read_status(status_);
    if (status.end.empty()) {
        return fail("malformed answer: it does not say how it ended");
    }
    if (status.end != "complete") {
        code_ = status.code;
        return fail(status.text);
    }
    return has_more ? fail("malformed answer: more than was asked for") : state_e::complete;
}
