#include "driver/radio_state.h"

#include "driver/interface_state.h"

namespace ravd {

bool radio_state::is_radio_up(const char* radio_name) const {
    return flags() && radio_name && ravd::interface_is_up(radio_name);
}

bool radio_state::interface_is_up(const std::string& name) const {
    return flags() && !name.empty() && ravd::interface_is_up(name.c_str());
}

bool radio_state::vap_is_up(const char* ifname, std::int32_t vap) const {
    const interface_context* context = flags() ? table_.radio_by_ifname(ifname) : nullptr;
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record && interface_is_up(record->name);
}

const interface_context* radio_state::up_radio(std::int32_t radio_id) const {
    const interface_context* context = radio(radio_id);
    return context && context->up ? context : nullptr;
}

bool radio_state::radio_up(std::int32_t radio_id) const { return up_radio(radio_id) != nullptr; }

bool radio_state::radio_wds_enabled(std::int32_t radio_id) const {
    const interface_context* context = radio(radio_id);
    return context && context->wds_enabled;
}

bool radio_state::radio_has_band(std::int32_t radio_id, std::uint32_t band) const {
    const interface_context* context = up_radio(radio_id);
    return context && context->band == band;
}

bool radio_state::any_vap_active(std::int32_t radio_id) const {
    const interface_context* context = radio(radio_id);
    if (!context) return false;
    for (const vap_record& vap : context->vaps)
        if (vap.active) return true;
    return false;
}

bool radio_state::vap_active(std::int32_t radio_id, std::int32_t vap) const {
    const interface_context* context = radio(radio_id);
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record && record->active;
}

const vap_record* radio_state::usable_vap(std::int32_t radio_id, std::int32_t vap) const {
    const interface_context* context = up_radio(radio_id);
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record && record->active ? record : nullptr;
}

bool radio_state::vap_kv_enabled(std::int32_t radio_id, std::int32_t vap) const {
    const vap_record* record = usable_vap(radio_id, vap);
    return record && record->kv_enabled;
}

const char* radio_state::vap_name(std::int32_t vap, std::int32_t radio_id) const {
    const interface_context* context = up_radio(radio_id);
    const vap_record* record = context ? radio_table::get_vap(*context, vap) : nullptr;
    return record ? record->name.c_str() : nullptr;
}

const char* radio_state::vap_ssid(std::int32_t vap, std::int32_t radio_id) const {
    const vap_record* record = usable_vap(radio_id, vap);
    return record ? record->ssid.c_str() : nullptr;
}

const char* radio_state::vap_mac(std::int32_t vap, std::int32_t radio_id) const {
    const vap_record* record = usable_vap(radio_id, vap);
    return record ? record->mac.c_str() : nullptr;
}

int radio_state::vap_index_by_ssid(const char* ssid, std::int32_t radio_id) const {
    const interface_context* context = ssid && *ssid ? up_radio(radio_id) : nullptr;
    if (!context) return -1;
    for (std::size_t index = 0; index < context->vaps.size(); ++index)
        if (context->vaps[index].ssid == ssid) return static_cast<int>(index);
    return -1;
}

const char* radio_state::vap_name_by_ssid(const char* ssid, std::int32_t radio_id) const {
    const int index = vap_index_by_ssid(ssid, radio_id);
    return index < 0 ? nullptr : vap_name(index, radio_id);
}

}  // namespace ravd
