#include "rrm/agent_context.h"

#include <algorithm>

#include "core/ifname.h"

namespace ravd {

std::int32_t agent_context::radio_count() const {
    return std::clamp<std::int32_t>(driver.radio_count(), 0, static_cast<std::int32_t>(radio_names.size()));
}

void agent_context::for_each_kv_vap(const std::function<void(const char*)>& visit) const {
    const std::int32_t radios = radio_count();
    const std::int32_t vaps = driver.vap_count();
    for (std::int32_t radio = 0; radio < radios; ++radio) {
        for (std::int32_t vap = 0; vap < vaps; ++vap) {
            const char* name = driver.vap_name(vap, radio);
            if (name && driver.vap_kv_enabled(radio, vap)) visit(name);
        }
    }
}

void agent_context::remove_neighbour_reports() const {
    for_each_kv_vap([this](const char* name) { driver.del_neighbors(name); });
}

}  // namespace ravd
