// SPDX-License-Identifier: BSD-2-Clause

#include "get_relay.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

constexpr char COMMAND[] = "corvane-netconf-get ";
constexpr char FORM[] = "as-ietf-xml ascii compact";
constexpr std::size_t COMMAND_SIZE = sizeof COMMAND - 1;
constexpr std::size_t REQUEST_MAX = 65536; // bytes of a line that a daemon reads

// The command's arguments.
std::string question_of(const data_request_s& request, const filter_t* filter) {
    std::string question = FORM;
    question += request.levels.empty() ? "" : " depth=" + request.levels;
    if (filter != nullptr) {
        question += " filter='";
        for (const filter_element_s& element : *filter) {
            question += element.text;
        }
        question += "'";
    }
    return question;
}

bool may_not_open(const std::string& socket) {
    return access(socket.c_str(), R_OK | W_OK) != 0 && errno == EACCES;
}

bool is_concerned_by(const daemon_s& daemon, const filter_t* filter) {
    return filter == nullptr || std::any_of(filter->begin(), filter->end(),
                                            [&](const filter_element_s& element) {
                                                return is_concerned(daemon, element);
                                            });
}

const filter_t* filter_in(const data_request_s& request) {
    return request.filter.has_value() ? &*request.filter : nullptr;
}

// The filter's elements, those of one name together, in the order of their first ones.
std::vector<filter_t> by_name(const filter_t& filter) {
    std::vector<filter_t> groups;
    for (const filter_element_s& element : filter) {
        auto group = std::find_if(groups.begin(), groups.end(), [&](const filter_t& known) {
            return known.front().name.name == element.name.name;
        });
        if (group == groups.end()) {
            group = groups.emplace(group);
        }
        group->push_back(element);
    }
    return groups;
}

} // namespace

void get_relay_c::start(const std::vector<daemon_s>& daemons, const data_request_s& request,
                        std::string opening) {
    state_ = state_e::asking;
    opening_ = std::move(opening);
    questions_.clear();
    asked_.clear();
    joiner_.reset();
    if (COMMAND_SIZE + question_of(request, filter_in(request)).size() > REQUEST_MAX) {
        error_ = {"application", "too-big", "the filter is too long"};
        state_ = state_e::refused;
        return;
    }
    for (const daemon_s& daemon : daemons) {
        if (is_concerned_by(daemon, filter_in(request)) && !connect(daemon)) {
            return;
        }
    }
    asks_own_ = is_concerned_by(own_data_c::as_daemon(), filter_in(request));
    if (asks_own_ && !own_.refresh()) {
        give_up(own_data_c::as_daemon().name + ": " + own_.error());
        return;
    }
    ask_in_rounds(request);
    ask_next();
}

bool get_relay_c::connect(const daemon_s& daemon) {
    asked_.push_back(std::make_unique<daemon_link_c>(daemon));
    if (asked_.back()->open(patience_s{patience_})) {
        return true;
    }
    const bool is_denied = may_not_open(daemon.socket);
    error_ = {"application", is_denied ? "access-denied" : "operation-failed",
              asked_.back()->error()};
    state_ = state_e::refused;
    return false;
}

bool get_relay_c::has_shared_namespace() const {
    std::set<std::string> found =
        asks_own_ ? namespaces_of(own_data_c::as_daemon()) : std::set<std::string>();
    for (const auto& asked : asked_) {
        const std::set<std::string> own = namespaces_of(asked->daemon());
        const bool is_unknown = own.empty() && asked_.size() + (asks_own_ ? 1 : 0) > 1;
        if (is_unknown ||
            std::any_of(own.begin(), own.end(),
                        [&](const std::string& xmlns) { return found.count(xmlns) > 0; })) {
            return true;
        }
        found.insert(own.begin(), own.end());
    }
    return false;
}

void get_relay_c::ask_in_rounds(const data_request_s& request) {
    const filter_t* filter = filter_in(request);
    if (!has_shared_namespace()) {
        ask_all(request, filter);
        return;
    }
    joiner_ = std::make_unique<container_joiner_c>(
        [this](std::string_view text) { write(text); });
    if (filter == nullptr) {
        ask_all(request, filter);
        return;
    }
    for (const filter_t& group : by_name(*filter)) {
        ask_all(request, &group);
    }
}

void get_relay_c::ask_all(const data_request_s& request, const filter_t* filter) {
    for (const auto& asked : asked_) {
        if (is_concerned_by(asked->daemon(), filter)) {
            questions_.push_back({asked.get(), question_of(request, filter)});
        }
    }
    if (asks_own_ && is_concerned_by(own_data_c::as_daemon(), filter)) {
        questions_.push_back({nullptr, question_of(request, filter)});
    }
}

void get_relay_c::ask_next() {
    while (!questions_.empty() && questions_.front().asked == nullptr) {
        if (!ask_own()) {
            return;
        }
        questions_.pop_front();
    }
    if (questions_.empty()) {
        finish();
    } else {
        link().ask(COMMAND + questions_.front().text);
    }
}

// Short, and there at once.
bool get_relay_c::ask_own() {
    const std::optional<std::string> text = own_.answer(questions_.front().text);
    if (!text.has_value()) {
        give_up(own_data_c::as_daemon().name + ": " + own_.error());
        return false;
    }
    take_text(*text);
    if (joiner_ != nullptr && !joiner_->end_answer()) {
        give_up(own_data_c::as_daemon().name + ": " + joiner_->error());
        return false;
    }
    return true;
}

short get_relay_c::events() const {
    const int reads = message_.has_room() ? POLLIN : 0;
    return static_cast<short>(reads | (link().has_unsent() ? POLLOUT : 0));
}

void get_relay_c::on_ready(short events) {
    if ((events & POLLOUT) != 0) {
        link().send();
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && message_.has_room()) {
        read();
    }
}

void get_relay_c::on_silence() {
    fail("says nothing");
}

void get_relay_c::read() {
    switch (link().read([this](std::string_view text) { take_text(text); })) {
    case daemon_link_c::state_e::answering:
        break;
    case daemon_link_c::state_e::complete:
        finish_answer();
        return;
    case daemon_link_c::state_e::failed:
        give_up(link().error());
        return;
    }
    if (joiner_ != nullptr && !joiner_->error().empty()) {
        fail(joiner_->error());
    }
}

void get_relay_c::take_text(std::string_view text) {
    if (text.empty()) {
        return;
    }
    if (joiner_ == nullptr) {
        write(text);
    } else {
        joiner_->add(text);
    }
}

void get_relay_c::finish_answer() {
    if (joiner_ != nullptr && !joiner_->end_answer()) {
        fail(joiner_->error());
        return;
    }
    questions_.pop_front();
    ask_next();
}

void get_relay_c::finish() {
    if (joiner_ != nullptr) {
        joiner_->finish();
    }
    write("");
    state_ = state_e::done;
    asked_.clear();
}

void get_relay_c::write(std::string_view text) {
    message_.add(std::exchange(opening_, ""));
    message_.add(text);
}

void get_relay_c::fail(const std::string& why) {
    give_up(link().daemon().name + ": " + why);
}

void get_relay_c::give_up(const std::string& why) {
    error_ = {"application", "operation-failed", why};
    state_ = opening_.empty() ? state_e::broken : state_e::refused;
    questions_.clear();
    asked_.clear();
}
