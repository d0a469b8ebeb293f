// Key holders of fast transition in hostapd: what the service hands out beside what is configured, and the way back.
//
// hostapd's lists can be added to while its stations stay, and the newest entry of an identity counts; nothing can be
// taken out of them but by a reload, which throws all stations out. So an entry is taken back by one with a key that
// nobody has. Mobility domain and own identities need the reload; where they are ordered as they are configured, which
// is how an access point should be set up, it never comes to that.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "hostd/hostapd_file.h"
#include "hostd/vap_table.h"
#include "message/json.h"

namespace ravd::hostd {

// Own side of a VAP, as texts of hostapd's configuration.
struct holder_identity {
    std::string mobility_domain, nas_identifier, r1_key_holder;
    std::string reassociation_deadline, ft_over_ds, ft_psk_generate_local;

    // What a reload is needed for.
    bool same_names(const holder_identity& other) const;
};

struct holder_order {
    holder_identity own;
    // hostapd's "r0kh" or "r1kh" and what it is of ("MAC IDENTITY"), to its key.
    std::map<std::pair<std::string, std::string>, std::string> remotes;
};

// Reads a VAP's "ft-config". False with the reason when it is not usable.
bool read_holder_order(const json_reader& ft_config, holder_order& order, std::string& reason);

class key_holders {
  public:
    // What it refers to outlives it.
    key_holders(const vap_table& vaps, const hostapd_config& hostapd) : vaps_(vaps), hostapd_(hostapd) {}

    // Both take the request; empty, or the first reason why something of it was not done. `changed` when hostapd knows
    // others now.
    std::string update(const json_reader& request, bool& changed);
    std::string reset(const json_reader& request, bool& changed);
    // The same for all VAPs, for an orderly end.
    std::string reset_all(bool& changed);
    // hostapd runs this VAP anew, as configured: what was ordered still holds.
    void hostapd_started(const std::string& vap_name);
    // Goes on where hostapd was too slow for the time of one request.
    void continue_slow();
    // Whether the service's key holders are set for a VAP.
    bool has(const std::string& vap_name) const { return orders_.count(vap_name) != 0; }

  private:
    struct state {
        holder_order wanted;
        holder_order in_effect;
        bool unfinished = false;
        bool reload_due = false;  // names were told that hostapd takes up at a reload only
        bool ending = false;      // a reset that is not through
    };
    using remote = std::pair<std::string, std::string>;
    // Each within the time that is given; what is left over is unfinished.
    holder_identity configured_identity(const vap& target) const;
    // The request that takes a remote back.
    std::string withdrawal(const std::string& vap_name, const remote& what) const;
    std::string apply(const std::string& vap_name, state& held, patience& time, bool& changed);
    std::string set_remotes(vap& target, state& held, patience& time, bool& changed);
    std::string set_identity(vap& target, state& held, patience& time, bool& changed);
    std::string reset_one(const std::string& vap_name, patience& time, bool& changed);

    const vap_table& vaps_;
    const hostapd_config& hostapd_;
    std::map<std::string, state> orders_;  // by VAP
};

}  // namespace ravd::hostd
