// Both chips' drivers behind the kernel port: variables, replies given as bytes, and a list of what was asked.
#pragma once

#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "driver/ioctl_ops.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {

class fake_chip {
  public:
    explicit fake_chip(bool wifi6) : wifi6_(wifi6) {
        fake_system::get().on_ioctl = [this](unsigned long number, iwreq* req) { return answer(number, *req); };
        fake_system::get().on_command = [this](const std::string& command, std::string& output) {
            return answer(command, output);
        };
    }

    std::map<std::string, std::string> mibs;     // "wlan0 chanspec" -> bytes, or what iwpriv shows as a number
    std::map<std::string, std::string> replies;  // "wlan0 2" -> the record from its offset 4; else counts of 0
    std::set<std::string> failing;               // what is asked here fails: "wlan0 2", "wlan0 chanspec"
    std::vector<std::string> asked;              // "wlan0 0 0200 0100 0b00": the record without its trailing zeros

    void set_number(const std::string& key, std::uint32_t value) {
        mibs[key] = wifi6_ ? std::to_string(value) : bytes(value);
    }
    static std::string bytes(std::uint32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }
    const char* directory() const { return wifi6_ ? "/proc/net/rtk_wifi6/" : "/proc/"; }

  private:
    int fail() {
        errno = EIO;
        return -1;
    }

    int answer(unsigned long number, iwreq& req) {
        const std::string name = req.ifr_name;
        auto* data = static_cast<char*>(req.u.data.pointer);
        if (number == (wifi6_ ? 0x89f4u : 0x8bbfu)) {
            auto& record = *static_cast<quarn_command_t*>(req.u.data.pointer);
            const std::string key = name + " " + std::to_string(record.bytes[0]);
            std::size_t end = sizeof record;
            while (end > 4 && record.bytes[end - 1] == 0)
                --end;
            std::string text = key;
            for (std::size_t i = 4; i < end; ++i) {
                char digits[8];
                std::snprintf(digits, sizeof digits, i % 2 ? "%02x" : " %02x", record.bytes[i]);
                text += digits;
            }
            asked.push_back(text);
            if (failing.count(key) || req.u.data.length != 65534) return fail();
            const std::string reply = replies.count(key) ? replies[key] : std::string(8, '\0');
            std::memcpy(record.bytes + 4, reply.data(), reply.size());
            return 0;
        }
        if (number == (wifi6_ ? 0x89f6u : 0x8ba6u)) {
            asked.push_back(name + " bss-transition " + std::to_string(data[5]));
            return failing.count(name + " bss-transition") ? fail() : 0;
        }
        if (number == 0x8b18) {
            asked.push_back(name + " rrm-scan");
            return 0;
        }
        const std::string key = name + " " + data;
        if (!wifi6_ && number == 0x89f1) {
            asked.push_back(key);
            return failing.count(key) || req.u.data.length != std::strlen(data) + 1 ? fail() : 0;
        }
        if (wifi6_ || number != 0x89f2 || failing.count(key) || !mibs.count(key)) return fail();
        const std::string& value = mibs[key];
        std::memcpy(data, value.data(), std::min<std::size_t>(value.size(), req.u.data.length));
        req.u.data.length = static_cast<std::uint16_t>(value.size());
        return 0;
    }

    bool answer(const std::string& command, std::string& output) {
        char name[32], verb[32], mib[64];
        if (std::sscanf(command.c_str(), "iwpriv %31s %31s %63s", name, verb, mib) != 3) return !commands_fail;
        const std::string key = std::string(name) + " " + mib;
        if (std::string(verb) == "set_mib") asked.push_back(key);
        if (mibs.count(key)) output = std::string(name) + "  get_mib:" + mibs[key] + "  \n";
        return !commands_fail;
    }

    bool wifi6_;

  public:
    bool commands_fail = false;
};

}  // namespace ravd::testing
