// How much weaker a signal arrives: by distance, walls, floors, and what stands about.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ravd::sim {

// Metres from the building's corner; floors from 0, three metres each.
struct place {
    double x = 0;
    double y = 0;
    int floor = 0;
};

inline bool operator==(const place& a, const place& b) { return a.x == b.x && a.y == b.y && a.floor == b.floor; }

constexpr double place_limit = 10000;  // metres either way
constexpr int floor_limit = 200;

enum class building_kind { building, office, street };
// "building", "office", "street"; nothing for another word.
std::optional<building_kind> building_kind_of(const std::string& word);
const char* building_kind_word(building_kind kind);

// What lies between two places. The same kind and seed give the same air wherever it is asked for.
struct surroundings {
    building_kind kind = building_kind::building;
    std::uint32_t seed = 1;
};

// One end of a path. The number tells it from others: a hardware address will do.
struct antenna {
    std::uint64_t number = 0;
    place where;
};

// Loss in dB in a band of 2 or 5 GHz, the same both ways: log-distance with the exponent of the kind, so much per wall
// and floor crossed, and a shadowing of about 4 dB that belongs to this pair of ends and band. Antennas have no gain.
int path_loss_db(const surroundings& air, int band, const antenna& a, const antenna& b);

// dBm heard from a sender of so many dBm.
inline int heard_dbm(const surroundings& air, int band, int power, const antenna& from, const antenna& to) {
    return power - path_loss_db(air, band, from, to);
}

constexpr int hearing_limit_dbm = -95;  // nothing is heard below

}  // namespace ravd::sim
