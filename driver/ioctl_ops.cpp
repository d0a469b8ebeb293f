#include "driver/ioctl_ops.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chips.h"
#include "driver/device_file.h"
#include "message/mac_addr.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::uint32_t start_rrm_scan_request = 0x8b18;
constexpr std::uint16_t command_length = 0xfffe;  // the record is longer: the driver knows its size

// Pages of their own, which the system hands out zeroed and takes back at once: in the heap the record would stay
// with the process, and every one of its pages would be touched to clear it.
class zeroed_record {
  public:
    zeroed_record() : pages_(mmap(nullptr, sizeof(quarn_command_t), PROT_READ | PROT_WRITE, flags, -1, 0)) {}
    zeroed_record(const zeroed_record&) = delete;
    zeroed_record& operator=(const zeroed_record&) = delete;
    ~zeroed_record() {
        if (pages_ != MAP_FAILED) munmap(pages_, sizeof(quarn_command_t));
    }
    quarn_command_t* get() const { return pages_ == MAP_FAILED ? nullptr : static_cast<quarn_command_t*>(pages_); }

  private:
    static constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS;
    void* pages_;
};

}  // namespace

std::unique_ptr<ioctl_ops> ioctl_ops::assign(int kind, const ipc_helper& owner, const char* ifname) {
    if (kind != rtl8192cd_back_end && kind != g6_back_end) return nullptr;
    if (!ifname) ifname = "";
    int sock = -1;
    if (std::strlen(ifname) < IFNAMSIZ)
        sock = sys::wireless_socket();
    else
        errno = ENAMETOOLONG;
    if (sock < 0)
        log_error(process_log, "<%s:%d> cannot create socket for the ioctl call(errno = %s)\n", __func__, __LINE__,
                  std::strerror(errno));
    if (kind == g6_back_end) return std::make_unique<g6_ioctl_ops>(owner, ifname, sock);
    return std::make_unique<rtl8192cd_ioctl_ops>(owner, ifname, sock);
}

ioctl_ops::ioctl_ops(const chip& kind, const ipc_helper& owner, const char* ifname, int sock)
    : chip_(kind), owner_(owner), sock_(sock) {
    if (sock >= 0) std::strncpy(req_.ifr_name, ifname, sizeof req_.ifr_name - 1);
}

ioctl_ops::~ioctl_ops() {
    if (sock_ >= 0) close(sock_);
}

bool ioctl_ops::has_socket(const char* function, int line) const {
    if (sock_ >= 0) return true;
    log_warning(process_log, "<%s:%d> socket is not created for action by ioctl\n", function, line);
    return false;
}

int ioctl_ops::timed_ioctl(int sock, std::uint32_t number, iwreq& req) const {
    owner_.tick();
    if (sock < 0 || owner_.cancelled()) {
        errno = sock < 0 ? EBADF : ECANCELED;
        return -1;
    }
    const int result = sys::wireless_ioctl(sock, number, &req);
    const int error = errno;
    owner_.tick();
    errno = error;
    return result;
}

int ioctl_ops::request(std::uint32_t number, void* data, std::size_t length) {
    std::memset(&req_.u, 0, sizeof req_.u);
    req_.u.data.pointer = data;
    req_.u.data.length = static_cast<std::uint16_t>(length);
    return timed_ioctl(sock_, number, req_);
}

bool ioctl_ops::run(const std::string& command, std::string* output) const {
    owner_.tick();
    if (owner_.cancelled()) {
        errno = ECANCELED;
        return false;
    }
    const bool done =
        output ? sys::run_command_for_reading(command.c_str(), *output) : sys::run_command_for_writing(command.c_str());
    const int error = errno;
    owner_.tick();
    errno = error;
    return done;
}

int ioctl_ops::execute(std::uint32_t command, const filler& fill, const parser& parse) {
    if (!has_socket(__func__, __LINE__)) return -2;
    const zeroed_record pages;
    quarn_command_t* const record = pages.get();
    if (!record) {
        log_error(process_log, "<%s:%d> cannot allocate memory for the Quarn command structure(errno = %s)\n", __func__,
                  __LINE__, std::strerror(errno));
        return -1;
    }
    fill_command(*record, command);
    fill(*record, capacity_factor, sizeof(quarn_command_t));
    if (request(chip_.custom_request, record, command_length) < 0) {
        log_error(process_log, "<%s:%d> cannot execute command(errno = %s)(command = %s)\n", __func__, __LINE__,
                  std::strerror(errno), quarn_command_name(command));
        return -1;
    }
    parse(*record);
    return 0;
}

namespace {

void fill_nothing(quarn_command_t&, std::uint32_t, std::uint32_t) {}
void read_nothing(const quarn_command_t&) {}

auto capacity_filler(const reply_layout& layout) {
    return [&layout](quarn_command_t& record, std::uint32_t factor, std::uint32_t size) {
        fill_capacity(record, layout, factor, size);
    };
}

}  // namespace

int ioctl_ops::start_active_scan(const channel_set& channels) {
    const auto fill = [&channels](quarn_command_t& record, std::uint32_t, std::uint32_t) {
        fill_scan_channels(record, channels);
    };
    return execute(QUARN_CMD_CUSTOM_SCAN, fill, read_nothing);
}

int ioctl_ops::stop_active_scan() { return execute(QUARN_CMD_CUSTOM_SCAN_STOP, fill_nothing, read_nothing); }

int ioctl_ops::get_scan_results(ap_table& table) {
    return execute(QUARN_CMD_CUSTOM_SCAN_RESULTS, capacity_filler(scan_reply),
                   [&table](const quarn_command_t& record) { parse_scan_result(record, table); });
}

int ioctl_ops::get_rrm_scan_results(ap_table& table) {
    return execute(QUARN_CMD_RRM_SCAN_RESULTS, capacity_filler(scan_reply),
                   [&table](const quarn_command_t& record) { parse_rrm_scan_result(record, table); });
}

int ioctl_ops::get_available_channels(channel_set& channels) {
    return execute(QUARN_CMD_GET_AVAILABLE_CHANNELS, capacity_filler(channel_reply),
                   [&channels](const quarn_command_t& record) { parse_available_channels(record, channels); });
}

int ioctl_ops::get_assoc_stas(std::vector<rrm_sta_realtek>& stations) {
    return execute(QUARN_CMD_GET_ASSOC_STAS, capacity_filler(station_reply),
                   [&stations](const quarn_command_t& record) { parse_assoc_sta(record, stations); });
}

int ioctl_ops::start_rrm_scan(std::uint32_t channel, const char* ifname) {
    if (!has_socket(__func__, __LINE__)) return -2;
    if (set_mib("rrm_scan_chan", std::to_string(channel).c_str(), ifname) < 0) return 0;
    if (request(start_rrm_scan_request, nullptr, 0) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot start RRM scanning(errno = %s)\n", __func__, __LINE__, std::strerror(errno));
    return -1;
}

int ioctl_ops::stop_rrm_scan(const char* ifname) {
    if (!has_socket(__func__, __LINE__)) return -2;
    if (set_mib("rrm_scan_started", "0", ifname) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot stop RRM scanning\n", __func__, __LINE__);
    return -1;
}

int ioctl_ops::set_quarn_roam_attempt_timeout(const char* ifname, int timeout) {
    if (set_mib("roam_attempt_timeout", std::to_string(timeout).c_str(), ifname) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot setup roam attempt timeout for iface %s\n", __func__, __LINE__, ifname);
    return -1;
}

int ioctl_ops::send_bss_trans_req(const char* ifname, const char* sta_mac) {
    MacAddr mac;
    if (!parse_mac(sta_mac, mac)) {
        log_error(process_log, "Error: Could not read sta_mac at iface %s\n", ifname);
        return -1;
    }
    const int sock = sys::wireless_socket();
    if (sock < 0) {
        log_error(process_log, "Cannot open sock for ifname %s\n", ifname);
        return -1;
    }
    iwreq req{};
    // A name that does not fit is no interface's: cut, it would be another's.
    const bool fits = std::strlen(ifname) < sizeof req.ifr_name;
    if (fits) std::strncpy(req.ifr_name, ifname, sizeof req.ifr_name - 1);
    req.u.data.pointer = mac.octets.data();
    req.u.data.length = static_cast<std::uint16_t>(mac.octets.size());
    const bool sent = fits && timed_ioctl(sock, chip_.bss_trans_request, req) >= 0;
    if (!sent) log_error(process_log, "Error: %s not found on %s\n", mac.to_lower().c_str(), ifname);
    close(sock);
    return sent ? 0 : -1;
}

int ioctl_ops::write_neighbor_file(const char* ifname, bool custom, const std::string& order, const char* error) const {
    const std::string file = std::string("/") + chip_.neighbor_files[custom ? 1 : 0];
    if (write_device_file(interface_file(chip_.directory, ifname, file.c_str()), order)) return 0;
    log_debug(process_log, "%s", error);
    return -1;
}

int ioctl_ops::del_custom_neighbors(const char* ifname) {
    return write_neighbor_file(ifname, true, "delall", "Error rrm_nbr_del_nbr\n");
}

}  // namespace ravd
