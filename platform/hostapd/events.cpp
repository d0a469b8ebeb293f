#include "platform/hostapd/socket.h"

namespace ravd {

hostapd_events::hostapd_events(const std::string& interface_name, const std::string& directory)
    : path_(directory + "/" + interface_name) {}

hostapd_events::~hostapd_events() { close(); }

void hostapd_events::close() {
    if (connection_) wpa_ctrl_close(connection_);
    connection_ = nullptr;
}

hostapd_result hostapd_events::attach(int timeout_ms) {
    close();
    connection_ = hostapd::open_connection(path_);
    if (!connection_) return hostapd_result::absent;
    hostapd_result result = hostapd::send(connection_, "ATTACH");
    std::string reply;
    if (result == hostapd_result::answered) result = hostapd::wait_for_answer(connection_, reply, timeout_ms);
    if (result == hostapd_result::answered && reply != "OK") result = hostapd_result::absent;
    if (result != hostapd_result::answered) close();
    return result;
}

int hostapd_events::descriptor() const { return connection_ ? wpa_ctrl_get_fd(connection_) : -1; }

bool hostapd_events::next(std::string& event) {
    while (connection_) {
        switch (hostapd::receive(connection_, event)) {
            case hostapd::received::event:
                return true;
            case hostapd::received::nothing:
                return false;
            case hostapd::received::lost:
                close();
                break;
            // The answer to verify(), and what is too long for an event.
            case hostapd::received::answer:
            case hostapd::received::too_long:
                break;
        }
    }
    return false;
}

void hostapd_events::verify() {
    if (connection_ && hostapd::send(connection_, "PING") == hostapd_result::absent) close();
}

}  // namespace ravd
