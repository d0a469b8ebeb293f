// What the table of radios and VAPs says, as long as it may be believed: while hostapd is not known to run, or the
// process is told to stop, everything is answered with its neutral value.
#pragma once

#include "core/worker.h"
#include "driver/radio_table.h"

namespace ravd {

class radio_state {
  public:
    // `running` is the agent's run flag and outlives the state.
    explicit radio_state(const run_flag* running) : running_(running) {}

    radio_table& table() { return table_; }
    const radio_table& table() const { return table_; }

    void set_hostapd_running(bool running) { hostapd_running_ = running; }
    bool hostapd_running() const { return hostapd_running_; }
    bool process_running() const { return running_->load(std::memory_order_relaxed); }
    // Both.
    bool flags() const { return hostapd_running_ && process_running(); }

    // As the system shows it at this moment.
    bool is_radio_up(const char* radio_name) const;
    bool vap_is_up(const char* ifname, std::int32_t vap) const;
    bool interface_is_up(const std::string& name) const;

    // As the table has it. Out of range is false or null, with an error in the log.
    bool radio_up(std::int32_t radio) const;
    bool radio_wds_enabled(std::int32_t radio) const;
    bool radio_has_band(std::int32_t radio, std::uint32_t band) const;
    bool any_vap_active(std::int32_t radio) const;
    bool vap_active(std::int32_t radio, std::int32_t vap) const;
    bool vap_kv_enabled(std::int32_t radio, std::int32_t vap) const;
    // A radio that is up and no WDS link: another may be scanned by nobody.
    bool may_scan(std::int32_t radio) const { return radio_up(radio) && !radio_wds_enabled(radio); }

    // Null or -1 when there is none.
    const char* vap_name(std::int32_t vap, std::int32_t radio) const;
    const char* vap_ssid(std::int32_t vap, std::int32_t radio) const;
    const char* vap_mac(std::int32_t vap, std::int32_t radio) const;
    int vap_index_by_ssid(const char* ssid, std::int32_t radio) const;
    const char* vap_name_by_ssid(const char* ssid, std::int32_t radio) const;

  private:
    const interface_context* radio(std::int32_t radio) const { return flags() ? table_.get_radio(radio) : nullptr; }
    const interface_context* up_radio(std::int32_t radio) const;
    // The VAP when its radio is up and it is active, else null.
    const vap_record* usable_vap(std::int32_t radio, std::int32_t vap) const;

    const run_flag* running_;
    bool hostapd_running_ = false;
    radio_table table_;
};

}  // namespace ravd
