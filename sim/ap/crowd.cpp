#include "sim/ap/crowd.h"

#include <random>

namespace ravd::sim {
namespace {

// Six octets of a locally administered address: a block for neighbours, another for stations.
mac_octets numbered_mac(std::uint8_t block, int number) {
    return {0x06, 0x5e, block, 0x00, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

// Only the generator's own numbers, which are the same on every machine: the library's distributions are not.
class dice {
  public:
    explicit dice(std::uint32_t seed) : engine_(seed) {}
    int roll(int low, int high) { return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1)); }

  private:
    std::mt19937 engine_;
};

channel_use crowd_channel(dice& d) {
    static constexpr int common_2g[] = {1, 1, 1, 6, 6, 6, 11, 11, 11, 3, 8, 13};
    static constexpr int common_5g[] = {36, 36, 40, 44, 48, 52, 60, 100, 112, 149, 157};
    channel_use use;
    if (d.roll(1, 10) <= 6) {
        use.channel = common_2g[d.roll(0, 11)];
        use.bandwidth = d.roll(1, 5) == 1 ? 40 : 20;
    } else {
        static constexpr int widths[] = {20, 40, 80, 80};
        use.channel = common_5g[d.roll(0, 10)];
        use.bandwidth = widths[d.roll(0, 3)];
    }
    return use;
}

}  // namespace

void add_crowd(scenario& target, int neighbours, int stations) {
    dice d(target.seed);
    for (int n = 0; n < neighbours; ++n) {
        scenario_neighbour neighbour;
        neighbour.bssid = numbered_mac(0x01, n);
        neighbour.ssid = "flat-" + std::to_string(n + 1);
        neighbour.use = crowd_channel(d);
        // Few are near.
        neighbour.rssi = -40 - d.roll(0, 27) - d.roll(0, 27);
        neighbour.power = d.roll(14, 20);
        target.neighbours.push_back(neighbour);
    }
    std::vector<scenario_vap*> homes;
    for (scenario_radio& radio : target.radios)
        for (scenario_vap& vap : radio.vaps)
            if (!vap.ssid.empty() && vap.enabled) homes.push_back(&vap);
    for (int n = 0; n < stations && !homes.empty(); ++n) {
        scenario_station station;
        station.mac = numbered_mac(0x02, n);
        station.rssi = -40 - d.roll(0, 45);
        station.v = d.roll(1, 4) != 1;
        station.obeys = d.roll(1, 10) != 1;
        homes[static_cast<std::size_t>(d.roll(0, static_cast<int>(homes.size()) - 1))]->stations.push_back(station);
    }
}

}  // namespace ravd::sim
