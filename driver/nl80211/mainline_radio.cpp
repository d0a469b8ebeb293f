#include "driver/nl80211/mainline_radio.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include "core/logger.h"
#include "driver/chanspec.h"
#include "driver/nl80211/bss_elements.h"
#include "platform/monotonic.h"
#include "platform/system.h"

namespace ravd {
namespace {

// A scan returns to the VAPs' own channel between two others, which takes the time of both. Seen: up to 0.35 s each.
constexpr std::size_t channel_ms = 400;

constexpr int busy_wait_ms = 1000;  // for the end of somebody else's scan
constexpr int abort_wait_ms = 500;
constexpr std::uint32_t step_us = 50000;

// The kernel counts ages in ticks of its clock.
constexpr std::int64_t age_slack_ms = 20;

constexpr std::int32_t mbm_a_dbm = 100;
constexpr std::int32_t unknown_signal = -100;

}  // namespace

int mainline_radio::get_phy(phy_info& phy, std::uint32_t& band) const {
    wireless_interface interface;
    if (what_.find_on_channel(interface) < 0) return -1;
    const std::uint32_t channel = channel_of_frequency(interface.frequency);
    band = channel == 0 ? 0 : band_of_channel(channel);
    nl80211_port* const kernel = what_.port();
    if (!kernel) return -1;
    const int result = kernel->get_phy(interface.phy, phy);
    what_.tick();
    return result == 0 ? 0 : what_.failed("read the radio's channels", result);
}

std::vector<std::uint32_t> mainline_radio::frequencies(const channel_set& channels) const {
    phy_info phy;
    std::uint32_t band = 0;
    if (get_phy(phy, band) < 0) return {};
    return scan_frequencies(phy, band, channels);
}

std::uint32_t mainline_radio::scan_s(const channel_set& channels) const {
    const std::size_t count = frequencies(channels).size();
    // One more than rounding up: a timer of whole seconds may end almost one early. Mostly the kernel's word comes
    // first.
    return count == 0 ? 0 : static_cast<std::uint32_t>(count * channel_ms / 1000 + 2);
}

int mainline_radio::start_scan(const channel_set& channels) const {
    skip_scan();
    wireless_interface interface;
    if (what_.find(interface) < 0) return -1;
    phy_info phy;
    std::uint32_t band = 0;
    if (get_phy(phy, band) < 0) return -1;
    const std::vector<std::uint32_t> listened = scan_frequencies(phy, band, channels);
    if (listened.empty()) {
        log_error(process_log, "%s: has none of the channels to scan\n", what_.name());
        return -1;
    }
    scan_memory& scan = what_.memory().scan_of(what_.ifname());
    const std::int64_t give_up_ms = monotonic_ms() + busy_wait_ms;
    for (;;) {
        nl80211_port* const kernel = what_.port();
        if (!kernel) return -1;
        what_.memory().event_descriptor();  // listens from here
        what_.memory().take_events();       // of scans before this one
        scan.began_ms = monotonic_ms();
        const int result = kernel->trigger_scan(interface.index, {listened, phy.scan_ssids != 0, phy.scan_flush});
        if (result == 0) break;
        if (result != -EBUSY || monotonic_ms() >= give_up_ms) return what_.failed("begin a scan", result);
        sys::sleep_us(step_us);
    }
    what_.tick();
    scan.began = true;
    scan.over = false;
    scan.interface = interface.index;
    for (const std::uint32_t frequency : listened)
        scan.channels.insert(channel_of_frequency(frequency));
    return 0;
}

// False when the kernel does not tell it in time.
bool mainline_radio::end_comes(scan_memory& scan) const {
    const std::int64_t give_up_ms = monotonic_ms() + abort_wait_ms;
    for (;;) {
        what_.memory().take_events();
        if (scan.over) return true;
        if (what_.cancelled() || monotonic_ms() >= give_up_ms) return false;
        sys::sleep_us(step_us);
        what_.tick();
    }
}

int mainline_radio::stop_scan() const {
    scan_memory& scan = what_.memory().scan_of(what_.ifname());
    what_.memory().take_events();
    if (scan.over) return 0;
    nl80211_port* const kernel = what_.port();
    if (!kernel) return -1;
    scan.stopped = true;
    const std::int64_t took_ms = monotonic_ms() - scan.began_ms;
    if (took_ms >= static_cast<std::int64_t>(scan.channels.size() * channel_ms))
        log_warning(process_log, "%s: the scan of %zu channels did not end within %d ms and is stopped\n", what_.name(),
                    scan.channels.size(), static_cast<int>(took_ms));
    const int result = kernel->abort_scan(scan.interface);
    if (result == 0 && !end_comes(scan)) log_warning(process_log, "%s: the scan cannot be stopped\n", what_.name());
    scan.over = true;
    // -ENOENT: none goes on, and its end was not told.
    return result == 0 || result == -ENOENT ? 0 : what_.failed("stop a scan", result);
}

int mainline_radio::get_results(ap_table& table) const {
    stop_scan();
    const scan_memory& scan = what_.memory().scan_of(what_.ifname());
    if (!scan.began) return 0;
    std::vector<wireless_interface> interfaces;
    if (what_.list(interfaces) < 0) return -1;
    std::set<scan_record::address> told;  // own ones from the start: they are no neighbours
    for (const wireless_interface& own : interfaces)
        told.insert(own.mac);
    nl80211_port* const kernel = what_.port();
    if (!kernel) return -1;
    const std::int64_t oldest_ms = monotonic_ms() - scan.began_ms + age_slack_ms;
    const int result = kernel->get_scan(scan.interface, [&](const heard_bss& bss) {
        const std::uint32_t channel = channel_of_frequency(bss.frequency);
        if (scan.channels.count(channel) == 0 || bss.age_ms > oldest_ms || !told.insert(bss.bssid).second) return;
        const bss_description description = describe_bss(bss.elements, bss.length, channel);
        const std::int32_t signal = bss.signal ? *bss.signal / mbm_a_dbm : unknown_signal;
        table.emplace_back(bss.bssid, signal, channel, description.block.bandwidth, description.tx_power,
                           description.block.sideband);
    });
    what_.tick();
    return result == 0 ? 0 : what_.failed("read scan results", result);
}

int mainline_radio::get_available_channels(channel_set& channels) const {
    phy_info phy;
    std::uint32_t band = 0;
    if (get_phy(phy, band) < 0) return -1;
    channels.merge(usable_channels(phy, band));
    return 0;
}

int mainline_radio::get_chanspec(std::uint32_t& chanspec) const {
    chanspec = 0;
    wireless_interface interface;
    if (what_.find_on_channel(interface) < 0) return -1;
    chanspec = chanspec_of(interface);
    return 0;
}

int mainline_radio::get_tx_power(std::uint32_t& power) const {
    power = 0;
    wireless_interface interface;
    if (what_.find_on_channel(interface) < 0) return -1;
    power = static_cast<std::uint32_t>(std::max(0, interface.tx_power / mbm_a_dbm));
    return 0;
}

}  // namespace ravd
