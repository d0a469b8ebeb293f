#include "sim/console/domain_model.h"

#include <algorithm>

#include "sim/common/text.h"

namespace ravd::sim {
namespace {

constexpr std::string_view connected_words = "connected from ";
constexpr std::string_view violation_words = "violation: ";
constexpr std::size_t mac_limit = 32;

double seconds(std::int64_t ms) { return static_cast<double>(ms) / 1000; }

// "connected from PEER PROTOCOL PATH"; the protocol may be empty.
void connected(agent_record& who, const log_entry& entry) {
    std::string_view rest = entry.bytes.substr(connected_words.size());
    const auto word = [&] {
        const std::size_t blank = std::min(rest.find(' '), rest.size());
        const std::string taken(rest.substr(0, blank));
        rest.remove_prefix(std::min(blank + 1, rest.size()));
        return printable(taken, text_limit);
    };
    who.connected_ms = entry.time_ms;
    who.peer = word();
    who.protocol = word();
    who.path = printable(rest, text_limit);
}

void sent(agent_record& who, const log_entry& entry) {
    const std::string cmd = json_text(entry.message, "cmd");
    if (cmd == "rrm-info") who.ordered.take(entry.message, entry.time_ms);
    if (cmd == "rrm-update") who.scan.ordered(entry.message, who.radios, seconds(entry.time_ms));
    if (cmd != "subscribe-response" || json_text(entry.message, "status") != "success") return;
    who.subscribed = true;
    if (json_object* config = json_member(entry.message, "config")) who.ordered.take(config, entry.time_ms);
}

// True when a scan report came.
bool received(agent_record& who, json_object* message, std::int64_t now_ms) {
    const std::string cmd = json_text(message, "cmd");
    const std::string domain = printable(json_text(message, "domain"), text_limit);
    if (!domain.empty()) who.domain = domain;
    if (json_member(message, "radios") && cmd != "rrm-probe-response") {
        std::vector<radio_view> described = read_radios(message);
        keep_clients(who.radios, described);
        who.radios = std::move(described);
    }
    follow_clients(message, who.radios);
    if (cmd == "unsubscribe-request") who.subscribed = false;
    if (cmd == "rrm-disassoc-all-clients") who.scan.given_up();
    if (cmd != "rrm-response") return false;
    who.scan.reported(seconds(now_ms));
    who.report = std::make_shared<scan_report>(make_report(now_ms, who.radios, read_environment(message)));
    return true;
}

}  // namespace

event_kind kind_of_event(std::string_view text) {
    const auto begins = [&](std::string_view words) { return text.substr(0, words.size()) == words; };
    if (begins(connected_words)) return event_kind::connected;
    if (begins(violation_words)) return event_kind::violation;
    if (begins("closed") || begins("dropped")) return event_kind::closed;
    return begins("sent ") ? event_kind::sent : event_kind::none;
}

const char* name_of(event_kind kind) {
    static const char* const names[] = {"", "connected", "closed", "violation", "sent"};
    return names[static_cast<int>(kind)];
}

const agent_record* domain_model::find(unsigned agent) const {
    const auto found = agents_.find(agent);
    return found == agents_.end() ? nullptr : found->second.get();
}

agent_record& domain_model::mine(unsigned agent) {
    std::shared_ptr<const agent_record>& held = agents_[agent];
    if (!held || held.use_count() > 1) {
        auto fresh = held ? std::make_shared<agent_record>(*held) : std::make_shared<agent_record>();
        fresh->id = agent;
        held = std::move(fresh);
        owners_known_ = false;
    }
    return const_cast<agent_record&>(*held);  // made here, as one that may change
}

domain_model::change domain_model::apply(const log_entry& entry, std::uint64_t seq) {
    change result;
    if (entry.agent == 0 || (agents_.size() >= agent_limit && agents_.count(entry.agent) == 0)) return result;
    agent_record& who = mine(entry.agent);
    result.agent = true;
    if (who.connected_ms == 0) who.connected_ms = entry.time_ms;  // the log begins in between
    if (!entry.ap_mac.empty()) who.mac = printable(entry.ap_mac, mac_limit);
    const bool was_subscribed = who.subscribed;
    if (entry.what == log_entry::kind::received) {
        ++who.received;
        who.heard_ms = entry.time_ms;
        who.last_received = seq;
        if (who.speaks_rrm() && entry.message) {
            result.report = received(who, entry.message, entry.time_ms);
            owners_known_ = owners_known_ && !json_member(entry.message, "radios");
        }
    } else if (entry.what == log_entry::kind::sent) {
        if (entry.message) sent(who, entry);
    } else {
        const event_kind kind = kind_of_event(entry.bytes);
        if (kind == event_kind::connected) {
            who = agent_record();  // an earlier run of the service counted from 1 too
            who.id = entry.agent;
            connected(who, entry);
        }
        if (kind == event_kind::violation) {
            ++who.violations;
            result.of = who.last_received;
        }
        if (kind == event_kind::closed) {
            who.closed_ms = entry.time_ms;
            who.reason = printable(entry.bytes, 200);
            who.subscribed = false;
        }
        result.important = kind == event_kind::connected || kind == event_kind::closed;
        if (result.important) owners_known_ = false;
        if (kind == event_kind::closed) forget_old();
    }
    result.important = result.important || result.report || who.subscribed != was_subscribed;
    return result;
}

// Those that are gone longest.
void domain_model::forget_old() {
    const auto gone = [](const auto& entry) { return !entry.second->here(); };
    if (static_cast<std::size_t>(std::count_if(agents_.begin(), agents_.end(), gone)) <= gone_limit) return;
    const auto oldest = std::min_element(agents_.begin(), agents_.end(), [&](const auto& a, const auto& b) {
        if (gone(a) != gone(b)) return gone(a);
        return a.second->closed_ms < b.second->closed_ms;
    });
    agents_.erase(oldest);
}

const std::map<std::uint64_t, bss_owner>& domain_model::owners() const {
    if (owners_known_) return owners_;
    owners_.clear();
    for (const auto& [number, who] : agents_) {
        if (!who->here()) continue;
        for (const radio_view& radio : who->radios)
            for (const vap_view& vap : radio.vaps)
                if (const std::uint64_t bssid = mac_number(vap.mac))
                    owners_[bssid] = {number, radio.id, vap.ssid, &radio};
    }
    owners_known_ = true;
    return owners_;
}

}  // namespace ravd::sim
