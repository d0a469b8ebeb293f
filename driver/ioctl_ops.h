// Chip back-ends: how one request reaches the Wi-Fi driver of one interface. Made for a single operation.
//
// Results: 0 success (get_mib: 0 or more), -1 the driver, a command or memory failed, -2 no socket. Failures are
// logged. Every ioctl and command is reported to the owner's activity, and refused with ECANCELED once it is cancelled.
#pragma once

#include <sys/socket.h>
// The wireless header needs that one first.
#include <linux/wireless.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "driver/quarn_command.h"
#include "driver/records.h"
#include "ipc/ipc_helper.h"

namespace ravd {

// Kinds of back-end for ioctl_ops::assign.
constexpr int rtl8192cd_back_end = 0;
constexpr int g6_back_end = 1;

// An entry of an 802.11k list.
struct neighbor_entry {
    std::array<std::uint8_t, 6> bssid;
    std::string ssid;
    std::uint32_t channel;
    std::array<int, 2> bss_load;
    int operating_class;
    std::uint32_t priority;
    bool custom;  // which of the two lists
};

class ioctl_ops {
  public:
    // A back-end for an interface, or null for an unknown kind. Without a socket (none left, or a name longer than 15
    // characters) its commands fail with -2. The owner outlives it.
    static std::unique_ptr<ioctl_ops> assign(int kind, const ipc_helper& owner, const char* ifname);

    ioctl_ops(const ioctl_ops&) = delete;
    ioctl_ops& operator=(const ioctl_ops&) = delete;
    virtual ~ioctl_ops();

    int start_active_scan(const channel_set& channels);
    int stop_active_scan();
    int get_scan_results(ap_table& table);
    int start_rrm_scan(std::uint32_t channel, const char* ifname);
    int stop_rrm_scan(const char* ifname);
    int get_rrm_scan_results(ap_table& table);
    int get_available_channels(channel_set& channels);
    int get_assoc_stas(std::vector<rrm_sta_realtek>& stations);
    int send_bss_trans_req(const char* ifname, const char* sta_mac);
    int set_quarn_roam_attempt_timeout(const char* ifname, int timeout);
    int del_custom_neighbors(const char* ifname);

    virtual int set_mib(const char* name, const char* value, const char* ifname) = 0;
    // Reads a 32-bit variable; 0 when it fails, and in the bytes that a short answer leaves out.
    virtual int get_mib(const char* name, std::uint32_t& output, const char* ifname) = 0;
    virtual int get_tx_power(std::uint32_t& output, const char* ifname) = 0;
    virtual int add_neighbor(const char* ifname, const neighbor_entry& neighbor) = 0;
    virtual int del_neighbors(const char* ifname) = 0;
    virtual bool get_obss_coex(const char* ifname) = 0;

  protected:
    // What differs between the chips in plain numbers and names.
    struct chip {
        std::uint32_t custom_request;
        std::uint32_t bss_trans_request;
        const char* directory;          // of the driver's files, by interface
        const char* neighbor_files[2];  // standard list, custom list
    };

    ioctl_ops(const chip& kind, const ipc_helper& owner, const char* ifname, int sock);

    // A request on the interface of this back-end; result and errno as of an ioctl.
    int request(std::uint32_t number, void* data, std::size_t length);
    // Runs a command, reading what it prints where `output` is given. False, with errno set, when it failed.
    bool run(const std::string& command, std::string* output = nullptr) const;
    // Writes an order into one of the driver's neighbour files. 0, or -1 with `error` in the log.
    int write_neighbor_file(const char* ifname, bool custom, const std::string& order, const char* error) const;

    iwreq req_{};

  private:
    using filler = std::function<void(quarn_command_t&, std::uint32_t, std::uint32_t)>;
    using parser = std::function<void(const quarn_command_t&)>;

    int execute(std::uint32_t command, const filler& fill, const parser& parse);
    bool has_socket(const char* function, int line) const;
    int timed_ioctl(int sock, std::uint32_t number, iwreq& req) const;

    chip chip_;
    const ipc_helper& owner_;
    int sock_;
};

}  // namespace ravd
