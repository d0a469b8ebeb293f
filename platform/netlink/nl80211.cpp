#include "platform/nl80211.h"

#include <linux/nl80211.h>
#include <net/if.h>
#include <netlink/genl/ctrl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/netlink/replies.h"
#include "platform/netlink/socket.h"

namespace ravd {
namespace {

using netlink::attributes;
using netlink::request;

constexpr const char* family_name = "nl80211";
constexpr int list_attempts = 3;  // when it changes while it is read

// Appends what `read` makes of each message, up to `limit` entries.
template <typename Record>
auto append_to(std::vector<Record>& records, std::size_t limit, bool (*read)(attributes, Record&)) {
    return [&records, limit, read](std::uint8_t, attributes found) {
        Record record;
        if (records.size() < limit && read(found, record)) records.push_back(std::move(record));
    };
}

class nl80211_connection final : public nl80211_port {
  public:
    nl80211_connection(netlink::socket_ptr socket, int family, int limit_ms)
        : requests_(std::move(socket)), family_(family), limit_ms_(limit_ms) {}

    int interface_index(const char* name, std::uint32_t& index) override;
    int get_interface(std::uint32_t index, wireless_interface& interface) override;
    int list_interfaces(std::vector<wireless_interface>& interfaces, std::size_t limit) override;
    int get_phy(std::uint32_t phy, phy_info& info) override;
    int add_interface(std::uint32_t phy, const char* name, wireless_type type, const std::array<std::uint8_t, 6>* mac,
                      std::uint32_t& index) override;
    int delete_interface(std::uint32_t index) override;
    int set_tx_power(std::uint32_t phy, std::optional<std::int32_t> power) override;
    int trigger_scan(std::uint32_t index, const scan_request& wanted) override;
    int abort_scan(std::uint32_t index) override;
    int get_scan(std::uint32_t index, const std::function<void(const heard_bss&)>& take, std::size_t limit) override;
    int get_stations(std::uint32_t index, std::vector<heard_station>& stations, std::size_t limit) override;
    int get_country(std::string& alpha2) override;
    int set_country(const char* alpha2) override;
    int event_descriptor() override;
    int read_events(const std::function<void(const wireless_notice&)>& take) override;

  private:
    int send(const request& message, const netlink::reply_reader& read = {});
    // A list, read again from its start when it changed meanwhile.
    int send_for_list(const request& message, const netlink::reply_reader& read);
    template <typename Record>
    int get_list(const request& message, std::vector<Record>& records, std::size_t limit,
                 bool (*read)(attributes, Record&));
    bool listen();

    netlink::socket_ptr requests_;  // null after an answer stayed away: a late one would be taken for the next
    netlink::socket_ptr events_;
    int family_;
    int limit_ms_;
};

int nl80211_connection::send(const request& message, const netlink::reply_reader& read) {
    if (!requests_) requests_ = netlink::open_socket(limit_ms_);
    if (!requests_) return errno != 0 ? -errno : -EIO;
    const int result = netlink::exchange(requests_.get(), message, read);
    if (result == -ETIMEDOUT || result == -ENOMEM) requests_.reset();
    return result;
}

int nl80211_connection::send_for_list(const request& message, const netlink::reply_reader& read) {
    int result = send(message, read);
    for (int attempt = 1; result == -EAGAIN && attempt < list_attempts; ++attempt)
        result = send(message, read);
    return result == -EAGAIN ? 0 : result;  // it may lack an entry
}

template <typename Record>
int nl80211_connection::get_list(const request& message, std::vector<Record>& records, std::size_t limit,
                                 bool (*read)(attributes, Record&)) {
    std::vector<Record> found;
    int result = send(message, append_to(found, limit, read));
    for (int attempt = 1; result == -EAGAIN && attempt < list_attempts; ++attempt) {
        found.clear();
        result = send(message, append_to(found, limit, read));
    }
    if (result == -EAGAIN) result = 0;
    std::move(found.begin(), found.end(), std::back_inserter(records));
    return result;
}

int nl80211_connection::interface_index(const char* name, std::uint32_t& index) {
    index = if_nametoindex(name);
    return index != 0 ? 0 : -ENODEV;
}

int nl80211_connection::get_interface(std::uint32_t index, wireless_interface& interface) {
    bool known = false;
    const int result = send(request(family_, NL80211_CMD_GET_INTERFACE).put_u32(NL80211_ATTR_IFINDEX, index),
                            [&](std::uint8_t, attributes found) { known = netlink::read_interface(found, interface); });
    return result != 0 || known ? result : -ENODEV;
}

int nl80211_connection::list_interfaces(std::vector<wireless_interface>& interfaces, std::size_t limit) {
    return get_list(request(family_, NL80211_CMD_GET_INTERFACE, NLM_F_DUMP), interfaces, limit,
                    netlink::read_interface);
}

int nl80211_connection::get_phy(std::uint32_t phy, phy_info& info) {
    info = phy_info();
    const int result = send(request(family_, NL80211_CMD_GET_WIPHY, NLM_F_DUMP)
                                .put_flag(NL80211_ATTR_SPLIT_WIPHY_DUMP)
                                .put_u32(NL80211_ATTR_WIPHY, phy),
                            [&](std::uint8_t, attributes found) { netlink::add_to_phy(found, phy, info); });
    const auto empty = [](const phy_band& band) { return band.channels.empty(); };
    info.bands.erase(std::remove_if(info.bands.begin(), info.bands.end(), empty), info.bands.end());
    return result == 0 && info.name.empty() ? -ENODEV : result;
}

int nl80211_connection::add_interface(std::uint32_t phy, const char* name, wireless_type type,
                                      const std::array<std::uint8_t, 6>* mac, std::uint32_t& index) {
    const bool access_point = type == wireless_type::access_point;
    request message(family_, NL80211_CMD_NEW_INTERFACE);
    message.put_u32(NL80211_ATTR_WIPHY, phy).put_text(NL80211_ATTR_IFNAME, name);
    message.put_u32(NL80211_ATTR_IFTYPE, access_point ? NL80211_IFTYPE_AP : NL80211_IFTYPE_STATION);
    if (mac) message.put_bytes(NL80211_ATTR_MAC, mac->data(), mac->size());
    wireless_interface made;
    const int result = send(message, [&made](std::uint8_t, attributes found) { netlink::read_interface(found, made); });
    index = made.index;
    return result;
}

int nl80211_connection::delete_interface(std::uint32_t index) {
    return send(request(family_, NL80211_CMD_DEL_INTERFACE).put_u32(NL80211_ATTR_IFINDEX, index));
}

int nl80211_connection::set_tx_power(std::uint32_t phy, std::optional<std::int32_t> power) {
    request message(family_, NL80211_CMD_SET_WIPHY);
    message.put_u32(NL80211_ATTR_WIPHY, phy)
        .put_u32(NL80211_ATTR_WIPHY_TX_POWER_SETTING, power ? NL80211_TX_POWER_FIXED : NL80211_TX_POWER_AUTOMATIC);
    if (power) message.put_u32(NL80211_ATTR_WIPHY_TX_POWER_LEVEL, static_cast<std::uint32_t>(*power));
    return send(message);
}

int nl80211_connection::trigger_scan(std::uint32_t index, const scan_request& wanted) {
    request message(family_, NL80211_CMD_TRIGGER_SCAN);
    message.put_u32(NL80211_ATTR_IFINDEX, index);
    // One SSID, of no length: probes for everybody.
    if (wanted.probe) message.begin(NL80211_ATTR_SCAN_SSIDS).put_bytes(1, nullptr, 0).end();
    if (!wanted.frequencies.empty()) {
        message.begin(NL80211_ATTR_SCAN_FREQUENCIES);
        int position = 0;
        for (const std::uint32_t frequency : wanted.frequencies)
            message.put_u32(++position, frequency);
        message.end();
    }
    if (wanted.flush) message.put_u32(NL80211_ATTR_SCAN_FLAGS, NL80211_SCAN_FLAG_FLUSH);
    return send(message);
}

int nl80211_connection::abort_scan(std::uint32_t index) {
    return send(request(family_, NL80211_CMD_ABORT_SCAN).put_u32(NL80211_ATTR_IFINDEX, index));
}

int nl80211_connection::get_scan(std::uint32_t index, const std::function<void(const heard_bss&)>& take,
                                 std::size_t limit) {
    std::size_t count = 0;
    return send_for_list(request(family_, NL80211_CMD_GET_SCAN, NLM_F_DUMP).put_u32(NL80211_ATTR_IFINDEX, index),
                         [&](std::uint8_t, attributes found) {
                             heard_bss bss;
                             if (count >= limit || !netlink::read_bss(found, bss)) return;
                             ++count;
                             take(bss);
                         });
}

int nl80211_connection::get_stations(std::uint32_t index, std::vector<heard_station>& stations, std::size_t limit) {
    return get_list(request(family_, NL80211_CMD_GET_STATION, NLM_F_DUMP).put_u32(NL80211_ATTR_IFINDEX, index),
                    stations, limit, netlink::read_station);
}

int nl80211_connection::get_country(std::string& alpha2) {
    alpha2.clear();
    return send(request(family_, NL80211_CMD_GET_REG), [&alpha2](std::uint8_t, attributes found) {
        const nlattr* country = found[NL80211_ATTR_REG_ALPHA2];
        if (country && nla_len(country) >= 2) alpha2.assign(static_cast<const char*>(nla_data(country)), 2);
    });
}

int nl80211_connection::set_country(const char* alpha2) {
    if (std::strlen(alpha2) != 2) return -EINVAL;
    return send(request(family_, NL80211_CMD_REQ_SET_REG).put_text(NL80211_ATTR_REG_ALPHA2, alpha2));
}

bool nl80211_connection::listen() {
    if (events_) return true;
    netlink::socket_ptr socket = netlink::open_socket(limit_ms_);
    if (!socket) return false;
    for (const char* group :
         {NL80211_MULTICAST_GROUP_SCAN, NL80211_MULTICAST_GROUP_CONFIG, NL80211_MULTICAST_GROUP_REG}) {
        const int number = genl_ctrl_resolve_grp(socket.get(), family_name, group);
        if (number < 0 || nl_socket_add_membership(socket.get(), number) < 0) {
            errno = ENOENT;
            return false;
        }
    }
    nl_socket_disable_seq_check(socket.get());
    nl_socket_set_nonblocking(socket.get());
    events_ = std::move(socket);
    return true;
}

int nl80211_connection::event_descriptor() { return listen() ? nl_socket_get_fd(events_.get()) : -1; }

int nl80211_connection::read_events(const std::function<void(const wireless_notice&)>& take) {
    if (!listen()) return errno != 0 ? -errno : -EIO;
    return netlink::drain(events_.get(), [&take](std::uint8_t command, attributes found) {
        wireless_notice notice{wireless_event::scan_finished, 0, 0};
        switch (command) {
            case NL80211_CMD_TRIGGER_SCAN:
                notice.event = wireless_event::scan_started;
                break;
            case NL80211_CMD_NEW_SCAN_RESULTS:
                break;
            case NL80211_CMD_SCAN_ABORTED:
                notice.event = wireless_event::scan_aborted;
                break;
            case NL80211_CMD_REG_CHANGE:
            case NL80211_CMD_WIPHY_REG_CHANGE:
                notice.event = wireless_event::rules_changed;
                break;
            case NL80211_CMD_NEW_INTERFACE:
                notice.event = wireless_event::interface_added;
                break;
            case NL80211_CMD_DEL_INTERFACE:
                notice.event = wireless_event::interface_removed;
                break;
            default:
                return;
        }
        if (notice.event != wireless_event::rules_changed) {
            netlink::get_u32(found[NL80211_ATTR_WIPHY], notice.phy);
            netlink::get_u32(found[NL80211_ATTR_IFINDEX], notice.interface);
        }
        take(notice);
    });
}

}  // namespace

std::unique_ptr<nl80211_port> open_nl80211(int limit_ms) {
    netlink::socket_ptr socket = netlink::open_socket(limit_ms);
    if (!socket) return nullptr;
    const int family = genl_ctrl_resolve(socket.get(), family_name);
    if (family < 0) {
        errno = ENOENT;
        return nullptr;
    }
    return std::make_unique<nl80211_connection>(std::move(socket), family, limit_ms);
}

}  // namespace ravd
