#include "platform/hostapd/socket.h"

namespace ravd {

hostapd_control::hostapd_control(const std::string& interface_name, const std::string& directory)
    : path_(directory + "/" + interface_name) {}

hostapd_control::~hostapd_control() {
    if (connection_) wpa_ctrl_close(connection_);
}

hostapd_result hostapd_control::request(const std::string& text, std::string& reply, int timeout_ms) {
    reply.clear();
    hostapd_result result = hostapd_result::absent;
    if (connection_) result = hostapd::send(connection_, text);
    // Not connected, or hostapd ended since: it may have come back.
    if (result == hostapd_result::absent) {
        if (connection_) wpa_ctrl_close(connection_);
        connection_ = hostapd::open_connection(path_);
        if (!connection_) return hostapd_result::absent;
        result = hostapd::send(connection_, text);
    }
    if (result == hostapd_result::answered)
        result = hostapd::wait_for_answer(connection_, reply, timeout_ms, &process_);
    if (result != hostapd_result::answered) {
        // An answer that still comes finds no receiver.
        wpa_ctrl_close(connection_);
        connection_ = nullptr;
        reply.clear();
    }
    return result;
}

bool hostapd_control::order(const std::string& text, int timeout_ms) {
    std::string reply;
    return request(text, reply, timeout_ms) == hostapd_result::answered && reply == "OK";
}

}  // namespace ravd
