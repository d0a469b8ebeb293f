// The one implementation of the driver: hands every operation to the part that owns what it is about. What the radio
// itself must tell or do goes through a back-end that lives for one call.
#pragma once

#include <string>

#include "driver/driver_context.h"
#include "driver/driver_interface.h"
#include "driver/neighbour_lists.h"
#include "driver/radio_channels.h"
#include "driver/radio_scans.h"
#include "driver/radio_settings.h"
#include "driver/radio_stations.h"
#include "driver/table_filler.h"
#include "ipc/key_holder_request.h"

namespace ravd {

class driver_realtek final : public driver_interface {
  public:
    // Registers the request endpoint on the bus, reads the factory identity and names the radios and VAPs. `running` is
    // the agent's run flag and outlives the driver, as `back_ends` does. Works on without bus or factory data: requests
    // then fail and VAP addresses count from zero.
    driver_realtek(const run_flag* running, back_end_source& back_ends);
    ~driver_realtek() = default;

    bool get_wds_enabled(const char* radio_name) override;
    bool is_ft_enabled(std::int32_t radio, std::int32_t vap) override;

    bool get_obss_coex(const char* radio_name) override;
    bool is_radio_up(const char* radio_name) override;
    const factory_texts* get_factory_info() override;
    const char* get_base_mac() override;

    int start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) override;
    bool scan_over() override;
    int event_descriptor() override;
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

    int get_assoc_stas(const char* ifname, station_callback callback) override;
    void for_each_vap(const char* ifname, vap_callback callback) override;
    int fill_scan_results(ap_table& table) override;
    int fill_rrm_scan_results(ap_table& table) override;
    void fill_chanspecs(const char* radio_name, std::string& text) override;

    int radio_count() override;
    int vap_count() override;
    void short_sleep(const event_callback& callback, const rest_callback& rest) override;

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

    // The table as it is now, and the settings.
    const radio_table& table() const { return radios_.table(); }
    const radio_settings& settings() const { return settings_; }

  private:
    factory_texts factory_{};
    std::string base_mac_;  // terminated copy of the factory text
    radio_state radios_;
    const driver_context context_;
    const radio_settings settings_{context_};
    const radio_channels channels_{context_, settings_};
    radio_scans scans_{context_, channels_};
    const radio_stations stations_{context_};
    neighbour_lists neighbours_{context_};
    key_holder_request key_holders_{*this};
    table_filler filler_{context_, settings_, channels_};
};

}  // namespace ravd
