#include "platform/hostapd/socket.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/monotonic.h"

namespace ravd::hostapd {
namespace {

// "<3>AP-ENABLED", on the global socket "IFNAME=wlan0 <3>AP-ENABLED": what stands before an event is taken away.
bool strip_level(std::string& text) {
    std::size_t at = 0;
    if (text.compare(0, 7, "IFNAME=") == 0) at = std::min(text.find(' '), text.size() - 1) + 1;
    const std::size_t digits = at + 1;
    const std::size_t end = text.find_first_not_of("0123456789", digits);
    if (text.compare(at, 1, "<") != 0 || end == digits || end == std::string::npos || text[end] != '>') return false;
    text.erase(0, end + 1);
    return true;
}

int sender_of(msghdr& message) {
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if (!header || header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_CREDENTIALS) return 0;
    ucred sender{};
    std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
    return sender.pid;
}

}  // namespace

wpa_ctrl* open_connection(const std::string& path) {
    wpa_ctrl* connection = wpa_ctrl_open(path.c_str());
    if (!connection) return nullptr;
    ::fcntl(wpa_ctrl_get_fd(connection), F_SETFD, FD_CLOEXEC);
    // Has the kernel say with each message who sent it.
    const int on = 1;
    ::setsockopt(wpa_ctrl_get_fd(connection), SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    return connection;
}

received receive(wpa_ctrl* connection, std::string& text, int* process) {
    text.resize(hostapd_reply_limit + 1);
    iovec memory{text.data(), text.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message{};
    message.msg_iov = &memory;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t size = 0;
    do
        size = ::recvmsg(wpa_ctrl_get_fd(connection), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    while (size < 0 && errno == EINTR);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    if (size < 0) return errno == EAGAIN || errno == EWOULDBLOCK ? received::nothing : received::lost;
    if (process && size >= 0) *process = sender_of(message);
    if (text.size() > hostapd_reply_limit) {
        text.clear();
        return received::too_long;
    }
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return strip_level(text) ? received::event : received::answer;
}

hostapd_result send(wpa_ctrl* connection, const std::string& text) {
    ssize_t sent = 0;
    do
        sent = ::send(wpa_ctrl_get_fd(connection), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    if (sent >= 0) return hostapd_result::answered;
    // What it did not read yet fills its queue.
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) return hostapd_result::no_answer;
    return errno == EMSGSIZE ? hostapd_result::too_long : hostapd_result::absent;
}

hostapd_result wait_for_answer(wpa_ctrl* connection, std::string& reply, int timeout_ms, int* process) {
    const std::int64_t end = monotonic_ms() + timeout_ms;
    for (;;) {
        switch (receive(connection, reply, process)) {
            case received::answer:
                return hostapd_result::answered;
            case received::too_long:
                return hostapd_result::too_long;
            case received::lost:
                return hostapd_result::absent;
            case received::event:
            case received::nothing:
                break;
        }
        // Events without end do not keep it either; behind them there may be an answer, and no wait.
        const std::int64_t left = end - monotonic_ms();
        if (left <= 0) return hostapd_result::no_answer;
        sys::wait_readable(wpa_ctrl_get_fd(connection), static_cast<int>(left));
    }
}

}  // namespace ravd::hostapd

namespace ravd {

const char* text_of(hostapd_result result) {
    switch (result) {
        case hostapd_result::answered:
            return "answered";
        case hostapd_result::absent:
            return "hostapd does not run this interface";
        case hostapd_result::no_answer:
            return "hostapd does not answer";
        case hostapd_result::too_long:
            break;
    }
    return "too long for hostapd's control socket";
}

}  // namespace ravd
