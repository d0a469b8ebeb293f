// Reading the description.
#include <algorithm>

#include "core/ifname.h"
#include "hostd/lines.h"
#include "hostd/setup.h"

namespace ravd::hostd {
namespace {

constexpr int vaps_a_radio = 7;
constexpr std::size_t name_limit = 15;
constexpr const char* capitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

bool take_vap(const std::string& name, setup_description& result) {
    int radio = 0;
    int index = 0;
    if (!parse_vap_ifname(name.c_str(), radio, index) || index >= vaps_a_radio) return false;
    for (setup_radio& one : result.radios) {
        if (one.index != radio) continue;
        if (std::find(one.vaps.begin(), one.vaps.end(), index) != one.vaps.end()) return false;
        one.vaps.push_back(index);
        return true;
    }
    return false;
}

bool take_radio(const std::string& name, const std::string& phy, setup_description& result) {
    const int index = radio_index(name.c_str());
    const auto same = [index](const setup_radio& one) { return one.index == index; };
    if (index >= static_cast<int>(radio_names.size()) || phy.size() > name_limit ||
        std::any_of(result.radios.begin(), result.radios.end(), same))
        return false;
    result.radios.push_back({index, phy, {}});
    return true;
}

bool take(const std::vector<std::string>& words, setup_description& result) {
    if (words[0] == "country" && words.size() == 2) {
        // In small letters the kernel would find no rules for it, and not say so.
        result.country = words[1];
        return result.country.size() == 2 && result.country.find_first_not_of(capitals) == std::string::npos;
    }
    if (words[0] == "base" && words.size() == 2) {
        MacAddr base;
        if (!is_plain_mac(words[1].c_str()) || !parse_mac(words[1].c_str(), base)) return false;
        result.base = base;
        return true;
    }
    if (!is_wlan_ifname(words[0].c_str())) return false;
    if (words[0].find('-') != std::string::npos) return words.size() == 1 && take_vap(words[0], result);
    return words.size() == 2 && take_radio(words[0], words[1], result);
}

}  // namespace

bool parse_setup(const std::string& text, setup_description& result, std::string& error) {
    int number = 0;
    for (const std::string& line : lines_of(text)) {
        ++number;
        const std::vector<std::string> words = words_of(line.substr(0, line.find('#')));
        if (words.empty() || take(words, result)) continue;
        error = "line " + std::to_string(number) + ": not usable: " + line.substr(0, 80);
        return false;
    }
    if (!result.radios.empty()) return true;
    error = "it has no radio";
    return false;
}

}  // namespace ravd::hostd
