#include "rrm/fast_transition.h"

#include <cstdio>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"

namespace ravd {
namespace {

constexpr std::int32_t vap_entry_limit = 32;
constexpr std::int32_t remote_limit = 1025;
constexpr int fbt_reset = 0;
// The key goes out once for every remote, so that its length multiplies: one message could ask for gigabytes. Key
// holders share at most 256 bits, 64 hexadecimal digits; the rest is room for other ways of writing them.
constexpr std::size_t rrb_key_limit = 512;

const char* rrb_key_of(const json_reader& entry) {
    const char* key = entry.get_string("fbt-rrb-key");
    return key && std::strlen(key) <= rrb_key_limit ? key : nullptr;
}

}  // namespace

void fast_transition::process_fbt_info(const json_reader& message) {
    log_debug(process_log, "%s corvane_use_80211r = %d\n", "process_fbt_info", settings_.use_80211r());
    if (!settings_.use_80211r()) {
        context_.driver.reset_corvane_fbt_params(fbt_reset);
        return;
    }
    fbt_reassoc_deadline_ = message.get_int("fbt-reassoc-deadline");
    fbt_over_ds_ = message.get_int("fbt-over-ds") != 0;
    context_.driver.begin_corvane_fbt_params();
    const json_reader vaps = message.child("vaps");
    for (std::int32_t i = 0; i < vap_entry_limit; ++i) {
        if (context_.progress.cancelled()) return;  // the next request begins anew
        context_.progress.tick();
        const json_reader entry = vaps.at(i);
        if (!entry.valid()) break;
        if (!add_fbt_vap(entry)) {
            context_.driver.reset_corvane_fbt_params(fbt_reset);
            return;
        }
    }
    context_.driver.finish_corvane_fbt_params();
}

// False when the entry makes the whole message unusable.
bool fast_transition::add_fbt_vap(const json_reader& entry) {
    const std::int32_t vap = entry.get_int("vap_id");
    const std::int32_t radio = entry.get_int("radio_id");
    if (!context_.driver.vap_mac(vap, radio)) return true;  // not active, or no such VAP

    json_writer root("fbt", nullptr, nullptr);
    json_writer config(false, root, "ft-config");
    config.add_string("enabled", "true");
    config.add_string("ft-over-ds", fbt_over_ds_ ? "true" : "false");
    config.add_string("ft-psk-generate-local", "false");
    config.add_int("reassociation-deadline", fbt_reassoc_deadline_);
    config.add_int("mobility-domain", entry.get_int("mobility-domain"));
    const std::string ifname = make_vap_ifname(radio, vap);
    const char* r0_holder = entry.get_string("r0-key-holder-id");
    const char* r1_holder = entry.get_string("r1-key-holder-id");
    if (!r0_holder || !r1_holder) {
        log_error(process_log, "Unexpected error, no r0/r1 key holders found");
        return false;
    }
    config.add_string("r0-key-holder-id", r0_holder);
    config.add_string("r1-key-holder-id", r1_holder);
    const json_reader remotes = entry.child("remotes");
    if (!remotes.valid()) return true;
    add_fbt_remotes(remotes, rrb_key_of(entry), config);
    context_.driver.add_corvane_fbt_params(ifname.c_str(), root.text());
    return true;
}

// A remote without one of its identities or keys is left out whole: the network daemon can do nothing with a part.
void fast_transition::add_fbt_remotes(const json_reader& remotes, const char* rrb_key, json_writer& parent) {
    json_writer macs(false, parent, "mac");
    for (std::int32_t i = 0; i < remote_limit; ++i) {
        const json_reader remote = remotes.at(i);
        if (!remote.valid()) break;
        const char* r1_id = remote.get_string("remote-r1-kh-id");
        const char* r0_id = remote.get_string("remote-r0-kh-id");
        const char* r1_key = remote.get_string("remote-r1-kh-key");
        if (!r1_id || !r0_id || !r1_key || !rrb_key) continue;
        char index[12];
        std::snprintf(index, sizeof index, "%d", i);
        json_writer object(false, macs, r1_id);
        object.add_string("name", r1_id);
        object.add_string("index", index);
        object.add_string("r0-kh-id", r0_id);
        object.add_string("r1-kh-id", r1_id);
        object.add_string("r0-kh-key", rrb_key);
        object.add_string("r1-kh-key", r1_key);
    }
}

}  // namespace ravd
