// Fixed tables of the agent, constant-initialised: usable before main.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ravd {

// What a client event says of its station.
enum class client_event_kind : std::int32_t { connected = 0, gone = 1, roamed = 2 };

struct client_event_row {
    std::string_view name;
    client_event_kind kind;
};

constexpr std::array<client_event_row, 10> client_event_names{{
    {"8021x-fail", client_event_kind::gone},
    {"8021x-success", client_event_kind::connected},
    {"80211v-roam", client_event_kind::roamed},
    {"auth", client_event_kind::connected},
    {"auth-fail", client_event_kind::gone},
    {"reassoc", client_event_kind::gone},
    {"recv-deauth", client_event_kind::gone},
    {"recv-disassoc", client_event_kind::gone},
    {"send-deauth", client_event_kind::gone},
    {"send-disassoc", client_event_kind::gone},
}};

// The row of an event name; null for any other name.
constexpr const client_event_row* find_client_event(std::string_view name) {
    for (const client_event_row& row : client_event_names)
        if (row.name == name) return &row;
    return nullptr;
}

struct default_channel_row {
    std::uint32_t band;  // GHz; 0 when not known
    std::int32_t channel;
};

constexpr std::array<default_channel_row, 3> default_channels{{{0, 0}, {2, 1}, {5, 36}}};

// The channel that a radio which is not active is described with; 0 for an unknown band.
constexpr std::int32_t default_channel(std::uint32_t band) {
    for (const default_channel_row& row : default_channels)
        if (row.band == band) return row.channel;
    return 0;
}

}  // namespace ravd
