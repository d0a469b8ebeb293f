// What the Wi-Fi drivers' files and iwpriv print, and names on their way to a command.

#include <cstdlib>
#include <cstring>
#include <string>

#include "core/ifname.h"
#include "driver/converters.h"
#include "driver/realtek/device_text.h"

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    std::string word;
    int value = -1;
    const int read = ravd::scan_mib_reply(text.c_str(), word, value);
    check(read >= -1 && read != 0 && read <= 2 && word.size() <= 127 && word.empty() == (read == -1));

    const std::string found = ravd::find_driver_value(text, "coexist");
    check(found.empty() || (text.find(": " + found) != std::string::npos && found.find('\n') == std::string::npos));

    if (ravd::is_wlan_ifname(text.c_str())) {
        const std::size_t length = std::strlen(text.c_str());
        check(length <= 15 && std::strspn(text.c_str(), "wlan-v0123456789") == length);
        check(ravd::radio_index(text.c_str()) >= 0);
    }
    int radio = 0, vap = 0;
    if (ravd::parse_vap_ifname(text.c_str(), radio, vap)) check(ravd::radio_index(text.c_str()) == radio);

    if (const auto channels = ravd::parse_channel_list(nullptr, text))
        check(channels->empty() || (*channels->begin() > 0 && *channels->rbegin() <= 65535));
    check(ravd::to_hex(text).size() == 2 * size);
    return 0;
}
