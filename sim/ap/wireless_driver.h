// The driver of both chips: answers wireless ioctls from the access point's state.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/radio_protocol.h"
#include "sim/ap/access_point.h"
#include "sim/ap/event_log.h"
#include "sim/ap/faults.h"
#include "sim/ap/stations.h"

namespace ravd::sim {

class wireless_driver {
  public:
    wireless_driver(access_point& ap, station_book& stations, fault_list& faults, const event_log& log)
        : ap_(ap), stations_(stations), faults_(faults), log_(log) {}

    // Runs when a station that will obey was asked to roam.
    void set_roam_listener(std::function<void(const mac_octets&)> told) { roam_told_ = std::move(told); }

    struct answer {
        radio_reply reply;
        std::int64_t delay_ms = 0;
    };
    // Answers one request; nothing when it hangs.
    std::optional<answer> handle(const radio_request& request);

  private:
    enum class call;
    static call classify(const radio_request& request, const radio_state& radio);
    static std::vector<std::string> names_of(call what, const radio_request& request);
    radio_reply perform(call what, const radio_request& request, radio_state& radio);
    radio_reply custom_command(const radio_request& request, radio_state& radio, std::int64_t now_ms);
    radio_reply read_mib(const radio_request& request, const radio_state& radio) const;
    radio_reply write_mib(const radio_request& request, radio_state& radio);
    radio_reply start_rrm(const radio_request& request, radio_state& radio);
    radio_reply transition(const radio_request& request);
    std::string station_list(const radio_request& request, std::int64_t now_ms);

    access_point& ap_;
    station_book& stations_;
    fault_list& faults_;
    const event_log& log_;
    std::function<void(const mac_octets&)> roam_told_;
};

}  // namespace ravd::sim
