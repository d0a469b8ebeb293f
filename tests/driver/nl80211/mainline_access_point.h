// Back-ends on the recorded radio: "wlan0" with the VAP "wlan0-va0" on channel 6 with 40 MHz.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driver/nl80211/nl80211_back_end.h"
#include "tests/core/log_capture.h"
#include "tests/driver/nl80211/fake_kernel.h"
#include "tests/support/fake_hostapd.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

class mainline_access_point : public ::testing::Test, public activity {
  protected:
    mainline_access_point() {
        system.reset();
        kernel.reset();
        hostapd.reset();
        hostapd.start("wlan0-va0");
    }
    void tick() override {}
    bool cancelled() const override { return stop; }

    std::unique_ptr<back_end> radio() { return back_ends.back_end_of(this, "wlan0"); }
    std::unique_ptr<back_end> vap() { return back_ends.back_end_of(this, "wlan0-va0"); }
    int scan(const channel_set& channels) { return radio()->start_active_scan({channels, channels.empty()}); }
    ap_table results() {
        ap_table table;
        radio()->get_scan_results(table);
        return table;
    }
    // Lines of calls since the last time.
    std::string calls() {
        std::string text;
        for (const std::string& call : std::exchange(kernel.asked, {}))
            text += call + "; ";
        return text;
    }

    fake_system& system = fake_system::get();
    fake_kernel& kernel = fake_kernel::get();
    fake_hostapd& hostapd = fake_hostapd::get();
    nl80211_back_ends back_ends{&fake_kernel::open};
    bool stop = false;
};

}  // namespace ravd::testing
