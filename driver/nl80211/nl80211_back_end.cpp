#include "driver/nl80211/nl80211_back_end.h"

#include "driver/nl80211/mainline_radio.h"
#include "driver/nl80211/mainline_vap.h"

namespace ravd {
namespace {

class nl80211_back_end final : public back_end {
  public:
    nl80211_back_end(radio_memory& memory, activity* progress, const char* ifname)
        : what_(memory, progress, ifname), progress_(progress) {}

    int start_active_scan(const scan_order& order) override {
        if (!order.channels.empty() || order.whole) return radio_.start_scan(order.channels);
        radio_.skip_scan();
        return 0;
    }
    int stop_active_scan() override { return radio_.stop_scan(); }
    // The caller asks no other radio behind a failure: what one cannot tell must not hide what the others heard.
    int get_scan_results(ap_table& table) override { return radio_.get_results(table), 0; }
    int start_rrm_scan(std::uint32_t channel) override { return radio_.start_scan({channel}); }
    int stop_rrm_scan() override { return radio_.stop_scan(); }
    int get_rrm_scan_results(ap_table& table) override { return get_scan_results(table); }
    std::optional<std::uint32_t> active_scan_s(const scan_order& order) const override {
        return order.channels.empty() && !order.whole ? 0 : radio_.scan_s(order.channels);
    }
    bool tells_scan_end() const override { return true; }

    int get_available_channels(channel_set& channels) override { return radio_.get_available_channels(channels); }
    int get_chanspec(std::uint32_t& chanspec) override { return radio_.get_chanspec(chanspec); }
    int get_tx_power(std::uint32_t& power) override { return radio_.get_tx_power(power); }
    bool get_obss_coex() override;

    int get_assoc_stas(std::vector<rrm_sta_s>& stations) override { return vap_.get_stations(stations); }
    int send_bss_trans_req(const char* sta_mac) override { return vap_.request_transition(sta_mac); }
    int set_quarn_roam_attempt_timeout(int timeout) override { return vap_.set_roam_timeout(timeout); }

    int add_neighbor(const neighbour_entry& neighbour) override {
        return spared_ && !neighbour.custom ? -1 : vap_.add_neighbour(neighbour);
    }
    int del_neighbors() override { return spared_ ? -1 : vap_.delete_neighbours(); }
    int del_custom_neighbors() override { return vap_.delete_custom_neighbours(); }
    int hung_commands() const override { return vap_.hung_requests(); }
    void spare_hostapd() override { spared_ = true; }

  private:
    const operation what_;
    activity* progress_;
    const mainline_radio radio_{what_};
    mainline_vap vap_{what_};
    bool spared_ = false;
};

// What a radio does is told by the hostapd of the first of its VAPs.
bool nl80211_back_end::get_obss_coex() {
    wireless_interface radio;
    std::vector<wireless_interface> interfaces;
    if (what_.find(radio) < 0 || what_.list(interfaces) < 0) return false;
    for (const wireless_interface& one : interfaces) {
        if (one.phy != radio.phy || one.type != wireless_type::access_point || one.frequency == 0) continue;
        if (!is_wlan_ifname(one.name.c_str())) continue;
        const operation on_vap(what_.memory(), progress_, one.name.c_str());
        return mainline_vap(on_vap).is_narrowed();
    }
    return false;
}

}  // namespace

std::unique_ptr<back_end> nl80211_back_ends::back_end_of(activity* progress, const char* ifname) {
    return std::make_unique<nl80211_back_end>(memory_, progress, ifname);
}

bool nl80211_back_ends::scans_over() {
    memory_.take_events();
    return memory_.scans_over();
}

}  // namespace ravd
