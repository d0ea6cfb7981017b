// SPDX-License-Identifier: BSD-2-Clause

#include "get_relay.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include <poll.h>

namespace {

constexpr char COMMAND[] = "corvane-netconf-get ";
constexpr char FORM[] = "as-ietf-xml ascii compact";
constexpr std::size_t COMMAND_SIZE = sizeof COMMAND - 1;
constexpr char WORDS_QUESTION[] = "corvane-netconf-get ?";
constexpr std::size_t KNOWN_MAX = 65536; // bytes of what a daemon says of its elements

// The command's arguments.
std::string question_of(const data_request_s& request, const filter_t* filter) {
    std::string question = FORM;
    question += request.levels.empty() ? "" : " depth=" + request.levels;
    question += request.content.empty() ? "" : " content=" + request.content;
    return question + filter_argument(filter);
}

const filter_t* filter_in(const data_request_s& request) {
    return request.filter.has_value() ? &*request.filter : nullptr;
}

// Whether the word "content" is among the command's arguments as the library's own: a parameter of
// that name has a type.
bool knows_content(const std::string& words) {
    std::istringstream lines(words);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("content=\t") && line.ends_with("\tvalue\t")) {
            return true;
        }
    }
    return false;
}

} // namespace

void get_relay_c::start(const std::vector<daemon_s>& daemons, const data_request_s& request,
                        std::string opening) {
    forget();
    state_ = state_e::asking;
    request_ = request;
    opening_ = std::move(opening);
    if (COMMAND_SIZE + question_of(request, filter_in(request)).size() > REQUEST_MAX) {
        refuse({"application", "too-big", "the filter is too long"});
        return;
    }
    for (const daemon_s& daemon : daemons) {
        if (is_concerned(daemon, filter_in(request)) && !connect(daemon)) {
            return;
        }
    }
    asks_own_ = is_concerned(own_data_c::as_daemon(), filter_in(request));
    if (asks_own_ && !own_.refresh()) {
        give_up(own_data_c::as_daemon().name + ": " + own_.error());
        return;
    }
    ask_before();
}

void get_relay_c::forget() {
    asked_.clear();
    known_.clear();
    sources_.clear();
    questions_.clear();
    joiner_.reset();
}

bool get_relay_c::connect(const daemon_s& daemon) {
    asked_.push_back(std::make_unique<daemon_link_c>(daemon));
    const bool is_there = asked_.back()->open(patience_s{patience_});
    if (!is_there) {
        refuse(asked_.back()->fault());
    }
    return is_there;
}

void get_relay_c::ask_before() {
    is_planning_ = true;
    for (std::size_t source = 0; source < asked_.size(); ++source) {
        if (!request_.content.empty()) {
            questions_.push_back({source, WORDS_QUESTION, daemon_link_c::type_e::table});
        }
        questions_.push_back({source, TOP_ELEMENTS_QUESTION, daemon_link_c::type_e::plain});
    }
    ask_next();
}

// All have said what they show at the top.
void get_relay_c::plan() {
    is_planning_ = false;
    if (asks_own_) {
        sources_.push_back(own_data_c::as_source());
    }
    std::string error;
    const auto parts = plan_reply(sources_, request_.filter, error);
    if (!parts.has_value()) {
        give_up(error);
        return;
    }
    for (const reply_part_s& part : *parts) {
        const filter_t* filter = part.filter.has_value() ? &*part.filter : nullptr;
        for (const std::size_t source : part.sources) {
            questions_.push_back({source, COMMAND + question_of(request_, filter),
                                  daemon_link_c::type_e::xml, part.is_joined,
                                  source == part.sources.back()});
        }
    }
    ask_next();
}

void get_relay_c::ask_next() {
    while (!questions_.empty()) {
        const question_s& question = questions_.front();
        if (question.is_joined && joiner_ == nullptr) {
            joiner_ = std::make_unique<container_joiner_c>(
                [this](std::string_view text) { write(text); });
        }
        if (question.source < asked_.size()) {
            link().ask(question.text, question.type);
            return;
        }
        if (!ask_own()) {
            return;
        }
    }
    is_planning_ ? plan() : finish();
}

// Short, and there at once.
bool get_relay_c::ask_own() {
    const std::optional<std::string> text =
        own_.answer(questions_.front().text.substr(COMMAND_SIZE));
    if (!text.has_value()) {
        fail(own_.error());
        return false;
    }
    take_text(*text);
    return take_end();
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
        if (take_end()) {
            ask_next();
        }
        return;
    case daemon_link_c::state_e::failed:
        give_up(link().error());
        return;
    }
    if (joiner_ != nullptr && !joiner_->error().empty()) {
        fail(joiner_->error());
    } else if (known_.size() > KNOWN_MAX) {
        fail("shows too many elements");
    }
}

void get_relay_c::take_text(std::string_view text) {
    if (is_planning_) {
        known_ += text;
    } else if (joiner_ != nullptr) {
        joiner_->add(text);
    } else if (!text.empty()) {
        write(text);
    }
}

// The first question is answered. False when that is not what it should be.
bool get_relay_c::take_end() {
    if (joiner_ != nullptr && !joiner_->end_answer()) {
        fail(joiner_->error());
        return false;
    }
    if (is_planning_ && !take_what_is_known()) {
        return false;
    }
    if (joiner_ != nullptr && questions_.front().ends_part) {
        joiner_->finish();
        joiner_.reset();
    }
    questions_.pop_front();
    return true;
}

bool get_relay_c::take_what_is_known() {
    const std::string known = std::exchange(known_, "");
    const std::string& name = link().daemon().name;
    if (questions_.front().type == daemon_link_c::type_e::plain) {
        sources_.push_back({name, read_top_elements(known)});
    } else if (!knows_content(known)) {
        refuse({"application", "operation-not-supported",
                name + ": does not know what is configuration"});
        return false;
    }
    return true;
}

void get_relay_c::finish() {
    write("");
    state_ = state_e::done;
    forget();
}

void get_relay_c::write(std::string_view text) {
    message_.add(std::exchange(opening_, ""));
    message_.add(text);
}

void get_relay_c::fail(const std::string& why) {
    const std::size_t source = questions_.front().source;
    const std::string& name =
        source < asked_.size() ? link().daemon().name : own_data_c::as_daemon().name;
    give_up(name + ": " + why);
}

void get_relay_c::give_up(const std::string& why) {
    refuse({"application", "operation-failed", why});
}

void get_relay_c::refuse(const rpc_error_s& error) {
    error_ = error;
    state_ = opening_.empty() ? state_e::broken : state_e::refused;
    forget();
}
