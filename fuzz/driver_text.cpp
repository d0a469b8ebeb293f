// What the Wi-Fi drivers' files and iwpriv print, settings of radios and VAPs, and names on their way to a command. The
// first byte chooses the reader.
//
// Aims at: core/ifname.cpp driver/converters.cpp driver/realtek/device_text.cpp

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/ifname.h"
#include "driver/converters.h"
#include "driver/realtek/device_text.h"
#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest = 300;  // no reader has a limit beyond it
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), std::min(size - 1, longest));
    const char* const words = text.c_str();
    switch (data[0]) {
        case '0': {
            std::string word;
            int value = -1;
            const int read = ravd::scan_mib_reply(words, word, value);
            check(read >= -1 && read != 0 && read <= 2 && word.size() <= 127 && word.empty() == (read == -1));
            break;
        }
        case '1': {
            const std::string found = ravd::find_driver_value(text, "coexist");
            check(found.empty() || (text.find(": " + found) != std::string::npos && found.find('\n') == found.npos));
            break;
        }
        case '2': {
            const std::size_t length = std::strlen(words);
            if (ravd::is_wlan_ifname(words))
                check(length <= 15 && std::strspn(words, "wlan-v0123456789") == length &&
                      ravd::radio_index(words) >= 0);
            int radio = 0, vap = 0;
            if (ravd::parse_vap_ifname(words, radio, vap)) check(ravd::radio_index(words) == radio);
            break;
        }
        case '3': {
            const std::string ssid = ravd::parse_ssid(nullptr, text).value_or("");
            check(ssid.size() <= 129 && ravd::to_hex(ssid).size() == 2 * ssid.size());
            check(ssid.find('\n') == ssid.npos || ravd::has_control_character(ssid));
            break;
        }
        default: {
            const auto bandwidth = ravd::get_config_bandwidth_cb(nullptr, text);
            check(!bandwidth || ravd::parse_number(nullptr, text).value_or(0) % 20 == 0);
            check(!ravd::get_config_primary_cb(nullptr, text) || !bandwidth);
            const auto channels = ravd::parse_channel_list(nullptr, text).value_or(ravd::channel_set());
            check(channels.empty() || (*channels.begin() > 0 && *channels.rbegin() <= 65535));
        }
    }
    return 0;
}
