// SPDX-License-Identifier: BSD-2-Clause

// Reads trees of tags into a set, and says what is wrong with them.
//
// Belongs to the load that reads.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_format_checks.h"
#include "definitions/drend_load.h"

class dr_tag_reader_c {
  public:
    // `finding` has what is known of the file and the entry; the set's last file is that file.
    dr_tag_reader_c(dr_daemon_context_c& set, const dr_finding_s& finding,
                    dr_findings_c& findings);
    dr_tag_reader_c(const dr_tag_reader_c&) = delete;
    dr_tag_reader_c& operator=(const dr_tag_reader_c&) = delete;

    // Reads the tree that an object describes, null when it is no object. False when the root
    // itself has to be left out.
    bool read(const dr_json_c& object, drend_tag_c*& root);

  private:
    // A tag whose kids are being read.
    struct level_s {
        drend_tag_c* tag = nullptr;
        bool is_input_kid = false;
        dr_json_c key;
        dr_json_elements_c input_kids;
        dr_json_elements_c kids;
    };

    drend_tag_c* read_tag(const dr_json_c& object, size_t position, bool is_input_kid);
    void add_kid(drend_tag_c& parent, dr_json_elements_c& objects, bool is_input_kid);
    void check_repetitions(const drend_tag_c& parent);
    void close();
    void mark_keys(const level_s& level);
    std::string path() const;

    dr_daemon_context_c& set_;
    const dr_finding_s& finding_;
    dr_findings_c& findings_;
    const dr_report_t report_;
    std::vector<level_s> levels_;
    std::string name_; // of the tag that is being read
    size_t position_ = 0;
};
