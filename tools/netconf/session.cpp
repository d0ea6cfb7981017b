// SPDX-License-Identifier: BSD-2-Clause

#include "session.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "ascii_text.h"
#include "operation.h"

namespace {

constexpr std::size_t MESSAGE_MAX = 65536;
constexpr int OWN_WAITS = 3; // of the client and of the daemon that is asked
constexpr char BASE_1_0[] = "urn:ietf:params:netconf:base:1.0";
constexpr char BASE_1_1[] = "urn:ietf:params:netconf:base:1.1";
constexpr char NOTIFICATION[] = "urn:ietf:params:netconf:capability:notification:1.0";
constexpr char INTERLEAVE[] = "urn:ietf:params:netconf:capability:interleave:1.0";
constexpr char YANG_LIBRARY[] = "urn:ietf:params:netconf:capability:yang-library:1.1"
                                "?revision=2019-01-04&content-id=";

bool contains(const std::vector<std::string>& texts, const char* text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

std::string opening_of(const std::string& attributes) {
    return std::string("<rpc-reply xmlns=\"") + NETCONF_BASE + "\"" + attributes + ">";
}

constexpr char CLOSING[] = "</rpc-reply>";

rpc_error_s not_supported(const std::string& operation) {
    return {"protocol", "operation-not-supported",
            "there is no operation '" + operation + "' here"};
}

} // namespace

session_c::session_c(int in, int out, const session_options_s& options)
    : in_(in), out_(out), options_(options),
      own_data_(options.own_prefix, [this] { return own_facts(); }),
      relay_(output_, options.patience, own_data_),
      events_(options.run_dir, options.patience), registry_(options.run_dir),
      due_(clock_t::now() + options.patience) {}

int session_c::run() {
    greet();
    while (has_more_to_do()) {
        take_input();
        tell_events();
        wait();
    }
    return status_;
}

void session_c::fail(const std::string& why) {
    fprintf(stderr, "orvex-netconf: %s\n", why.c_str());
    status_ = 1;
    end();
}

void session_c::end() {
    is_ending_ = true;
    due_ = clock_t::now() + options_.patience;
}

// --- the loop ---

bool session_c::has_more_to_do() const {
    return !is_over_ && !(is_ending_ && output_.is_empty());
}

// Whether a message can be taken: the reply before it is in the output, and that is not too much.
bool session_c::may_take_input() const {
    return !is_ending_ && !is_over_ && relay_.state() != get_relay_c::state_e::asking &&
           !is_subscribing_ && output_.has_room();
}

// For poll. A daemon's time begins anew with whatever moves, and stands still while it is not read;
// that of the client's hello, and of the end, does not.
int session_c::patience_left() const {
    if (is_subscribing_) {
        return milliseconds_until(due_);
    }
    if (relay_.state() == get_relay_c::state_e::asking) {
        return (relay_.events() & POLLIN) != 0 ? milliseconds_until(due_) : -1;
    }
    return is_greeted_ && !is_ending_ ? -1 : milliseconds_until(due_);
}

// Waits for whatever can go on, and does it.
void session_c::wait() {
    if (!has_more_to_do() || (may_take_input() && !unread_.empty())) {
        return;
    }
    const bool is_asking = relay_.state() == get_relay_c::state_e::asking;
    const short to_write = output_.is_empty() ? 0 : POLLOUT;
    const short to_relay = is_asking ? relay_.events() : short{0};
    std::vector<pollfd> waits = {{may_take_input() ? in_ : -1, POLLIN, 0},
                                 {out_, to_write, 0},
                                 // Not even its end is looked for while it has to wait.
                                 {to_relay != 0 ? relay_.fd() : -1, to_relay, 0}};
    events_.add_waits(waits);
    poll(waits.data(), waits.size(), patience_left());
    // What events do is no sign of life of the daemon that is asked.
    const bool has_moved =
        std::any_of(waits.begin(), waits.begin() + OWN_WAITS,
                    [](const pollfd& wait) { return wait.revents != 0; });
    if (is_asking && (has_moved || (to_relay & POLLIN) == 0)) {
        due_ = clock_t::now() + options_.patience;
    }
    const bool is_late = patience_left() == 0;
    write(waits[1].revents);
    if (waits[0].revents != 0) {
        read();
    }
    move_events(&waits[OWN_WAITS], is_late);
    if (is_asking) {
        move_relay(waits[2].revents, is_late);
    } else if (is_late && is_ending_) {
        is_over_ = true;
    } else if (is_late && !is_greeted_) {
        fail("no hello came in time");
    }
}

// When the client has gone, or takes no more, there is nobody to be told.
void session_c::write(short events) {
    is_over_ = is_over_ || (events & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    if (events == 0 || is_over_ || output_.write_to(out_)) {
        return;
    }
    is_over_ = true;
    if (errno != EPIPE) {
        fail(std::string("cannot write: ") + strerror(errno));
    }
}

void session_c::move_relay(short events, bool is_late) {
    if (is_late) {
        relay_.on_silence();
    } else {
        relay_.on_ready(events);
    }
    settle_relay();
}

void session_c::move_events(const pollfd* waits, bool is_late) {
    if (is_late && is_subscribing_) {
        events_.on_silence();
    } else {
        events_.on_ready(waits);
    }
    settle_subscription();
}

void session_c::read() {
    const ssize_t size = ::read(in_, buffer_, sizeof buffer_);
    if (size > 0) {
        unread_ = {buffer_, static_cast<std::size_t>(size)};
    } else if (size == 0) {
        end();
    } else if (errno != EAGAIN && errno != EINTR) {
        fail(std::string("cannot read: ") + strerror(errno));
    }
}

void session_c::take_input() {
    for (std::string_view text; may_take_input() && !unread_.empty();) {
        switch (frames_.next(unread_, text)) {
        case frame_event_e::need_more:
            return;
        case frame_event_e::text:
            collect(text);
            break;
        case frame_event_e::message_ends:
            take_message();
            break;
        case frame_event_e::malformed:
            fail("the client's framing is wrong: " + frames_.error());
        }
    }
}

void session_c::collect(std::string_view text) {
    const std::size_t room = MESSAGE_MAX - message_.size();
    is_too_long_ = is_too_long_ || text.size() > room;
    message_.append(text.substr(0, room));
}

// --- messages ---

void session_c::greet() {
    std::string error;
    if (!read_registry(options_.run_dir, daemons_, error)) {
        fail(error);
        return;
    }
    if (!registry_.open(error)) {
        fprintf(stderr, "orvex-netconf: %s\n", error.c_str());
    }
    const std::vector<std::string> modules = all_modules(daemons_);
    capabilities_ = {BASE_1_0, BASE_1_1, NOTIFICATION, INTERLEAVE,
                     YANG_LIBRARY + content_id_of(modules)};
    capabilities_.insert(capabilities_.end(), modules.begin(), modules.end());
    std::string hello = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<hello xmlns=\"";
    hello += NETCONF_BASE;
    hello += "\"><capabilities>";
    for (const std::string& capability : capabilities_) {
        hello += "<capability>" + escaped(capability) + "</capability>";
    }
    // The number of the process: no other session of the machine has it.
    hello += "</capabilities><session-id>" + std::to_string(registry_.own().id) +
             "</session-id></hello>";
    output_.add(hello);
    output_.end_message();
}

void session_c::take_message() {
    const bool is_too_long = std::exchange(is_too_long_, false);
    client_message_s message = read_message(std::exchange(message_, ""));
    if (is_too_long) {
        message.fault = {"rpc", "too-big",
                         "a message has at most " + std::to_string(MESSAGE_MAX) + " bytes"};
    }
    const bool is_hello = message.root.has_value() && message.root->name == "hello";
    if (!is_greeted_ && (!is_hello || message.fault.has_value())) {
        fail("the client's first message is no hello");
    } else if (!is_greeted_) {
        take_hello(message);
    } else if (is_hello && !message.fault.has_value()) {
        fail("the client says hello again");
    } else {
        take_rpc(message);
    }
}

void session_c::take_hello(const client_message_s& hello) {
    is_greeted_ = true;
    has_chunks_ = contains(hello.capabilities, BASE_1_1);
    if (hello.has_session_id) {
        fail("the client's hello has a session-id");
    } else if (!has_chunks_ && !contains(hello.capabilities, BASE_1_0)) {
        fail("the client has neither base:1.0 nor base:1.1");
    } else if (has_chunks_) {
        frames_.use_chunks();
        output_.use_chunks();
    }
}

void session_c::take_rpc(const client_message_s& rpc) {
    attributes_ = rpc.attributes;
    ++(rpc.fault.has_value() ? counters_.in_bad_rpcs : counters_.in_rpcs);
    if (rpc.fault.has_value()) {
        refuse(*rpc.fault);
    } else if (const operation_s* operation = find_operation(rpc.operation)) {
        operation->perform(*this, rpc);
    } else {
        const qualified_name_s& unknown = rpc.operation;
        refuse(is_served(unknown.xmlns)
                   ? not_supported(unknown.name)
                   : bad_namespace("protocol", unknown.name, unknown.xmlns));
    }
}

bool session_c::is_served(const std::string& xmlns) {
    return has_operations_in(xmlns) ||
           std::any_of(daemons_.begin(), daemons_.end(), [&](const daemon_s& daemon) {
               return has_namespace(daemon, xmlns);
           });
}

// --- replies ---

void session_c::reply(const std::string& content) {
    output_.add(opening_of(attributes_) + content + CLOSING);
    output_.end_message();
    registry_.update(counters_);
}

// base:1.0 does not have "malformed-message".
void session_c::refuse(const rpc_error_s& error) {
    rpc_error_s known = error;
    if (std::string_view(error.tag) == "malformed-message" && !has_chunks_) {
        known.tag = "operation-failed";
    }
    ++counters_.out_rpc_errors;
    reply(to_xml(known));
}

void session_c::relay(const data_request_s& request, const std::string& opening) {
    std::string error;
    if (!read_registry(options_.run_dir, daemons_, error)) {
        refuse({"application", "operation-failed", error});
        return;
    }
    const std::string name = opening.substr(1, opening.find_first_of(" >") - 1);
    closing_ = "</" + name + ">";
    due_ = clock_t::now() + options_.patience;
    relay_.start(daemons_, request, opening_of(attributes_) + opening);
    settle_relay();
}

// --- events ---

void session_c::subscribe(const filter_t* filter) {
    std::string error;
    if (events_.state() == event_relay_c::state_e::running) {
        refuse({"protocol", "in-use", "the session has a subscription"});
    } else if (!read_registry(options_.run_dir, daemons_, error)) {
        refuse({"application", "operation-failed", error});
    } else {
        is_subscribing_ = true;
        due_ = clock_t::now() + options_.patience;
        events_.start(daemons_, filter);
        settle_subscription();
    }
}

void session_c::settle_subscription() {
    if (!is_subscribing_ || events_.state() == event_relay_c::state_e::starting) {
        return;
    }
    is_subscribing_ = false;
    if (events_.state() == event_relay_c::state_e::running) {
        reply("<ok/>");
    } else {
        refuse(events_.error());
    }
}

// Between two messages, and no more than there is room for: the rest stays with the daemons.
void session_c::tell_events() {
    const unsigned long before = counters_.out_notifications;
    std::string event;
    while (may_take_input() && events_.take(event)) {
        output_.add(event);
        output_.end_message();
        ++counters_.out_notifications;
    }
    if (counters_.out_notifications != before) {
        registry_.update(counters_);
    }
}

own_facts_s session_c::own_facts() const {
    own_facts_s facts;
    facts.capabilities = capabilities_;
    facts.modules = all_modules(daemons_);
    facts.schemas = schema_files(options_.yang_dir);
    facts.sessions = registry_.all();
    facts.own = registry_.own();
    return facts;
}

void session_c::settle_relay() {
    switch (relay_.state()) {
    case get_relay_c::state_e::done:
        output_.add(closing_ + CLOSING);
        output_.end_message();
        registry_.update(counters_);
        break;
    case get_relay_c::state_e::refused:
        refuse(relay_.error());
        break;
    case get_relay_c::state_e::broken:
        fail(relay_.error().message);
        break;
    case get_relay_c::state_e::idle:
    case get_relay_c::state_e::asking:
        break;
    }
}
