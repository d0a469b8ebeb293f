// The radios of a domain as their access points reported them: who hears whom, what else is heard, and what each may be
// set to. Plain values; the planner of the domain works on nothing else.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "sim/service/radio_view.h"

namespace ravd::sim {

// How a radio is set, or should be.
struct radio_setup {
    int channel = 0;
    int bandwidth = 20;            // MHz
    std::string primary = "none";  // "lower" or "upper" at 40 MHz
    int power = 0;                 // dBm
};
bool operator==(const radio_setup& a, const radio_setup& b);
inline bool operator!=(const radio_setup& a, const radio_setup& b) { return !(a == b); }
bool same_block(const radio_setup& a, const radio_setup& b);
// "36 at 40 MHz lower, 17 dBm"
std::string text_of(const radio_setup& setup);

// One access point: its last description and its last report.
struct access_point_view {
    std::string ap_mac;
    unsigned link = 0;  // another number stands for another connection
    std::vector<radio_view> radios;
    bool reported = false;  // a scan of this connection was reported
    std::vector<reported_bss> heard;
};

struct model_limits {
    int min_signal = -70;     // dBm: no client's signal falls below it by the plan
    int coverage = -70;       // dBm: a radio stays at least this loud at the own radio that hears it best
    int min_width = 20;       // MHz, where the channels allow it
    int max_width = 80;       // MHz
    bool keep_width = false;  // at 5 GHz: as it is now
    bool keep_power = false;
    double width_price = 0.3;     // what halving the width costs, in units of interference
    double channel_price = 0.05;  // of radar channels, and of 2.4 GHz channels other than 1, 6 and 11
};

// Another radio of the domain, as heard at its present power.
struct own_signal {
    std::size_t radio = 0;  // index
    double dbm = 0;
};

struct foreign_signal {
    int channel = 0;
    int bandwidth = 20;
    std::string primary;
    double dbm = 0;
};

// A block that a radio may use, and what speaks against it besides interference. Its power counts for nothing.
struct block_choice {
    radio_setup block;
    double price = 0;
};

struct domain_radio {
    std::string ap_mac;
    int id = 0;
    int band = 0;
    radio_setup now;
    std::vector<block_choice> choices;  // the first one is the present block, allowed or not
    bool must_move = false;             // the present block is not allowed
    int power = 0;  // the least that the limits allow; above the present one where a client needs it
    std::size_t clients = 0;
    bool steers = false;  // clients may be asked to roam
    std::vector<vap_view> vaps;
    std::vector<own_signal> hears;  // by index, ascending
    std::vector<foreign_signal> foreign;
    std::string held;  // why the block may not change; empty when it may
};

struct plan_model {
    std::vector<domain_radio> radios;
    std::vector<std::string> silent;  // access points without a report
};

// A BSS belongs to a radio of the domain when it is one of its VAPs or lies in the block of addresses that its access
// point gives the radio; of several the loudest counts. A signal is the mean over the rounds that heard it. Where only
// one of two heard the other, the path is taken to be the same both ways. Radios that are down are left out; those of
// an access point without a report keep their channel.
plan_model build_model(const std::vector<access_point_view>& access_points, const model_limits& limits);

}  // namespace ravd::sim
