#include "rrm/fast_transition.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <vector>

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
// What stands around the texts of a remote.
constexpr std::size_t remote_frame =
    sizeof R"("":{"name":"","index":"1024","r0-kh-id":"","r1-kh-id":"","r0-kh-key":"","r1-kh-key":""},)";

// An identity or key; null when it is absent or too long.
const char* holder_text(const json_reader& object, const char* key) {
    const char* text = object.get_string(key);
    return text && std::strlen(text) <= holder_text_limit ? text : nullptr;
}

// Bytes of a text within the request; all of it is UTF-8. Some characters are escaped.
std::size_t length_in_json(const char* text) {
    std::size_t bytes = 0;
    for (; *text; ++text)
        bytes += static_cast<unsigned char>(*text) < ' ' || std::strchr("\"\\", *text) ? 6 : 1;
    return bytes;
}

// Finds the place of a text among those before it.
class text_places {
  public:
    // The place of an equal text, or `next`, which it has from now on. `text_at` gives the text of a place.
    template <typename Text_at>
    std::size_t place_of(const char* text, std::size_t next, Text_at text_at) {
        std::size_t slot = std::hash<std::string_view>()(text);
        for (;; ++slot) {
            std::uint16_t& taken = slots_[slot % slots_.size()];
            if (taken != 0 && std::strcmp(text_at(taken - 1u), text) != 0) continue;
            if (taken == 0) taken = static_cast<std::uint16_t>(next + 1);
            return taken - 1u;
        }
    }

  private:
    std::array<std::uint16_t, 2048> slots_{};  // place plus 1; 0 is free
    static_assert(remote_limit < 2048, "a slot stays free");
};

// The remotes of a VAP whose identities and keys are all there; the message's tree holds the texts. Of those with the
// same identity the last one counts, in the place of the first.
class remote_holders {
  public:
    struct holder {
        std::int32_t index;
        const char* r1_id;
        const char* r0_id;
        const char* r1_key;
    };

    explicit remote_holders(const json_reader& remotes) {
        text_places places;
        for (std::int32_t i = 0; i < remote_limit; ++i) {
            const json_reader remote = remotes.at(i);
            if (!remote.valid()) break;
            take({i, holder_text(remote, "remote-r1-kh-id"), holder_text(remote, "remote-r0-kh-id"),
                  holder_text(remote, "remote-r1-kh-key")},
                 places);
        }
    }

    const std::vector<holder>& all() const { return all_; }
    // What those that were replaced would have taken in the request, about.
    std::size_t replaced_bytes() const { return replaced_bytes_; }

  private:
    void take(holder remote, text_places& places) {
        if (!remote.r1_id || !remote.r0_id || !remote.r1_key) return;
        const std::size_t length = std::strlen(remote.r1_id);
        if (!is_utf8(remote.r1_id, length))
            remote.r1_id = mended_.emplace_back(replace_non_utf8(remote.r1_id, length)).c_str();
        const std::size_t next = all_.size();
        const std::size_t place =
            places.place_of(remote.r1_id, next, [this](std::size_t at) { return all_[at].r1_id; });
        if (place == next) {
            all_.push_back(remote);
        } else {
            all_[place] = remote;
            replaced_bytes_ += remote_frame + 3 * length_in_json(remote.r1_id);
        }
    }

    std::vector<holder> all_;
    std::list<std::string> mended_;  // identities that were not UTF-8
    std::size_t replaced_bytes_ = 0;
};

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
    const char* rrb_key = holder_text(entry, "fbt-rrb-key");
    add_fbt_remotes(remotes, rrb_key, config);
    request_bytes_ += root.size();
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
    if (!rrb_key) return;
    const remote_holders holders(remotes);
    request_bytes_ += holders.replaced_bytes();
    for (const remote_holders::holder& remote : holders.all()) {
        if (request_bytes_ + macs.size() > request_limit) return;
        char index[12];
        std::snprintf(index, sizeof index, "%d", remote.index);
        json_writer object(false, macs, remote.r1_id);
        object.add_string("name", remote.r1_id);
        object.add_string("index", index);
        object.add_string("r0-kh-id", remote.r0_id);
        object.add_string("r1-kh-id", remote.r1_id);
        object.add_string("r0-kh-key", rrb_key);
        object.add_string("r1-kh-key", remote.r1_key);
    }
}

}  // namespace ravd
