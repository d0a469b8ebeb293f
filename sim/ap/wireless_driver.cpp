#include "sim/ap/wireless_driver.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/monotonic.h"
#include "sim/ap/air.h"
#include "sim/ap/command_record.h"
#include "sim/ap/mibs.h"

namespace ravd::sim {
namespace {

// Private request numbers of the two drivers.
constexpr std::uint32_t request_custom[] = {0x8BBF, 0x89F4};
constexpr std::uint32_t request_transition[] = {0x8BA6, 0x89F6};
constexpr std::uint32_t request_get_mib = 0x89F2;  // rtl8192cd only
constexpr std::uint32_t request_set_mib = 0x89F1;  // rtl8192cd only
constexpr std::uint32_t request_rrm_start = 0x8B18;

constexpr const char* command_names[] = {"scan", "scan-stop", "results", "rrm-results", "stations", "channels"};

radio_reply failed(int error) {
    radio_reply reply;
    reply.result = -1;
    reply.error = error;
    return reply;
}

radio_reply done(const radio_request& request, std::string block = {}) {
    radio_reply reply;
    reply.length = request.length;
    reply.flags = request.flags;
    reply.block = std::move(block);
    return reply;
}

// The text at a block's start.
std::string text_of(const std::string& block) { return block.substr(0, block.find('\0')); }

std::string value_bytes(std::int32_t value) {
    std::string bytes;
    append_u32(bytes, static_cast<std::uint32_t>(value));
    return bytes;
}

void overwrite(std::string& block, std::size_t offset, const std::string& bytes) {
    if (block.size() < offset + bytes.size()) block.resize(offset + bytes.size());
    block.replace(offset, bytes.size(), bytes);
}

}  // namespace

// What a request number means on a radio.
enum class wireless_driver::call { unknown, custom, transition_request, get, set, rrm_start };

wireless_driver::call wireless_driver::classify(const radio_request& request, const radio_state& radio) {
    const auto chip = static_cast<std::size_t>(radio.kind);
    const bool classic = radio.kind == chip_kind::rtl8192cd;
    if (request.number == request_custom[chip]) return call::custom;
    if (request.number == request_transition[chip]) return call::transition_request;
    if (request.number == request_rrm_start) return call::rrm_start;
    if (classic && request.number == request_get_mib) return call::get;
    if (classic && request.number == request_set_mib) return call::set;
    return call::unknown;
}

// The names under which faults know it, the plainest last.
std::vector<std::string> wireless_driver::names_of(call what, const radio_request& request) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%x", request.number);
    std::vector<std::string> names = {"any", number};
    if (what == call::custom) {
        const std::uint32_t command = command_number(request.block);
        if (command < std::size(command_names)) names.emplace_back(command_names[command]);
    } else if (what == call::transition_request) {
        names.emplace_back("bss-transition");
    } else if (what == call::rrm_start) {
        names.emplace_back("rrm-start");
    } else if (what == call::get || what == call::set) {
        const std::string text = text_of(request.block);
        const std::string verb = what == call::get ? "get-mib" : "set-mib";
        names.push_back(verb);
        names.push_back(verb + ":" + text.substr(0, text.find('=')));
    }
    return names;
}

std::optional<wireless_driver::answer> wireless_driver::handle(const radio_request& request) {
    radio_state* radio = ap_.radio_of(request.ifname);
    if (!radio) {
        log_.line("driver", "%s: no such interface", request.ifname.c_str());
        return answer{failed(ENODEV)};
    }
    const call what = classify(request, *radio);
    if (faults_.none()) return answer{perform(what, request, *radio)};
    const std::vector<std::string> names = names_of(what, request);
    const std::string& name = names.back();
    const auto fault = faults_.strike(names, request.ifname);
    if (fault && fault->kind == fault_kind::hang) {
        log_.line("fault", "%s: %s hangs", request.ifname.c_str(), name.c_str());
        return std::nullopt;
    }
    if (fault && fault->kind == fault_kind::fail) {
        log_.line("fault", "%s: %s fails", request.ifname.c_str(), name.c_str());
        return answer{failed(static_cast<int>(fault->value))};
    }
    if (fault && fault->kind == fault_kind::silent) {
        log_.line("fault", "%s: %s succeeds without a word", request.ifname.c_str(), name.c_str());
        return answer{done(request)};
    }
    answer result{perform(what, request, *radio)};
    if (!fault) return result;
    log_.line("fault", "%s: %s gets a false answer", request.ifname.c_str(), name.c_str());
    switch (fault->kind) {
        case fault_kind::late:
            result.delay_ms = fault->value;
            break;
        case fault_kind::count:
            overwrite(result.reply.block, count_offset(static_cast<driver_command>(command_number(request.block))),
                      value_bytes(static_cast<std::int32_t>(fault->value)));
            break;
        case fault_kind::length: {
            const auto length = static_cast<std::uint16_t>(std::min<std::int64_t>(fault->value, 0xFFFF));
            result.reply.length = length;
            result.reply.block.resize(length, '\x5a');
            break;
        }
        default:
            result.reply.block = garbage(ap_.start.seed, block_capacity(request.length));
            break;
    }
    return result;
}

radio_reply wireless_driver::perform(call what, const radio_request& request, radio_state& radio) {
    const std::int64_t now = monotonic_ms();
    switch (what) {
        case call::get:
            return read_mib(request, radio);
        case call::set:
            return write_mib(request, radio);
        case call::custom:
            return radio.up ? custom_command(request, radio, now) : failed(ENETDOWN);
        case call::rrm_start:
            return radio.up ? start_rrm(request, radio) : failed(ENETDOWN);
        case call::transition_request:
            return radio.up ? transition(request) : failed(ENETDOWN);
        default:
            log_.line("driver", "%s: request 0x%x is not known to this chip", request.ifname.c_str(), request.number);
            return failed(EOPNOTSUPP);
    }
}

radio_reply wireless_driver::custom_command(const radio_request& request, radio_state& radio, std::int64_t now_ms) {
    const std::uint32_t number = command_number(request.block);
    switch (static_cast<driver_command>(number)) {
        case driver_command::custom_scan: {
            start_active_scan(ap_, radio, scan_channels(request.block), now_ms);
            log_.line("driver", "%s: active scan no. %u, %zu channels, %.1f s", radio.name.c_str(), radio.scan.round,
                      radio.scan.channels.size(), static_cast<double>(radio.scan.duration_ms) / 1000);
            return done(request);
        }
        case driver_command::custom_scan_stop:
            if (scan_running(radio, now_ms)) log_.line("driver", "%s: scan stopped", radio.name.c_str());
            stop_scan(radio, now_ms);
            return done(request);
        case driver_command::custom_scan_results: {
            const auto heard = radio.scan.active_kind ? scan_results(ap_, radio, now_ms) : std::vector<heard_bss>();
            log_.line("driver", "%s: %zu scan results read", radio.name.c_str(), heard.size());
            return done(request, encode_scan_results(request.block, heard));
        }
        case driver_command::rrm_scan_results: {
            const auto heard = radio.scan.active_kind ? std::vector<heard_bss>() : scan_results(ap_, radio, now_ms);
            log_.line("driver", "%s: %zu RRM scan results read", radio.name.c_str(), heard.size());
            return done(request, encode_rrm_results(request.block, heard));
        }
        case driver_command::get_assoc_stas:
            return done(request, station_list(request, now_ms));
        case driver_command::get_available_channels:
            return done(request, encode_channels(request.block, radio.channels));
    }
    log_.line("driver", "%s: command %u is not known", request.ifname.c_str(), number);
    return failed(EINVAL);
}

std::string wireless_driver::station_list(const radio_request& request, std::int64_t now_ms) {
    std::vector<station_entry> entries;
    if (vap_state* vap = ap_.vap_of(request.ifname)) {
        for (station& one : vap->stations) {
            if (!one.associated) continue;
            if (one.asked_until_ms != 0 && now_ms >= one.asked_until_ms) one.asked_to_roam = false;
            entries.push_back({one.is.mac, stations_.readings(one, now_ms), one.asked_to_roam, !one.is.v});
        }
    }
    return encode_stations(request.block, entries);
}

radio_reply wireless_driver::read_mib(const radio_request& request, const radio_state& radio) const {
    const std::string name = text_of(request.block);
    const auto value = get_mib(ap_, radio, request.ifname, name);
    if (!value) {
        log_.line("driver", "%s: MIB \"%s\" is not known", request.ifname.c_str(), name.c_str());
        return failed(EINVAL);
    }
    radio_reply reply = done(request, value_bytes(*value));
    reply.length = 4;
    return reply;
}

radio_reply wireless_driver::write_mib(const radio_request& request, radio_state& radio) {
    const std::string text = text_of(request.block);
    const std::size_t equals = text.find('=');
    const bool known = equals != std::string::npos &&
                       set_mib(radio, request.ifname, text.substr(0, equals), text.substr(equals + 1), monotonic_ms());
    log_.line("driver", "%s: MIB %s%s", request.ifname.c_str(), text.c_str(), known ? "" : " refused");
    return known ? done(request) : failed(EINVAL);
}

radio_reply wireless_driver::start_rrm(const radio_request& request, radio_state& radio) {
    const int channel = get_mib(ap_, radio, request.ifname, "rrm_scan_chan").value_or(0);
    if (channel <= 0) return failed(EINVAL);
    start_rrm_scan(ap_, radio, channel, monotonic_ms());
    log_.line("driver", "%s: RRM scan no. %u, channel %d, %.1f s", radio.name.c_str(), radio.scan.round, channel,
              static_cast<double>(radio.scan.duration_ms) / 1000);
    return done(request);
}

radio_reply wireless_driver::transition(const radio_request& request) {
    mac_octets mac{};
    // Zeros at the block's end may be missing.
    for (std::size_t i = 0; i < mac.size() && i < request.block.size(); ++i)
        mac[i] = static_cast<std::uint8_t>(request.block[i]);
    vap_state* vap = ap_.vap_of(request.ifname);
    if (request.length != mac.size()) return failed(EINVAL);
    if (!vap || !stations_.ask_to_roam(*vap, mac, monotonic_ms())) {
        log_.line("driver", "%s: no station %s to ask", request.ifname.c_str(), mac_text(mac).c_str());
        return failed(ENOENT);
    }
    const scenario_station& who = stations_.find(mac).one->is;
    const bool will = who.v && who.obeys;
    log_.line("driver", "%s: station %s asked to roam%s", request.ifname.c_str(), mac_text(mac).c_str(),
              will ? "" : ", and stays");
    if (will && roam_told_) roam_told_(mac);
    return done(request);
}

}  // namespace ravd::sim
