// What hostapd's configuration files say of its BSSs, as far as its control socket does not tell. Only read.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostd/channel.h"

namespace ravd::hostd {

// Key holders of fast transition as they are configured.
struct configured_holders {
    std::string mobility_domain;  // four hexadecimal digits; empty: none
    std::string nas_identifier;
    std::string r1_key_holder;
    std::string reassociation_deadline;
    std::string ft_over_ds;
    std::string ft_psk_generate_local;
    std::vector<std::string> r0kh, r1kh;  // the lines' texts
};

class hostapd_config {
  public:
    // Adds the BSSs of a file's text. One that was there is replaced.
    void add(const std::string& text);
    void clear() { files_.clear(); }

    bool has(const std::string& interface_name) const { return find(interface_name) != nullptr; }
    // Neighbour reports and transition requests.
    bool steers(const std::string& interface_name) const;
    configured_holders holders(const std::string& interface_name) const;
    // The channel of the radio that carries this BSS; 0 where hostapd chooses it itself or nothing is known.
    channel_use channel(const std::string& interface_name) const;
    // The country; empty when none is configured.
    std::string country(const std::string& interface_name) const;

  private:
    using lines = std::vector<std::pair<std::string, std::string>>;
    struct file {
        lines radio;
        std::map<std::string, lines> bss;
    };
    const lines* find(const std::string& interface_name) const;
    std::string radio_value(const std::string& interface_name, const char* key) const;

    std::vector<file> files_;
};

// The configuration files on a running hostapd's command line ("/proc/PID/cmdline", arguments that end with zeros).
// Those with a relative path are left out: where they lie is not known.
std::vector<std::string> files_of_command_line(const std::string& cmdline);

}  // namespace ravd::hostd
