// SPDX-License-Identifier: BSD-2-Clause

// Adds what the text of a definitions file says to a set, entry by entry. What is wrong with an
// entry leaves out as little as possible, and is a finding.
#include "definitions/dr_load_steps.h"

#include <memory>
#include <utility>

#include "definitions/dr_tag_reader.h"
#include "definitions/dr_xml_text.h"

namespace {

class text_reader_c {
  public:
    text_reader_c(const char* path, dr_daemon_context_c& set, dr_findings_c& findings)
        : set_(set), findings_(findings), finding_{dr_rule_e::SYNTAX, dr_severity_e::ERROR},
          tags_(set, finding_, findings),
          report_([this](dr_rule_e rule, dr_severity_e severity, dr_text_place_s place,
                         std::string sentence, std::string_view nearest) {
              say(rule, severity, place, std::move(sentence), nearest);
          }) {
        finding_.file = path;
        set.files.emplace_back(path);
    }
    text_reader_c(const text_reader_c&) = delete;
    text_reader_c& operator=(const text_reader_c&) = delete;

    int read(const std::string& text) {
        dr_json_document_c document;
        dr_json_document_c::error_s error;
        if (!document.parse(text, error)) {
            say(dr_rule_e::SYNTAX, dr_severity_e::ERROR,
                {static_cast<uint32_t>(error.line), static_cast<uint32_t>(error.column)},
                error.sentence, {});
            return -1;
        }
        if (!document.root().is_array()) {
            say_error(dr_rule_e::NOT_A_LIST, document.root(), "the root is not an array");
            return -1;
        }
        for (dr_json_elements_c entries(document.root()); !entries.is_at_end();) {
            const dr_json_c entry = entries.take();
            finding_.entry = entries.taken();
            read_entry(entry);
        }
        return 0;
    }

  private:
    void read_entry(const dr_json_c& entry) {
        finding_.command.clear();
        finding_.is_notification = false;
        if (entry.member("dc_name").is_text()) {
            read_command(entry);
        } else if (entry.member("dc_external_notify_name").is_text()) {
            read_event(entry);
        } else if (entry.member("dc_notify_leaf").is_text()) {
            read_notification_leaf(entry);
        } else {
            say_error(dr_rule_e::NOT_AN_ENTRY, entry,
                      "Neither a command nor a notification, moving on to next entry");
        }
    }

    // The text of a member of a kind that has no NUL.
    static const char* text_of(const dr_json_c& entry, const char* member) {
        return entry.member(member).text().data();
    }

    template <size_t Count>
    void check(const dr_json_c& entry, const dr_member_s (&table)[Count]) {
        dr_json_c values[Count];
        dri_sort_members(entry, table, values, report_);
    }

    void read_command(const dr_json_c& entry) {
        const auto text = [&entry](const char* member) { return text_of(entry, member); };
        finding_.command = text("dc_name");
        if (dri_is_taken_name(text("dc_name"))) {
            say_error(dr_rule_e::TAKEN_NAME, entry.member("dc_name"),
                      "a fixed command has this name");
            return;
        }
        check(entry, DR_COMMAND_MEMBERS);
        drend_tag_c* tag = nullptr;
        if (!tags_.read(entry.member("dc_tag"), tag)) {
            return;
        }
        auto command = std::make_unique<drend_command_c>(
            text("dc_name"), text("dc_full_command"), text("dc_cli_command"),
            text("dc_cli_merge_tag"), text("dc_app_name"), text("dc_top_of_output"),
            text("dc_help"),
            static_cast<int32_t>(entry.member("dc_message_id").integer(-1)));
        command->dc_load_order = static_cast<unsigned>(set_.commands.size());
        command->dc_tag = tag;
        if (tag != nullptr) {
            tag->dt_commands.insert(command.get());
        }
        take_tree(entry.member("dc_tag_of"), *command);
        set_.commands.push_back(nullptr); // what may fail comes first
        set_.commands.back() = command.release();
    }

    // Notes whose tags the command asks for.
    void take_tree(const dr_json_c& of, drend_command_c& command) {
        if (!of.is_text()) {
            return;
        }
        if (command.dc_tag != nullptr) {
            say(dr_rule_e::MISPLACED_MEMBER, dr_severity_e::WARNING, of.name_place(),
                "dc_tag_of means nothing beside dc_tag", {});
            return;
        }
        set_.taken.push_back({&command, std::string(of.text()), finding_});
        set_.taken.back().finding.place = of.place();
    }

    void read_event(const dr_json_c& entry) {
        const auto text = [&entry](const char* member) { return text_of(entry, member); };
        finding_.command = text("dc_external_notify_name");
        finding_.is_notification = true;
        check(entry, DR_NOTIFICATION_MEMBERS);
        auto event = std::make_unique<drend_event_c>(
            text("dc_app_name"), text("dc_external_notify_name"),
            text("dc_internal_notify_name"), dri_pasted_namespace(text("dc_namespace")));
        if (!dri_are_xml_attributes(event->dc_namespace, "")) {
            say_error(dr_rule_e::BAD_NAMESPACE, entry.member("dc_namespace"),
                      "dc_namespace is no list of attributes");
            return;
        }
        if (!tags_.read(entry.member("dc_tag"), event->dc_tag)) {
            return;
        }
        auto& events = set_.external_events[event->dc_internal_notify_name];
        events.push_back(nullptr); // what may fail comes first
        events.back() = event.release();
    }

    void read_notification_leaf(const dr_json_c& entry) {
        finding_.command = text_of(entry, "dc_notify_leaf");
        finding_.is_notification = true;
        check(entry, DR_NOTIFICATION_LEAF_MEMBERS);
        std::vector<std::string> names;
        for (dr_json_elements_c array(entry.member("dc_internal_notify_name"));
             !array.is_at_end();) {
            const dr_json_c name = array.take();
            if (!name.is_text()) {
                return;
            }
            names.emplace_back(name.text());
        }
        if (!names.empty()) {
            auto& leaf = set_.notification_leaves[text_of(entry, "dc_notify_leaf")];
            leaf.insert(leaf.end(), names.begin(), names.end());
        }
    }

    void say(dr_rule_e rule, dr_severity_e severity, dr_text_place_s place,
             std::string sentence, std::string_view nearest) {
        findings_.add(finding_, rule, severity, place, std::move(sentence), nearest);
    }
    // For what makes the reader leave something out.
    void say_error(dr_rule_e rule, const dr_json_c& at, std::string sentence) {
        say(rule, dr_severity_e::ERROR, at.place(), std::move(sentence), {});
    }

    dr_daemon_context_c& set_;
    dr_findings_c& findings_;
    dr_finding_s finding_; // what is known of the file and the entry
    dr_tag_reader_c tags_;
    const dr_report_t report_;
};

} // namespace

int dri_read_definitions(const char* path, const std::string& text,
                         dr_daemon_context_c& set, dr_findings_c& findings) {
    return text_reader_c(path, set, findings).read(text);
}
