// The driver for Realtek chips: answers from the table of radios and VAPs, from the configuration, and from the radio
// through a chip back-end that lives for one call.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/worker.h"
#include "driver/driver_interface.h"
#include "driver/radio_table.h"

namespace ravd {

class ioctl_ops;

// Texts of the configuration are converted by functions (const interface_context*, const std::string&) -> optional. The
// context is that of the radio the interface belongs to.
class driver_realtek final : public driver_interface {
  public:
    // Registers the request endpoint on the bus, reads the factory identity and names the radios and VAPs. `running` is
    // the agent's run flag and outlives the driver. Works on without bus or factory data: requests then fail and VAP
    // addresses count from zero.
    explicit driver_realtek(const run_flag* running);
    ~driver_realtek();

    bool get_wds_enabled(const char* radio_name) override;
    bool is_ft_enabled(std::int32_t radio, std::int32_t vap) override;

    bool get_obss_coex(const char* radio_name) override;
    std::uint32_t band_of_chanspec(std::uint32_t chanspec) override;
    std::uint32_t band_of_channel(std::uint32_t channel) override;
    int parse_sideband(const char* text) override;
    bool is_radio_up(const char* radio_name) override;
    const factory_texts* get_factory_info() override;
    const char* get_base_mac() override;

    int start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) override;
    int stop_scan(bool active) override;

    void reset_corvane(bool keep) override;
    void stop_all() override;
    void init_interface_context() override;
    void reset_context() override;
    bool context_incomplete() override;
    bool refill_context() override;
    void set_hostapd_running(bool running) override;
    bool is_hostapd_running() override;
    bool is_scanning() override;

    bool radio_wds_enabled(std::int32_t radio) override;
    bool radio_up(std::int32_t radio) override;
    bool any_vap_active(std::int32_t radio) override;
    bool vap_is_up(const char* ifname, std::int32_t vap) override;
    bool vap_active(std::int32_t radio, std::int32_t vap) override;
    bool vap_kv_enabled(std::int32_t radio, std::int32_t vap) override;
    bool radio_has_band(std::int32_t radio, std::uint32_t band) override;

    int set_tx_power(const char* radio_name, int power) override;
    int get_tx_power(const char* radio_name) override;
    void get_min_max_tx_power(const char* country, std::uint32_t* min, std::uint32_t* max, std::uint32_t band) override;
    int get_tx_power_max(std::int32_t radio) override;
    int get_tx_power_min(std::int32_t radio) override;
    int get_vap_base(std::int32_t radio) override;
    int get_vap_span(std::int32_t radio) override;

    std::uint32_t get_config_sideband(const char* radio_name) override;
    std::uint32_t get_config_bandwidth(const char* radio_name) override;
    std::uint32_t get_radio_bandwidth(std::int32_t radio) override;
    bool get_radio_obss_coex(std::int32_t radio) override;
    int set_channel(const char* radio_name, int channel, int bandwidth, int sideband) override;
    std::uint32_t get_chanspec(const char* ifname) override;
    std::uint32_t chanspec_ctl_channel(std::uint32_t chanspec) override;
    const char* chanspec_sideband(std::uint32_t chanspec) override;
    std::uint32_t chanspec_bw(std::uint32_t chanspec) override;

    int get_assoc_stas(const char* ifname, const station_callback& callback) override;
    void for_each_vap(const char* ifname, const vap_callback& callback) override;
    int fill_scan_results(ap_table& table) override;
    int fill_rrm_scan_results(ap_table& table) override;
    void fill_chanspecs(const char* radio_name, std::string& text) override;
    const char* sideband_name(std::uint32_t sideband, std::uint32_t bandwidth_mhz) override;

    int radio_count() override;
    int vap_count() override;
    void short_sleep(const event_callback& callback) override;

    const char* vap_name_by_ssid(const char* ssid, std::int32_t radio) override;
    int vap_index_by_ssid(const char* ssid, std::int32_t radio) override;
    const char* vap_name(std::int32_t vap, std::int32_t radio) override;
    const char* vap_ssid(std::int32_t vap, std::int32_t radio) override;
    const char* vap_mac(std::int32_t vap, std::int32_t radio) override;

    void add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                      bool custom) override;
    bool put_radio_id(const char* ifname, json_writer& writer) override;
    void del_neighbors(const char* ifname) override;

    int add_corvane_fbt_params(const char* name, const char* text) override;
    int begin_corvane_fbt_params() override;
    int finish_corvane_fbt_params() override;
    int reset_corvane_fbt_params(int reason) override;

    void vap_ifname(std::int32_t radio, std::int32_t vap, char* buffer, std::size_t size) override;
    std::uint32_t band_of_channel_v(std::uint32_t channel) override;

    void block_sta(const char* ifname, const char* mac) override;
    void block_sta_data(const char* ifname, const char* mac) override;
    void unblock_sta(const char* ifname, const char* mac) override;
    void unblock_all_sta(const char* ifname) override;
    void set_quarn_sta_rssi_thr_high(const char* ifname, int threshold) override;
    void set_quarn_sta_rssi_thr_low(const char* ifname, int threshold) override;
    int probsup_find(const char* ifname, const char* mac) override;
    void probsup_rrm_max_age(const char* ifname, int seconds) override;
    void probsup_rrm_client_try_no_balance(const char* ifname, int count) override;
    void rssi_renew_interval(const char* ifname, int seconds) override;
    void disassoc_sta(const char* ifname, const char* mac) override;

    void send_bss_trans_req(const char* ifname, const char* sta_mac, int mode) override;
    int set_roam_attempt_timeout(const char* ifname, int timeout) override;
    void del_custom_neighbors(const char* ifname) override;

    // The table as it is now.
    const radio_table& table() const { return table_; }

    // A setting of a radio or of a VAP, converted; nothing when it cannot be read.
    template <typename Convert>
    auto getconf_radio(const char* ifname, const char* key, Convert convert)
        -> decltype(convert(nullptr, std::string())) {
        std::string text;
        if (!read_radio_value(ifname, key, text)) return std::nullopt;
        return convert(table_.radio_by_ifname(ifname), text);
    }
    template <typename Convert>
    auto getconf_vap(const char* ifname, const char* key, Convert convert)
        -> decltype(convert(nullptr, std::string())) {
        std::string text;
        if (!read_vap_value(ifname, key, text)) return std::nullopt;
        return convert(table_.radio_by_ifname(ifname), text);
    }

  private:
    // hostapd runs and the process goes on.
    bool flags() const { return hostapd_running_ && running_->load(std::memory_order_relaxed); }
    bool vap_interface_is_up(const std::string& name) const;
    // The VAP when its radio is up and it is active, else null.
    const vap_record* usable_vap(std::int32_t radio, std::int32_t vap);
    std::unique_ptr<ioctl_ops> back_end(const char* ifname) const;

    bool read_radio_value(const char* ifname, const char* key, std::string& text);
    bool reads_true(const std::string& path);
    bool read_vap_value(const char* ifname, const char* key, std::string& text);

    void init_radio(std::int32_t radio_id, interface_context& radio);
    void init_vap(std::int32_t radio_id, std::int32_t vap_id, vap_record& vap);

    int start_active_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s);
    int stop_active_scan(const char* radio_name);
    int start_rrm_scan(const char* radio_name, const channel_set& channels, std::uint32_t& wait_s);
    int stop_rrm_scan(const char* radio_name);
    bool may_scan(std::int32_t radio);
    int collect_results(ap_table& table, bool rrm);

    const run_flag* running_;
    factory_texts factory_{};
    std::string base_mac_;  // terminated copy of the factory text
    bool scan_in_progress_ = false;
    bool hostapd_running_ = false;
    bool context_incomplete_ = false;
    radio_table table_;
};

// The process's one driver, built at the first call and destroyed at process exit. `running` counts at that first call.
driver_realtek& realtek_driver(const run_flag* running);

}  // namespace ravd
