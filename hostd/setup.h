// Making the interfaces of an access point from a short description: for each radio its own, and its VAPs.
//
//   # comment
//   country US
//   base 02:00:5E:00:01:00      base of the VAPs' addresses; without it the factory data's
//   wlan0 phy0                  the radio, or the name of an interface that it has now and that goes
//   wlan0-va0
//   wlan0-va1
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "message/mac_addr.h"
#include "platform/nl80211.h"

namespace ravd::hostd {

struct setup_radio {
    int index = 0;
    std::string phy;  // "phy0", or an interface's name
    std::vector<int> vaps;
};

struct setup_description {
    std::string country;  // empty: as it is
    std::optional<MacAddr> base;
    std::vector<setup_radio> radios;
};

// False with `error`, which names the line.
bool parse_setup(const std::string& text, setup_description& result, std::string& error);

// What is done to interfaces beside nl80211. Each call answers 0 or a negative error number.
struct link_port {
    std::function<int(const std::string& name, bool up)> set_up;
    std::function<int(const std::string& name, const MacAddr& mac)> set_address;
};
link_port kernel_links();

// Makes what is not there, leaves what is. False, with the reason, at the first failure. `tell` gets a line for each
// thing done.
bool make_interfaces(const setup_description& wanted, nl80211_port& kernel, const link_port& links,
                     const std::function<void(const std::string&)>& tell, std::string& reason);

// The whole of --setup. The exit status.
int run_setup(const std::string& path);

}  // namespace ravd::hostd
