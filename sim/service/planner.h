// Chooses channel, width and power of a radio from what was heard on the air. No state, no side effects.
#pragma once

#include <string>
#include <vector>

#include "sim/common/channel_block.h"
#include "sim/service/radio_view.h"

namespace ravd::sim {

// What a transmission covers, as a range of MHz.
using span = channel_block;

struct decision {
    int radio = 0;
    bool set_channel = false;
    bool set_power = false;
    int channel = 0;
    int bandwidth = 20;
    std::string primary = "none";  // "lower" or "upper" at 40 MHz
    int power = 0;
    double load = 0;          // of what was chosen
    double current_load = 0;  // of what the radio uses now
    std::string reason;
};

// The span of a control channel. `primary` says where it lies at 40 MHz ("upper": in the upper half) and at 80 MHz
// ("ll", "lu", "ul", "uu"); without it the fixed blocks of the 5 GHz band count.
span channel_span(int channel, int bandwidth, const std::string& primary);

// The first channel of the fixed 40 or 80 MHz block that holds a 5 GHz channel; 0 when there is none.
int block_start(int channel, int bandwidth);
bool needs_radar_detection(int channel);

// The part of the narrower of both spans that overlaps, 0 to 1; at 2.4 GHz any overlap counts in full.
double overlap(const span& a, const span& b);

// How much of the air a BSS heard with `rssi` takes: 0 (-95 dBm or less) to 1 (-35 dBm or more).
double weight(int rssi);
// The same for a signal in dBm, which need not be whole.
double strength(double dbm);

// Load that `heard` puts on a span: for every BSS its weight times the part of the narrower of both spans that
// overlaps; at 2.4 GHz any overlap counts in full. BSSs of `own` (upper or lower case) do not count; of one BSS heard
// in several rounds the loudest counts.
double load_on(const span& where, const std::vector<reported_bss>& heard, const std::vector<std::string>& own);

// One decision per radio that is up. Lock flags are respected: a locked radio keeps its channel or power.
std::vector<decision> plan(const std::vector<radio_view>& radios, const std::vector<reported_bss>& heard);

// Where the description differs from the decision, as text; empty when it shows what was ordered.
std::string difference(const decision& ordered, const radio_view& shown);

}  // namespace ravd::sim
