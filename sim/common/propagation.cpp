#include "sim/common/propagation.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "sim/common/dice.h"

namespace ravd::sim {
namespace {

// Rooms as a grid from the corner: a path crosses the walls that stand between the rooms of its ends.
struct kind_traits {
    const char* word;
    double exponent;
    double room_x, room_y;      // metres
    double wall_2g, wall_5g;    // dB each
    double floor_2g, floor_5g;  // dB each
};

constexpr kind_traits traits[] = {
    {"building", 2.3, 5, 4, 4, 6, 15, 18},
    {"office", 2.8, 12, 12, 3, 4, 18, 22},
    {"street", 2.7, 6, 5, 3, 4, 12, 15},
};

constexpr double one_metre_2g = 40.1;  // dB in free space
constexpr double one_metre_5g = 46.8;
constexpr double floor_height = 3;
constexpr double shadow_span = 20;  // dB; a standard deviation of 4

const kind_traits& traits_of(building_kind kind) { return traits[static_cast<std::size_t>(kind)]; }

double crossed(double a, double b, double room) { return std::fabs(std::floor(a / room) - std::floor(b / room)); }

}  // namespace

std::optional<building_kind> building_kind_of(const std::string& word) {
    for (const building_kind kind : {building_kind::building, building_kind::office, building_kind::street})
        if (word == traits_of(kind).word) return kind;
    return std::nullopt;
}

const char* building_kind_word(building_kind kind) { return traits_of(kind).word; }

int path_loss_db(const surroundings& air, int band, const antenna& a, const antenna& b) {
    const kind_traits& kind = traits_of(air.kind);
    const bool low = band == 2;
    const double dx = a.where.x - b.where.x;
    const double dy = a.where.y - b.where.y;
    const int floors = std::abs(a.where.floor - b.where.floor);
    const double dz = floors * floor_height;
    const double metres = std::max(1.0, std::sqrt(dx * dx + dy * dy + dz * dz));
    const double walls = crossed(a.where.x, b.where.x, kind.room_x) + crossed(a.where.y, b.where.y, kind.room_y);
    const auto [first, second] = std::minmax(a.number, b.number);
    const std::uint64_t pair = scramble(scramble(scramble(air.seed + 1) ^ first) + second);
    const double shadow = bell(scramble(pair + static_cast<unsigned>(band)), shadow_span);
    const double loss = (low ? one_metre_2g : one_metre_5g) + 10 * kind.exponent * std::log10(metres) +
                        walls * (low ? kind.wall_2g : kind.wall_5g) + floors * (low ? kind.floor_2g : kind.floor_5g) +
                        shadow;
    // No closer than free space at half a metre, whatever the shadowing says.
    return static_cast<int>(std::lround(std::max(loss, one_metre_2g - 6)));
}

}  // namespace ravd::sim
