// SPDX-License-Identifier: BSD-2-Clause

// The records of a command and of a notification event.
//
// A definitions set owns them, and the tags whose roots they name.
#pragma once

#include <cstdint>
#include <string>

#include "drend.h"

struct drend_load_order_s {
    bool operator()(const drend_command_s* a, const drend_command_s* b) const {
        return a->dc_load_order < b->dc_load_order;
    }
};

// A command that owns its texts.
class drend_command_c : public drend_command_s {
  public:
    drend_command_c(const char* name, const char* full_command, const char* cli_command,
                    const char* cli_merge_tag, const char* app_name,
                    const char* top_of_output, const char* help, int32_t message_id);
    drend_command_c(const drend_command_c&) = delete;
    drend_command_c& operator=(const drend_command_c&) = delete;

    // Both invalidate the text that the record pointed to.
    void set_name(std::string name);
    void set_full_command(std::string full_command);

  private:
    std::string name_;
    std::string full_command_;
    std::string cli_command_;
    std::string cli_merge_tag_;
    std::string app_name_;
    std::string top_of_output_;
    std::string help_;
};

// A notification's mapping from the daemon's name to the name and content that peers see.
class drend_event_c {
  public:
    drend_event_c(const std::string& app_name, const std::string& external_notify_name,
                  const std::string& internal_notify_name, const std::string& name_space);

    std::string dc_app_name;
    std::string dc_external_notify_name;
    std::string dc_internal_notify_name;
    std::string dc_namespace;      // in the pasted form of a tag's namespace
    drend_tag_c* dc_tag = nullptr; // may stay null
};
