// SPDX-License-Identifier: BSD-2-Clause

// What of a definition may be pasted as it stands into an XML element.
//
//     <interface xmlns="urn:a" >    a name and attributes
//     <mtu>about 1500</mtu>         a text ("about ", a prefix) in front of an escaped value
//
// For texts that are UTF-8. Any thread.
#pragma once

#include <string>
#include <string_view>

// A name, with or without a prefix.
bool dri_is_xml_name(std::string_view text);
// The value of an attribute between double quotes: references, and characters other than them.
bool dri_is_xml_attribute(std::string_view text);
// What may stand between tags: references, and characters other than "<", without "]]>".
bool dri_is_xml_content(std::string_view text);
// The characters that such a text stands for.
std::string dri_xml_content_text(std::string_view content);
// Attributes with values in double quotes, behind a blank each, no name twice, none called `taken`.
bool dri_are_xml_attributes(std::string_view text, std::string_view taken);
