// What the planner of the domain needs of the service: the access points, and ways to order something of them. All are
// named by their address; of several connections of one access point the newest counts.
#pragma once

#include <string>
#include <vector>

#include "sim/service/configuration.h"
#include "sim/service/domain/model.h"

namespace ravd::sim {

class domain_world {
  public:
    virtual ~domain_world() = default;
    // Those that are subscribed.
    virtual std::vector<access_point_view> access_points() const = 0;
    // As it was described last, and the number of its connection; null and 0 when it is not subscribed.
    virtual const std::vector<radio_view>* radios_of(const std::string& ap_mac) const = 0;
    virtual unsigned link_of(const std::string& ap_mac) const = 0;
    // Orders; false when it is not there.
    virtual bool configure(const std::string& ap_mac, configuration settings) = 0;
    virtual bool ask(const std::string& ap_mac) = 0;
    virtual bool scan(const std::string& ap_mac, const std::string& channels) = 0;
    // Asks `clients` of a radio to leave for one of `neighbours`.
    virtual bool overload(const std::string& ap_mac, int radio, int clients, json_ptr neighbours) = 0;
};

}  // namespace ravd::sim
