// SPDX-License-Identifier: BSD-2-Clause

#include "get_relay.h"

#include <cerrno>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

constexpr char COMMAND[] = "corvane-netconf-get as-ietf-xml ascii compact";
constexpr std::size_t REQUEST_MAX = 65536; // bytes of a line that a daemon reads

std::string request_of(const std::optional<filter_s>& filter) {
    return filter.has_value() ? std::string(COMMAND) + " filter='" + filter->text + "'"
                              : COMMAND;
}

bool may_not_open(const std::string& socket) {
    return access(socket.c_str(), R_OK | W_OK) != 0 && errno == EACCES;
}

} // namespace

void get_relay_c::start(const std::vector<daemon_s>& daemons,
                        const std::optional<filter_s>& filter, std::string opening) {
    state_ = state_e::asking;
    opening_ = std::move(opening);
    asked_.clear();
    request_ = request_of(filter);
    if (request_.size() > REQUEST_MAX) {
        error_ = {"application", "too-big", "the filter is too long"};
        state_ = state_e::refused;
        return;
    }
    for (const daemon_s& daemon : daemons) {
        if (is_concerned(daemon, filter) && !connect(daemon)) {
            return;
        }
    }
    ask_next();
}

bool get_relay_c::connect(const daemon_s& daemon) {
    const patience_s patience{patience_};
    asked_.push_back(std::make_unique<asked_s>());
    asked_.back()->name = daemon.name;
    std::string error;
    if (asked_.back()->connection.open(daemon.socket, patience, error)) {
        return true;
    }
    const bool is_denied = may_not_open(daemon.socket);
    error_ = {"application", is_denied ? "access-denied" : "operation-failed",
              daemon.name + ": " + error};
    state_ = state_e::refused;
    asked_.clear();
    return false;
}

void get_relay_c::ask_next() {
    if (asked_.empty()) {
        write_opening();
        state_ = state_e::done;
        return;
    }
    unsent_ = request_ + "\n";
    chunks_ = {};
    sorter_ = std::make_unique<answer_sorter_c>(
        [this](std::string_view text) { take_text(text); });
}

short get_relay_c::events() const {
    const int reads = message_.has_room() ? POLLIN : 0;
    return static_cast<short>(reads | (unsent_.empty() ? 0 : POLLOUT));
}

void get_relay_c::on_ready(short events) {
    if ((events & POLLOUT) != 0) {
        send_request();
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && message_.has_room()) {
        read();
    }
}

void get_relay_c::on_silence() {
    fail("says nothing");
}

// What a daemon that takes no more has to say is in its answer.
void get_relay_c::send_request() {
    if (!asked_.front()->connection.send(unsent_)) {
        unsent_.clear();
    }
}

void get_relay_c::read() {
    std::string_view bytes;
    switch (asked_.front()->connection.read(bytes)) {
    case connection_c::read_e::some:
        take(bytes);
        break;
    case connection_c::read_e::nothing_yet:
        break;
    case connection_c::read_e::end:
        fail("closed the connection");
    }
}

void get_relay_c::take(std::string_view bytes) {
    for (std::string_view data; state_ == state_e::asking;) {
        switch (chunks_.next(bytes, data)) {
        case chunk_event_e::need_more:
            return;
        case chunk_event_e::chunk_begins:
            sorter_->chunk_begins();
            break;
        case chunk_event_e::data:
            sorter_->data(data);
            break;
        case chunk_event_e::answer_ends:
            finish_answer();
            return;
        default: // malformed, or what was not asked for
            fail(chunks_.error().empty() ? "malformed answer" : chunks_.error());
        }
    }
}

void get_relay_c::take_text(std::string_view text) {
    write_opening();
    message_.add(text);
}

void get_relay_c::finish_answer() {
    const answer_e kind = sorter_->end();
    if (kind == answer_e::refused || kind == answer_e::broken_off) {
        fail(sorter_->error().substr(sizeof "error: " - 1));
        return;
    }
    asked_.pop_front();
    ask_next();
}

void get_relay_c::write_opening() {
    message_.add(std::exchange(opening_, ""));
}

void get_relay_c::fail(const std::string& why) {
    error_ = {"application", "operation-failed", asked_.front()->name + ": " + why};
    state_ = opening_.empty() ? state_e::broken : state_e::refused;
    asked_.clear();
}
