// Fills the table of radios and VAPs from configuration and system, each time hostapd starts.
#pragma once

#include "driver/driver_context.h"
#include "driver/radio_channels.h"
#include "driver/radio_settings.h"

namespace ravd {

class table_filler {
  public:
    table_filler(const driver_context& context, const radio_settings& settings, const radio_channels& channels)
        : context_(context), settings_(settings), channels_(channels) {}

    void init_interface_context();
    // Configuration requests stayed without an answer at the last filling.
    bool context_incomplete() const { return incomplete_; }
    // As driver_interface has it.
    bool refill_context();

  private:
    void init_radio(std::int32_t radio_id, interface_context& radio) const;
    void init_vap(vap_record& vap) const;

    const driver_context& context_;
    const radio_settings& settings_;
    const radio_channels& channels_;
    bool incomplete_ = false;
};

}  // namespace ravd
