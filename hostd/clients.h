// Stations as hostapd tells of them, told on to the agent: who joined, left, or roamed because it was asked to.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ravd::hostd {

struct client_event {
    const char* type = "";  // "auth", "recv-disassoc" or "80211v-roam"
    std::string vap;
    std::string mac;  // small letters
    std::string ssid;
    int rssi = 0;  // dBm; 0 when not known
    bool v = false;
    std::string target_mac;  // of a roam
};

// The message for the agent.
std::string message_text(const client_event& event);

class client_table {
  public:
    // What is known of a station that joined.
    struct station_facts {
        std::string ssid;
        int rssi = 0;
        bool v = false;
    };
    using look_up = std::function<station_facts(const std::string& vap, const std::string& mac)>;
    using teller = std::function<void(const client_event&)>;

    // Addresses are kept for this many stations a VAP; of others nothing is told.
    static constexpr std::size_t limit = 2048;

    client_table(look_up look, teller tell) : look_(std::move(look)), tell_(std::move(tell)) {}

    // One event of hostapd, as "AP-STA-CONNECTED 02:00:00:00:00:01"; others than those of stations do nothing.
    void take(const std::string& vap, const std::string& event, std::int64_t now_ms);
    // Who is there now, and who of them for so long that hostapd told of it: hostapd drops a listener that it could not
    // reach without a word. Tells the difference; true when there was one.
    bool compare(const std::string& vap, const std::vector<std::string>& present,
                 const std::vector<std::string>& settled, std::int64_t now_ms);
    // Who is there at the start: nothing is told.
    void begin(const std::string& vap, const std::string& ssid, const std::vector<std::string>& present);
    // hostapd ended: its stations are gone, and the agent knows.
    void forget(const std::string& vap) { vaps_.erase(vap); }
    std::size_t size() const;

  private:
    struct station {
        std::string ssid;
        std::string target;  // the BSS that it agreed to go to
        std::int64_t agreed_ms = 0;
    };
    void joined(const std::string& vap, const std::string& mac, std::int64_t now_ms);
    void left(const std::string& vap, const std::string& mac, std::int64_t now_ms);

    look_up look_;
    teller tell_;
    std::map<std::string, std::map<std::string, station>> vaps_;  // by name, then by address
};

}  // namespace ravd::hostd
