// One VAP: hostapd's control socket and events of its interface, and what they told of it last.
#pragma once

#include <string>

#include "hostd/channel.h"
#include "hostd/patience.h"
#include "platform/hostapd_control.h"

namespace ravd::hostd {

struct vap_description {
    bool enabled = false;  // hostapd has it on the air
    std::string ssid;      // as hostapd writes it: bytes that are no letters as "\xNN"
    std::string security;  // "WPA2_PSK", "WPA2_WPA3_PSK", "WPA3_SAE", "WPA2_1X", "OPEN" ...
    std::string bssid;
    bool fast_transition = false;
    access_point_modes modes;

    friend bool operator==(const vap_description& a, const vap_description& b);
    friend bool operator!=(const vap_description& a, const vap_description& b) { return !(a == b); }
};

// Reads hostapd's answers to STATUS and GET_CONFIG.
vap_description describe(const std::string& status, const std::string& config);

class vap {
  public:
    // `time` outlives it: what all VAPs of a hostapd wait for it.
    vap(const std::string& name, const std::string& directory, patience& time);

    const std::string& name() const { return name_; }
    int radio() const { return radio_; }
    const vap_description& description() const { return description_; }
    bool attached() const { return events_.attached(); }
    int descriptor() const { return events_.descriptor(); }

    // Attaches where hostapd listens again, and finds out whether it still does. Waits only for one that listens.
    void follow();
    // Asks again what the VAP is. False when nobody answers in time.
    bool refresh();
    // One question about it.
    hostapd_result ask(const std::string& request, std::string& reply) { return time_.ask(control_, request, reply); }

    // After events that seem to have been lost.
    void attach_again() { time_.attach(events_); }
    bool next_event(std::string& event) { return events_.next(event); }
    hostapd_control& control() { return control_; }
    // hostapd's process; 0 while unattached.
    int process() const { return events_.attached() ? control_.process() : 0; }

  private:
    std::string name_;
    int radio_;
    hostapd_control control_;
    hostapd_events events_;
    patience& time_;
    vap_description description_;
    bool silent_ = false;  // said already
};

}  // namespace ravd::hostd
