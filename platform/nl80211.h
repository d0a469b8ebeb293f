// Radios of mainline Linux: typed calls to the kernel's nl80211.
//
// platform/netlink implements them on libnl; unit tests have a fake. Results: 0, or a negative error number as the
// kernel or the library gave it (-ENODEV no such interface, -EBUSY, -ENETDOWN, -ERFKILL, -EOPNOTSUPP a command that the
// kernel or the radio lacks, -ETIMEDOUT no answer in time). None of the calls throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ravd {

// Kinds of interface that matter here.
enum class wireless_type { other, station, access_point };

// An interface as it is. Numbers are 0 where the kernel names none (an access point that does not beacon has no
// channel).
struct wireless_interface {
    std::uint32_t index = 0;
    std::uint32_t phy = 0;
    std::string name;
    std::array<std::uint8_t, 6> mac{};
    wireless_type type = wireless_type::other;
    std::string ssid;             // bytes, any of them
    std::uint32_t frequency = 0;  // MHz, of the primary channel
    std::uint32_t width = 0;      // MHz: 20, 40, 80, 160; others are given as 0
    std::uint32_t centre = 0;     // MHz
    std::int32_t tx_power = 0;    // 1/100 dBm
};

// A channel of a radio under the regulatory rules in force.
struct phy_channel {
    std::uint32_t frequency = 0;  // MHz
    std::int32_t max_power = 0;   // 1/100 dBm
    bool disabled = false;
    bool no_ir = false;  // nothing may be sent that is no answer: no access point, no probe request
    bool radar = false;
    bool no_ht40_minus = false;  // no secondary channel below
    bool no_ht40_plus = false;   // none above
    bool no_80 = false;
    bool no_160 = false;
};

// What is built into the radio for one of its bands.
struct phy_band {
    std::optional<std::uint16_t> ht_capabilities;   // as in the HT capabilities element; none: no HT
    std::optional<std::uint32_t> vht_capabilities;  // likewise
    std::vector<phy_channel> channels;
};

struct phy_info {
    std::uint32_t index = 0;
    std::string name;
    std::uint32_t scan_ssids = 0;  // SSIDs that a scan may probe for; 0: scans only listen
    bool scan_flush = false;       // can forget what earlier scans heard
    std::vector<phy_band> bands;   // those that it has, lowest first
};

// A BSS that was heard. The elements are those of the probe response where one came, else of the beacon, as they were
// received: hostile until checked. They are valid during the call.
struct heard_bss {
    std::array<std::uint8_t, 6> bssid{};
    std::uint32_t frequency = 0;         // MHz
    std::optional<std::int32_t> signal;  // 1/100 dBm
    std::uint32_t age_ms = 0;            // since it was last heard
    const std::uint8_t* elements = nullptr;
    std::size_t length = 0;
};

struct heard_station {
    std::array<std::uint8_t, 6> mac{};
    std::optional<std::int32_t> signal;          // dBm, of the last frame
    std::optional<std::int32_t> signal_average;  // dBm
    std::vector<std::int32_t> chains;            // dBm, averages an antenna (of the last frame, where there are none)
    bool associated = true;                      // false: on its way in or out, with no more than an authentication
    std::uint32_t connected_s = 0;
    std::uint32_t inactive_ms = 0;
};

struct scan_request {
    std::vector<std::uint32_t> frequencies;  // MHz; none: all that the radio may use
    bool probe = true;                       // sends probe requests where that is allowed; else only listens
    bool flush = false;                      // makes the kernel forget at its end what was heard before
};

enum class wireless_event {
    scan_started,
    scan_finished,
    scan_aborted,
    rules_changed,  // regulatory; phy and interface are 0
    interface_added,
    interface_removed,
};
struct wireless_notice {
    wireless_event event;
    std::uint32_t phy;        // index
    std::uint32_t interface;  // index
};

// A connection to nl80211, for one thread at a time. Every wait for a message is bounded by the limit with which it was
// opened, and a whole answer by a few times that; a call that the kernel itself holds up cannot be ended from here.
// Calls that append do so up to `limit` entries and drop the rest.
class nl80211_port {
  public:
    virtual ~nl80211_port() = default;

    virtual int interface_index(const char* name, std::uint32_t& index) = 0;
    virtual int get_interface(std::uint32_t index, wireless_interface& interface) = 0;
    // Interfaces of all radios, appended.
    virtual int list_interfaces(std::vector<wireless_interface>& interfaces, std::size_t limit = 64) = 0;
    virtual int get_phy(std::uint32_t phy, phy_info& info) = 0;

    // A new interface of a radio, down. -ENFILE, -EEXIST and the like when the name is taken.
    virtual int add_interface(std::uint32_t phy, const char* name, wireless_type type,
                              const std::array<std::uint8_t, 6>* mac, std::uint32_t& index) = 0;
    virtual int delete_interface(std::uint32_t index) = 0;

    // Transmit power of the radio, fixed at this many 1/100 dBm; without a number the kernel chooses.
    virtual int set_tx_power(std::uint32_t phy, std::optional<std::int32_t> power) = 0;

    // Begins a scan on an interface that is up. -EBUSY while another one goes on. Its start is told as an event behind
    // the end of whatever went before it.
    virtual int trigger_scan(std::uint32_t index, const scan_request& wanted) = 0;
    // Ends a scan of anybody on the interface; its end is told as an event all the same. -ENOENT when there is none.
    virtual int abort_scan(std::uint32_t index) = 0;
    // What the radio of an interface remembers to have heard.
    virtual int get_scan(std::uint32_t index, const std::function<void(const heard_bss&)>& take,
                         std::size_t limit = 1024) = 0;

    virtual int get_stations(std::uint32_t index, std::vector<heard_station>& stations, std::size_t limit = 2048) = 0;

    // Country of the rules in force, "00" for the world's.
    virtual int get_country(std::string& alpha2) = 0;
    virtual int set_country(const char* alpha2) = 0;  // two characters; the rules follow later, told as an event

    // Events. Listening begins with the first of these calls: an event before it is not told. The descriptor is
    // readable while there may be events, and belongs to the connection; -1, with errno set, when there is none.
    virtual int event_descriptor() = 0;
    // Hands over what is there, without waiting; of a flood only a part, and the descriptor stays readable.
    virtual int read_events(const std::function<void(const wireless_notice&)>& take) = 0;
};

// Null, with errno set, when the kernel has no nl80211 (ENOENT) or there is no socket.
std::unique_ptr<nl80211_port> open_nl80211(int limit_ms = 1000);

// Channel number of a frequency in MHz, in the 2.4 GHz (1 to 14) and 5 GHz bands (1 to 200); 0 for others.
constexpr std::uint32_t channel_of_frequency(std::uint32_t mhz) {
    if (mhz == 2484) return 14;
    if (mhz >= 2412 && mhz <= 2472 && (mhz - 2407) % 5 == 0) return (mhz - 2407) / 5;
    if (mhz > 5000 && mhz <= 5925 && (mhz - 5000) % 5 == 0) return (mhz - 5000) / 5;
    return 0;
}
// The frequency of a channel number as a planner of two bands means it: up to 14 in the 2.4 GHz band, 15 to 185 in the
// 5 GHz band; 0 for others.
constexpr std::uint32_t frequency_of_channel(std::uint32_t channel) {
    if (channel == 14) return 2484;
    if (channel >= 1 && channel <= 13) return 2407 + 5 * channel;
    return channel > 14 && channel <= 185 ? 5000 + 5 * channel : 0;
}

}  // namespace ravd
