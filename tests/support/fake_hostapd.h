// hostapd for unit tests, behind the names of platform/hostapd_control.h. Its waits advance the clock of fake_system.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ravd::testing {

class fake_hostapd {
  public:
    // The one instance behind the control sockets.
    static fake_hostapd& get();

    // Forgets everything: no interface, no scripts.
    void reset();

    // Runs an interface, or ends it: requests are refused and listeners find out when they look.
    void start(const std::string& interface_name) { interfaces_[interface_name] = ++lives_; }
    void stop(const std::string& interface_name) { interfaces_.erase(interface_name); }
    // The life of an interface, another after each start; 0 while it does not run.
    int life_of(const std::string& interface_name) const;

    // Tells the listeners of an interface; true when there was one.
    bool raise(const std::string& interface_name, const std::string& event);

    // Answers the requests to an interface; "OK" where there is none. PING and ATTACH do not come here.
    std::function<std::string(const std::string& interface_name, const std::string& request)> on_request;
    // Reads and never answers.
    bool hangs = false;
    // Its process, as who asks is told; this one.
    int process;

    std::vector<std::string> requests;  // "INTERFACE REQUEST", but for PING and ATTACH

  private:
    fake_hostapd() { reset(); }

    std::map<std::string, int> interfaces_;
    int lives_ = 0;
};

}  // namespace ravd::testing
