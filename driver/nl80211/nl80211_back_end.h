// The back-end of radios of mainline Linux: the kernel's nl80211, and hostapd's control socket for the VAPs.
#pragma once

#include "driver/nl80211/radio_memory.h"

namespace ravd {

class nl80211_back_ends final : public back_end_source {
  public:
    explicit nl80211_back_ends(radio_memory::opener open = [] { return open_nl80211(); }) : memory_(open) {}

    std::unique_ptr<back_end> back_end_of(activity* progress, const char* ifname) override;

    int event_descriptor() override { return memory_.event_descriptor(); }
    bool scans_over() override;

    radio_memory& memory() { return memory_; }

  private:
    radio_memory memory_;
};

}  // namespace ravd
