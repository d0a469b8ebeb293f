// A driver with radios in memory: answers from settable state, keeps every change asked of it as one line of text, and
// delivers events in its wait.
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "driver/driver_interface.h"
#include "message/json.h"

namespace ravd::testing {

class fake_driver : public driver_interface {
  public:
    struct vap {
        std::string ssid, mac;
        bool active = false, kv = false, ft = false;
    };
    struct radio {
        bool up = false, wds = false, coex = false;
        std::uint32_t chanspec = 0, configured = 0;
        int power = 16;
        std::string channels;
        std::array<vap, 7> vaps;
        std::vector<rrm_sta_s> stations;
    };

    std::array<radio, 3> radios;  // the last one for whatever does not exist
    factory_texts factory{"board-1", "hw-2", {}, "02:00:00:00:00:10"};
    std::uint32_t scan_duration = 4;
    std::deque<ap_table> heard;  // results of the scans to come
    std::deque<driver_event_desc> events;
    bool hostapd = false, scanning = false, incomplete = false, rests = false;
    std::vector<std::string> calls;
    bool record = true;
    std::function<void()> in_call;     // runs within each call that is kept
    std::function<void()> in_reading;  // runs within each description of the radios

    fake_driver() {
        std::fill(std::begin(factory.serial), std::end(factory.serial), '7');
        radios[0] = {true, false, false, 0x1006, 0, 16, "1 6 11 ", {}, {}};
        radios[1] = {true, false, false, 0x2024, 0, 16, "36 40 ", {}, {}};
        radios[0].vaps[1] = {"guest", "02:00:00:00:00:12", true, false, true};
        radios[1].vaps[1] = {"guest", "02:00:00:00:01:12", true, true, false};
    }
    void add_station(int r, const char* mac, int rssi, int attempts = 0, bool no_80211v = false) {
        rrm_sta_s station;
        station.mac = mac;
        station.ssid = "guest";
        station.ifname = "wlan" + std::to_string(r) + "-va1";
        station.rssi = rssi;
        station.roam_attempts = attempts;
        station.no_80211v = no_80211v;
        at(r).stations.push_back(station);
    }
    // All calls since the last time, joined by "; ".
    std::string take_calls() {
        std::string all;
        for (const std::string& call : calls)
            all += (all.empty() ? "" : "; ") + call;
        calls.clear();
        return all;
    }
    radio& at(std::int32_t r) { return radios[r == 0 || r == 1 ? static_cast<std::size_t>(r) : 2]; }
    radio& at(const char* name) { return at(name[4] - '0'); }
    vap& vap_at(std::int32_t r, std::int32_t v) {
        return v >= 0 && v < 7 ? at(r).vaps[static_cast<std::size_t>(v)] : radios[2].vaps[0];
    }

    bool is_ft_enabled(std::int32_t r, std::int32_t v) override { return vap_at(r, v).ft; }
    const factory_texts* get_factory_info() override { return &factory; }
    const char* get_base_mac() override { return factory.base_mac; }
    int start_scan(bool active, const channel_set& a, const channel_set& b, std::uint32_t& wait_s) override {
        if (record) note("start_scan %s [%s] [%s]", active ? "active" : "rrm", list(a).c_str(), list(b).c_str());
        if (!hostapd || scanning) return 0;
        scanning = true;
        wait_s = std::max(wait_s, scan_duration);
        return 0;
    }
    int stop_scan(bool) override {
        scanning = scanning && !hostapd;
        return note("stop_scan");
    }
    void stop_all() override {
        note("stop_all");
        scanning = scanning && !hostapd;
    }
    void reset_corvane(bool keep) override { note("reset_corvane %d", keep); }
    void init_interface_context() override { note("init_context"); }
    void reset_context() override { note("reset_context"); }
    bool context_incomplete() override { return incomplete; }
    bool refill_context() override { return note("refill_context") == 0; }
    void set_hostapd_running(bool running) override { note("set_hostapd %d", hostapd = running); }
    bool is_hostapd_running() override { return hostapd; }
    bool is_scanning() override { return scanning; }
    bool radio_wds_enabled(std::int32_t r) override { return at(r).wds; }
    bool radio_up(std::int32_t r) override { return at(r).up; }
    bool any_vap_active(std::int32_t r) override { return vap_at(r, 1).active; }
    bool vap_kv_enabled(std::int32_t r, std::int32_t v) override { return vap_at(r, v).kv; }
    int set_tx_power(const char* name, int power) override { return note("set_tx_power %s %d", name, power); }
    int get_tx_power(const char* name) override { return at(name).power; }
    int get_tx_power_max(std::int32_t) override { return 16; }
    int get_tx_power_min(std::int32_t) override { return 11; }
    int get_vap_base(std::int32_t r) override { return r * 8; }
    int get_vap_span(std::int32_t) override { return 8; }
    std::uint32_t get_radio_bandwidth(std::int32_t r) override { return at(r).configured; }
    bool get_radio_obss_coex(std::int32_t r) override {
        if (r == 0 && in_reading) in_reading();
        return at(r).coex;
    }
    int set_channel(const char* name, int channel, int bandwidth, int sideband) override {
        return note("set_channel %s %d %d %d", name, channel, bandwidth, sideband);
    }
    std::uint32_t get_chanspec(const char* name) override { return at(name).chanspec; }
    int get_assoc_stas(const char* name, station_callback callback) override {
        for (const rrm_sta_s& station : at(name).stations)
            callback(station);
        return 0;
    }
    void for_each_vap(const char* name, vap_callback callback) override {
        int v = 0;
        for (const vap& one : at(name).vaps) {
            if (one.active) callback(v, one.ssid.c_str(), one.mac.c_str(), one.kv);
            ++v;
        }
    }
    int fill_scan_results(ap_table& table) override { return fill("fill_active", table); }
    int fill_rrm_scan_results(ap_table& table) override { return fill("fill_rrm", table); }
    void fill_chanspecs(const char* name, std::string& text) override { text = at(name).channels; }
    int radio_count() override { return 2; }
    int vap_count() override { return 7; }
    void short_sleep(const event_callback& callback, const rest_callback& rest) override {
        for (; !events.empty(); events.pop_front())
            callback(events.front());
        if (rests) rest();
    }
    const char* vap_name(std::int32_t v, std::int32_t r) override {
        static const char* const names[] = {"wlan0-va1", "wlan1-va1"};  // the others have none
        return at(r).up && v == 1 ? names[r] : nullptr;
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
    void unblock_sta(const char* name, const char* mac) override { note("unblock %s %s", name, mac); }
    int probsup_find(const char*, const char*) override { return -66; }
    void send_bss_trans_req(const char* name, const char* mac, int mode) override {
        note("bss_trans %s %s %d", name, mac, mode);
    }
    int set_roam_attempt_timeout(const char* name, int time) override { return note("roam_timeout %s %d", name, time); }
    void del_custom_neighbors(const char* name) override { note("del_custom %s", name); }

    // What the agent does not call.
    // clang-format off
    using text = const char*;
    using u32 = std::uint32_t;
    using i32 = std::int32_t;
    bool get_obss_coex(text) override { return false; }        bool is_radio_up(text) override { return true; }
    bool vap_is_up(text, i32) override { return true; }        bool vap_active(i32, i32) override { return true; }
    bool radio_has_band(i32, u32) override { return true; }
    u32 get_config_sideband(text) override { return 0; }       u32 get_config_bandwidth(text) override { return 0; }
    text vap_name_by_ssid(text, i32) override { return ""; }   int vap_index_by_ssid(text, i32) override { return -1; }
    void block_sta(text, text) override {}                     void block_sta_data(text, text) override {}
    void unblock_all_sta(text) override {}                     void rssi_renew_interval(text, int) override {}
    void set_quarn_sta_rssi_thr_high(text, int) override {}    void set_quarn_sta_rssi_thr_low(text, int) override {}
    void probsup_rrm_max_age(text, int) override {}            void disassoc_sta(text, text) override {}
    void probsup_rrm_client_try_no_balance(text, int) override {}
    void get_min_max_tx_power(text, u32*, u32*, u32) override {}
    // clang-format on

  private:
    int note(const char* text) { return note("%s", text); }
    template <typename... Args>
    int note(const char* format, Args... args) {
        if (!record) return 0;
        char line[2048] = "";
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
        table.clear();
        if (!heard.empty()) table = std::move(heard.front());
        if (!heard.empty()) heard.pop_front();
        return note(what);
    }
};

}  // namespace ravd::testing
