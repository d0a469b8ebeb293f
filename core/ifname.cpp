#include "core/ifname.h"

#include <cstdio>
#include <cstring>

#include "core/decimal.h"

namespace ravd {
namespace {

const char* skip(const char* text, const char* prefix) {
    const std::size_t length = std::strlen(prefix);
    return text && std::strncmp(text, prefix, length) == 0 ? text + length : nullptr;
}

const char* skip_number(const char* text) {
    if (!text || *text < '0' || *text > '9') return nullptr;
    if (*text == '0') return text + 1;
    while (*text >= '0' && *text <= '9')
        ++text;
    return text;
}

}  // namespace

int radio_index(const char* ifname) {
    int radio = 0;
    const char* number = skip(ifname, "wlan");
    return number && read_decimal(number, radio) ? radio : -1;
}

bool parse_vap_ifname(const char* ifname, int& radio, int& vap) {
    const char* at = skip(ifname, "wlan");
    if (at) at = skip(read_decimal(at, radio), "-va");
    return at && read_decimal(at, vap);
}

std::string make_vap_ifname(int radio, int vap) {
    char name[32];
    std::snprintf(name, sizeof name, "wlan%d-va%d", radio, vap);
    return name;
}

bool is_wlan_ifname(const char* ifname) {
    const char* at = skip_number(skip(ifname, "wlan"));
    if (!at || std::strlen(ifname) > 15) return false;
    if (*at == '\0') return true;
    at = skip_number(skip(at, "-va"));
    return at && *at == '\0';
}

}  // namespace ravd
