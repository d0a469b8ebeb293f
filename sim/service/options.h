// Command line of ravd-sim-service.
#pragma once

#include <string>

#include "sim/service/server.h"
#include "tools/common/options.h"

namespace ravd::sim {

struct auto_options {
    bool enabled = false;
    unsigned rounds = 1;
    std::string channels;         // scan list; empty: every channel
    unsigned scan_timeout = 180;  // seconds
    unsigned apply_timeout = 60;  // seconds
    unsigned interval = 0;        // seconds between rounds
    bool exit_when_verified = false;
    bool json = false;    // verdicts as JSON lines, and nothing else
    unsigned agents = 1;  // how many agents have to finish
};

// The console for browsers.
struct web_options {
    bool enabled = false;
    std::string address = "127.0.0.1";
    unsigned port = 0;
    std::string files;   // directory of the page; empty: where it was installed
    std::string replay;  // a log to show; empty: the agents that connect
};

struct service_options {
    server_options listening;
    bool quiet = false;
    bool strict = false;
    bool no_input = false;
    std::string log_file;
    std::string control;
    std::string tell;    // a command for the service that listens on `control`
    std::string domain;  // sent in "subscribe-response" when not empty
    std::string config;  // its "config" object, as JSON text
    auto_options automatic;
    web_options web;
};

// `error` says what is wrong.
options_result parse_options(int argc, char** argv, service_options& out, std::string& error);
const char* usage_text();

}  // namespace ravd::sim
