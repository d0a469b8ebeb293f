// What the daemon logs while this lives, below the test's device directory.
#pragma once

#include <string>

#include "core/logger.h"
#include "platform/log_target.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

class log_capture {
  public:
    explicit log_capture(std::uint32_t mask) {
        fake_system::get().write_file("/log");
        log_target_set_file((fake_system::get().root() + "/log").c_str());
        process_log.mask = mask;
    }
    ~log_capture() {
        process_log.mask = 0;
        log_target_set_file("");
    }
    std::string text() const { return fake_system::get().read_file("/log"); }
    int count(const std::string& piece) const {
        const std::string all = text();
        int n = 0;
        for (std::size_t at = 0; (at = all.find(piece, at)) != std::string::npos; at += piece.size())
            ++n;
        return n;
    }
};

}  // namespace ravd::testing
