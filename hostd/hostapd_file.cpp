#include "hostd/hostapd_file.h"

#include <algorithm>

#include "hostd/lines.h"

namespace ravd::hostd {
namespace {

// Of a BSS; everything else, passwords above all, is not kept.
constexpr const char* bss_keys[] = {"rrm_neighbor_report",
                                    "bss_transition",
                                    "mobility_domain",
                                    "nas_identifier",
                                    "r1_key_holder",
                                    "r0kh",
                                    "r1kh",
                                    "reassociation_deadline",
                                    "ft_over_ds",
                                    "ft_psk_generate_local"};
constexpr const char* radio_keys[] = {"channel",    "hw_mode",     "ht_capab",    "vht_oper_chwidth", "he_oper_chwidth",
                                      "ieee80211n", "ieee80211ac", "ieee80211ax", "country_code"};

constexpr std::size_t value_limit = 512;

bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; }

template <std::size_t Count>
bool is_among(const char* const (&keys)[Count], const std::string& key) {
    return std::find(std::begin(keys), std::end(keys), key) != std::end(keys);
}

template <typename Lines>
std::string last_of(const Lines& lines, const char* key) {
    const auto found =
        std::find_if(lines.rbegin(), lines.rend(), [key](const auto& line) { return line.first == key; });
    return found == lines.rend() ? std::string() : found->second;
}

template <typename Lines>
std::vector<std::string> all_of(const Lines& lines, const char* key) {
    std::vector<std::string> texts;
    for (const auto& [name, text] : lines)
        if (name == key) texts.push_back(text);
    return texts;
}

}  // namespace

void hostapd_config::add(const std::string& text) {
    file added;
    std::string bss;
    for (const std::string& line : lines_of(text)) {
        const std::size_t equals = line.find('=');
        if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        // Parts of it become requests to hostapd, which would not have taken it either.
        if (value.size() > value_limit || std::any_of(value.begin(), value.end(), is_control)) continue;
        if (key == "interface" || key == "bss") {
            bss = value;
            added.bss[bss];
        } else if (is_among(radio_keys, key)) {
            added.radio.emplace_back(key, value);
        } else if (is_among(bss_keys, key)) {
            added.bss[bss].emplace_back(key, value);
        }
    }
    files_.push_back(std::move(added));
}

const hostapd_config::lines* hostapd_config::find(const std::string& interface_name) const {
    for (auto one = files_.rbegin(); one != files_.rend(); ++one) {
        const auto found = one->bss.find(interface_name);
        if (found != one->bss.end()) return &found->second;
    }
    return nullptr;
}

std::string hostapd_config::radio_value(const std::string& interface_name, const char* key) const {
    for (auto one = files_.rbegin(); one != files_.rend(); ++one)
        if (one->bss.count(interface_name) != 0) return last_of(one->radio, key);
    return {};
}

bool hostapd_config::steers(const std::string& interface_name) const {
    const lines* bss = find(interface_name);
    return bss && last_of(*bss, "rrm_neighbor_report") == "1";
}

configured_holders hostapd_config::holders(const std::string& interface_name) const {
    configured_holders result;
    const lines* bss = find(interface_name);
    if (!bss) return result;
    result.mobility_domain = last_of(*bss, "mobility_domain");
    result.nas_identifier = last_of(*bss, "nas_identifier");
    result.r1_key_holder = last_of(*bss, "r1_key_holder");
    result.reassociation_deadline = last_of(*bss, "reassociation_deadline");
    result.ft_over_ds = last_of(*bss, "ft_over_ds");
    result.ft_psk_generate_local = last_of(*bss, "ft_psk_generate_local");
    result.r0kh = all_of(*bss, "r0kh");
    result.r1kh = all_of(*bss, "r1kh");
    return result;
}

channel_use hostapd_config::channel(const std::string& interface_name) const {
    const auto value = [&](const char* key) { return radio_value(interface_name, key); };
    channel_use use;
    const std::int64_t channel = number_of(value("channel"), 200);
    if (channel <= 0) return use;
    use.channel = static_cast<std::uint32_t>(channel);
    use.width = 20;
    const std::string capabilities = value("ht_capab");
    if (value("ieee80211n") == "1" && capabilities.find("[HT40") != std::string::npos) use.width = 40;
    use.upper = capabilities.find("[HT40-]") != std::string::npos;
    if ((value("ieee80211ac") == "1" && value("vht_oper_chwidth") == "1") ||
        (value("ieee80211ax") == "1" && value("he_oper_chwidth") == "1"))
        use.width = 80;
    return use;
}

std::string hostapd_config::country(const std::string& interface_name) const {
    return radio_value(interface_name, "country_code");
}

std::vector<std::string> files_of_command_line(const std::string& cmdline) {
    std::vector<std::string> files;
    constexpr const char* with_value[] = {"-g", "-G", "-P", "-f", "-e", "-b", "-i", "-u"};
    bool value_follows = true;  // the program's own name
    for (std::size_t at = 0; at < cmdline.size();) {
        const std::string argument = cmdline.c_str() + at;
        at += argument.size() + 1;
        if (!value_follows && !argument.empty() && argument[0] == '/') files.push_back(argument);
        value_follows = !value_follows && is_among(with_value, argument);
    }
    return files;
}

}  // namespace ravd::hostd
