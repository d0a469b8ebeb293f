#include "tests/driver/nl80211/fake_kernel.h"

#include <linux/nl80211.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <fstream>

#include "platform/netlink/replies.h"

namespace ravd::testing {
namespace {

// Calls `read` with the attributes of each recorded message.
template <typename Read>
void replay(const std::string& name, Read read) {
    std::ifstream file(std::string(RAVD_RECORDED) + "/" + name + ".hex");
    for (std::string line; std::getline(file, line);) {
        std::vector<char> bytes;
        for (std::size_t at = 0; at + 1 < line.size(); at += 2)
            bytes.push_back(static_cast<char>(std::stoi(line.substr(at, 2), nullptr, 16)));
        nlattr* found[NL80211_ATTR_MAX + 1];
        nla_parse(found, NL80211_ATTR_MAX, reinterpret_cast<nlattr*>(bytes.data() + 4),
                  static_cast<int>(bytes.size()) - 4, nullptr);
        read(static_cast<netlink::attributes>(found));
    }
}

std::vector<wireless_interface> interfaces() {
    std::vector<wireless_interface> all;
    replay("interfaces", [&](netlink::attributes found) {
        wireless_interface one;
        if (netlink::read_interface(found, one)) all.push_back(one);
    });
    return all;
}

class port final : public nl80211_port {
  public:
    int interface_index(const char* name, std::uint32_t& index) override {
        if (const int error = failure("interface_index")) return error;
        for (const wireless_interface& one : interfaces())
            if (one.name == name) return index = one.index, 0;
        return -ENODEV;
    }
    int get_interface(std::uint32_t index, wireless_interface& interface) override {
        if (const int error = failure("get_interface")) return error;
        for (const wireless_interface& one : interfaces())
            if (one.index == index) return interface = one, 0;
        return -ENODEV;
    }
    int list_interfaces(std::vector<wireless_interface>& all, std::size_t) override {
        all = interfaces();
        return failure("list_interfaces");
    }
    int get_phy(std::uint32_t phy, phy_info& info) override {
        replay("phy", [&](netlink::attributes found) { netlink::add_to_phy(found, phy, info); });
        if (kernel().only_listens) info.scan_ssids = 0;
        return failure("get_phy");
    }
    int add_interface(std::uint32_t, const char*, wireless_type, const std::array<std::uint8_t, 6>*,
                      std::uint32_t&) override {
        return -EOPNOTSUPP;
    }
    int delete_interface(std::uint32_t) override { return -EOPNOTSUPP; }
    int set_tx_power(std::uint32_t, std::optional<std::int32_t>) override { return -EOPNOTSUPP; }
    int trigger_scan(std::uint32_t index, const scan_request& wanted) override {
        std::string text = "scan " + std::to_string(index) + (wanted.flush ? " flush" : "");
        if (!wanted.probe) text += " passive";
        for (const std::uint32_t frequency : wanted.frequencies)
            text += " " + std::to_string(frequency);
        kernel().asked.push_back(text);
        if (const int error = failure("trigger_scan")) return error;
        if (kernel().busy_scans > 0 && kernel().busy_scans-- > 0) return -EBUSY;
        if (kernel().other_scan_ends) kernel().raise(wireless_event::scan_finished, index);
        kernel().raise(wireless_event::scan_started, index);
        return 0;
    }
    int abort_scan(std::uint32_t index) override {
        kernel().asked.push_back("abort " + std::to_string(index));
        if (kernel().aborts_end) kernel().raise(wireless_event::scan_aborted, index);
        return failure("abort_scan");
    }
    int get_scan(std::uint32_t, const std::function<void(const heard_bss&)>& take, std::size_t limit) override {
        replay("scan", [&](netlink::attributes found) {
            heard_bss bss;
            if (!netlink::read_bss(found, bss)) return;
            bss.age_ms = kernel().recorded_age_ms;
            take(bss);
            if (bss.frequency < 5000) return;
            for (const fake_kernel::heard& one : kernel().air) {
                if (limit-- == 0) return;
                heard_bss more{one.bssid, one.frequency, one.dbm * 100, one.age_ms, bss.elements, bss.length};
                take(more);
            }
        });
        return failure("get_scan");
    }
    int get_stations(std::uint32_t, std::vector<heard_station>& stations, std::size_t) override {
        replay("stations", [&](netlink::attributes found) {
            heard_station one;
            if (!netlink::read_station(found, one)) return;
            one.connected_s = kernel().connected_s;
            stations.push_back(one);
            one.mac[5] ^= 1;  // only authenticated
            one.associated = false;
            stations.push_back(one);
        });
        return failure("get_stations");
    }
    int get_country(std::string&) override { return -EOPNOTSUPP; }
    int set_country(const char*) override { return -EOPNOTSUPP; }
    int event_descriptor() override { return kernel().readable.get(); }
    int read_events(const std::function<void(const wireless_notice&)>& take) override {
        eventfd_t count = 0;
        eventfd_read(kernel().readable.get(), &count);
        for (const wireless_notice& one : std::exchange(kernel().events, {}))
            take(one);
        return 0;
    }

  private:
    static fake_kernel& kernel() { return fake_kernel::get(); }
    static int failure(const std::string& call) {
        const auto found = kernel().failing.find(call);
        return found == kernel().failing.end() ? 0 : found->second;
    }
};

}  // namespace

fake_kernel& fake_kernel::get() {
    static fake_kernel instance;
    return instance;
}

std::unique_ptr<nl80211_port> fake_kernel::open() {
    fake_kernel& kernel = get();
    ++kernel.opened;
    if (kernel.failing.count("open") == 0) return std::make_unique<port>();
    errno = -kernel.failing["open"];
    return nullptr;
}

void fake_kernel::reset() {
    *this = fake_kernel();
    readable.reset(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
}

void fake_kernel::raise(wireless_event event, std::uint32_t interface) {
    events.push_back({event, 0, interface});
    eventfd_write(readable.get(), 1);
}

void fake_kernel::hear(const std::array<std::uint8_t, 6>& bssid, std::uint32_t frequency, std::int32_t dbm,
                       std::uint32_t age_ms) {
    air.push_back({bssid, frequency, dbm, age_ms});
}

}  // namespace ravd::testing
