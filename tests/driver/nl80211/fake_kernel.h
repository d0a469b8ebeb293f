// nl80211 for unit tests: recorded replies of a real kernel, scans that end when the test says, and failures.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/nl80211.h"
#include "platform/unique_fd.h"

namespace ravd::testing {

class fake_kernel {
  public:
    // The one instance behind all ports that open() gives.
    static fake_kernel& get();
    static std::unique_ptr<nl80211_port> open();
    // Forgets everything; then answers as recorded.
    void reset();

    // Tells a scan's end to who listens.
    void raise(wireless_event event, std::uint32_t interface = 2);
    // A BSS that was heard this long ago, with the elements of a recorded one of 80 MHz.
    void hear(const std::array<std::uint8_t, 6>& bssid, std::uint32_t frequency, std::int32_t dbm,
              std::uint32_t age_ms);

    std::map<std::string, int> failing;  // error of a call by its name, until taken out
    int busy_scans = 0;                  // that are refused before one begins
    bool other_scan_ends = false;        // another program's, right before one begins
    bool only_listens = false;           // the radio sends no probe requests
    bool aborts_end = true;              // a scan that is aborted ends
    std::vector<std::string> asked;      // calls that change something
    std::uint32_t recorded_age_ms = 0;   // of what was recorded to be heard
    std::uint32_t connected_s = 5;       // of the recorded station
    int opened = 0;

    struct heard {
        std::array<std::uint8_t, 6> bssid;
        std::uint32_t frequency;
        std::int32_t dbm;
        std::uint32_t age_ms;
    };
    std::vector<heard> air;
    std::vector<wireless_notice> events;
    unique_fd readable;
};

}  // namespace ravd::testing
