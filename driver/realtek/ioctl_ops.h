// What the back-ends of Realtek's drivers share: private ioctls on a socket, the custom command record, the driver's
// files below /proc, and commands.
//
// Results beyond those of back_end: -1 the driver, a command or memory failed, -2 no socket (none left, or a name
// longer than 15 characters).
#pragma once

#include <sys/socket.h>
// The wireless header needs that one first.
#include <linux/wireless.h>

#include "core/function_ref.h"
#include "driver/back_end.h"
#include "driver/realtek/quarn_command.h"
#include "platform/unique_fd.h"

namespace ravd {

// Kinds of back-end for ioctl_ops::assign.
constexpr int rtl8192cd_back_end = 0;
constexpr int rtk_wifi6_back_end = 1;

class ioctl_ops : public back_end {
  public:
    // A back-end for an interface (null is a name without a socket), or null for an unknown kind.
    static std::unique_ptr<ioctl_ops> assign(int kind, activity* progress, const char* ifname);

    int start_active_scan(const scan_order& order) override;
    int stop_active_scan() override;
    int get_scan_results(ap_table& table) override;
    int start_rrm_scan(std::uint32_t channel) override;
    int stop_rrm_scan() override;
    int get_rrm_scan_results(ap_table& table) override;
    std::optional<std::uint32_t> active_scan_s(const scan_order& order) const override;
    int get_available_channels(channel_set& channels) override;
    int get_chanspec(std::uint32_t& chanspec) override;
    int get_assoc_stas(std::vector<rrm_sta_s>& stations) override;
    int send_bss_trans_req(const char* sta_mac) override;
    int set_quarn_roam_attempt_timeout(int timeout) override;
    int del_custom_neighbors() override;
    int hung_commands() const override { return hung_commands_; }

    virtual int set_mib(const char* name, const char* value) = 0;
    // Reads a 32-bit variable; 0 when it fails, and in the bytes that a short answer leaves out.
    virtual int get_mib(const char* name, std::uint32_t& output) = 0;

  protected:
    // What differs between the drivers in plain numbers and names.
    struct chip {
        std::uint32_t custom_request;
        std::uint32_t bss_trans_request;
        const char* directory;           // of the driver's files, by interface
        const char* neighbour_files[2];  // standard list, custom list
    };

    ioctl_ops(const chip& kind, activity* progress, const char* ifname);

    const char* ifname() const { return ifname_.c_str(); }
    // A request on the interface of this back-end; result and errno as of an ioctl. Gives the length that came back.
    int request(std::uint32_t number, void* data, std::size_t length, std::size_t* answered = nullptr) const;
    // Runs a command, reading what it prints where `output` is given. False, with errno set, when it failed.
    bool run(const std::string& command, std::string* output = nullptr);
    // Writes an order into one of the driver's neighbour files. 0, or -1 with `error` in the log.
    int write_neighbour_file(bool custom, const std::string& order, const char* error) const;

  private:
    using filler = function_ref<void(quarn_command_t&)>;
    using parser = function_ref<void(const quarn_command_t&)>;

    int execute(std::uint32_t command, filler fill, parser parse) const;
    // A command that only asks, with the capacity of its reply.
    int fetch(std::uint32_t command, const reply_layout& layout, parser parse) const;
    bool has_socket(const char* function, int line) const;
    // One ioctl on `sock` for this interface, the worker's clock read around it.
    int timed_ioctl(int sock, std::uint32_t number, void* data, std::size_t length, std::size_t* answered) const;
    void tick() const;
    bool cancelled() const;

    chip chip_;
    activity* progress_;
    std::string ifname_;
    unique_fd sock_;
    int hung_commands_ = 0;
};

}  // namespace ravd
