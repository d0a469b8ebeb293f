// The radio driver as the agent sees it: one object answers every question about radios, VAPs, channels, power and
// stations and carries out every change. All operations run on the RRM worker's thread, none throws; what cannot be
// read is answered with the neutral value named here ("else"). Arithmetic on chanspecs is in driver/chanspec.h. While
// hostapd is not known to run, or the process is told to stop, nearly all answer their neutral value.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/function_ref.h"
#include "driver/records.h"
#include "ipc/ipc_helper.h"

namespace ravd {

class json_writer;

// Factory identity: texts, each zero-terminated unless it fills its field.
struct factory_texts {
    char board[32];
    char hw[32];
    char serial[32];
    char base_mac[32];
};

class driver_interface : public ipc_helper {
  public:
    using station_callback = function_ref<void(const rrm_sta_s&)>;
    // VAP index, SSID, BSSID text, 802.11k/v enabled
    using vap_callback = function_ref<void(int, const char*, const char*, bool)>;
    using event_callback = std::function<void(const driver_event_desc&)>;
    using rest_callback = std::function<void()>;

    // State of 20/40 MHz coexistence; else false.
    virtual bool get_obss_coex(const char* radio_name) = 0;
    virtual bool is_radio_up(const char* radio_name) = 0;
    virtual const factory_texts* get_factory_info() = 0;
    // "%02X:..." text of the base MAC, always terminated.
    virtual const char* get_base_mac() = 0;

    // Starts a scan on both radios: `active` or RRM, over the channels of each. Raises `wait_s` to the seconds the
    // slower radio needs. Does nothing while a scan is in progress. 0.
    virtual int start_scan(bool active, const channel_set& wlan0, const channel_set& wlan1, std::uint32_t& wait_s) = 0;
    // Whether a scan in progress is known to be over before its time is up. Never waits.
    virtual bool scan_over() { return false; }
    // Readable while scan_over may have news; -1 where there is none. May be another at each call.
    virtual int event_descriptor() { return -1; }
    // Ends the scan in progress, whatever its kind. 0.
    virtual int stop_scan(bool active) = 0;

    // Asks the network daemon to drop the service's settings of both radios, unless `keep` is set.
    virtual void reset_corvane(bool keep) = 0;
    // Unblocks all stations and stops both kinds of scan.
    virtual void stop_all() = 0;
    // Fills the table of radios and VAPs from configuration and system.
    virtual void init_interface_context() = 0;
    // Empties that table.
    virtual void reset_context() = 0;
    // Whether the table was filled while configuration requests stayed without an answer: it may say too little.
    virtual bool context_incomplete() = 0;
    // Fills the table anew. While requests still stay without an answer it is left as it is. True when it differs.
    virtual bool refill_context() = 0;
    virtual void set_hostapd_running(bool running) = 0;
    virtual bool is_hostapd_running() = 0;
    virtual bool is_scanning() = 0;

    virtual bool radio_wds_enabled(std::int32_t radio) = 0;
    virtual bool radio_up(std::int32_t radio) = 0;
    virtual bool any_vap_active(std::int32_t radio) = 0;
    virtual bool vap_is_up(const char* ifname, std::int32_t vap) = 0;
    virtual bool vap_active(std::int32_t radio, std::int32_t vap) = 0;
    virtual bool vap_kv_enabled(std::int32_t radio, std::int32_t vap) = 0;
    virtual bool radio_has_band(std::int32_t radio, std::uint32_t band) = 0;

    // Power in the driver's unit. set_tx_power asks the network daemon: 0, or -1.
    virtual int set_tx_power(const char* radio_name, int power) = 0;
    virtual int get_tx_power(const char* radio_name) = 0;  // else 16
    virtual void get_min_max_tx_power(const char* country, std::uint32_t* min, std::uint32_t* max,
                                      std::uint32_t band) = 0;  // else 11 and 16
    virtual int get_tx_power_max(std::int32_t radio) = 0;       // else 16
    virtual int get_tx_power_min(std::int32_t radio) = 0;       // else 11
    virtual int get_vap_base(std::int32_t radio) = 0;           // else 0
    virtual int get_vap_span(std::int32_t radio) = 0;           // else 0

    // Configured sideband and bandwidth as chanspec bits; 0x1000 when not configured.
    virtual std::uint32_t get_config_sideband(const char* radio_name) = 0;
    virtual std::uint32_t get_config_bandwidth(const char* radio_name) = 0;
    virtual std::uint32_t get_radio_bandwidth(std::int32_t radio) = 0;  // else 0
    virtual bool get_radio_obss_coex(std::int32_t radio) = 0;
    // Asks the network daemon for a channel: bandwidth in MHz, selector as parse_sideband answers. 0, or -1.
    virtual int set_channel(const char* radio_name, int channel, int bandwidth, int sideband) = 0;
    // Live chanspec of an interface; else 0.
    virtual std::uint32_t get_chanspec(const char* ifname) = 0;

    // Calls back for each station of each active VAP of the interface's radio. 0.
    virtual int get_assoc_stas(const char* ifname, station_callback callback) = 0;
    // Calls back for each active VAP of the interface's radio, in index order. An SSID that could not be read is empty.
    virtual void for_each_vap(const char* ifname, vap_callback callback) = 0;
    // Results of the last active scan, and of the last RRM scan from the radios on which it began. 0, or -1 with what
    // was read before the failure.
    virtual int fill_scan_results(ap_table& table) = 0;
    virtual int fill_rrm_scan_results(ap_table& table) = 0;
    // Channels a radio may use, ascending, each followed by a blank; `text` is untouched when they cannot be read.
    virtual void fill_chanspecs(const char* radio_name, std::string& text) = 0;

    virtual int radio_count() = 0;
    virtual int vap_count() = 0;
    // Calls `rest`, which waits until the agent has something to do, at most 1 s. A driver that has events delivers
    // them to `callback`, and waits for them itself when it has to.
    virtual void short_sleep(const event_callback& callback, const rest_callback& rest) = 0;

    // Null or -1 when there is none. Texts are valid until the table is filled again.
    virtual const char* vap_name_by_ssid(const char* ssid, std::int32_t radio) = 0;
    virtual int vap_index_by_ssid(const char* ssid, std::int32_t radio) = 0;
    virtual const char* vap_name(std::int32_t vap, std::int32_t radio) = 0;
    virtual const char* vap_ssid(std::int32_t vap, std::int32_t radio) = 0;
    virtual const char* vap_mac(std::int32_t vap, std::int32_t radio) = 0;

    // Adds a BSS to the 802.11k list (`custom`: the custom list) of the VAP with that SSID on each radio of its band.
    virtual void add_neighbor(const char* bssid, const char* ssid, std::uint32_t channel, std::uint32_t priority,
                              bool custom) = 0;
    // Adds "radio" for a name of the form "wlan%d-va%d"; false when it has another form.
    virtual bool put_radio_id(const char* ifname, json_writer& writer) = 0;
    virtual void del_neighbors(const char* ifname) = 0;

    // "update-corvane-fbt" in three steps. 0, or -1 when no answer came.
    virtual int add_corvane_fbt_params(const char* name, const char* text) = 0;
    virtual int begin_corvane_fbt_params() = 0;
    virtual int finish_corvane_fbt_params() = 0;
    // "reset-corvane-fbt" for the reason codes 0 and 2; others do nothing.
    virtual int reset_corvane_fbt_params(int reason) = 0;

    // Blocking of stations and probe tables.
    virtual void block_sta(const char* ifname, const char* mac) = 0;
    virtual void block_sta_data(const char* ifname, const char* mac) = 0;
    virtual void unblock_sta(const char* ifname, const char* mac) = 0;
    virtual void unblock_all_sta(const char* ifname) = 0;
    virtual void set_quarn_sta_rssi_thr_high(const char* ifname, int threshold) = 0;
    virtual void set_quarn_sta_rssi_thr_low(const char* ifname, int threshold) = 0;
    virtual int probsup_find(const char* ifname, const char* mac) = 0;  // RSSI; else 0
    virtual void probsup_rrm_max_age(const char* ifname, int seconds) = 0;
    virtual void probsup_rrm_client_try_no_balance(const char* ifname, int count) = 0;
    virtual void rssi_renew_interval(const char* ifname, int seconds) = 0;
    virtual void disassoc_sta(const char* ifname, const char* mac) = 0;

    // 802.11v BSS transition request to a station of a VAP.
    virtual void send_bss_trans_req(const char* ifname, const char* sta_mac, int mode) = 0;
    // For the radio and all its active VAPs. 0.
    virtual int set_roam_attempt_timeout(const char* ifname, int timeout) = 0;
    virtual void del_custom_neighbors(const char* ifname) = 0;

  protected:
    ~driver_interface() = default;
};

}  // namespace ravd
