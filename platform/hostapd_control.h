// hostapd's control sockets, one for each interface that it runs: requests with a bounded wait, and its events.
//
// platform/hostapd has this on Debian's libwpa-client; unit tests link a hostapd in memory. An object is used by one
// thread at a time. It connects when it is first used and again after hostapd came back, so it may be made before
// hostapd runs and kept for as long as the process lives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct wpa_ctrl;

namespace ravd {

// Where hostapd's sockets lie, unless its "ctrl_interface" says otherwise; each is named after its interface.
constexpr const char* hostapd_directory = "/var/run/hostapd";

// Largest answer or event; hostapd's own limit is 4 KiB.
constexpr std::size_t hostapd_reply_limit = 16 * 1024;

// What became of a request.
enum class hostapd_result : std::uint8_t {
    answered,   // there is an answer, which may be "FAIL"
    absent,     // nobody listens: hostapd does not run, or not this interface
    no_answer,  // hostapd runs and did not answer in time
    too_long,   // the answer, which is dropped, or the request
};
const char* text_of(hostapd_result result);

// Requests to one interface of hostapd.
class hostapd_control {
  public:
    // `interface_name` is a part of a path: only names that were checked.
    explicit hostapd_control(const std::string& interface_name, const std::string& directory = hostapd_directory);
    ~hostapd_control();
    hostapd_control(const hostapd_control&) = delete;
    hostapd_control& operator=(const hostapd_control&) = delete;

    // Sends one request and waits for its answer, at most `timeout_ms`. `reply` is the answer without a line end, and
    // empty for any other result. An answer that comes too late is never taken for the next request's.
    hostapd_result request(const std::string& text, std::string& reply, int timeout_ms);
    // Whether the answer to a request was "OK".
    bool order(const std::string& text, int timeout_ms);
    // The process that answered last, as the kernel names it; 0 when none did.
    int process() const { return process_; }

  private:
    std::string path_;
    wpa_ctrl* connection_ = nullptr;  // null while not connected
    int process_ = 0;
};

// What hostapd tells of one interface: stations that come and go, channels, its own end.
class hostapd_events {
  public:
    explicit hostapd_events(const std::string& interface_name, const std::string& directory = hostapd_directory);
    ~hostapd_events();
    hostapd_events(const hostapd_events&) = delete;
    hostapd_events& operator=(const hostapd_events&) = delete;

    // Asks for events, at most `timeout_ms` long; anything but `answered` leaves it unattached. Attached before, it
    // begins anew, and what was not taken is lost: hostapd drops a listener without a word when it cannot send to it.
    hostapd_result attach(int timeout_ms);
    bool attached() const { return connection_ != nullptr; }
    // Readable when there may be an event; -1 while unattached. Owned by this object, and another after each attach.
    int descriptor() const;
    // The next event, as "AP-STA-CONNECTED 02:00:00:00:00:01", without its level. Never waits.
    bool next(std::string& event);
    // Unattached from here when nobody listens any more. hostapd's end makes nothing readable, so this has to be asked
    // now and then; it sends a request whose answer next() drops, and never waits.
    void verify();

  private:
    void close();

    std::string path_;
    wpa_ctrl* connection_ = nullptr;  // null while unattached
};

}  // namespace ravd
