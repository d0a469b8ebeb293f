// A driver with radios in memory: answers from settable state, keeps every change asked of it as one line of text, and
// delivers events in its wait.
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "driver/driver_interface.h"
#include "rrm/json.h"

namespace ravd::testing {

class fake_driver final : public driver_interface {
  public:
    struct vap {
        std::string ssid, mac;
        bool active = false, kv = false, ft = false;
    };
    struct radio {
        bool up = false, wds = false, coex = false;
        std::uint32_t chanspec = 0, configured = 0;
        int power = 16, power_max = 16, power_min = 11;
        std::string channels;
        std::array<vap, 7> vaps;
        std::vector<rrm_sta_s> stations;
    };

    std::array<radio, 2> radios;
    factory_texts factory{};
    std::uint32_t scan_duration = 4;
    std::deque<ap_table> heard;  // results of the scans to come
    std::deque<driver_event_desc> events;
    std::map<std::string, int> probed;  // MAC text to RSSI
    std::function<void()> in_call;      // runs within each call that is kept
    bool hostapd = false, scanning = false, last_kind = false;
    std::vector<std::string> calls;
    bool record = true;

    fake_driver() {
        std::snprintf(factory.board, sizeof factory.board, "board-1");
        std::snprintf(factory.hw, sizeof factory.hw, "hw-2");
        std::fill(std::begin(factory.serial), std::end(factory.serial), '7');
        std::snprintf(factory.base_mac, sizeof factory.base_mac, "02:00:00:00:00:10");
        radios[0].chanspec = 0x1006;
        radios[1].chanspec = 0x202A;
        for (std::size_t r = 0; r < 2; ++r) {
            radios[r].up = true;
            radios[r].channels = r == 0 ? "1 6 11 " : "36 40 ";
            radios[r].vaps[1] = {"guest", "02:00:00:00:0" + std::to_string(r) + ":12", true, r == 1, r == 0};
        }
    }

    void add_station(int radio, const char* mac, int rssi, int attempts = 0, bool no_80211v = false) {
        rrm_sta_s station;
        station.mac = mac;
        station.ssid = "guest";
        station.ifname = "wlan" + std::to_string(radio) + "-va1";
        station.rssi = rssi;
        station.roam_attempts = attempts;
        station.no_80211v = no_80211v;
        at(radio).stations.push_back(station);
    }
    // All calls since the last time, joined by "; ".
    std::string take_calls() {
        std::string all;
        for (const std::string& call : calls)
            all += (all.empty() ? "" : "; ") + call;
        calls.clear();
        return all;
    }

    bool is_ft_enabled(std::int32_t r, std::int32_t v) override { return vap_at(r, v).ft; }
    bool get_obss_coex(const char*) override { return false; }
    std::uint32_t band_of_chanspec(std::uint32_t c) override { return band_of_channel(chanspec_ctl_channel(c)); }
    std::uint32_t band_of_channel(std::uint32_t channel) override { return channel < 30 ? 2 : 5; }
    int parse_sideband(const char*) override { return 0; }
    bool is_radio_up(const char* name) override { return at(name).up; }
    const factory_texts* get_factory_info() override { return &factory; }
    const char* get_base_mac() override { return factory.base_mac; }
    int start_scan(bool active, const channel_set& a, const channel_set& b, std::uint32_t& wait_s) override {
        note("start_scan %s [%s] [%s]", active ? "active" : "rrm", list(a).c_str(), list(b).c_str());
        if (!hostapd || scanning) return 0;
        scanning = true;
        wait_s = std::max(wait_s, scan_duration);
        return 0;
    }
    int stop_scan(bool) override {
        note("stop_scan");
        if (hostapd) scanning = false;
        return 0;
    }
    void reset_corvane(bool keep) override { note("reset_corvane %d", keep); }
    void stop_all() override {
        note("stop_all");
        if (hostapd) scanning = false;
    }
    void init_interface_context() override { note("init_context"); }
    void reset_context() override { note("reset_context"); }
    void set_hostapd_running(bool running) override {
        note("set_hostapd %d", running);
        hostapd = running;
    }
    bool is_hostapd_running() override { return hostapd; }
    bool is_scanning() override { return scanning; }
    bool radio_wds_enabled(std::int32_t r) override { return at(r).wds; }
    bool radio_up(std::int32_t r) override { return at(r).up; }
    bool any_vap_active(std::int32_t r) override {
        const auto& vaps = at(r).vaps;
        return std::any_of(vaps.begin(), vaps.end(), [](const vap& v) { return v.active; });
    }
    bool vap_is_up(const char*, std::int32_t) override { return true; }
    bool vap_active(std::int32_t r, std::int32_t v) override { return vap_at(r, v).active; }
    bool vap_kv_enabled(std::int32_t r, std::int32_t v) override { return vap_at(r, v).kv; }
    bool radio_has_band(std::int32_t, std::uint32_t) override { return true; }
    int set_tx_power(const char* name, int power) override { return note("set_tx_power %s %d", name, power); }
    int get_tx_power(const char* name) override { return at(name).power; }
    void get_min_max_tx_power(const char*, std::uint32_t*, std::uint32_t*, std::uint32_t) override {}
    int get_tx_power_max(std::int32_t r) override { return at(r).power_max; }
    int get_tx_power_min(std::int32_t r) override { return at(r).power_min; }
    int get_vap_base(std::int32_t r) override { return r * 8; }
    int get_vap_span(std::int32_t) override { return 8; }
    std::uint32_t get_config_sideband(const char*) override { return 0; }
    std::uint32_t get_config_bandwidth(const char*) override { return 0; }
    std::uint32_t get_radio_bandwidth(std::int32_t r) override { return at(r).configured; }
    bool get_radio_obss_coex(std::int32_t r) override { return at(r).coex; }
    int set_channel(const char* name, int channel, int bandwidth, int sideband) override {
        return note("set_channel %s %d %d %d", name, channel, bandwidth, sideband);
    }
    std::uint32_t get_chanspec(const char* name) override { return at(name).chanspec; }
    std::uint32_t chanspec_ctl_channel(std::uint32_t c) override {
        const std::uint32_t centre = c & 0xFF, side = (c & 0x700) >> 8;
        return chanspec_bw(c) == 40 ? centre - 2 + 4 * side : chanspec_bw(c) == 80 ? centre - 6 + 4 * side : centre;
    }
    const char* chanspec_sideband(std::uint32_t c) override {
        return chanspec_bw(c) != 40 ? "none" : (c & 0x700) == 0x100 ? "upper" : "lower";
    }
    std::uint32_t chanspec_bw(std::uint32_t c) override {
        return (c & 0x3800) == 0x1800 ? 40 : (c & 0x3800) == 0x2000 ? 80 : 20;
    }
    int get_assoc_stas(const char* name, const station_callback& callback) override {
        for (const rrm_sta_s& station : at(name).stations)
            callback(station);
        return 0;
    }
    void for_each_vap(const char* name, const vap_callback& callback) override {
        for (int v = 0; v < vap_count(); ++v) {
            const vap& one = at(name).vaps[static_cast<std::size_t>(v)];
            if (one.active) callback(v, one.ssid.c_str(), one.mac.c_str(), one.kv);
        }
    }
    int fill_scan_results(ap_table& table) override { return fill("fill_active", table); }
    int fill_rrm_scan_results(ap_table& table) override { return fill("fill_rrm", table); }
    void fill_chanspecs(const char* name, std::string& text) override { text = at(name).channels; }
    const char* sideband_name(std::uint32_t sideband, std::uint32_t mhz) override {
        return mhz != 40 ? "none" : sideband ? "upper" : "lower";
    }
    int radio_count() override { return 2; }
    int vap_count() override { return 7; }
    void short_sleep(const event_callback& callback) override {
        for (; !events.empty(); events.pop_front())
            callback(events.front());
    }
    const char* vap_name_by_ssid(const char*, std::int32_t) override { return nullptr; }
    int vap_index_by_ssid(const char*, std::int32_t) override { return -1; }
    const char* vap_name(std::int32_t v, std::int32_t r) override {
        static std::string names[2][7];
        if (!at(r).up || v < 0 || v >= 7) return nullptr;
        return (names[r][v] = "wlan" + std::to_string(r) + "-va" + std::to_string(v)).c_str();
    }
    const char* vap_ssid(std::int32_t v, std::int32_t r) override {
        return vap_at(r, v).active ? vap_at(r, v).ssid.c_str() : nullptr;
    }
    const char* vap_mac(std::int32_t v, std::int32_t r) override {
        return vap_at(r, v).active ? vap_at(r, v).mac.c_str() : nullptr;
    }
    void add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                      bool custom) override {
        note("add_neighbor %s %s %u %u %d", bssid, ssid, channel, priority, custom);
    }
    bool put_radio_id(const char* name, json_writer& writer) override {
        int r, v;
        if (std::sscanf(name, "wlan%d-va%d", &r, &v) != 2) return false;
        writer.add_int("radio", r);
        return true;
    }
    void del_neighbors(const char* name) override { note("del_neighbors %s", name); }
    int add_corvane_fbt_params(const char* name, const char* text) override { return note("fbt %s %s", name, text); }
    int begin_corvane_fbt_params() override { return note("fbt begin"); }
    int finish_corvane_fbt_params() override { return note("fbt finish"); }
    int reset_corvane_fbt_params(int reason) override { return note("fbt reset %d", reason); }
    void vap_ifname(std::int32_t r, std::int32_t v, char* buffer, std::size_t size) override {
        std::snprintf(buffer, size, "wlan%d-va%d", r, v);
    }
    std::uint32_t band_of_channel_v(std::uint32_t channel) override { return band_of_channel(channel); }
    void block_sta(const char*, const char*) override {}
    void block_sta_data(const char*, const char*) override {}
    void unblock_sta(const char* name, const char* mac) override { note("unblock %s %s", name, mac); }
    void unblock_all_sta(const char*) override {}
    void set_quarn_sta_rssi_thr_high(const char*, int) override {}
    void set_quarn_sta_rssi_thr_low(const char*, int) override {}
    int probsup_find(const char*, const char* mac) override { return probed[mac]; }
    void probsup_rrm_max_age(const char*, int) override {}
    void probsup_rrm_client_try_no_balance(const char*, int) override {}
    void rssi_renew_interval(const char*, int) override {}
    void disassoc_sta(const char*, const char*) override {}
    void send_bss_trans_req(const char* name, const char* mac, int mode) override {
        note("bss_trans %s %s %d", name, mac, mode);
    }
    int set_roam_attempt_timeout(const char* name, int timeout) override {
        return note("roam_timeout %s %d", name, timeout);
    }
    void del_custom_neighbors(const char* name) override { note("del_custom %s", name); }

    radio& at(std::int32_t r) {
        static radio none;
        return r == 0 || r == 1 ? radios[static_cast<std::size_t>(r)] : none;
    }
    radio& at(const char* name) { return at(name[4] - '0'); }
    vap& vap_at(std::int32_t r, std::int32_t v) {
        static vap none;
        return v >= 0 && v < 7 ? at(r).vaps[static_cast<std::size_t>(v)] : none;
    }

  private:
    template <typename... Args>
    int note(const char* format, Args... args) {
        if (!record) return 0;
        char line[2048];
        if constexpr (sizeof...(args) == 0)
            std::snprintf(line, sizeof line, "%s", format);
        else
            std::snprintf(line, sizeof line, format, args...);
        calls.emplace_back(line);
        if (in_call) in_call();
        return 0;
    }
    static std::string list(const channel_set& set) {
        std::string text;
        for (const std::uint32_t channel : set)
            text += (text.empty() ? "" : " ") + std::to_string(channel);
        return text;
    }
    int fill(const char* what, ap_table& table) {
        note(what);
        table.clear();
        if (heard.empty()) return 0;
        table = std::move(heard.front());
        heard.pop_front();
        return 0;
    }
};

}  // namespace ravd::testing
