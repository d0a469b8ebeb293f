// What the Wi-Fi drivers' files and iwpriv print, lists of channels in the configuration, and names on their way to a
// command. The first byte chooses the reader: '0' and on.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/ifname.h"
#include "driver/converters.h"
#include "driver/realtek/device_text.h"

namespace {

constexpr std::size_t longest = 300;  // no reader has a limit beyond it

void check(bool holds) {
    if (!holds) std::abort();
}

void read_mib_reply(const std::string& text) {
    std::string word;
    int value = -1;
    const int read = ravd::scan_mib_reply(text.c_str(), word, value);
    check(read >= -1 && read != 0 && read <= 2 && word.size() <= 127 && word.empty() == (read == -1));
}

void read_driver_file(const std::string& text) {
    const std::string found = ravd::find_driver_value(text, "coexist");
    check(found.empty() || (text.find(": " + found) != std::string::npos && found.find('\n') == std::string::npos));
}

void read_name(const std::string& text) {
    if (ravd::is_wlan_ifname(text.c_str())) {
        const std::size_t length = std::strlen(text.c_str());
        check(length <= 15 && std::strspn(text.c_str(), "wlan-v0123456789") == length);
        check(ravd::radio_index(text.c_str()) >= 0);
    }
    int radio = 0, vap = 0;
    if (ravd::parse_vap_ifname(text.c_str(), radio, vap)) check(ravd::radio_index(text.c_str()) == radio);
}

void read_channels(const std::string& text) {
    const auto channels = ravd::parse_channel_list(nullptr, text);
    check(channels.has_value() != text.empty());
    check(text.empty() || channels->empty() || (*channels->begin() > 0 && *channels->rbegin() <= 65535));
}

void read_ssid(const std::string& text) { check(ravd::to_hex(text).size() == 2 * text.size()); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr void (*readers[])(const std::string&) = {read_mib_reply, read_driver_file, read_name, read_channels,
                                                       read_ssid};
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), std::min(size - 1, longest));
    readers[static_cast<unsigned>(data[0] - '0') % std::size(readers)](text);
    return 0;
}
