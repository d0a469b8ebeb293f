// Command line and agent configuration file, read once at start.
#pragma once

#include <cstdint>
#include <string>

#include "link/tls_context.h"

namespace ravd {

// One service link. All bytes are zero before the command line is read; texts are always terminated.
struct link_config {
    char location[256];  // RRM domain of the access point
    char host[256];
    char path[256];  // begins with "/" when it came from a URL
    std::int32_t port;
    std::uint8_t enabled;                    // 1 once a URL for this link was accepted
    std::uint32_t initial_connection_delay;  // seconds, at most 1,000,000
    std::uint32_t max_connection_delay;      // seconds, at most 1,000,000
};

constexpr int roam_link = 0;
constexpr int corvane_link = 1;

struct agent_config {
    link_config links[2];
    std::uint32_t log_mask;
    tls_settings tls;  // of whichever link runs
    std::string file;  // the configuration file that was named; empty: none
};

// Fills `config` from the command line and the file it names. Meanwhile every log level is on, until a log_level=
// line; the file's log_file= value goes into process_log. Leaves the process with status 255 on a bad option. Before
// any thread.
void read_agent_config(int argc, char** argv, agent_config& config);

// The file's part of it. A file that cannot be opened leaves the defaults. Lines are taken in pieces of at most 254
// bytes, each treated as a line of its own.
void read_config_file(const char* path, agent_config& config);

// Writes the configured mask into the logger. Before any thread.
void apply_log_mask(const agent_config& config);

}  // namespace ravd
