// SPDX-License-Identifier: BSD-2-Clause

// A question is a path whose first component is a command, so that commands are to the root what
// elements are to a command; what else there is to say of a wrong one, dr_access_c says.

#include "service/drend_xwalker.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "definitions/dr_current_set.h"
#include "definitions/dr_format.h"
#include "definitions/dr_scope.h"
#include "definitions/drend_lookup.h"
#include "frame/dr_no_such.h"
#include "frame/drend_hooks.h"
#include "frame/str_util.h"
#include "render/dr_answer.h"
#include "render/dr_suspendable.h"
#include "service/dr_access.h"

namespace {

constexpr unsigned long LISTED = 20; // elements, unless the question says how many
constexpr unsigned long LISTED_MAX = 10000;
constexpr char WHAT_TO_ASK[] =
    "error: ask with a path, or a path and \"list\" and a number up to 10000\n";

struct question_s {
    std::string command;
    std::string path;         // below it
    unsigned long listed = 0; // elements; 0: what is there
};

// The end of a path, which may hold blanks within brackets and quotes.
const char* path_end(const char* text) {
    int brackets = 0;
    for (; *text != '\0' && (*text != ' ' || brackets > 0); ++text) {
        const char* end = nullptr;
        if ((*text == '\'' || *text == '"') && dri_seek_end_quote(text, end)) {
            text = end;
        }
        brackets += *text == '[' ? 1 : *text == ']' ? -1 : 0;
    }
    return text;
}

const char* skip_blanks(const char* text) {
    return text + strspn(text, " ");
}

// Reads what follows the path: nothing, or "list" and perhaps a number. False for anything else.
bool read_list(const char* text, question_s& question) {
    if (*text == '\0') {
        return true;
    }
    if (strncmp(text, "list", 4) != 0 || (text[4] != ' ' && text[4] != '\0')) {
        return false;
    }
    text = skip_blanks(text + 4);
    char* end = nullptr;
    question.listed = *text == '\0' ? LISTED : strtoul(text, &end, 10);
    const bool is_number =
        end == nullptr || (*text >= '0' && *text <= '9' && *skip_blanks(end) == '\0');
    return is_number && question.listed > 0 && question.listed <= LISTED_MAX;
}

std::optional<question_s> read_question(const char* text) {
    question_s question;
    text = skip_blanks(text);
    text += *text == '/' ? 1 : 0;
    const char* end = path_end(text);
    const std::string path(text, end);
    const size_t slash = path.find('/');
    question.command = path.substr(0, slash);
    question.path = slash == std::string::npos ? "" : path.substr(slash);
    return read_list(skip_blanks(end), question) ? std::optional(std::move(question))
                                                 : std::nullopt;
}

const char* kind_word(const drend_tag_c& tag) {
    switch (tag.dt_type) {
    case DT_TYPE_LEAF:
        return dri_type_word(DRX_LEAF);
    case DT_TYPE_LIST:
        return dri_type_word(DRX_LIST);
    case DT_TYPE_LEAF_LIST:
        return dri_type_word(DRX_LEAF_LIST);
    default:
        return dri_type_word(DRX_CONTAINER);
    }
}

// That which the element begins; empty when it is in that of what encloses it.
std::string_view namespace_begun(const drend_tag_c& tag) {
    const std::string_view name = tag.name();
    const size_t colon = name.find(':');
    const auto prefix = name.substr(0, colon == std::string_view::npos ? 0 : colon);
    return dri_declared_namespace(tag.xmlns(), prefix).value_or("");
}

class dr_xwalker_c final : public dr_suspendable_c {
  public:
    dr_xwalker_c(void* peer, dri_used_tag_t root, question_s question)
        : dr_suspendable_c(peer), root_(std::move(root)), question_(std::move(question)),
          access_(*root_, "/" + question_.command) {}

    // True when the answer is over.
    bool run() {
        start_slice();
        return end_slice(go_on(access_.begin_push(question_.path.c_str())));
    }

  private:
    bool resume() override {
        start_slice();
        return go_on(is_there_ ? static_cast<int>(DREND_OK) : access_.go_on());
    }
    void finish() override {
        if (!is_gone()) {
            drend_flush(peer());
        }
    }
    static void start_slice() {
        dr_meta_context_c empty;
        dri_call_walk_start(&empty);
    }

    bool go_on(int status);
    bool show();
    void show_kids();
    bool list();
    bool say_error(int status);
    void send(const std::string& line) {
        is_lost_ = is_lost_ || is_gone() || drend_send(peer(), "%s", line.c_str()) < 0;
    }
    void send(const char* label, const std::string& text) {
        std::string line;
        str_append(line, "%-5s %s\n", label, text.c_str());
        send(line);
    }

    const dri_used_tag_t root_; // outlives what stands on it
    const question_s question_;
    dr_access_c access_;
    bool is_there_ = false; // the path is followed
    bool is_lost_ = false;  // the peer
    unsigned long listed_ = 0;
};

// Goes on with what a status of the move allows. Whether to suspend, as those below say, too.
bool dr_xwalker_c::go_on(int status) {
    if (status != DREND_OK) {
        return say_error(status);
    }
    is_there_ = true;
    return question_.listed > 0 ? list() : show();
}

bool dr_xwalker_c::say_error(int status) {
    if (status == DREND_DEFER) {
        return true;
    }
    const std::string error = access_.error();
    const int end = listed_ > 0 ? DREND_ANSWER_GIVEN_UP : DREND_ANSWER_REFUSED;
    if (!dri_answer_ends(peer(), dri_failed(end, "invalid-path", error.c_str()))) {
        send("error: " + error + "\n");
    }
    return false;
}

bool dr_xwalker_c::show() {
    const dr_value_c* value = nullptr;
    std::string_view text;
    const int type = access_.get_type();
    const bool has_value = type == DRX_LEAF || type == DRX_LEAF_LIST_ELEMENT;
    const int status =
        has_value ? access_.read("", value, text) : static_cast<int>(DREND_OK);
    if (status == DREND_DEFER && dtc_ignore_defer == 0) {
        return true;
    }
    const std::string shown(text);
    send("path", access_.get_path());
    send("kind", type == DRX_ROOT ? "command" : dri_type_word(type));
    if (type == DRX_LEAF) {
        send("type", std::string(dri_data_type_word(access_.here()->dt_data_type)));
    }
    if (has_value && status == DREND_OK) {
        send("value", shown);
    } else if (has_value) {
        send("no value\n");
    }
    show_kids();
    return false;
}

void dr_xwalker_c::show_kids() {
    for (const drend_tag_c* kid : access_.get_kids()) {
        std::string text;
        str_append(text, "%-28s %s", kid->name().c_str(), kind_word(*kid));
        text += kid->isset_flag(DT_FLAG_KEY) ? ", key" : "";
        const std::string_view xmlns = namespace_begun(*kid);
        send("kid", xmlns.empty() ? text : text.append(", xmlns ").append(xmlns));
    }
}

bool dr_xwalker_c::list() {
    while (!is_lost_) {
        const int status = access_.next_row();
        if (status == DREND_NO_EL) {
            if (listed_ == 0) {
                send("no elements\n");
            }
            return false;
        }
        if (status != DREND_OK) {
            return say_error(status);
        }
        if (listed_ == question_.listed) {
            send("...\n");
            return false;
        }
        ++listed_;
        send(access_.get_path() + "\n");
        if (access_.is_asked_to_wait()) {
            return true;
        }
    }
    return false;
}

// A line for each command that can be looked into.
std::vector<std::string> command_lines() {
    drend_lock_guard_c guard(dri_definitions_lock());
    std::vector<std::string> lines;
    for (unsigned i = 0; const drend_command_c* command = dri_get_command(i); ++i) {
        if (command->dc_tag != nullptr) {
            str_append(lines.emplace_back(),
                       *command->dc_help == '\0' ? "/%s%s\n" : "/%-32s %s\n",
                       command->dc_name, command->dc_help);
        }
    }
    return lines;
}

void list_commands(void* peer) {
    const std::vector<std::string> lines = command_lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (drend_send(peer, "%s", lines[i].c_str()) < 0) {
            return;
        }
    }
    drend_flush(peer);
}

void* keep(std::unique_ptr<dr_xwalker_c> answer) {
    void* handle =
        dr_suspendable_c::keep(std::move(answer), dr_suspendable_c::keeper_e::PEER);
    dri_deferred(handle);
    return handle;
}

} // namespace

void* dri_xwalker(void* peer, const char* argument) {
    std::optional<question_s> question = read_question(argument == nullptr ? "" : argument);
    if (!question) {
        dri_refuse(peer, "invalid-question", WHAT_TO_ASK);
        return nullptr;
    }
    if (question->command.empty()) {
        list_commands(peer);
        return nullptr;
    }
    dri_used_tag_t root(dri_acquire_command_tag(question->command.c_str()));
    if (root == nullptr) {
        const std::string error =
            dri_no_such(question->command, "/", dri_get_command_names());
        dri_refuse(peer, "unknown-command", "error: " + error + "\n");
        return nullptr;
    }
    auto answer =
        std::make_unique<dr_xwalker_c>(peer, std::move(root), std::move(*question));
    return answer->run() ? nullptr : keep(std::move(answer));
}
