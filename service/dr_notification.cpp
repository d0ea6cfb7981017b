// SPDX-License-Identifier: BSD-2-Clause

// A content is a document in itself, of which the inside is wanted: all of it in XML; in JSON what
// is between the braces.
#include "service/dr_notification.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <utility>

#include "expr/dr_subtree.h"
#include "expr/dri_args.h"
#include "frame/dr_collected_sends.h"
#include "frame/dr_no_such.h"
#include "frame/escape.h"
#include "service/dr_argument_check.h"
#include "service/dr_request.h"

namespace {

constexpr char MODULE[] = "orvex-events";
constexpr char MODULE_NAMESPACE[] = " xmlns=\"urn:orvex:events\"";
constexpr char BLANKS[] = " \n";

// The words of a subscription's arguments.
constexpr std::string_view WORDS[] = {"as-json", "as-ietf-json", "as-ietf-xml",
                                      "compact", "ascii",        "filter"};

// While one lives no walk is suspended.
class without_deferral_c {
  public:
    without_deferral_c() : before_(std::exchange(dtc_ignore_defer, 1)) {}
    ~without_deferral_c() { dtc_ignore_defer = before_; }
    without_deferral_c(const without_deferral_c&) = delete;
    without_deferral_c& operator=(const without_deferral_c&) = delete;

  private:
    const int before_;
};

std::string escaped(const dri_escaper_s& escaper, std::string_view text) {
    std::string out;
    escaper.append(out, text, std::string::npos);
    return out;
}

// The content alone. False when it is longer than it may be.
bool render(const dr_event_form_s& form, const drend_tag_c& tag, size_t limit,
            std::string& content) {
    const without_deferral_c at_once;
    const dr_collected_sends_c collected(limit);
    dr_request_s asked;
    asked.top_tag = &tag;
    asked.args = form.args.c_str();
    dr_request_c request(asked);
    const bool is_over = request.run(asked);
    content = collected.text();
    content.erase(content.find_last_not_of(BLANKS) + 1); // npos + 1 is 0
    return is_over && request.status() == 0;
}

// Whether a document has nothing in it.
bool is_empty(const std::string& content) {
    return content.find_first_not_of("{} \n") == std::string::npos;
}

std::string member(const dr_event_form_s& form, std::string_view module,
                   std::string_view name, std::string_view value) {
    const std::string prefix =
        form.is_ietf && !module.empty() ? std::string(module) + ":" : "";
    return "\"" + prefix + escaped(dri_ascii_json_escaper, name) +
           "\":" + std::string(value);
}

// An event of which there is nothing but the name.
std::string empty_element(const dr_event_form_s& form, const dr_event_s& event) {
    const std::string_view module =
        event.content == nullptr ? "" : std::string_view(event.content->dt_module);
    return form.is_json ? "{" + member(form, module, event.name, "{}") + "}"
                        : "<" + event.name + event.name_space + "/>";
}

std::string around(const dr_event_form_s& form, const std::string& time,
                   const std::string& content) {
    if (form.is_json) {
        return "{" +
               member(form, "ietf-restconf", "notification",
                      "{\"eventTime\":\"" + time + "\"," + content.substr(1)) +
               "}\n";
    }
    const char* const line_end = form.is_compact ? "" : "\n";
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">" +
           std::string(line_end) + "<eventTime>" + time + "</eventTime>" + line_end +
           content + line_end + "</notification>\n";
}

// What the peer is told of a filter that is no subtree; empty when it is one.
std::string fault_in_filter(const std::string& text) {
    dr_subtree_node_s root;
    const char* fault = text.starts_with('<') ? dri_read_subtree(text, root)
                                              : "events: a filter of events is a subtree";
    return fault == nullptr ? "" : "error: " + std::string(fault) + "\n";
}

} // namespace

const char* dr_event_form_s::media_type() const {
    return is_json   ? is_ietf ? "application/yang-data+json; stream=events"
                               : "application/json; stream=events"
           : is_ietf ? "application/yang-data+xml; stream=events"
                     : "application/xml; stream=events";
}

bool dri_read_event_form(const char* argument, dr_event_form_s& form,
                         std::string& refusal) {
    form.args = argument == nullptr ? "" : argument;
    std::vector<dr_argument_s> arguments;
    const dr_args_fault_s fault = dri_read_args(form.args.c_str(), arguments);
    refusal = dri_check_syntax({form.args.c_str(), arguments, fault});
    for (const dr_argument_s& word : arguments) {
        if (std::find(std::begin(WORDS), std::end(WORDS), word.name) == std::end(WORDS)) {
            refusal = "error: events: " + dri_quoted_word(word.name) +
                      "; there are as-json, as-ietf-json, as-ietf-xml, compact, ascii and "
                      "filter\n";
            return false;
        }
        form.is_json =
            form.is_json || word.name == "as-json" || word.name == "as-ietf-json";
        form.is_ietf =
            form.is_ietf || word.name == "as-ietf-xml" || word.name == "as-ietf-json";
        form.is_compact = form.is_compact || word.name == "compact";
        // The first one counts.
        if (word.name == "filter" && !std::exchange(form.has_filter, true) &&
            refusal.empty()) {
            refusal = fault_in_filter(std::string(dri_strip_quotes(word.value)));
        }
    }
    return refusal.empty();
}

std::string dri_event_time() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char text[64];
    const size_t size = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    snprintf(text + size, sizeof text - size, ".%06ldZ", now.tv_nsec / 1000);
    return text;
}

std::optional<std::string> dri_notification(const dr_event_form_s& form,
                                            const std::string& time,
                                            const dr_event_s& event, size_t limit) {
    std::string content;
    if (event.content != nullptr && !render(form, *event.content, limit, content)) {
        return std::nullopt;
    }
    if (form.has_filter && is_empty(content)) {
        return "";
    }
    const std::string text =
        around(form, time, is_empty(content) ? empty_element(form, event) : content);
    return text.size() > limit ? std::nullopt : std::optional(text);
}

std::string dri_own_notification(const dr_event_form_s& form, const std::string& time,
                                 std::string_view element, std::string_view leaf,
                                 std::string_view value) {
    std::string text;
    if (form.is_json) {
        const std::string quoted = "\"" + escaped(dri_ascii_json_escaper, value) + "\"";
        text = "{" +
               member(form, MODULE, element, "{" + member(form, "", leaf, quoted) + "}") +
               "}";
    } else {
        const std::string name(leaf);
        text = "<" + std::string(element) + MODULE_NAMESPACE + "><" + name + ">" +
               escaped(dri_ascii_xml_escaper, value) + "</" + name + "></" +
               std::string(element) + ">";
    }
    return around(form, time, text);
}
