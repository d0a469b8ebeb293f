// One operation on one interface: what its parts need.
#pragma once

#include <string>

#include "core/activity.h"
#include "driver/nl80211/radio_memory.h"

namespace ravd {

class operation {
  public:
    // `progress` may be null.
    operation(radio_memory& memory, activity* progress, const char* ifname)
        : memory_(memory), progress_(progress), ifname_(ifname ? ifname : "") {}

    radio_memory& memory() const { return memory_; }
    const std::string& ifname() const { return ifname_; }
    const char* name() const { return ifname_.c_str(); }
    void tick() const {
        if (progress_) progress_->tick();
    }
    bool cancelled() const { return progress_ && progress_->cancelled(); }

    // The kernel's nl80211, unless the process is told to end; null, with the reason in the log where there is one.
    nl80211_port* port() const;
    // For a call of the port that failed: writes it to the log and gives -1.
    int failed(const char* what, int error) const;

    // The interface itself. 0, or -1.
    int find(wireless_interface& interface) const;
    // The interfaces of this machine. 0, or -1.
    int list(std::vector<wireless_interface>& interfaces) const;
    // The interface, or where it has no channel of its own, an access point on the same radio that has one. 0, or -1.
    int find_on_channel(wireless_interface& interface) const;

  private:
    radio_memory& memory_;
    activity* progress_;
    std::string ifname_;
};

}  // namespace ravd
