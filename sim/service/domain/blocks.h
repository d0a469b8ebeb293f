// The blocks of channels that a radio may be set to.
#pragma once

#include <vector>

#include "sim/service/domain/model.h"

namespace ravd::sim {

// Every block within the limits that the radio's available channels hold, with its price. At 2.4 GHz 20 MHz only. Where
// the limits leave no block, the widest below them are taken. Of the channels of a block the one on which the least of
// `foreign` is heard is its control channel.
std::vector<block_choice> blocks_of(const radio_view& radio, const std::vector<foreign_signal>& foreign,
                                    const model_limits& limits);
// What speaks against a block besides interference.
double price_of(const radio_setup& block, const model_limits& limits);

}  // namespace ravd::sim
