#include "sim/service/lab.h"

#include <cstdio>
#include <vector>

#include "sim/common/text.h"
#include "sim/service/clock.h"
#include "sim/service/commands.h"
#include "sim/service/presentation.h"
#include "sim/service/protocol_check.h"

namespace ravd::sim {
namespace {

constexpr std::size_t shown_text = 2000;
constexpr std::size_t mac_limit = 32;
constexpr std::int64_t look_ms = 100;  // how often pilots and scans look at the clock

}  // namespace

lab::lab(const service_options& options)
    : options_(options),
      server_(loop_, *this),
      console_(loop_, *this),
      planner_(
          agents_, [this](agent& to, const json_ptr& message) { return send_message(to, message); },
          [this](const std::string& text) { say(nullptr, "plan: " + text); }, [this] { console_.event("plan", 0); }) {}

bool lab::start(std::string& error) {
    if (!options_.config.empty() && !parse_json(options_.config, error)) {
        error = "--config: " + error;
        return false;
    }
    if (!options_.log_file.empty() && !log_.open(options_.log_file, error)) return false;
    if (!options_.control.empty() && !console_.listen_on(options_.control, error)) return false;
    if (!server_.start(options_.listening, error)) return false;
    std::printf("listening on %s:%u\n", options_.listening.bind_address.c_str(), server_.port());
    std::fflush(stdout);
    if (!options_.no_input)
        console_.read_standard_input([this](const std::string& before) { return what_fits(*this, before); });
    look_at_clock();
    return true;
}

void lab::stop_on(int fd) {
    loop_.watch(fd, POLLIN, [this](short) { loop_.stop(); });
}

int lab::run() {
    loop_.run();
    if (violations_ > 0 && !options_.automatic.json)
        std::printf("%llu violations of the protocol\n", static_cast<unsigned long long>(violations_));
    std::fflush(stdout);
    if (status_ != 0) return status_;
    if (wait_failed_) return 2;
    return options_.strict && violations_ > 0 ? 1 : 0;
}

void lab::quit(int status) {
    status_ = status;
    loop_.stop();
}

bool lab::send_message(agent& to, const json_ptr& message) {
    outgoing item;
    item.bytes = json_compact(message.get());
    const std::string shown = item.bytes;
    return send_bytes(to, std::move(item), shown, message.get());
}

bool lab::send_bytes(agent& to, outgoing item, const std::string& shown, json_object* message) {
    const bool whole = item.what == outgoing::kind::text || item.what == outgoing::kind::binary;
    const std::string copy = whole && log_.enabled() ? item.bytes : "";
    if (!server_.send(to.number, std::move(item))) return false;
    if (log_.enabled()) {
        if (whole)
            log_.message(to.number, to.orders.ap_mac, "sent", copy, message);
        else if (!shown.empty())
            log_.event(to.number, to.orders.ap_mac, "sent " + shown);
    }
    if (!shown.empty() && !options_.quiet) say(&to, "<- " + printable(shown, shown_text));
    if (message) note_sent(to, message);
    return true;
}

void lab::say(const agent* who, const std::string& text) {
    if (options_.automatic.json) return;  // verdicts only
    const std::string name = who ? " " + who->name() : "";
    print_lines(time_of_day() + name + " " + text + "\n");
}

void lab::violation(agent& who, const std::string& text) {
    ++who.violations;
    ++violations_;
    say(&who, "VIOLATION " + printable(text, shown_text));
    log_.event(who.number, who.orders.ap_mac, "violation: " + text);
    console_.event("violation", who.number);
}

void lab::link_opened(unsigned link, const std::string& peer, const std::string& sub_protocol,
                      const std::string& path) {
    agent& who = agents_[link];
    who.number = link;
    who.peer = peer;
    who.sub_protocol = sub_protocol;
    who.path = printable(path, text_limit);
    if (!options_.quiet) {
        say(&who, "connected from " + peer + ", sub-protocol " + (sub_protocol.empty() ? "none" : sub_protocol) +
                      ", path " + who.path);
    }
    log_.event(link, "", "connected from " + peer + " " + sub_protocol + " " + who.path);
    console_.event("connected", link);
}

void lab::link_closed(unsigned link, const std::string& why) {
    const auto it = agents_.find(link);
    if (it == agents_.end()) return;
    agent& who = it->second;
    if (!options_.quiet) say(&who, why);
    log_.event(link, who.orders.ap_mac, why);
    console_.event("closed", link);
    if (who.autopilot && !who.autopilot->done()) say(&who, "automatic mode: the link ended before it was done");
    agents_.erase(it);
}

void lab::link_trouble(unsigned link, const std::string& what) {
    const auto it = agents_.find(link);
    if (it != agents_.end()) violation(it->second, what);
}

void lab::message_received(unsigned link, std::string_view text, bool binary) {
    const auto it = agents_.find(link);
    if (it == agents_.end()) return;
    agent& who = it->second;
    std::string error;
    const json_ptr message = parse_json(text, error);
    // The agent names itself in its first message.
    if (who.speaks_rrm() && who.orders.ap_mac.empty())
        who.orders.ap_mac = printable(json_text(message.get(), "ap-mac"), mac_limit);
    log_.message(link, who.orders.ap_mac, "received", text, message.get());
    if (!who.speaks_rrm()) {
        if (!options_.quiet) say(&who, "-> " + printable(text, shown_text));
        console_.event("message", link);
        return;
    }
    if (binary) violation(who, "a binary frame; messages are text");
    if (!message) {
        if (!options_.quiet) say(&who, "-> " + printable(text, shown_text));
        violation(who, "not JSON: " + error);
        return;
    }
    rrm_message(who, message.get());
}

void lab::rrm_message(agent& who, json_object* message) {
    const std::string cmd = printable(json_text(message, "cmd"), text_limit);
    const bool known = is_agent_message(cmd);
    ++who.received[known ? cmd : "other"];
    const std::string domain = printable(json_text(message, "domain"), text_limit);
    if (!domain.empty()) who.domain = domain;
    if (!options_.quiet) say(&who, "-> " + present_message(message));
    for (const std::string& fault : check_message(message))
        violation(who, fault);
    if (!who.subscribed && needs_subscription(cmd)) violation(who, cmd + " without a subscription");
    const double now = monotonic_seconds();
    who.last_heard = now;
    if (json_member(message, "radios") && cmd != "rrm-probe-response") {
        std::vector<radio_view> described = read_radios(message);
        keep_clients(who.radios, described);
        who.radios = std::move(described);
    }
    follow_clients(message, who.radios);
    if (cmd == "rrm-response") who.environment = read_environment(message);
    if (cmd == "rrm-response") tell_progress(who, who.scan.reported(now));
    if (cmd == "rrm-disassoc-all-clients") tell_progress(who, who.scan.given_up());
    if (cmd == "rrm-response" && !options_.quiet) {
        print_lines(who.name() + " heard\n" + environment_table(who.environment) + "\n" +
                    occupancy_chart(who.radios, who.environment) + "\n");
    }
    console_.event(cmd, who.number);
    if (json_member(message, "radios")) planner_.session().described(who.orders.ap_mac, now);
    if (cmd == "rrm-response") planner_.session().reported(who.orders.ap_mac, now);
    if (cmd == "subscribe-request") {
        answer_subscription(who);
    } else if (cmd == "unsubscribe-request") {
        who.subscribed = false;
    } else if (who.autopilot) {
        if (cmd == "rrm-response") who.autopilot->scanned(who.radios, who.environment, now);
        if (cmd == "rrm-config-changed" || cmd == "rrm-mode-response") who.autopilot->described(cmd, who.radios, now);
    }
}

void lab::answer_subscription(agent& who) {
    if (policy_.silent) return;
    const int code = policy_.refuse_code;
    if (code != 0 && policy_.refuse_once) policy_.refuse_code = 0;
    who.orders.default_domain = options_.domain;
    who.orders.default_config = options_.config;
    std::string error;
    const json_ptr answer = subscribe_response(who.orders, code, error);
    if (!answer || !send_message(who, answer)) {
        say(&who, "the subscription could not be answered: " + error);
        return;
    }
}

// Also for what the user typed.
void lab::note_sent(agent& who, json_object* message) {
    const std::string cmd = json_text(message, "cmd");
    if (cmd == "rrm-update") who.scan.ordered(message, who.radios, monotonic_seconds());
    if (cmd == "subscribe-response" && json_text(message, "status") == "success") note_accepted(who);
}

std::unique_ptr<pilot> lab::make_pilot(agent& who) {
    return std::make_unique<pilot>(
        options_.automatic, who.orders, [this, &who](const json_ptr& message) { return send_message(who, message); },
        [this, &who](const std::string& text) { say(&who, "auto: " + text); },
        [this, &who](const json_ptr& verdict) { tell_verdict(who, verdict); });
}

void lab::tell_verdict(const agent& who, const json_ptr& verdict) {
    if (!options_.automatic.json) return;
    json_put(verdict.get(), "time", timestamp());
    json_put(verdict.get(), "agent", static_cast<int>(who.number));
    json_put(verdict.get(), "ap-mac", who.orders.ap_mac);
    std::printf("%s\n", json_compact(verdict.get()).c_str());
    std::fflush(stdout);
}

void lab::note_accepted(agent& who) {
    who.subscribed = true;
    console_.event("subscribed", who.number);
    begin_automatic(who);
}

// Waits for a plan of the domain that is on its way.
void lab::begin_automatic(agent& who) {
    if (!options_.automatic.enabled || !who.subscribed || !planner_.session().at_rest()) return;
    if (!who.autopilot) who.autopilot = make_pilot(who);
    who.autopilot->subscribed(monotonic_seconds());
}

void lab::tell_progress(const agent& who, const std::string& text) {
    if (!text.empty() && !options_.quiet) say(&who, text);
}

void lab::look_at_clock() {
    const double now = monotonic_seconds();
    for (auto& entry : agents_) {
        agent& who = entry.second;
        tell_progress(who, who.scan.turn(now));
        if (!who.autopilot) begin_automatic(who);
        if (!who.autopilot || who.pilot_counted) continue;
        who.autopilot->turn(now);
        if (!who.autopilot->done()) continue;
        who.pilot_counted = true;
        ++pilots_done_;
        if (!who.autopilot->passed()) ++pilots_failed_;
        console_.event("verified", who.number);
    }
    planner_.session().turn(now);
    check_automatic_end();
    loop_.after(look_ms, [this] { look_at_clock(); });
}

void lab::check_automatic_end() {
    if (!options_.automatic.exit_when_verified || pilots_done_ < options_.automatic.agents) return;
    if (!options_.automatic.json)
        std::printf("automatic mode: %u of %u agents verified\n", pilots_done_ - pilots_failed_, pilots_done_);
    quit(pilots_failed_ > 0 ? 1 : 0);
}

line_result lab::handle_line(const std::string& line) { return run_command(*this, line); }

bool lab::already(const wait_request& wait) const {
    for (const auto& entry : agents_) {
        if (wait.agent != 0 && entry.first != wait.agent) continue;
        if (wait.event == "connected") return true;
        if (wait.event == "subscribed" && entry.second.subscribed) return true;
        if (wait.event == "verified" && entry.second.pilot_counted) return true;
    }
    return false;
}

void lab::wait_failed() { wait_failed_ = true; }

}  // namespace ravd::sim
