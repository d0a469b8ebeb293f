// A radio of mainline Linux: the interface of type managed that carries its name, and the VAPs on the same radio.
// Scans, channels, power. 0 or -1, as back_end has it.
#pragma once

#include "driver/nl80211/operation.h"

namespace ravd {

class mainline_radio {
  public:
    explicit mainline_radio(const operation& what) : what_(what) {}

    // Begins a scan of these channels of the radio, of all of its band when none is named. Gives way for a moment to
    // another program's.
    int start_scan(const channel_set& channels) const;
    // Nothing is to be listened on: no results of an earlier scan either.
    void skip_scan() const { what_.memory().scan_of(what_.ifname()) = scan_memory(); }
    // Breaks off what start_scan began; what it heard until then stays.
    int stop_scan() const;
    // Appends what the last scan heard on its channels, the machine's own VAPs left out. One that still goes on is
    // broken off.
    int get_results(ap_table& table) const;
    // Seconds that a scan of these channels may take; 0 for none.
    std::uint32_t scan_s(const channel_set& channels) const;

    int get_available_channels(channel_set& channels) const;
    int get_chanspec(std::uint32_t& chanspec) const;
    int get_tx_power(std::uint32_t& power) const;

  private:
    // What can be listened on, of these; empty beside a failure, which is in the log.
    std::vector<std::uint32_t> frequencies(const channel_set& channels) const;
    int get_phy(phy_info& phy, std::uint32_t& band) const;
    bool end_comes(scan_memory& scan) const;

    const operation& what_;
};

}  // namespace ravd
