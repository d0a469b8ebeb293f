// Command line of ravd-bus.
#pragma once

#include <string>
#include <vector>

#include "tools/common/options.h"

namespace ravd {

// The configuration service.
constexpr int configuration_module = 1;

enum class command { attach, send, call, get, list, monitor };

struct options {
    command what = command::attach;
    std::string directory;     // of the bus
    int module = -1;           // attach: the number to register; otherwise that of --as, or -1
    int destination = -1;      // send, call, get
    std::string text;          // send, call: the message; get: the path
    std::vector<int> watched;  // monitor
    bool tags = false;
    bool stay = false;
    int idle_ms = 300;
    int timeout = 20;  // tenths of a second
};

// `error` says what is wrong.
options_result parse_options(int argc, char** argv, options& out, std::string& error);
const char* usage_text();

// A module number: decimal digits only. -1 when it is none.
int parse_module(const std::string& text);

}  // namespace ravd
