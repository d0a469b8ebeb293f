#include "rrm/agent_context.h"

#include <algorithm>

#include "core/ifname.h"
#include "core/logger.h"

namespace ravd {

bool agent_context::send(const json_writer& message) const { return send(make_message(message)); }

bool agent_context::send(const std::shared_ptr<buffer_info_t>& message) const {
    if (!message) return false;
    // The end of a link takes along what came over it, so that nothing stands before the news of it. What is sent after
    // this look and before that end is dropped by the link.
    bool ended = false;
    const auto look = [&ended](const std::shared_ptr<buffer_info_t>& next) {
        ended = next && next->internal;
        return false;
    };
    from_service.pop_if(look, [](const auto&) {});
    if (!ended) return to_service.push(message);
    log_warning(process_log, "A message is dropped: its link ended while it was made\n");
    return false;
}

std::int32_t agent_context::radio_count() const {
    return std::clamp<std::int32_t>(driver.radio_count(), 0, static_cast<std::int32_t>(radio_names.size()));
}

void agent_context::for_each_kv_vap(function_ref<void(const char*)> visit) const {
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
