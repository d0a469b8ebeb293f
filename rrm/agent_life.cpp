#include "rrm/agent_life.h"

#include "core/logger.h"
#include "platform/monotonic.h"

namespace ravd {
namespace {

constexpr int fbt_reset_running = 0;
constexpr int fbt_reset_stopping = 1;
constexpr int fbt_reset_link_lost = 2;

// Actions. `message` is null where the event brings none.
using action = void (*)(const life_parts& at, const json_reader* message);

constexpr std::int64_t refill_delay_s = 30;

void refill_again_if_needed(const life_parts& at) {
    at.context.timers.cancel(timer_refill);
    if (at.context.driver.context_incomplete()) at.context.timers.arm(timer_refill, refill_delay_s);
}

void nothing(const life_parts&, const json_reader*) {}

void take_up_radios(const life_parts& at, const json_reader*) {
    log_debug(process_log, "process_hostapd_started : initializing\n");
    at.context.driver.set_hostapd_running(true);
    at.context.driver.reset_context();
    at.context.driver.init_interface_context();
    refill_again_if_needed(at);
    at.context.driver.stop_all();
}

void take_up_and_subscribe(const life_parts& at, const json_reader* message) {
    take_up_radios(at, message);
    log_debug(process_log, "process_started : subscribing\n");
    at.context.timers.cancel(timer_subscribe);
    at.service.subscribe_now();
}

void take_up_and_report(const life_parts& at, const json_reader* message) {
    take_up_radios(at, message);
    log_debug(process_log, "process_started : subscribed\n");
    at.report.send_config_changed();
}

void drop_radios_telling(const life_parts& at, bool tell) {
    log_debug(process_log, "process_hostapd_stopped : deinitializing\n");
    at.context.driver.set_hostapd_running(false);
    if (tell) at.service.send_disassoc_all_clients();
    cancel_all_timers(at.context.timers);
    at.context.timers.cancel(timer_refill);
    at.scans.clear_results();
    at.stations.clear();
    at.context.driver.reset_context();
}

// Also leaves a scan in progress behind when there is one: the driver stops nothing without hostapd, and taking the
// radios up again ends it. Its timers are gone until then.
void drop_radios(const life_parts& at, const json_reader*) { drop_radios_telling(at, false); }
void tell_and_drop_radios(const life_parts& at, const json_reader*) { drop_radios_telling(at, true); }

// While the process goes on the network daemon drops the service's settings; when it ends they stay.
void take_back_settings(const life_parts& at, const json_reader*) {
    const bool stopping = at.context.progress.cancelled();
    at.context.remove_neighbour_reports();
    at.context.driver.stop_all();
    at.context.driver.reset_corvane(stopping);
    if (at.settings.use_80211r())
        at.context.driver.reset_corvane_fbt_params(stopping ? fbt_reset_stopping : fbt_reset_running);
}

void take_back_and_drop(const life_parts& at, const json_reader* message) {
    take_back_settings(at, message);
    tell_and_drop_radios(at, message);
}

void report_change(const life_parts& at, const json_reader*) { at.report.send_config_changed(); }

// A neighbour that did not answer left the table of radios half empty.
void refill(const life_parts& at, const json_reader*) {
    if (at.context.driver.refill_context()) at.report.owe_change();
    refill_again_if_needed(at);
}

void refill_and_report(const life_parts& at, const json_reader* message) {
    refill(at, message);
    if (at.report.owes_change()) at.report.send_config_changed();
}

void subscribe(const life_parts& at, const json_reader*) {
    at.context.timers.cancel(timer_subscribe);
    at.context.timers.cancel(timer_rrm_response);
    at.service.subscribe_now();
}

void await_hostapd(const life_parts& at, const json_reader*) {
    at.context.timers.cancel(timer_subscribe);
    at.context.timers.cancel(timer_rrm_response);
    log_debug(process_log, "Waiting for hostapd to start before sending subscribe-request\n");
}

void end_link(const life_parts& at, const json_reader*) {
    log_debug(process_log, "Disconnected from RRM service - stop all scans and timers\n");
    cancel_all_timers(at.context.timers);
    // Its timer is cancelled, subscribed or not.
    at.scans.stop();
    at.service.remove_marker();
}

void end_subscription(const life_parts& at, const json_reader*) {
    log_debug(process_log, "Disconnected from RRM service - stop all scans and timers\n");
    cancel_all_timers(at.context.timers);
    at.scans.clear_results();
    at.stations.clear();
    at.context.remove_neighbour_reports();
    at.context.driver.reset_corvane(false);
    if (at.settings.use_80211r()) at.context.driver.reset_corvane_fbt_params(fbt_reset_link_lost);
    at.context.driver.stop_all();
    at.scans.stop();
    at.service.remove_marker();
}

void accept(const life_parts& at, const json_reader* response) {
    at.context.timers.cancel(timer_subscribe);
    at.service.accepted(*response);
    if (at.report.owes_change()) at.report.config_changed_soon();
}

void ask_later(const life_parts& at, const json_reader*) {
    at.context.timers.cancel(timer_subscribe);
    at.service.wait_longer();
}

void ask_no_more(const life_parts& at, const json_reader*) { at.context.timers.cancel(timer_subscribe); }

void ask_again(const life_parts& at, const json_reader*) { at.service.retry_subscribe(); }

void unsubscribe(const life_parts& at, const json_reader*) { at.service.send_unsubscribe(); }

// States as sets of bits; as the next state, 0 is "the same".
using states = std::uint8_t;
constexpr states operator|(hostapd_state a, hostapd_state b) {
    return static_cast<states>(static_cast<states>(a) | static_cast<states>(b));
}
constexpr states operator|(link_state a, link_state b) {
    return static_cast<states>(static_cast<states>(a) | static_cast<states>(b));
}
template <typename State>
constexpr states only(State state) {
    return static_cast<states>(state);
}

constexpr states same = 0;
constexpr states any = 0xff;
constexpr states away = only(hostapd_state::away);
constexpr states running = only(hostapd_state::running);
constexpr states restarting = only(hostapd_state::restarting);
constexpr states not_running = hostapd_state::away | hostapd_state::restarting;
constexpr states unlinked = only(link_state::unlinked);
constexpr states subscribing = only(link_state::subscribing);
constexpr states subscribed = only(link_state::subscribed);
constexpr states renewing = only(link_state::renewing);
constexpr states asking = link_state::subscribing | link_state::renewing;
constexpr states no_member = link_state::unlinked | link_state::subscribing;
constexpr states member = link_state::subscribed | link_state::renewing;

struct transition {
    life_event event;
    states hostapd;
    states link;
    action act;
    states next_hostapd;
    states next_link;
};

// The first row that fits counts. docs/agent.md shows the same table.
// clang-format off
constexpr transition table[] = {
    // event                        hostapd      link         what is done            next: hostapd  link
    {life_event::hostapd_announced, any,         asking,      take_up_and_subscribe,  running,       same},
    {life_event::hostapd_announced, any,         subscribed,  take_up_and_report,     running,       same},
    {life_event::hostapd_announced, any,         unlinked,    take_up_radios,         running,       same},
    {life_event::hostapd_gone,      running,     member,      tell_and_drop_radios,   restarting,    same},
    {life_event::hostapd_gone,      running,     no_member,   drop_radios,            restarting,    same},
    {life_event::watch_ended,       running,     member,      take_back_and_drop,     away,          same},
    {life_event::watch_ended,       running,     no_member,   drop_radios,            away,          same},
    {life_event::watch_ended,       not_running, member,      take_back_settings,     away,          same},
    {life_event::watch_ended,       not_running, no_member,   nothing,                away,          same},
    {life_event::config_updated,    any,         member,      report_change,          same,          same},
    {life_event::refill_due,        running,     member,      refill_and_report,      same,          same},
    {life_event::refill_due,        running,     no_member,   refill,                 same,          same},
    {life_event::link_up,           running,     no_member,   subscribe,              same,          subscribing},
    {life_event::link_up,           running,     member,      subscribe,              same,          renewing},
    {life_event::link_up,           not_running, no_member,   await_hostapd,          same,          subscribing},
    {life_event::link_up,           not_running, member,      await_hostapd,          same,          renewing},
    {life_event::link_down,         any,         member,      end_subscription,       same,          unlinked},
    {life_event::link_down,         any,         no_member,   end_link,               same,          unlinked},
    {life_event::accepted,          any,         any,         accept,                 same,          subscribed},
    {life_event::busy,              any,         no_member,   ask_later,              same,          subscribing},
    {life_event::busy,              any,         member,      ask_later,              same,          renewing},
    {life_event::refused,           any,         no_member,   ask_no_more,            same,          unlinked},
    {life_event::refused,           any,         member,      ask_no_more,            same,          subscribed},
    {life_event::retry_due,         any,         no_member,   ask_again,              same,          subscribing},
    {life_event::retry_due,         any,         member,      ask_again,              same,          renewing},
    {life_event::old_version,       any,         any,         unsubscribe,            same,          same},
};
// clang-format on

}  // namespace

void agent_life::handle(life_event event, const json_reader* message) {
    parts_.report.forget_reading();
    for (const transition& row : table) {
        if (row.event != event || !(row.hostapd & only(state_.hostapd)) || !(row.link & only(state_.link))) continue;
        row.act(parts_, message);
        if (row.next_hostapd == running)
            state_.hostapd_stopped = false;
        else if (row.next_hostapd != same && state_.hostapd == hostapd_state::running)
            state_.hostapd_stopped = true;
        if (row.next_hostapd != same) enter(static_cast<hostapd_state>(row.next_hostapd));
        if (row.next_link != same) enter(static_cast<link_state>(row.next_link));
        if (event == life_event::hostapd_announced) ++state_.hostapd_starts;
        if (event == life_event::refused || event == life_event::busy) ++state_.refusals;
        return;
    }
}

void agent_life::enter(hostapd_state next) {
    if (state_.hostapd != next) state_.hostapd_since_ms = monotonic_ms();
    state_.hostapd = next;
}

void agent_life::enter(link_state next) {
    if (state_.link != next) state_.link_since_ms = monotonic_ms();
    state_.link = next;
}

}  // namespace ravd
