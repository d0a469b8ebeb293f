// Judges an agent configuration file: which of its lines do not do what their writer wanted, and what the daemon will
// do with the rest.
#pragma once

#include <string>
#include <vector>

namespace ravd {

struct config_finding {
    int line;  // from 1; 0: the file as a whole
    std::string text;
};

struct config_judgement {
    std::vector<config_finding> findings;  // in the order of the lines
    std::string plan;                      // one sentence: what the daemon will do
    bool works = false;                    // it does something: a service is named
};

// Reads `path` as the daemon would, and leaves the log's mask and file as they were. What is no regular file, or cannot
// be opened, is one finding. At most 64 KiB are judged. Before any thread.
config_judgement judge_config_file(const char* path);

}  // namespace ravd
