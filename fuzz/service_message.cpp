// Messages that reach the agent: the input is a story, one message a line, told to a subscribed agent; at an empty line
// five seconds pass instead. What it sends is JSON, and a scan never goes on without its timer.
//
// Aims at: rrm/client_events.cpp rrm/configuration.cpp rrm/dispatch.cpp rrm/fast_transition.cpp
//          rrm/load_balancing.cpp rrm/order_check.cpp rrm/scan_session.cpp
//          rrm/subscription.cpp

#include <json-c/json.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "rrm/rrm_worker.h"
#include "tests/rrm/fake_driver.h"
#include "tests/support/fake_bus.h"
#include "tests/support/fake_system.h"
#include "tests/support/message.h"

namespace ravd {
namespace {

constexpr int longest_story = 60;  // lines; what lies behind tells little that is new
constexpr long long told_ms = 1000, untold_ms = 5000;

// One agent for all stories. Each begins where a link has just been accepted, and leaves the agent there: memory that a
// story keeps would have libFuzzer search all of it for leaks. The marker's directory is missing, so that no file is
// made and removed for each.
class device {
  public:
    device() {
        driver_.hostapd = true;
        driver_.record = false;
        driver_.add_station(0, "0A:00:00:00:00:01", -70);
        from_service_.set_notify({});  // nobody sleeps
        json_tokener_set_flags(strict_, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
        link_anew();
    }
    void tell(std::string_view story) {
        for (int lines = 0; !story.empty() && lines < longest_story; ++lines) {
            const std::size_t end = std::min(story.find('\n'), story.size());
            say(story.substr(0, end));
            story.remove_prefix(std::min(end + 1, story.size()));
        }
        link_anew();
    }

  private:
    void link_anew() {
        say(R"({"service":"internal-ipc","cmd":"disconnected"})");
        say(R"({"version":"2.4","service":"rrm","cmd":"subscribe-response","status":"success","domain":"home","config":{)"
            R"("use-80211v":1,"use-80211r":1}})");
    }
    void say(std::string_view line) {
        if (!line.empty()) {
            const auto message = testing::message(line);
            message->internal = line.find("internal-ipc") != line.npos;
            from_service_.push(message);
        }
        if (driver_.heard.empty()) driver_.heard.push_back({{{{2, 0, 0, 0, 0, 1}}, -50, 36, 40, 12, 0x100}});
        worker_.process();
        if (driver_.scanning && !has_timer(timer_scan_finished)) std::abort();
        check_outgoing();
        testing::fake_bus::get().sent.clear();
        testing::fake_system::get().system_log.clear();
        testing::fake_system::get().advance_ms(line.empty() ? untold_ms : told_ms);
    }
    void check_outgoing() {
        while (to_service_.pop([this](const std::shared_ptr<buffer_info_t>& message) {
            json_tokener_reset(strict_);
            json_object* root = json_tokener_parse_ex(strict_, message->data, static_cast<int>(message->size));
            if (!json_object_is_type(root, json_type_object)) std::abort();
            json_object_put(root);
        })) {
        }
    }
    bool has_timer(std::int32_t id) {
        bool found = false;
        worker_.visit_timers([&](std::int32_t of, std::int64_t) { found |= of == id; });
        return found;
    }

    json_tokener* strict_ = json_tokener_new();
    testing::fake_driver driver_;
    safe_queue from_service_, to_service_, from_bus_, to_bus_;
    const run_flag running_{true};
    rrm_worker worker_{&running_, driver_, "home", from_service_, to_service_, from_bus_, to_bus_};
};

}  // namespace
}  // namespace ravd

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto& one = *new ravd::device;  // never destroyed: what it uses may be gone at the process's end
    one.tell({reinterpret_cast<const char*>(data), size});
    return 0;
}
