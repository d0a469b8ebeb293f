#include "hostd/setup.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "core/ifname.h"
#include "hostd/lines.h"
#include "platform/factory.h"
#include "platform/system.h"
#include "platform/unique_fd.h"

namespace ravd::hostd {
namespace {

constexpr std::uint32_t phy_limit = 64;

int change_interface(const std::string& name, unsigned long request, const std::function<void(ifreq&)>& fill) {
    const unique_fd sock(sys::wireless_socket());
    ifreq change{};
    name.copy(change.ifr_name, sizeof change.ifr_name - 1);
    if (!sock || ::ioctl(sock.get(), SIOCGIFFLAGS, &change) < 0) return -errno;
    fill(change);
    return ::ioctl(sock.get(), request, &change) < 0 ? -errno : 0;
}

// One radio's interfaces, step by step; ends at the first failure.
class radio_setup {
  public:
    radio_setup(nl80211_port& kernel, const link_port& links, const std::function<void(const std::string&)>& tell)
        : kernel_(kernel), links_(links), tell_(tell) {}

    bool make(const setup_radio& radio, const MacAddr& base);
    const std::string& reason() const { return reason_; }

  private:
    bool find_phy(const setup_radio& radio);
    bool make_radio(const std::string& name);
    bool make_vap(const std::string& name, const MacAddr& mac);
    bool succeeded(int result, const std::string& what);
    bool exists(const std::string& name, wireless_interface& found) const {
        std::uint32_t index = 0;
        return kernel_.interface_index(name.c_str(), index) == 0 && kernel_.get_interface(index, found) == 0;
    }

    nl80211_port& kernel_;
    const link_port& links_;
    const std::function<void(const std::string&)>& tell_;
    std::uint32_t phy_ = 0;
    std::string reason_;
};

bool radio_setup::succeeded(int result, const std::string& what) {
    if (result >= 0)
        tell_(what);
    else
        reason_ = what + ": " + std::strerror(-result);
    return result >= 0;
}

bool radio_setup::find_phy(const setup_radio& radio) {
    wireless_interface named;
    if (exists(radio.phy, named)) {
        phy_ = named.phy;
        // It makes room for the radio's own.
        return radio.phy == radio_names[static_cast<std::size_t>(radio.index)] ||
               succeeded(kernel_.delete_interface(named.index), radio.phy + " removed");
    }
    const auto has_name = [&](std::int64_t number) {
        phy_info info;
        phy_ = static_cast<std::uint32_t>(number);
        return number >= 0 && kernel_.get_phy(phy_, info) == 0 && info.name == radio.phy;
    };
    // As the kernel numbers them, one more with each load of a driver; only a radio that was renamed has to be looked
    // for.
    if (radio.phy.compare(0, 3, "phy") == 0 && has_name(number_of(radio.phy.substr(3), UINT32_MAX))) return true;
    for (std::uint32_t number = 0; number < phy_limit; ++number)
        if (has_name(number)) return true;
    reason_ = "there is neither a radio nor an interface " + radio.phy;
    return false;
}

bool radio_setup::make_radio(const std::string& name) {
    wireless_interface found;
    if (!exists(name, found)) {
        std::uint32_t index = 0;
        if (!succeeded(kernel_.add_interface(phy_, name.c_str(), wireless_type::station, nullptr, index),
                       name + " made"))
            return false;
    } else if (found.phy != phy_ || found.type != wireless_type::station) {
        reason_ = name + " is there, of another radio or kind";
        return false;
    }
    return succeeded(links_.set_up(name, true), name + " up");
}

bool radio_setup::make_vap(const std::string& name, const MacAddr& mac) {
    wireless_interface found;
    if (!exists(name, found)) {
        std::uint32_t index = 0;
        return succeeded(kernel_.add_interface(phy_, name.c_str(), wireless_type::access_point, &mac.octets, index),
                         name + " made, " + mac.to_lower());
    }
    if (found.phy != phy_ || found.type != wireless_type::access_point) {
        reason_ = name + " is there, of another radio or kind";
        return false;
    }
    if (found.mac == mac.octets) return true;
    return succeeded(links_.set_up(name, false), name + " down") &&
           succeeded(links_.set_address(name, mac), name + " has " + mac.to_lower());
}

bool radio_setup::make(const setup_radio& radio, const MacAddr& base) {
    const std::string name = radio_names[static_cast<std::size_t>(radio.index)];
    if (!find_phy(radio) || !make_radio(name)) return false;
    for (const int vap : radio.vaps) {
        MacAddr mac = base;
        // As the agent tells them to the service.
        mac.octets[5] = static_cast<std::uint8_t>(mac.octets[5] + 1 + vap + 8 * radio.index);
        if (!make_vap(make_vap_ifname(radio.index, vap), mac)) return false;
    }
    return true;
}

}  // namespace

link_port kernel_links() {
    return {[](const std::string& name, bool up) {
                return change_interface(name, SIOCSIFFLAGS, [up](ifreq& change) {
                    change.ifr_flags = static_cast<short>(up ? change.ifr_flags | IFF_UP : change.ifr_flags & ~IFF_UP);
                });
            },
            [](const std::string& name, const MacAddr& mac) {
                return change_interface(name, SIOCSIFHWADDR, [&mac](ifreq& change) {
                    change.ifr_hwaddr = {};
                    change.ifr_hwaddr.sa_family = ARPHRD_ETHER;
                    std::memcpy(change.ifr_hwaddr.sa_data, mac.octets.data(), mac.octets.size());
                });
            }};
}

bool make_interfaces(const setup_description& wanted, nl80211_port& kernel, const link_port& links,
                     const std::function<void(const std::string&)>& tell, std::string& reason) {
    MacAddr base;
    if (wanted.base) {
        base = *wanted.base;
    } else {
        factory_data factory{};
        if (factory_data_load(&factory) != 0 || !parse_mac(factory.mac, base)) {
            reason = "no base address: neither in the description nor in the factory data";
            return false;
        }
    }
    if (!wanted.country.empty()) {
        const int result = kernel.set_country(wanted.country.c_str());
        if (result < 0) reason = "country " + wanted.country + ": " + std::strerror(-result);
        if (result < 0) return false;
        tell("country " + wanted.country);
    }
    for (const setup_radio& radio : wanted.radios) {
        radio_setup steps(kernel, links, tell);
        if (steps.make(radio, base)) continue;
        reason = steps.reason();
        return false;
    }
    return true;
}

}  // namespace ravd::hostd
