#include "platform/netlink/replies.h"

#include <linux/nl80211.h>

#include <cstring>

namespace ravd::netlink {
namespace {

constexpr std::size_t band_limit = 16;
constexpr std::size_t channel_limit = 256;  // of a band
constexpr std::size_t chain_limit = 8;

std::string text_of(const nlattr* attribute) {
    if (!attribute) return {};
    const auto* text = static_cast<const char*>(nla_data(attribute));
    return std::string(text, strnlen(text, static_cast<std::size_t>(nla_len(attribute))));
}

bool copy_mac(const nlattr* attribute, std::array<std::uint8_t, 6>& mac) {
    return get_bytes(attribute, mac.data(), mac.size());
}

// The members of a nested attribute by their number.
template <std::size_t Count>
bool parse_nested(nlattr* (&found)[Count], const nlattr* nested) {
    return nested && nla_parse(found, static_cast<int>(Count - 1), static_cast<nlattr*>(nla_data(nested)),
                               nla_len(nested), nullptr) >= 0;
}

std::uint32_t u32_of(const nlattr* attribute) {
    std::uint32_t value = 0;
    get_u32(attribute, value);
    return value;
}

std::optional<std::int32_t> signed_octet(const nlattr* attribute) {
    std::uint8_t value = 0;
    if (!get_u8(attribute, value)) return std::nullopt;
    return static_cast<std::int8_t>(value);
}

std::uint32_t megahertz(std::uint32_t width) {
    switch (width) {
        case NL80211_CHAN_WIDTH_20_NOHT:
        case NL80211_CHAN_WIDTH_20:
            return 20;
        case NL80211_CHAN_WIDTH_40:
            return 40;
        case NL80211_CHAN_WIDTH_80:
            return 80;
        case NL80211_CHAN_WIDTH_160:
            return 160;
        default:
            return 0;
    }
}

wireless_type type_of(std::uint32_t type) {
    if (type == NL80211_IFTYPE_STATION) return wireless_type::station;
    return type == NL80211_IFTYPE_AP ? wireless_type::access_point : wireless_type::other;
}

void add_channel(const nlattr* nested, std::vector<phy_channel>& channels) {
    nlattr* found[NL80211_FREQUENCY_ATTR_MAX + 1];
    if (channels.size() >= channel_limit || !parse_nested(found, nested)) return;
    phy_channel channel;
    if (!get_u32(found[NL80211_FREQUENCY_ATTR_FREQ], channel.frequency)) return;
    channel.max_power = static_cast<std::int32_t>(u32_of(found[NL80211_FREQUENCY_ATTR_MAX_TX_POWER]));
    channel.disabled = found[NL80211_FREQUENCY_ATTR_DISABLED] != nullptr;
    channel.no_ir = found[NL80211_FREQUENCY_ATTR_NO_IR] != nullptr;
    channel.radar = found[NL80211_FREQUENCY_ATTR_RADAR] != nullptr;
    channel.no_ht40_minus = found[NL80211_FREQUENCY_ATTR_NO_HT40_MINUS] != nullptr;
    channel.no_ht40_plus = found[NL80211_FREQUENCY_ATTR_NO_HT40_PLUS] != nullptr;
    channel.no_80 = found[NL80211_FREQUENCY_ATTR_NO_80MHZ] != nullptr;
    channel.no_160 = found[NL80211_FREQUENCY_ATTR_NO_160MHZ] != nullptr;
    channels.push_back(channel);
}

// The band is added to where an earlier message began it: long ones come in pieces.
void add_band(const nlattr* nested, phy_info& info) {
    const auto position = static_cast<std::size_t>(nla_type(nested));
    nlattr* found[NL80211_BAND_ATTR_MAX + 1];
    if (position >= band_limit || !parse_nested(found, nested)) return;
    if (info.bands.size() <= position) info.bands.resize(position + 1);
    phy_band& band = info.bands[position];
    std::uint16_t ht = 0;
    std::uint32_t vht = 0;
    if (get_u16(found[NL80211_BAND_ATTR_HT_CAPA], ht)) band.ht_capabilities = ht;
    if (get_u32(found[NL80211_BAND_ATTR_VHT_CAPA], vht)) band.vht_capabilities = vht;
    for_each_member(found[NL80211_BAND_ATTR_FREQS],
                    [&band](const nlattr* channel) { add_channel(channel, band.channels); });
}

}  // namespace

bool read_interface(attributes found, wireless_interface& interface) {
    if (!get_u32(found[NL80211_ATTR_IFINDEX], interface.index)) return false;
    interface.phy = u32_of(found[NL80211_ATTR_WIPHY]);
    interface.name = text_of(found[NL80211_ATTR_IFNAME]);
    interface.type = type_of(u32_of(found[NL80211_ATTR_IFTYPE]));
    copy_mac(found[NL80211_ATTR_MAC], interface.mac);
    if (const nlattr* ssid = found[NL80211_ATTR_SSID])
        interface.ssid.assign(static_cast<const char*>(nla_data(ssid)), static_cast<std::size_t>(nla_len(ssid)));
    interface.frequency = u32_of(found[NL80211_ATTR_WIPHY_FREQ]);
    if (interface.frequency != 0) {
        interface.width = megahertz(u32_of(found[NL80211_ATTR_CHANNEL_WIDTH]));
        interface.centre = u32_of(found[NL80211_ATTR_CENTER_FREQ1]);
        if (interface.centre == 0) interface.centre = interface.frequency;
    }
    interface.tx_power = static_cast<std::int32_t>(u32_of(found[NL80211_ATTR_WIPHY_TX_POWER_LEVEL]));
    return true;
}

bool read_bss(attributes found, heard_bss& bss) {
    nlattr* members[NL80211_BSS_MAX + 1];
    if (!parse_nested(members, found[NL80211_ATTR_BSS]) || !copy_mac(members[NL80211_BSS_BSSID], bss.bssid))
        return false;
    bss.frequency = u32_of(members[NL80211_BSS_FREQUENCY]);
    bss.age_ms = u32_of(members[NL80211_BSS_SEEN_MS_AGO]);
    std::uint32_t signal = 0;
    if (get_u32(members[NL80211_BSS_SIGNAL_MBM], signal)) bss.signal = static_cast<std::int32_t>(signal);
    const nlattr* elements = members[NL80211_BSS_INFORMATION_ELEMENTS];
    if (!elements) elements = members[NL80211_BSS_BEACON_IES];
    if (elements) {
        bss.elements = static_cast<const std::uint8_t*>(nla_data(elements));
        bss.length = static_cast<std::size_t>(nla_len(elements));
    }
    return true;
}

bool read_station(attributes found, heard_station& station) {
    nlattr* members[NL80211_STA_INFO_MAX + 1];
    if (!copy_mac(found[NL80211_ATTR_MAC], station.mac)) return false;
    if (!parse_nested(members, found[NL80211_ATTR_STA_INFO])) return false;
    station.signal = signed_octet(members[NL80211_STA_INFO_SIGNAL]);
    station.signal_average = signed_octet(members[NL80211_STA_INFO_SIGNAL_AVG]);
    const nlattr* chains = members[NL80211_STA_INFO_CHAIN_SIGNAL_AVG];
    if (!chains) chains = members[NL80211_STA_INFO_CHAIN_SIGNAL];
    for_each_member(chains, [&station](const nlattr* chain) {
        const auto signal = signed_octet(chain);
        if (signal && station.chains.size() < chain_limit) station.chains.push_back(*signal);
    });
    nl80211_sta_flag_update flags{};
    constexpr std::uint32_t associated = 1u << NL80211_STA_FLAG_ASSOCIATED;
    if (get_bytes(members[NL80211_STA_INFO_STA_FLAGS], &flags, sizeof flags) && (flags.mask & associated) != 0)
        station.associated = (flags.set & associated) != 0;
    station.connected_s = u32_of(members[NL80211_STA_INFO_CONNECTED_TIME]);
    station.inactive_ms = u32_of(members[NL80211_STA_INFO_INACTIVE_TIME]);
    return true;
}

void add_to_phy(attributes found, std::uint32_t phy, phy_info& info) {
    std::uint32_t described = 0;
    if (!get_u32(found[NL80211_ATTR_WIPHY], described) || described != phy) return;
    info.index = phy;
    if (found[NL80211_ATTR_WIPHY_NAME]) info.name = text_of(found[NL80211_ATTR_WIPHY_NAME]);
    std::uint8_t ssids = 0;
    if (get_u8(found[NL80211_ATTR_MAX_NUM_SCAN_SSIDS], ssids)) info.scan_ssids = ssids;
    std::uint32_t features = 0;
    if (get_u32(found[NL80211_ATTR_FEATURE_FLAGS], features))
        info.scan_flush = (features & NL80211_FEATURE_SCAN_FLUSH) != 0;
    for_each_member(found[NL80211_ATTR_WIPHY_BANDS], [&info](const nlattr* band) { add_band(band, info); });
}

}  // namespace ravd::netlink
