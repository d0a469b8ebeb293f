// What nl80211 answers, read into the records of platform/nl80211.h.
#pragma once

#include "platform/netlink/socket.h"
#include "platform/nl80211.h"

namespace ravd::netlink {

// False when the message describes none.
bool read_interface(attributes found, wireless_interface& interface);
bool read_bss(attributes found, heard_bss& bss);
bool read_station(attributes found, heard_station& station);

// A radio is described by a sequence of messages, which is put together by calling this for each. Those of other
// radios, which old kernels send as well, are left out.
void add_to_phy(attributes found, std::uint32_t phy, phy_info& info);

}  // namespace ravd::netlink
