// SPDX-License-Identifier: BSD-2-Clause

#include "event_relay.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

#include "ascii_text.h"

namespace {

constexpr char COMMAND[] = "events as-ietf-xml ascii compact";
constexpr char OPENING[] =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">";
constexpr char CLOSING[] = "</notification>";
constexpr std::size_t LINE_MAX_SIZE =
    std::size_t{4} * 65536; // far more than a daemon sends

std::string time_of_now() {
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    char text[sizeof "2000-01-01T00:00:00Z"];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

// The first line of `text` that is not empty, taken from it; empty when none is whole.
std::string take_line(std::string& text) {
    text.erase(0, std::min(text.find_first_not_of('\n'), text.size()));
    const std::size_t end = text.find('\n');
    std::string line = end == std::string::npos ? "" : text.substr(0, end);
    text.erase(0, end == std::string::npos ? 0 : end + 1);
    return line;
}

} // namespace

event_relay_c::~event_relay_c() {
    if (watch_ >= 0) {
        close(watch_);
    }
}

// --- starting ---

void event_relay_c::start(const std::vector<daemon_s>& daemons, const filter_t* filter) {
    state_ = state_e::starting;
    filter_ = filter == nullptr ? std::nullopt : std::optional(*filter);
    question_ = COMMAND + filter_argument(filter);
    sources_.clear();
    if (!watch()) {
        refuse({"application", "operation-failed",
                run_dir_ + " cannot be watched: " + strerror(errno)});
        return;
    }
    if (question_.size() > REQUEST_MAX) {
        refuse({"application", "too-big", "the filter is too long"});
        return;
    }
    for (const daemon_s& daemon : daemons) {
        if (wants(daemon) && !listen(daemon)) {
            refuse(sources_.back()->link.fault());
            return;
        }
    }
    settle_start();
}

// Nobody who registers from now on is missed. False, with errno, when that cannot be seen to.
bool event_relay_c::watch() {
    if (watch_ < 0) {
        watch_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    }
    // To watch what is watched already changes nothing.
    return watch_ >= 0 &&
           inotify_add_watch(watch_, run_dir_.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE) >= 0;
}

bool event_relay_c::wants(const daemon_s& daemon) const {
    return is_concerned(daemon, filter_.has_value() ? &*filter_ : nullptr);
}

bool event_relay_c::listen(const daemon_s& daemon) {
    sources_.push_back(std::make_unique<source_s>(daemon));
    source_s& source = *sources_.back();
    if (!source.link.open(patience_s{patience_})) {
        return false;
    }
    source.link.ask(question_);
    return true;
}

void event_relay_c::settle_start() {
    const bool all_listen =
        std::all_of(sources_.begin(), sources_.end(),
                    [](const auto& source) { return source->link.has_begun(); });
    if (state_ == state_e::starting && all_listen) {
        state_ = state_e::running;
    }
}

void event_relay_c::refuse(const rpc_error_s& error) {
    error_ = error;
    state_ = state_e::refused;
    sources_.clear();
}

void event_relay_c::on_silence() {
    for (const auto& source : sources_) {
        if (!source->link.has_begun()) {
            source->link.fail("says nothing");
            refuse(source->link.fault());
            return;
        }
    }
}

// --- what comes ---

void event_relay_c::add_waits(std::vector<pollfd>& waits) const {
    // Nobody who comes is looked for while what was told before waits: that stays small so.
    const bool is_looking = state_ == state_e::running && own_.empty();
    waits.push_back({is_looking ? watch_ : -1, POLLIN, 0});
    for (const auto& source : sources_) {
        const int reads = source->has_line() ? 0 : POLLIN;
        const int writes = source->link.has_unsent() ? POLLOUT : 0;
        // Not even its end is looked for while a line waits.
        const bool is_waited_for = (reads | writes) != 0;
        waits.push_back({is_waited_for ? source->link.fd() : -1,
                         static_cast<short>(reads | writes), 0});
    }
}

void event_relay_c::on_ready(const pollfd* waits) {
    const short watched = waits++->revents;
    std::vector<source_s*> ready;
    for (const auto& source : sources_) {
        const short events = waits++->revents;
        if ((events & POLLOUT) != 0) {
            source->link.send();
        }
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !source->has_line()) {
            ready.push_back(source.get());
        }
    }
    for (auto source = ready.begin(); state_ != state_e::refused && source != ready.end();
         ++source) {
        read(**source); // a refusal leaves no source
    }
    settle_start();
    if (watched != 0) {
        look_for_daemons();
    }
}

void event_relay_c::read(source_s& source) {
    const bool had_begun = source.link.has_begun();
    const daemon_link_c::state_e state =
        source.link.read([&](std::string_view text) { source.text += text; });
    if (state == daemon_link_c::state_e::answering && source.text.size() < LINE_MAX_SIZE) {
        if (!had_begun && source.link.has_begun() && state_ == state_e::running) {
            tell("event-source-found", source.link.daemon().name);
        }
        return;
    }
    const bool has_no_events = !had_begun && source.link.code() == "unknown-entry";
    if (state_ == state_e::starting && !has_no_events) {
        refuse(source.link.fault());
        return;
    }
    if (had_begun) {
        tell("event-source-lost", source.link.daemon().name);
    }
    std::erase_if(sources_, [&](const auto& held) { return held.get() == &source; });
}

bool event_relay_c::take(std::string& notification) {
    notification = take_line(own_);
    for (auto& source : sources_) {
        if (notification.empty()) {
            notification = take_line(source->text);
        }
    }
    return !notification.empty();
}

// --- daemons that come and go ---

void event_relay_c::tell(const char* event, const std::string& daemon) {
    own_ += OPENING;
    own_ += "<eventTime>" + time_of_now() + "</eventTime><" + event +
            " xmlns=\"urn:orvex:events\"><name>" + escaped(daemon) + "</name></" + event +
            ">" + CLOSING + "\n";
}

bool event_relay_c::is_listened_to(const std::string& name) const {
    return std::any_of(sources_.begin(), sources_.end(), [&](const auto& source) {
        return source->link.daemon().name == name;
    });
}

// One that cannot be connected to now has told its loss already, or was never there.
void event_relay_c::look_for_daemons() {
    char events[4096];
    while (::read(watch_, events, sizeof events) > 0) {
    }
    std::vector<daemon_s> daemons;
    std::string error;
    if (!read_registry(run_dir_, daemons, error)) {
        return;
    }
    for (const daemon_s& daemon : daemons) {
        if (wants(daemon) && !is_listened_to(daemon.name) && !listen(daemon)) {
            sources_.pop_back();
        }
    }
}
