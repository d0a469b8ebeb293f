#include "sim/ap/neighbour_text.h"

#include <cstdio>

namespace ravd::sim {
namespace {

// Length of the "add" order at `text`, filled into `entry`; 0 when it cannot be read.
std::size_t read_classic(const std::string& text, neighbour_entry& entry) {
    auto& b = entry.bssid;
    unsigned info = 0;
    int operating_class = 0;
    int phy = 0;
    int used = 0;
    const int n = std::sscanf(text.c_str(), "add %2hhx%2hhx%2hhx%2hhx%2hhx%2hhx 0x%x %d %d %d ssid \"%n", &b[0], &b[1],
                              &b[2], &b[3], &b[4], &b[5], &info, &operating_class, &entry.channel, &phy, &used);
    if (n != 10 || used == 0) return 0;
    const auto ssid = static_cast<std::size_t>(used);
    // The first quotation mark that the rest of the order follows: an SSID may have its own.
    for (std::size_t quote = text.find('"', ssid); quote != std::string::npos; quote = text.find('"', quote + 1)) {
        int load[2];
        int tail = 0;
        if (std::sscanf(text.c_str() + quote, "\" bssload %d %d%n", &load[0], &load[1], &tail) != 2 || tail == 0)
            continue;
        entry.ssid = text.substr(ssid, quote - ssid);
        const std::size_t end = quote + static_cast<std::size_t>(tail);
        entry.rest = text.substr(4, end - 4);
        return end;
    }
    return 0;
}

std::size_t read_wifi6(const std::string& text, neighbour_entry& entry) {
    auto& b = entry.bssid;
    unsigned info = 0;
    unsigned operating_class = 0;
    unsigned channel = 0;
    unsigned phy = 0;
    unsigned priority = 0;
    int used = 0;
    const int n = std::sscanf(text.c_str(), "add %2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx %u %u %u %u %u%n", &b[0], &b[1],
                              &b[2], &b[3], &b[4], &b[5], &info, &operating_class, &channel, &phy, &priority, &used);
    if (n != 11 || used == 0) return 0;
    entry.channel = static_cast<int>(channel & 0xFFFF);
    entry.rest = text.substr(4, static_cast<std::size_t>(used) - 4);
    return static_cast<std::size_t>(used);
}

}  // namespace

std::vector<neighbour_order> read_neighbour_orders(const std::string& text, chip_kind kind) {
    std::vector<neighbour_order> orders;
    std::size_t at = 0;
    while ((at = text.find_first_not_of("\r\n", at)) != std::string::npos) {
        const std::string rest = text.substr(at);
        neighbour_order order;
        std::size_t length = 0;
        if (rest.compare(0, 6, "delall") == 0) {
            order.what = neighbour_order::clear;
            length = 6;
        } else {
            length = kind == chip_kind::rtk_wifi6 ? read_wifi6(rest, order.entry) : read_classic(rest, order.entry);
            if (length > 0) order.what = neighbour_order::add;
        }
        if (length == 0) {
            // Nothing behind it can be trusted to begin an order.
            order.entry = {};
            order.entry.rest = rest;
            length = rest.size();
        }
        orders.push_back(order);
        at += length;
    }
    return orders;
}

}  // namespace ravd::sim
