// A link that is told to use TLS, with a websocket library that has none.
#include <gtest/gtest.h>

#include "link/websock_worker.h"
#include "tests/core/log_capture.h"
#include "tests/support/fake_system.h"

namespace ravd::testing {
namespace {

TEST(link_without_tls, attempts_fail_with_their_reason) {
    fake_system& clock = fake_system::get();
    clock.reset();
    log_capture log(log_warning_bit | log_info_bit);
    run_flag running{true};
    safe_queue to_service;
    safe_queue from_service;
    tls_settings tls;
    tls.enabled = true;
    websock_worker worker(to_service, from_service, "127.0.0.1", "/", 1, &running, 0, 0, corvane_mode, tls);
    const auto delays = [&log] {
        return log.count(
            "no link to 127.0.0.1:1: TLS is configured, and the websocket library has none; next attempt in ");
    };
    for (int turns = 0; turns < 1000 && delays() < 3; ++turns) {
        EXPECT_FALSE(worker.init());
        clock.advance_ms(1000);
    }
    EXPECT_EQ(delays(), 3) << log.text();
    EXPECT_EQ(log.count("warning: "), 1) << "the same reason again is information";
}

}  // namespace
}  // namespace ravd::testing
