// The access point's radios and their VAPs: a fixed table whose names and addresses are given at start-up, and whose
// other fields are filled each time hostapd starts. Owned by the driver object, used on the RRM worker's thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace ravd {

constexpr std::int32_t radio_limit = 2;
constexpr std::int32_t vap_limit = 7;  // per radio

constexpr std::uint32_t default_tx_power_max = 16;
constexpr std::uint32_t default_tx_power_min = 11;

struct vap_record {
    std::string name;  // "wlan%d-va%d"
    std::string mac;   // BSSID, lower-case text
    std::string ssid;  // empty: not configured
    bool captive_portal = false;
    bool active = false;  // exists, is up and is enabled
    bool enterprise = false;
    bool kv_enabled = false;  // 802.11k/v
};

struct interface_context {
    std::array<vap_record, vap_limit> vaps;
    std::string name;  // "wlan%d"
    bool up = false;
    std::uint32_t vap_base = 0;  // first address of the radio's block, counted from the base MAC
    std::uint32_t vap_span = 0;  // addresses in the block
    bool wds_enabled = false;
    bool obss_coex = false;
    std::string country;
    std::uint32_t tx_power_max = default_tx_power_max;
    std::uint32_t tx_power_min = default_tx_power_min;
    std::uint32_t bandwidth = 0;  // configured bandwidth and sideband as chanspec bits
    std::uint32_t band = 0;       // GHz, 2 or 5; 0 while not known
};

bool operator==(const vap_record& a, const vap_record& b);
bool operator==(const interface_context& a, const interface_context& b);

class radio_table {
  public:
    // Names, address blocks, VAP addresses and power defaults. `base_mac` is the factory text, zero-terminated; one
    // that does not hold six octets counts as zero.
    void fill_names(const char* base_mac);
    // Empties what init_interface_context fills. Names, addresses and countries stay.
    void reset();

    bool operator==(const radio_table& other) const;

    // Null, with an error in the log, when the number is out of range.
    interface_context* get_radio(std::int32_t radio_id);
    const interface_context* get_radio(std::int32_t radio_id) const;
    static vap_record* get_vap(interface_context& radio, std::int32_t vap_id);
    static const vap_record* get_vap(const interface_context& radio, std::int32_t vap_id);
    // Radio of an interface name by its "wlan%d" start. Null, with an error in the log.
    const interface_context* radio_by_ifname(const char* ifname) const;

    // "/interface/IFNAME/wlan/radio/KEY"; empty when the name belongs to no radio.
    std::string radio_path(const char* ifname, const char* key) const;

  private:
    std::array<interface_context, radio_limit> radios_;
};

// "/interface/IFNAME" followed by the key, which begins with "/".
std::string vap_path(const char* ifname, const char* key);

}  // namespace ravd
