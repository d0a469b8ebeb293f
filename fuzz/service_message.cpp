// Messages that reach the agent: the input is a story, one message a line, told to a subscribed agent. What it sends is
// JSON, and a scan never goes on without its timer.

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

bool has_timer(abstract_worker& worker, std::int32_t id) {
    bool found = false;
    worker.visit_timers([&](std::int32_t of, std::int64_t) { found |= of == id; });
    return found;
}

void check_outgoing(safe_queue& to_service) {
    while (to_service.pop([](const std::shared_ptr<buffer_info_t>& message) {
        json_tokener* strict = json_tokener_new();
        json_tokener_set_flags(strict, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
        json_object* root = json_tokener_parse_ex(strict, message->data, static_cast<int>(message->size));
        if (!json_object_is_type(root, json_type_object)) std::abort();
        json_object_put(root);
        json_tokener_free(strict);
    })) {
    }
}

void tell(std::string_view story) {
    static const bool have_directory = (testing::fake_system::get().write_file("/tmp/"), true);
    (void)have_directory;
    testing::fake_driver driver;
    driver.hostapd = true;
    driver.add_station(0, "0A:00:00:00:00:01", -70);
    safe_queue from_service, to_service, from_bus, to_bus;
    const run_flag running{true};
    rrm_worker worker(&running, driver, "home", from_service, to_service, from_bus, to_bus);
    for (
        std::string_view line =
            R"({"version":"2.4","service":"rrm","cmd":"subscribe-response","status":"success","config":{"use-80211v":1,)"
            R"("use-80211r":1}})";
        ;) {
        const auto message = testing::message(line);
        message->internal = line.find("internal-ipc") != line.npos;
        from_service.push(message);
        driver.heard.push_back({{{{2, 0, 0, 0, 0, 1}}, -50, 36, 40, 12, 0x100}});
        worker.process();
        if (driver.scanning && !has_timer(worker, timer_scan_finished)) std::abort();
        check_outgoing(to_service);
        driver.calls.clear();
        testing::fake_bus::get().sent.clear();
        testing::fake_system::get().advance_ms(1000);
        if (story.empty()) break;
        const std::size_t end = std::min(story.find('\n'), story.size());
        line = story.substr(0, end);
        story.remove_prefix(std::min(end + 1, story.size()));
    }
}

}  // namespace
}  // namespace ravd

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ravd::tell({reinterpret_cast<const char*>(data), size});
    return 0;
}
