// The agent: follows hostapd, keeps the subscription to the service, runs scans, reports radios and clients, and
// applies what the service decides.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/safe_queue.h"
#include "core/worker.h"
#include "driver/driver_interface.h"
#include "rrm/mac_addr.h"

namespace ravd {

class json_reader;
class json_writer;

// A station that is probed for the service.
struct sta_prob_info {
    std::int32_t rssi = 0;       // dBm; 0 while not known
    std::int32_t countdown = 0;  // seconds until it is reported
    std::uint32_t vap = 0;       // index on its radio
};

// Everything but start and join runs on the worker's own thread. Shares the queues and the driver with nobody else
// on their side; the driver, the queues and the run flag must outlive it.
class rrm_worker final : public abstract_worker {
  public:
    // `domain` is the RRM domain until the service names another. From here to the destructor the driver's requests use
    // this worker's clock and run flag.
    rrm_worker(const run_flag* running, driver_interface& driver, const char* domain, safe_queue& from_service,
               safe_queue& to_service, safe_queue& from_bus, safe_queue& to_bus);
    // After join.
    ~rrm_worker() override;

    // Ready when hostapd's pid file exists.
    bool init() override;
    // One step: due timers, at most one message of each queue, the driver's event wait.
    bool process() override;
    void deinit() override;
    bool is_alive(const run_flag* running) override;

    // Handles one message of any inbound queue. True: it has to wait until no scan runs.
    bool on_service_message(const std::shared_ptr<buffer_info_t>& message);

  private:
    friend struct rrm_test_access;

    struct command_row;
    using sta_candidates = std::multimap<std::int32_t, rrm_sta_s>;  // by RSSI, the weakest first
    using probe_table = std::unordered_map<MacAddr, sta_prob_info, mac_addr_hash>;
    using blocked_table = std::unordered_map<MacAddr, std::int32_t, mac_addr_hash>;  // seconds left

    static constexpr std::uint32_t scan_rounds = 5;
    enum timer_id : std::int32_t {
        timer_launch_scan,
        timer_scan_finished,
        timer_subscribe,
        timer_rrm_response,
        timer_probe_response,
        timer_config_changed,
        timer_blocked,
        timer_count
    };

    // lifecycle.cpp
    bool check_notifications();
    void process_hostapd_started();
    void process_hostapd_stopped();
    void cancel_all_timers();
    void clear_scan_results();
    void clear_station_tables();
    void remove_neighbour_reports();
    void for_each_kv_vap(const std::function<void(const char*)>& visit);  // VAPs with 802.11k/v, by name
    void arm(timer_id id, std::int64_t delay_s);                          // with the id's own callback
    std::int32_t radio_count();                                           // never above the number of radio names

    // subscription.cpp
    void send_subscribe_request();
    void subscribe_now();
    void retry_subscribe();
    void double_subscribe_backoff();
    void send_unsubscribe();
    void add_factory_info(json_writer& message);
    void send_disassoc_all_clients();
    void on_subscribe_response(const json_reader& message);
    void on_link_connected();
    void on_link_disconnected();

    // dispatch.cpp
    void consume(safe_queue& queue);
    void run_command(const json_reader& message, const char* cmd);
    void send_radio_report(const char* cmd);
    void send_mode_response(const json_reader&);

    // radio_description.cpp
    void add_radios(json_writer& message);
    void add_radio_description(json_writer& radios, const char* ifname, std::int32_t radio);
    void add_vap_description(int vap, const char* ssid, const char* mac, bool kv_enabled, json_writer& vaps,
                             std::int32_t radio);
    void add_station_description(const rrm_sta_s& station, json_writer& stations);
    bool config_switch(const char* path);

    // apply.cpp
    void apply_config(const json_reader& config);
    void apply_radio(const json_reader& entry, bool use_tpc, bool use_dca);
    void apply_neighbour_list(const json_reader& message, bool custom);
    void send_config_changed();
    void config_changed_due();

    // scans.cpp
    void process_rrm_update(const json_reader& message);
    void parse_scan_channels(const char* text);
    void launch_scan();
    void scan_finished();
    void start_round(bool active);
    void send_rrm_response();
    void rrm_response_due();

    // probe_report.cpp
    void post_rrm_probe_response();
    bool count_probe_entries_down(bool& due);
    bool add_expired_probes(json_writer& radios, std::size_t radio);

    // client_events.cpp
    void on_client_event(const json_reader& message);
    void count_blocked_down();

    // load_balancing.cpp
    void on_sta_overload(const json_reader& message);
    void roam_weakest(std::int32_t radio, std::int32_t roam_count, const char* ap_mac);
    void collect_roam_candidate(const rrm_sta_s& station, sta_candidates& candidates);
    void on_driver_event(const driver_event_desc& event);

    // fast_transition.cpp
    void process_fbt_info(const json_reader& message);
    bool add_fbt_vap(const json_reader& entry);
    void add_fbt_remotes(const json_reader& remotes, const char* rrb_key, json_writer& parent);

    driver_interface& driver_;
    bool subscribed_ = false;   // a subscription was confirmed and the link has not dropped since
    bool subscribing_ = false;  // the link is up and the subscription is not confirmed yet
    channel_set scan_channels_2g_;
    channel_set scan_channels_5g_;
    std::string domain_;
    safe_queue& from_service_;
    safe_queue& to_service_;
    safe_queue& from_bus_;
    safe_queue& to_bus_;  // only held
    safe_queue pending_;  // messages of the service that wait for the end of a scan
    std::uint32_t scan_round_ = 0;
    std::array<ap_table, scan_rounds> scan_results_;
    std::vector<probe_table> probe_tables_;      // one per radio
    std::vector<blocked_table> blocked_tables_;  // one per radio
    std::array<callback, timer_count> timer_callbacks_;
    bool active_scan_ = false;                   // five rounds; else a single RRM round
    std::int32_t subscribe_backoff_ = 30;        // seconds
    std::int32_t response_delay_ = 0;            // seconds between an RRM scan and its report
    std::int64_t hostapd_stop_time_ = 0;         // monotonic seconds; 0: no stop pending
    std::int32_t hostapd_restart_timeout_ = 60;  // seconds
    bool hostapd_stopped_ = false;
    bool use_80211v_ = false;
    bool use_80211r_ = false;
    std::int32_t fbt_reassoc_deadline_ = 1000;
    bool fbt_over_ds_ = true;
    const driver_interface::event_callback driver_event_callback_;

    // Resolved once: an idle turn looks at some of them and must not allocate.
    struct device_files {
        std::string hostapd_pid;
        std::string notify;
        std::string hostapd_started;
        std::string scoutd_started;
        std::string config_updated;
        std::string timezone_changed;
        std::string connected;
    };
    const device_files files_;
};

}  // namespace ravd
