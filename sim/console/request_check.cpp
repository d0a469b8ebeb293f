#include "sim/console/request_check.h"

#include <strings.h>
#include <sys/random.h>

#include <cstdint>

namespace ravd::sim {
namespace {

bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

std::string random_token() {
    std::uint8_t bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return "";
    static const char digits[] = "0123456789abcdef";
    std::string token;
    for (const std::uint8_t byte : bytes) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

bool is_loopback(std::string_view address) { return address.substr(0, 4) == "127."; }

bool strip_token(std::string_view token, std::string_view& path) {
    if (token.empty()) return true;
    const std::string_view given = path.substr(0, 1) == "/" ? path.substr(1, path.find('/', 1) - 1) : "";
    unsigned differ = given.size() == token.size() ? 0 : 1;
    for (std::size_t i = 0; i < token.size(); ++i) {
        const char theirs = i < given.size() ? given[i] : '\0';
        differ |= static_cast<unsigned char>(theirs) ^ static_cast<unsigned char>(token[i]);
    }
    if (differ != 0) return false;
    path.remove_prefix(1 + token.size());
    return true;
}

bool host_is_ours(std::string_view host, std::string_view address, unsigned port) {
    const std::string tail = ":" + std::to_string(port);
    if (host.size() >= tail.size() && host.substr(host.size() - tail.size()) == tail)
        host.remove_suffix(tail.size());
    else if (port != 80)
        return false;
    return same_name(host, address) || same_name(host, "127.0.0.1") || same_name(host, "localhost");
}

bool origin_is_ours(std::string_view origin, std::string_view host) {
    for (const std::string_view scheme : {"http://", "https://"})
        if (same_name(origin.substr(0, scheme.size()), scheme)) return same_name(origin.substr(scheme.size()), host);
    return false;
}

}  // namespace ravd::sim
