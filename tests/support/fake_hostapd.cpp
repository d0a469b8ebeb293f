#include "tests/support/fake_hostapd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <deque>

#include "platform/hostapd_control.h"
#include "tests/support/fake_system.h"

// A connection: to one life of an interface.
struct wpa_ctrl {
    std::string interface_name;
    int life;
    std::deque<std::string> events;
    int readable;  // an eventfd while there may be events, or -1
};

namespace ravd::testing {
namespace {

std::vector<wpa_ctrl*>& listeners() {
    static std::vector<wpa_ctrl*> all;
    return all;
}

std::string name_of(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool is_lost(const wpa_ctrl& connection) {
    return fake_hostapd::get().life_of(connection.interface_name) != connection.life;
}

hostapd_result exchange(const std::string& name, const std::string& text, std::string& reply, int timeout_ms) {
    fake_hostapd& fake = fake_hostapd::get();
    const bool kept = text != "PING" && text != "ATTACH";
    if (kept) fake.requests.push_back(name + " " + text);
    if (fake.hangs) {
        fake_system::get().advance_ms(timeout_ms);
        return hostapd_result::no_answer;
    }
    reply = text == "PING" ? "PONG" : "OK";
    if (kept && fake.on_request) reply = fake.on_request(name, text);
    return hostapd_result::answered;
}

}  // namespace

fake_hostapd& fake_hostapd::get() {
    static fake_hostapd instance;
    return instance;
}

void fake_hostapd::reset() {
    on_request = nullptr;
    hangs = false;
    process = getpid();
    requests.clear();
    interfaces_.clear();
}

int fake_hostapd::life_of(const std::string& interface_name) const {
    const auto found = interfaces_.find(interface_name);
    return found == interfaces_.end() ? 0 : found->second;
}

bool fake_hostapd::raise(const std::string& interface_name, const std::string& event) {
    bool heard = false;
    for (wpa_ctrl* one : listeners()) {
        if (one->interface_name != interface_name || is_lost(*one)) continue;
        one->events.push_back(event);
        heard = eventfd_write(one->readable, 1) == 0;
    }
    return heard;
}

}  // namespace ravd::testing

namespace ravd {

using testing::fake_hostapd;

const char* text_of(hostapd_result result) { return result == hostapd_result::absent ? "absent" : "no answer"; }

hostapd_control::hostapd_control(const std::string& interface_name, const std::string& directory)
    : path_(directory + "/" + interface_name) {}
hostapd_control::~hostapd_control() { delete connection_; }  // never made here

hostapd_result hostapd_control::request(const std::string& text, std::string& reply, int timeout_ms) {
    reply.clear();
    const std::string name = testing::name_of(path_);
    if (fake_hostapd::get().life_of(name) == 0) return hostapd_result::absent;
    process_ = fake_hostapd::get().process;
    return testing::exchange(name, text, reply, timeout_ms);
}

bool hostapd_control::order(const std::string& text, int timeout_ms) {
    std::string reply;
    return request(text, reply, timeout_ms) == hostapd_result::answered && reply == "OK";
}

hostapd_events::hostapd_events(const std::string& interface_name, const std::string& directory)
    : path_(directory + "/" + interface_name) {}
hostapd_events::~hostapd_events() { close(); }

void hostapd_events::close() {
    if (!connection_) return;
    auto& all = testing::listeners();
    all.erase(std::remove(all.begin(), all.end(), connection_), all.end());
    ::close(connection_->readable);
    delete connection_;
    connection_ = nullptr;
}

hostapd_result hostapd_events::attach(int timeout_ms) {
    close();
    const std::string name = testing::name_of(path_);
    const int life = fake_hostapd::get().life_of(name);
    if (life == 0) return hostapd_result::absent;
    std::string reply;
    const hostapd_result result = testing::exchange(name, "ATTACH", reply, timeout_ms);
    if (result != hostapd_result::answered) return result;
    connection_ = new wpa_ctrl{name, life, {}, eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    testing::listeners().push_back(connection_);
    return result;
}

int hostapd_events::descriptor() const { return connection_ ? connection_->readable : -1; }

bool hostapd_events::next(std::string& event) {
    if (!connection_) return false;
    eventfd_t count = 0;
    if (connection_->events.empty()) eventfd_read(connection_->readable, &count);
    if (connection_->events.empty()) return false;
    event = connection_->events.front();
    connection_->events.pop_front();
    return true;
}

void hostapd_events::verify() {
    if (connection_ && testing::is_lost(*connection_)) close();
}

}  // namespace ravd
