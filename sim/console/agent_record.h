// One agent as the log tells of it: what a browser is shown. Unlike the service's own view of an agent it can be copied
// and outlives the connection.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim/common/json.h"
#include "sim/service/channel_load.h"
#include "sim/service/configuration.h"
#include "sim/service/radio_view.h"
#include "sim/service/scan_progress.h"

namespace ravd::sim {

// Six bytes in the low end; 0 when the text is no MAC address.
std::uint64_t mac_number(const std::string& text);
std::string mac_text(std::uint64_t number);

// One BSS of a report, over all its rounds. Small: a log of an hour holds a million.
struct heard_bss {
    std::uint64_t bssid = 0;
    std::int16_t rssi = 0;  // dBm, of the loudest
    std::int16_t channel = 0;
    std::int16_t bandwidth = 0;
    std::int16_t tx_power = 0;
    std::uint8_t primary = 0;  // as index of primary_name()
    std::uint8_t rounds = 0;
};

const char* primary_name(std::uint8_t index);

struct scan_report {
    std::int64_t time_ms = 0;
    unsigned rounds = 0;
    std::vector<heard_bss> heard;  // the loudest first
    std::vector<channel_load> load;
};

scan_report make_report(std::int64_t time_ms, const std::vector<radio_view>& radios,
                        const std::vector<reported_bss>& heard);

// What the service asked for, each with its last value.
struct order_record {
    std::int64_t time_ms = 0;  // 0: nothing yet
    std::map<int, radio_setting> radios;
    int use_dca = -1;
    int use_tpc = -1;
    int use_80211v = -1;
    int use_80211r = -1;
    std::shared_ptr<json_object> neighbours;  // "802dot11k", or null

    // Takes what an "rrm-info", or the "config" of a subscription answer, sets.
    void take(json_object* settings, std::int64_t now_ms);
};

struct agent_record {
    unsigned id = 0;
    std::string mac;
    std::string peer;
    std::string protocol;
    std::string path;
    std::int64_t connected_ms = 0;
    std::int64_t closed_ms = 0;  // 0: it is there
    std::string reason;
    bool subscribed = false;
    std::string domain;
    std::int64_t heard_ms = 0;
    std::uint64_t received = 0;
    std::uint64_t violations = 0;
    std::vector<radio_view> radios;
    order_record ordered;
    scan_progress scan;  // its times are seconds since 1970
    std::shared_ptr<const scan_report> report;
    std::uint64_t last_received = 0;  // number of its last message in the log

    bool here() const { return closed_ms == 0; }
    bool speaks_rrm() const { return protocol != "websock-roaming"; }
};

}  // namespace ravd::sim
