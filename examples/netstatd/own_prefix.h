// SPDX-License-Identifier: BSD-2-Clause

// Where this installation of the daemon has its definitions.
#pragma once

#include <string>

// The directory, as a prefix of "/usr/lib/render", nearest above the running program that has
// definitions:
//
//     /usr/sbin/netstatd            ""               of the whole machine
//     /opt/net/sbin/netstatd        "/opt/net"       when "/opt/net/usr/lib/render" exists
//     BUILD/bin/netstatd            "BUILD"
//
// "" when there is none, or the program's own place cannot be told.
std::string own_prefix();
