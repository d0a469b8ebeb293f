// The configuration of ravd-hostd: where hostapd is, and what neither hostapd nor the kernel knows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/hostapd_control.h"

namespace ravd::hostd {

struct settings {
    std::string hostapd_directory = ravd::hostapd_directory;  // of its control sockets
    std::vector<std::string> hostapd_files;                   // its configuration; none: those of its command line
    // Values of the configuration tree by path, in place of what would be found out: "/corvane/dca" to "true".
    std::map<std::string, std::string> values;
};

// Lines "KEY=TEXT", comments behind "#" at a line's start. False with `error`, which names the line, when one is not
// known or not usable.
bool parse_settings(const std::string& text, settings& result, std::string& error);

// The whole of a file of at most `limit` bytes; false when it cannot be read or is longer.
bool read_whole_file(const std::string& path, std::string& text, std::size_t limit = 256 * 1024);

}  // namespace ravd::hostd
