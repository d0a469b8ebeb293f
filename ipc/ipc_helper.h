// Configuration requests over the device's bus, and the getters that read single settings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/activity.h"
#include "ipc/ctree_ptr.h"
#include "ipc/hung_service.h"

struct mbus_endpoint;

namespace ravd {

// Bus module numbers.
constexpr int bus_module_configuration = 1;  // answers "get"
constexpr int bus_module_peer = 3;           // receives what the IPC worker sends
constexpr int bus_module_porterd = 6;        // applies configuration
constexpr int bus_module_requests = 28;      // the endpoint of ipc_helper

// What the daemon's endpoints hand to the bus when they register.
constexpr signed char bus_registration[2] = {-2, 0};

// Ordered (key, value) list of an "update-corvane".
using param_list = std::vector<std::pair<std::string, std::string>>;

// One request at a time, always on the same thread. Each waits for its answer, at most 2 s, tells the activity before
// and after the wait, and fails as without an answer, unsent, once the activity is cancelled and, when it
// asks the configuration service, while that hangs.
class ipc_helper {
  public:
    ipc_helper() = default;
    ipc_helper(const ipc_helper&) = delete;
    ipc_helper& operator=(const ipc_helper&) = delete;

    // Country of a radio; "RU" when it cannot be read.
    virtual std::string get_country(const char* radio_name);
    // The switches below are false when they cannot be read.
    virtual bool get_wds_enabled(const char* radio_name);
    virtual bool is_wpa2_wpa3(std::int32_t radio, std::int32_t vap);
    virtual bool is_ft_enabled(std::int32_t radio, std::int32_t vap);
    virtual bool is_captive_portal_enabled(std::int32_t radio, std::int32_t vap);
    virtual bool is_8021x(std::int32_t radio, std::int32_t vap);
    virtual bool is_80211kv_enabled(std::int32_t radio, std::int32_t vap);

    // Registers the request endpoint (module 28). False when the bus refused; requests then fail, and try to register
    // again first.
    bool open_bus();
    // Whose clock and run flag the requests use; null (the start) for none. Must outlive its use.
    void set_activity(activity* progress) { progress_ = progress; }
    activity* progress() const { return progress_; }
    void tick() const {
        if (progress_) progress_->tick();
    }
    bool cancelled() const { return progress_ && progress_->cancelled(); }

    // Requests without an answer since the helper was made, those included that were not sent because the neighbour
    // hangs.
    std::uint32_t unanswered() const { return unanswered_; }
    // All requests, and those whose answer took half a second or more.
    std::uint32_t requests() const { return requests_; }
    std::uint32_t slow() const { return slow_; }

    // Reads a configuration value (a sub-tree as its readable text). 0, or -1 with the reason logged.
    int getconf(const char* path, std::string& output);
    // Whether a configuration value is "true"; the path is logged before it is asked for.
    bool read_switch(const char* path);
    // "update-corvane" for an interface. 0 on "ok", else -1. An empty name or list sends nothing.
    int update_corvane(const char* ifname, const param_list& params);
    // "reset-corvane" for an interface. 0 on "ok", else -1.
    int reset_corvane_params(const char* ifname);

    // Sends `tree` to a bus module and waits for `answer`. The caller releases what is returned; null when none came.
    ctree* send_request(const ctree* tree, const char* answer, int destination, const char* error_text);

  protected:
    ~ipc_helper();  // releases the endpoint

  private:
    ctree* exchange(const ctree* tree, const char* answer, int destination, const char* error_text);
    bool read_setting(const char* path, std::string& value);

    mbus_endpoint* bus_ = nullptr;
    std::int32_t timeout_ = 20;  // tenths of a second
    std::uint32_t unanswered_ = 0;
    std::uint32_t requests_ = 0;
    std::uint32_t slow_ = 0;
    hung_service configuration_;
    ctree_ptr get_request_;  // of the last "get", for the next
    activity* progress_ = nullptr;
};

// Whether a VAP's security mode text allows fast transition: WPA2 or WPA3, but no mode that also admits WPA.
bool is_wpa2_wpa3_mode(std::string_view mode);

}  // namespace ravd
