#include "driver/realtek/ioctl_ops.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstring>

#include "core/formatted.h"
#include "core/logger.h"
#include "driver/device_file.h"
#include "driver/realtek/rtk_wifi6_ops.h"
#include "driver/realtek/rtl8192cd_ops.h"
#include "message/mac_addr.h"
#include "platform/system.h"

namespace ravd {
namespace {

constexpr std::uint32_t start_rrm_scan_request = 0x8b18;
constexpr std::uint16_t command_length = 0xfffe;  // the record is longer: the driver knows its size

// Pages of their own, which the system hands out zeroed and takes back at once: in the heap the record would stay
// with the process, and every one of its pages would be touched to clear it. The addresses are kept, for one record at
// a time.
class zeroed_record {
  public:
    zeroed_record() {
        if (pages_ == MAP_FAILED) pages_ = mmap(nullptr, sizeof(quarn_command_t), PROT_READ | PROT_WRITE, flags, -1, 0);
    }
    zeroed_record(const zeroed_record&) = delete;
    zeroed_record& operator=(const zeroed_record&) = delete;
    ~zeroed_record() {
        if (pages_ == MAP_FAILED || madvise(pages_, sizeof(quarn_command_t), MADV_DONTNEED) == 0) return;
        munmap(pages_, sizeof(quarn_command_t));
        pages_ = MAP_FAILED;
    }
    quarn_command_t* get() const { return pages_ == MAP_FAILED ? nullptr : static_cast<quarn_command_t*>(pages_); }

  private:
    static constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS;
    static thread_local void* pages_;
};

thread_local void* zeroed_record::pages_ = MAP_FAILED;

// A 64-bit kernel copies private requests in and out as struct ifreq, which is longer than the wireless one.
union request_block {
    iwreq wireless;
    ifreq whole;
};

// A name that does not fit is no interface's: cut, it would be another's.
bool fits_a_request(const std::string& ifname) { return ifname.size() < IFNAMSIZ; }

// What a command without arguments or without an answer fills in or reads.
constexpr auto nothing = [](const quarn_command_t&) {};

}  // namespace

std::unique_ptr<ioctl_ops> ioctl_ops::assign(int kind, activity* progress, const char* ifname) {
    if (!ifname) ifname = "";
    std::unique_ptr<ioctl_ops> ops;
    if (kind == rtl8192cd_back_end) ops = std::make_unique<rtl8192cd_ioctl_ops>(progress, ifname);
    if (kind == rtk_wifi6_back_end) ops = std::make_unique<rtk_wifi6_ioctl_ops>(progress, ifname);
    if (!ops) return nullptr;
    if (fits_a_request(ops->ifname_))
        ops->sock_.reset(sys::wireless_socket());
    else
        errno = ENAMETOOLONG;
    if (!ops->sock_)
        log_error(process_log, "<%s:%d> cannot create socket for the ioctl call(errno = %s)\n", __func__, __LINE__,
                  std::strerror(errno));
    return ops;
}

ioctl_ops::ioctl_ops(const chip& kind, activity* progress, const char* ifname)
    : chip_(kind), progress_(progress), ifname_(ifname) {}

void ioctl_ops::tick() const {
    if (progress_) progress_->tick();
}

bool ioctl_ops::cancelled() const { return progress_ && progress_->cancelled(); }

bool ioctl_ops::has_socket(const char* function, int line) const {
    if (sock_) return true;
    log_warning(process_log, "<%s:%d> socket is not created for action by ioctl\n", function, line);
    return false;
}

int ioctl_ops::timed_ioctl(int sock, std::uint32_t number, void* data, std::size_t length,
                           std::size_t* answered) const {
    tick();
    if (sock < 0 || !fits_a_request(ifname_) || cancelled()) {
        errno = sock < 0 ? EBADF : cancelled() ? ECANCELED : ENAMETOOLONG;
        return -1;
    }
    request_block block{};
    std::memcpy(block.wireless.ifr_name, ifname_.c_str(), ifname_.size());
    block.wireless.u.data.pointer = data;
    block.wireless.u.data.length = static_cast<std::uint16_t>(length);
    const int result = sys::wireless_ioctl(sock, number, &block.wireless);
    const int error = errno;
    if (answered) *answered = block.wireless.u.data.length;
    tick();
    errno = error;
    return result;
}

int ioctl_ops::request(std::uint32_t number, void* data, std::size_t length, std::size_t* answered) const {
    return timed_ioctl(sock_.get(), number, data, length, answered);
}

bool ioctl_ops::run(const std::string& command, std::string* output) {
    tick();
    if (cancelled()) {
        errno = ECANCELED;
        return false;
    }
    const bool done =
        output ? sys::run_command_for_reading(command.c_str(), *output) : sys::run_command_for_writing(command.c_str());
    const int error = errno;
    if (!done && error == ETIMEDOUT) ++hung_commands_;
    tick();
    errno = error;
    return done;
}

int ioctl_ops::execute(std::uint32_t command, filler fill, parser parse) const {
    if (!has_socket(__func__, __LINE__)) return -2;
    const zeroed_record pages;
    quarn_command_t* const record = pages.get();
    if (!record) {
        log_error(process_log, "<%s:%d> cannot allocate memory for the Quarn command structure(errno = %s)\n", __func__,
                  __LINE__, std::strerror(errno));
        return -1;
    }
    fill_command(*record, command);
    fill(*record);
    if (request(chip_.custom_request, record, command_length) < 0) {
        log_error(process_log, "<%s:%d> cannot execute command(errno = %s)(command = %s)\n", __func__, __LINE__,
                  std::strerror(errno), quarn_command_name(command));
        return -1;
    }
    parse(*record);
    return 0;
}

int ioctl_ops::fetch(std::uint32_t command, const reply_layout& layout, parser parse) const {
    const auto fill = [&layout](quarn_command_t& record) {
        fill_capacity(record, layout, capacity_factor, sizeof record);
    };
    return execute(command, fill, parse);
}

int ioctl_ops::start_active_scan(const scan_order& order) {
    const auto fill = [&order](quarn_command_t& record) { fill_scan_channels(record, order.channels); };
    return execute(QUARN_CMD_CUSTOM_SCAN, fill, nothing);
}

int ioctl_ops::stop_active_scan() { return execute(QUARN_CMD_CUSTOM_SCAN_STOP, nothing, nothing); }

int ioctl_ops::get_scan_results(ap_table& table) {
    return fetch(QUARN_CMD_CUSTOM_SCAN_RESULTS, scan_reply,
                 [&table](const quarn_command_t& record) { parse_scan_result(record, table); });
}

int ioctl_ops::get_rrm_scan_results(ap_table& table) {
    return fetch(QUARN_CMD_RRM_SCAN_RESULTS, scan_reply,
                 [&table](const quarn_command_t& record) { parse_rrm_scan_result(record, table); });
}

int ioctl_ops::get_available_channels(channel_set& channels) {
    return fetch(QUARN_CMD_GET_AVAILABLE_CHANNELS, channel_reply,
                 [&channels](const quarn_command_t& record) { parse_available_channels(record, channels); });
}

int ioctl_ops::get_chanspec(std::uint32_t& chanspec) { return get_mib("chanspec", chanspec); }

std::optional<std::uint32_t> ioctl_ops::active_scan_s(const scan_order& order) const {
    const std::uint32_t count = scan_channel_count(order.channels);
    if (count == 0) return std::nullopt;
    return count * 7 / 10 + 1;
}

int ioctl_ops::get_assoc_stas(std::vector<rrm_sta_s>& stations) {
    return fetch(QUARN_CMD_GET_ASSOC_STAS, station_reply,
                 [&stations](const quarn_command_t& record) { parse_assoc_sta(record, stations); });
}

int ioctl_ops::start_rrm_scan(std::uint32_t channel) {
    if (!has_socket(__func__, __LINE__)) return -2;
    if (set_mib("rrm_scan_chan", std::to_string(channel).c_str()) < 0) return -1;
    if (request(start_rrm_scan_request, nullptr, 0) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot start RRM scanning(errno = %s)\n", __func__, __LINE__, std::strerror(errno));
    return -1;
}

int ioctl_ops::stop_rrm_scan() {
    if (!has_socket(__func__, __LINE__)) return -2;
    if (set_mib("rrm_scan_started", "0") >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot stop RRM scanning\n", __func__, __LINE__);
    return -1;
}

int ioctl_ops::set_quarn_roam_attempt_timeout(int timeout) {
    if (set_mib("roam_attempt_timeout", std::to_string(timeout).c_str()) >= 0) return 0;
    log_error(process_log, "<%s:%d> cannot setup roam attempt timeout for iface %s\n", __func__, __LINE__, ifname());
    return -1;
}

int ioctl_ops::send_bss_trans_req(const char* sta_mac) {
    MacAddr mac;
    if (!parse_mac(sta_mac, mac)) {
        log_error(process_log, "Error: Could not read sta_mac at iface %s\n", ifname());
        return -1;
    }
    const unique_fd sock(sys::wireless_socket());
    if (!sock) {
        log_error(process_log, "Cannot open sock for ifname %s\n", ifname());
        return -1;
    }
    if (timed_ioctl(sock.get(), chip_.bss_trans_request, mac.octets.data(), mac.octets.size(), nullptr) >= 0) return 0;
    log_error(process_log, "Error: %s not found on %s\n", mac.to_lower().c_str(), ifname());
    return -1;
}

int ioctl_ops::write_neighbour_file(bool custom, const std::string& order, const char* error) const {
    const std::string file = formatted("/%s", chip_.neighbour_files[custom ? 1 : 0]);
    if (write_device_file(interface_file(chip_.directory, ifname(), file.c_str()), order)) return 0;
    log_debug(process_log, "%s", error);
    return -1;
}

int ioctl_ops::del_custom_neighbors() { return write_neighbour_file(true, "delall", "Error rrm_nbr_del_nbr\n"); }

}  // namespace ravd
