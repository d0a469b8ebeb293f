// One simulated access point with everything around it, in one directory.
#pragma once

#include <memory>
#include <string>

#include "sim/ap/scenario.h"

namespace ravd::sim {

struct simulator_options {
    std::string directory;
    std::string air;  // directory of the shared air; empty: none
    bool quiet = false;
    bool exit_on_eof = false;  // the end of standard input ends the program
    bool hostapd_at_start = true;
};

class simulator {
  public:
    simulator(const scenario& from, const simulator_options& options);
    ~simulator();

    // Takes the directory and makes everything in it. False with the reason, for example another one that runs there.
    bool open(std::string& reason);
    // Until "quit", SIGTERM or SIGINT.
    void run();

  private:
    class body;
    std::unique_ptr<body> body_;
};

}  // namespace ravd::sim
