#include "hostd/key_holders.h"

#include <strings.h>
#include <sys/random.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "hostd/lines.h"

namespace ravd::hostd {
namespace {

constexpr int end_wait_ms = 10000;  // of an orderly end

const char* const too_slow = "hostapd is slow: the rest follows";

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// A key that nobody has; empty when the kernel gives none.
std::string unknown_key() {
    unsigned char bytes[32];
    if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return {};
    std::string text;
    for (const unsigned char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

constexpr std::pair<const char*, std::string holder_identity::*> identity_fields[] = {
    {"ft_over_ds", &holder_identity::ft_over_ds},
    {"ft_psk_generate_local", &holder_identity::ft_psk_generate_local},
    {"reassociation_deadline", &holder_identity::reassociation_deadline},
    {"mobility_domain", &holder_identity::mobility_domain},
    {"nas_identifier", &holder_identity::nas_identifier},
    {"r1_key_holder", &holder_identity::r1_key_holder},
};

// As hostapd's configuration has it: an address as bare digits.
std::string written_form(const std::string& key, std::string text) {
    if (key == "r1_key_holder") text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
    return text;
}

// Empty, or why hostapd did not take it.
std::string order(vap& target, const std::string& request, patience& time, int longest_ms = hostapd_wait_ms) {
    std::string reply;
    const hostapd_result result = time.ask(target.control(), request, reply, longest_ms);
    if (result == hostapd_result::no_answer) return too_slow;
    if (result != hostapd_result::answered) return text_of(result);
    // Without the key.
    return reply == "OK" ? "" : "hostapd refuses \"" + request.substr(0, request.rfind(' ')) + "\"";
}

}  // namespace

bool holder_identity::same_names(const holder_identity& other) const {
    return mobility_domain == other.mobility_domain && nas_identifier == other.nas_identifier &&
           r1_key_holder == other.r1_key_holder;
}

holder_identity key_holders::configured_identity(const vap& target) const {
    const configured_holders written = hostapd_.holders(target.name());
    holder_identity own;
    own.mobility_domain = written.mobility_domain;
    own.nas_identifier = written.nas_identifier;
    own.r1_key_holder = written.r1_key_holder;
    // Written without colons; where it is not written, it is the VAP's own address.
    if (own.r1_key_holder.size() == 12)
        for (std::size_t at = 2; at < 17; at += 3)
            own.r1_key_holder.insert(at, ":");
    if (own.r1_key_holder.empty()) own.r1_key_holder = target.description().bssid;
    std::transform(own.mobility_domain.begin(), own.mobility_domain.end(), own.mobility_domain.begin(), lower);
    std::transform(own.r1_key_holder.begin(), own.r1_key_holder.end(), own.r1_key_holder.begin(), lower);
    own.reassociation_deadline = written.reassociation_deadline.empty() ? "1000" : written.reassociation_deadline;
    own.ft_over_ds = written.ft_over_ds.empty() ? "1" : written.ft_over_ds;
    own.ft_psk_generate_local = written.ft_psk_generate_local.empty() ? "0" : written.ft_psk_generate_local;
    return own;
}

std::string key_holders::withdrawal(const std::string& vap_name, const remote& what) const {
    const configured_holders written = hostapd_.holders(vap_name);
    for (const std::string& line : what.first == "r0kh" ? written.r0kh : written.r1kh) {
        const std::vector<std::string> words = words_of(line);
        const std::vector<std::string> wanted = words_of(what.second);
        // An R1 key holder's identity is an address, which may be written in capitals.
        const auto compare = what.first == "r0kh" ? ::strcmp : ::strcasecmp;
        if (words.size() == 3 && compare(words[1].c_str(), wanted[1].c_str()) == 0)
            return "SET " + what.first + " " + line;
    }
    const std::string key = unknown_key();
    return key.empty() ? key : "SET " + what.first + " " + what.second + " " + key;
}

std::string key_holders::set_remotes(vap& target, state& held, patience& time, bool& changed) {
    auto& known = held.in_effect.remotes;
    for (auto one = known.begin(); one != known.end();) {
        if (held.wanted.remotes.count(one->first) != 0) {
            ++one;
            continue;
        }
        const std::string request = withdrawal(target.name(), one->first);
        std::string reason = request.empty() ? "no random numbers" : order(target, request, time);
        if (!reason.empty()) return reason;
        one = known.erase(one);
        changed = true;
    }
    for (const auto& [what, key] : held.wanted.remotes) {
        const auto found = known.find(what);
        if (found != known.end() && found->second == key) continue;
        std::string request = "SET ";
        request.append(what.first).append(" ").append(what.second).append(" ").append(key);
        std::string reason = order(target, request, time);
        if (!reason.empty()) return reason;
        known[what] = key;
        changed = true;
    }
    return {};
}

std::string key_holders::set_identity(vap& target, state& held, patience& time, bool& changed) {
    holder_identity& known = held.in_effect.own;
    const holder_identity& wanted = held.wanted.own;
    const holder_identity before = known;
    if (!known.same_names(wanted) && !hostapd_.has(target.name()))
        return "its mobility domain or own identities differ, and hostapd's configuration file is not known";
    std::string reason;
    for (const auto& [key, member] : identity_fields) {
        const std::string& to = wanted.*member;
        if (!reason.empty() || known.*member == to || to.empty()) continue;
        reason = order(target, std::string("SET ") + key + " " + written_form(key, to), time);
        if (reason.empty()) known.*member = to;
    }
    held.reload_due = held.reload_due || !known.same_names(before);
    if (!reason.empty() || !held.reload_due) return reason;
    if (time.spent()) return too_slow;
    held.reload_due = false;
    log_warning(process_log,
                "%s: mobility domain %s, key holders %s and %s are not the configured ones: its stations "
                "have to come back once\n",
                target.name().c_str(), wanted.mobility_domain.c_str(), wanted.nas_identifier.c_str(),
                wanted.r1_key_holder.c_str());
    changed = true;
    // Sent once: an answer that comes later than that changes nothing.
    reason = order(target, "RELOAD", time, order_wait_ms);
    return reason == too_slow ? text_of(hostapd_result::no_answer) : reason;
}

std::string key_holders::apply(const std::string& vap_name, state& held, patience& time, bool& changed) {
    vap* target = vaps_.find(vap_name);
    if (!target || !target->attached()) return "hostapd does not run it";
    std::string reason = set_remotes(*target, held, time, changed);
    if (reason.empty()) reason = set_identity(*target, held, time, changed);
    held.unfinished = reason == too_slow;
    return reason;
}

std::string key_holders::update(const json_reader& request, bool& changed) {
    std::string first_reason;
    std::map<std::string, holder_order> orders;
    const auto refuse = [&](const std::string& name, const std::string& reason) {
        if (first_reason.empty() && !reason.empty()) first_reason = name + ": " + reason;
    };
    // What is wrong is found before anything of it is applied.
    request.for_each([&](const char* key, const json_reader& settings) {
        const std::string name = key;
        if (name == "command") return true;
        const vap* target = vaps_.find(name);
        std::string reason;
        if (!target || !target->attached())
            reason = "hostapd does not run it";
        else if (!target->description().fast_transition)
            reason = "hostapd's configuration has no fast transition for it (wpa_key_mgmt)";
        else
            read_holder_order(settings.child("ft-config"), orders[name], reason);
        refuse(name.substr(0, 32), reason);
        return first_reason.empty();
    });
    if (!first_reason.empty()) return first_reason;
    patience time(order_wait_ms);
    for (auto& [name, wanted] : orders) {
        const bool is_new = orders_.count(name) == 0;
        state& held = orders_[name];
        if (is_new) held.in_effect.own = configured_identity(*vaps_.find(name));
        held.wanted = std::move(wanted);
        held.ending = false;
        refuse(name, apply(name, held, time, changed));
        log_info(process_log, "%s: %zu key holder entries\n", name.c_str(), held.wanted.remotes.size());
    }
    return first_reason;
}

std::string key_holders::reset_one(const std::string& vap_name, patience& time, bool& changed) {
    const auto found = orders_.find(vap_name);
    if (found == orders_.end()) return {};
    state& held = found->second;
    const vap* target = vaps_.find(vap_name);
    held.wanted = {};
    held.ending = true;
    held.unfinished = false;
    std::string reason;
    if (target && target->attached()) {
        held.wanted.own = configured_identity(*target);
        reason = apply(vap_name, held, time, changed);
    }
    if (!held.unfinished) orders_.erase(found);
    return reason;
}

std::string key_holders::reset(const json_reader& request, bool& changed) {
    std::string first_reason;
    patience time(order_wait_ms);
    request.for_each([&](const char* name, const json_reader&) {
        const std::string reason = reset_one(name, time, changed);
        if (first_reason.empty() && !reason.empty()) first_reason = name + (": " + reason);
        return true;
    });
    return first_reason;
}

std::string key_holders::reset_all(bool& changed) {
    std::string first_reason;
    patience time(end_wait_ms);
    while (!orders_.empty()) {
        const std::string name = orders_.begin()->first;
        const std::string reason = reset_one(name, time, changed);
        if (first_reason.empty()) first_reason = reason;
        orders_.erase(name);
    }
    return first_reason;
}

void key_holders::hostapd_started(const std::string& vap_name) {
    const auto found = orders_.find(vap_name);
    const vap* target = vaps_.find(vap_name);
    if (found == orders_.end() || !target) return;
    found->second.reload_due = false;
    found->second.in_effect = {};
    found->second.in_effect.own = configured_identity(*target);
    bool changed = false;
    const std::string reason = apply(vap_name, found->second, vaps_.time(), changed);
    if (!reason.empty()) log_warning(process_log, "%s: key holders: %s\n", vap_name.c_str(), reason.c_str());
}

void key_holders::continue_slow() {
    for (auto one = orders_.begin(); one != orders_.end();) {
        state& held = one->second;
        bool changed = false;
        const vap* target = vaps_.find(one->first);
        // Begun anew, hostapd is told all of it, and has nothing to be taken back.
        if (!target || !target->attached()) held.unfinished = false;
        if (held.unfinished && !vaps_.time().spent()) {
            const std::string reason = apply(one->first, held, vaps_.time(), changed);
            if (reason != too_slow && !reason.empty())
                log_warning(process_log, "%s: key holders: %s\n", one->first.c_str(), reason.c_str());
        }
        const bool done = held.ending && !held.unfinished;
        one = done ? orders_.erase(one) : std::next(one);
    }
}

}  // namespace ravd::hostd
