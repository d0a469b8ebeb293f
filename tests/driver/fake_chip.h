// Both chips' drivers behind the kernel port: variables, replies given as bytes, and a list of what was asked.
#pragma once

#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "driver/realtek/device_text.h"
#include "driver/realtek/ioctl_ops.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

class fake_chip {
  public:
    explicit fake_chip(bool wifi6) : wifi6_(wifi6) {
        fake_system::get().on_ioctl = [this](unsigned long number, iwreq* req) {
            errno = EIO;
            const bool answered = answer(number, *req, static_cast<char*>(req->u.data.pointer));
            // A 64-bit kernel copies the request in and out as a struct ifreq, longer than the wireless one.
            auto* const whole = reinterpret_cast<volatile unsigned char*>(req);
            for (std::size_t i = sizeof(iwreq); i < sizeof(ifreq); ++i)
                whole[i] = whole[i];
            return answered ? 0 : -1;
        };
        fake_system::get().on_command = [this](const std::string& command, std::string& output) {
            return run(command, output);
        };
    }

    std::map<std::string, std::string> mibs;     // "wlan0 chanspec" -> bytes, or what iwpriv shows as a number
    std::map<std::string, std::string> replies;  // "wlan0 2" -> the record from offset 4 on; else counts of 0
    std::set<std::string> failing;               // what is asked here fails: "wlan0 2", "wlan0 chanspec"
    std::string asked;  // "wlan0 0 0200000001000b; ", one after the other: the record without its trailing zeros

    std::string take_asked() { return std::exchange(asked, {}); }
    void set_number(const std::string& key, std::uint32_t value) {
        mibs[key] = wifi6_ ? std::to_string(value) : bytes(value);
    }
    static std::string bytes(std::uint32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }
    bool wifi6() const { return wifi6_; }
    const char* directory() const { return wifi6_ ? "/proc/net/rtk_wifi6/" : "/proc/"; }

  private:
    bool ask(const std::string& key, const std::string& details = "") {
        asked += key + details + "; ";
        return failing.count(key) == 0;
    }

    bool answer(unsigned long number, iwreq& req, char* data) {
        const std::string name = req.ifr_name;
        const std::size_t length = req.u.data.length;
        if (number == (wifi6_ ? 0x89f4u : 0x8bbfu)) {
            const std::string key = name + " " + std::to_string(data[0]);
            std::string_view request(data + 4, sizeof(quarn_command_t) - 4);
            request = request.substr(0, request.find_last_not_of('\0') + 1);
            if (!ask(key, request.empty() ? "" : " " + to_hex(request)) || length != 65534) return false;
            const std::string reply = replies.count(key) ? replies[key] : std::string(8, '\0');
            std::memcpy(data + 4, reply.data(), reply.size());
            return true;
        }
        if (number == (wifi6_ ? 0x89f6u : 0x8ba6u)) return ask(name + " bss-transition", " " + to_hex({data, length}));
        if (number == 0x8b18) return ask(name + " rrm-scan");
        const std::string key = name + " " + data;
        if (!wifi6_ && number == 0x89f1) return ask(key) && length == std::strlen(data) + 1;
        if (wifi6_ || number != 0x89f2 || !mibs.count(key)) return false;
        std::memcpy(data, mibs[key].data(), mibs[key].size());
        req.u.data.length = static_cast<std::uint16_t>(mibs[key].size());
        return true;
    }

    bool run(const std::string& command, std::string& output) {
        char name[32], verb[32], mib[64];
        if (std::sscanf(command.c_str(), "iwpriv %31s %31s %63s", name, verb, mib) != 3) return true;
        const std::string key = std::string(name) + " " + mib;
        if (std::string(verb) == "set_mib") ask(key);
        if (mibs.count(key)) output = std::string(name) + "  get_mib:" + mibs[key] + "  \n";
        return true;
    }

    bool wifi6_;
};

}  // namespace ravd::testing
