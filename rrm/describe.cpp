// What the agent tells who asks how the daemon is.

#include "message/status_page.h"
#include "platform/monotonic.h"
#include "rrm/rrm_worker.h"

namespace ravd {
namespace {

const char* name_of(hostapd_state state) {
    switch (state) {
        case hostapd_state::running:
            return "running";
        case hostapd_state::restarting:
            return "restarting";
        default:
            return "away";
    }
}

const char* name_of(link_state state) {
    switch (state) {
        case link_state::subscribing:
            return "subscribing";
        case link_state::subscribed:
            return "subscribed";
        case link_state::renewing:
            return "renewing";
        default:
            return "none";
    }
}

}  // namespace

std::string rrm_worker::describe_status() {
    const life_state& life = parts_.state;
    const std::int64_t now_ms = monotonic_ms();
    status_page page;
    page.open("hostapd");
    page.text("state", name_of(life.hostapd));
    page.number("state_s", (now_ms - life.hostapd_since_ms) / 1000);
    page.number("starts", life.hostapd_starts);
    page.close();
    page.open("subscription");
    page.text("state", name_of(life.link));
    page.number("state_s", (now_ms - life.link_since_ms) / 1000);
    page.text("domain", parts_.context.domain);
    page.number("refusals", life.refusals);
    page.close();
    page.open("scan");
    parts_.scans.describe(page);
    page.close();
    page.open("radios");
    parts_.orders.describe(page);
    page.close();
    const agent_counts& counts = parts_.context.counts;
    page.number("neighbours_set", counts.neighbours_set);
    page.number("key_holders_set", counts.key_holders_set);
    page.open("counted");
    page.number("clients_told", counts.clients_told);
    page.number("requests", driver_.requests());
    page.number("requests_slow", driver_.slow());
    page.number("requests_unanswered", driver_.unanswered());
    page.close();
    return page.take();
}

}  // namespace ravd
