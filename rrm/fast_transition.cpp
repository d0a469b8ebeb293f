#include "rrm/fast_transition.h"

#include <cstdio>
#include <cstring>

#include "core/ifname.h"
#include "core/logger.h"
#include "message/utf8.h"

namespace ravd {
namespace {

constexpr std::int32_t vap_entry_limit = 32;
constexpr std::int32_t remote_limit = 1025;
constexpr int fbt_reset = 0;
// Bytes of an identity or key. The VAP's key goes out once for every remote, so that its length multiplies: one message
// could ask for gigabytes. Key holders share at most 256 bits, 64 hexadecimal digits; the rest is room for other ways
// of writing them.
constexpr std::size_t holder_text_limit = 512;
// Bytes of one request as it leaves. A full one of 14 VAPs with honest texts has less than 5 MiB.
constexpr std::size_t request_limit = 6u * 1024 * 1024;
// What stands around the texts of a remote, and of a VAP.
constexpr std::size_t remote_frame =
    sizeof R"("":{"name":"","index":"1024","r0-kh-id":"","r1-kh-id":"","r0-kh-key":"","r1-kh-key":""},)";
constexpr std::size_t vap_frame = 384;

// An identity or key; null when it is absent or too long.
const char* holder_text(const json_reader& object, const char* key) {
    const char* text = object.get_string(key);
    return text && std::strlen(text) <= holder_text_limit ? text : nullptr;
}

// Bytes of a text within the request: some characters are escaped, and what is not UTF-8 goes out as U+FFFD.
std::size_t length_in_json(const char* text) {
    const std::size_t length = std::strlen(text);
    std::size_t bytes = 0;
    for (std::size_t at = 0; at < length;) {
        const std::size_t sequence = utf8_sequence_length(text + at, length - at);
        const bool escaped = static_cast<unsigned char>(text[at]) < ' ' || std::strchr("\"\\", text[at]);
        bytes += sequence == 0 ? 3 : escaped ? 6 : sequence;
        at += sequence == 0 ? 1 : sequence;
    }
    return bytes;
}

}  // namespace

void fast_transition::process_fbt_info(const json_reader& message) {
    log_debug(process_log, "%s corvane_use_80211r = %d\n", "process_fbt_info", settings_.use_80211r());
    if (!settings_.use_80211r()) {
        if (!debug_enabled()) log_warning(process_log, "fbt-info is not carried out: 802.11r is off\n");
        context_.driver.reset_corvane_fbt_params(fbt_reset);
        return;
    }
    fbt_reassoc_deadline_ = message.get_int("fbt-reassoc-deadline");
    fbt_over_ds_ = message.get_int("fbt-over-ds") != 0;
    context_.driver.begin_corvane_fbt_params();
    context_.counts.key_holders_set = 0;
    request_bytes_ = 0;
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
    const char* r0_holder = holder_text(entry, "r0-key-holder-id");
    const char* r1_holder = holder_text(entry, "r1-key-holder-id");
    if (!r0_holder || !r1_holder) {
        log_error(process_log, "Unexpected error, no r0/r1 key holders found");
        return false;
    }
    config.add_string("r0-key-holder-id", r0_holder);
    config.add_string("r1-key-holder-id", r1_holder);
    const json_reader remotes = entry.child("remotes");
    if (!remotes.valid()) return true;
    request_bytes_ += vap_frame + length_in_json(r0_holder) + length_in_json(r1_holder);
    add_fbt_remotes(remotes, holder_text(entry, "fbt-rrb-key"), config);
    if (request_bytes_ > request_limit) {
        log_error(process_log, "Error: fbt-info asks for more than %zu bytes of key-holder settings\n", request_limit);
        return false;
    }
    context_.driver.add_corvane_fbt_params(ifname.c_str(), root.text());
    ++context_.counts.key_holders_set;
    return true;
}

// A remote without one of its identities or keys is left out whole: the network daemon can do nothing with a part.
void fast_transition::add_fbt_remotes(const json_reader& remotes, const char* rrb_key, json_writer& parent) {
    json_writer macs(false, parent, "mac");
    for (std::int32_t i = 0; i < remote_limit && request_bytes_ <= request_limit; ++i) {
        const json_reader remote = remotes.at(i);
        if (!remote.valid()) break;
        const char* r1_id = holder_text(remote, "remote-r1-kh-id");
        const char* r0_id = holder_text(remote, "remote-r0-kh-id");
        const char* r1_key = holder_text(remote, "remote-r1-kh-key");
        if (!r1_id || !r0_id || !r1_key || !rrb_key) continue;
        request_bytes_ += remote_frame + 3 * length_in_json(r1_id) + length_in_json(r0_id) + length_in_json(r1_key) +
                          length_in_json(rrb_key);
        char index[12];
        std::snprintf(index, sizeof index, "%d", i);
        // Keys, unlike values, go out as they are.
        const std::size_t length = std::strlen(r1_id);
        json_writer object(false, macs, is_utf8(r1_id, length) ? r1_id : replace_non_utf8(r1_id, length).c_str());
        object.add_string("name", r1_id);
        object.add_string("index", index);
        object.add_string("r0-kh-id", r0_id);
        object.add_string("r1-kh-id", r1_id);
        object.add_string("r0-kh-key", rrb_key);
        object.add_string("r1-kh-key", r1_key);
    }
}

}  // namespace ravd
