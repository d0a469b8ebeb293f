// What has to be remembered of radios of mainline Linux between two operations, and the connections to them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/ifname.h"
#include "driver/back_end.h"
#include "message/mac_addr.h"
#include "platform/hostapd_control.h"
#include "platform/nl80211.h"

namespace ravd {

// The last scan of a radio, of either kind.
struct scan_memory {
    bool began = false;    // there is one, whose results may be asked for
    bool over = true;      // the kernel told its end, or never will
    bool started = false;  // it told the start; an end before that is another program's
    bool stopped = false;
    std::uint32_t interface = 0;
    std::int64_t began_ms = 0;  // of the monotonic clock
    channel_set channels;       // those that were listened on
};

// A station of a VAP.
struct station_memory {
    bool can_transit = false;
    bool known = false;               // whether hostapd told that
    std::int64_t joined_ms = 0;       // as the kernel counts, in whole seconds; another time, another association
    int attempts = 0;                 // it was asked to go
    std::int64_t asked_until_ms = 0;  // when that is forgotten; 0: never
};

struct vap_memory {
    explicit vap_memory(const std::string& name);

    hostapd_control hostapd;
    std::map<MacAddr, station_memory> stations;
    std::vector<neighbour_entry> custom;  // candidates of a transition
    int roam_timeout_s = 0;
};

// Owns all of it, for as long as the process lives. On the driver's thread.
class radio_memory {
  public:
    using opener = std::unique_ptr<nl80211_port> (*)();
    explicit radio_memory(opener open) : open_(open) {}

    // Opened when it is first needed, and again after forget_port. Null, with an error in the log, when the kernel
    // has no nl80211.
    nl80211_port* port();
    // After an answer that says that the connection is of no use: the kernel's part of it may have been loaded anew.
    // The end of a scan that goes on is then not told any more.
    void forget_port() { port_.reset(); }
    scan_memory& scan_of(const std::string& radio) { return scans_[radio]; }
    // `name` is "wlan%d-va%d".
    vap_memory& vap(const std::string& name);

    // Reads the kernel's events into the scans. The descriptor is readable while there are some; -1: none.
    void take_events();
    int event_descriptor();
    // Whether a scan went on and none does any more.
    bool scans_over() const;

  private:
    opener open_;
    std::unique_ptr<nl80211_port> port_;
    std::map<std::string, scan_memory> scans_;
    std::map<std::string, vap_memory> vaps_;
};

}  // namespace ravd
