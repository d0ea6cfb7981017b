// SPDX-License-Identifier: BSD-2-Clause

// Commands and events keep their texts as strings; the C record of a command points into them.
#include "definitions/drend_command.h"

drend_command_c::drend_command_c(const char* name, const char* full_command,
                                 const char* cli_command, const char* cli_merge_tag,
                                 const char* app_name, const char* top_of_output,
                                 const char* help, int32_t message_id)
    : drend_command_s{}, name_(name), full_command_(full_command),
      cli_command_(cli_command), cli_merge_tag_(cli_merge_tag), app_name_(app_name),
      top_of_output_(top_of_output), help_(help) {
    dc_name = name_.data();
    dc_full_command = full_command_.data();
    dc_cli_command = cli_command_.data();
    dc_cli_merge_tag = cli_merge_tag_.data();
    dc_top_of_output = top_of_output_.data();
    dc_app_name = app_name_.data();
    dc_help = help_.data();
    dc_message_id = message_id;
}

void drend_command_c::set_name(std::string name) {
    name_ = std::move(name);
    dc_name = name_.data();
}

void drend_command_c::set_full_command(std::string full_command) {
    full_command_ = std::move(full_command);
    dc_full_command = full_command_.data();
}

drend_event_c::drend_event_c(const std::string& app_name,
                             const std::string& external_notify_name,
                             const std::string& internal_notify_name,
                             const std::string& name_space)
    : dc_app_name(app_name), dc_external_notify_name(external_notify_name),
      dc_internal_notify_name(internal_notify_name), dc_namespace(name_space) {}
