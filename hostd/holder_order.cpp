// Reading what the service hands out: everything becomes part of a request to hostapd, whose words blanks part.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "hostd/key_holders.h"
#include "message/mac_addr.h"

namespace ravd::hostd {
namespace {

constexpr std::size_t identity_limit = 48;  // bytes of an R0 key holder's identity
constexpr int shortest_deadline = 1000;     // time units; hostapd takes none below
constexpr int largest_number = 65535;

bool is_hexadecimal(const std::string& text) {
    return text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool is_identity(const std::string& text) {
    return !text.empty() && text.size() <= identity_limit &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

bool is_key(const std::string& text) { return (text.size() == 32 || text.size() == 64) && is_hexadecimal(text); }

std::string text_member(const json_reader& object, const char* key) {
    const char* text = object.get_string(key);
    return text ? text : "";
}

// An R1 key holder's identity is an address, with colons or without; here it has them.
bool read_address(std::string text, std::string& address) {
    if (text.size() == 12 && is_hexadecimal(text))
        for (std::size_t at = 2; at < 17; at += 3)
            text.insert(at, ":");
    MacAddr mac;
    if (!is_plain_mac(text.c_str()) || !parse_mac(text.c_str(), mac)) return false;
    address = mac.to_lower();
    return true;
}

bool read_identity(const json_reader& config, holder_identity& own) {
    const int domain = config.get_int("mobility-domain");
    const int deadline = config.get_int("reassociation-deadline");
    own.nas_identifier = text_member(config, "r0-key-holder-id");
    if (domain < 0 || domain > largest_number || !is_identity(own.nas_identifier) ||
        !read_address(text_member(config, "r1-key-holder-id"), own.r1_key_holder))
        return false;
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04x", static_cast<unsigned>(domain));
    own.mobility_domain = digits;
    if (deadline >= shortest_deadline && deadline <= largest_number)
        own.reassociation_deadline = std::to_string(deadline);
    own.ft_over_ds = text_member(config, "ft-over-ds") == "true" ? "1" : "0";
    own.ft_psk_generate_local = text_member(config, "ft-psk-generate-local") == "true" ? "1" : "0";
    return true;
}

}  // namespace

bool read_holder_order(const json_reader& ft_config, holder_order& order, std::string& reason) {
    if (!ft_config.is_object()) {
        reason = "no ft-config";
        return false;
    }
    if (!read_identity(ft_config, order.own)) {
        reason = "its mobility domain or own identities are not usable";
        return false;
    }
    ft_config.child("mac").for_each([&](const char*, const json_reader& remote) {
        std::string address;
        const std::string identity = text_member(remote, "r0-kh-id");
        const std::string r0_key = text_member(remote, "r0-kh-key");
        const std::string r1_key = text_member(remote, "r1-kh-key");
        if (!read_address(text_member(remote, "r1-kh-id"), address) || !is_identity(identity) || !is_key(r0_key) ||
            !is_key(r1_key)) {
            reason = "key holder " + identity.substr(0, identity_limit) + " is not usable";
            return false;
        }
        order.remotes[{"r0kh", address + " " + identity}] = r0_key;
        order.remotes[{"r1kh", address + " " + address}] = r1_key;
        return true;
    });
    return reason.empty();
}

}  // namespace ravd::hostd
