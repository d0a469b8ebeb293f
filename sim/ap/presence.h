// What an access point tells the others of its air: where it is, what it sends, and who of its stations is where.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/common/channel_block.h"
#include "sim/common/mac_text.h"
#include "sim/common/propagation.h"

namespace ravd::sim {

constexpr mac_octets no_address{};

struct presence_bss {
    mac_octets bssid{};
    std::string ssid;
};

// A radio that sends; one that is down is left out.
struct presence_radio {
    channel_use use;
    int power = 0;  // dBm
    std::vector<presence_bss> vaps;
};

// A station that chooses its access point itself. It belongs to the access point whose scenario has it.
struct presence_station {
    mac_octets mac{};
    place where;
    mac_octets at{};     // BSS it is associated to; zeros: none
    bool asked = false;  // it went there because it was asked to
    bool v = true;
    bool obeys = true;
};

// A guest that was asked to go elsewhere: for the access point that it belongs to.
struct presence_wish {
    mac_octets station{};
    int number = 0;  // tells one wish from the next
    std::vector<mac_octets> targets;
};

struct presence {
    mac_octets base{};
    std::string name;
    place where;
    std::vector<presence_radio> radios;
    std::vector<presence_station> stations;
    std::vector<presence_wish> wishes;
};

bool operator==(const presence& a, const presence& b);

// What a text may hold at most; stations and wishes beyond are not told.
constexpr std::size_t presence_station_limit = 1000;
constexpr std::size_t presence_wish_limit = 100;
constexpr std::size_t presence_target_limit = 16;  // of a wish
constexpr std::size_t presence_text_limit = 512 * 1024;

// One line of JSON.
std::string presence_text(const presence& what);
// Checks every value: the text may come from anywhere. False with the place and the reason.
bool parse_presence(const std::string& text, presence& result, std::string& fault);

// How loud an access point of a base address and place arrives somewhere.
int heard_from(const surroundings& air, const presence& who, const presence_radio& radio, const antenna& at);

}  // namespace ravd::sim
