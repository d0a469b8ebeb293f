// The VAPs that hostapd runs now, found by their control sockets.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hostd/vap.h"

namespace ravd::hostd {

class vap_table {
  public:
    // More than any device has.
    static constexpr std::size_t limit = 32;

    explicit vap_table(std::string directory) : directory_(std::move(directory)) {}

    // The time for looking after them, of one turn.
    patience& time() const { return time_; }
    // Looks for control sockets of new VAPs; those that went stay, unattached.
    void look();

    const std::vector<std::unique_ptr<vap>>& all() const { return vaps_; }
    vap* find(const std::string& name) const;
    // A VAP of the radio that is on the air; null when there is none.
    vap* of_radio(int radio) const;

  private:
    std::string directory_;
    mutable patience time_{turn_wait_ms};
    std::vector<std::unique_ptr<vap>> vaps_;
};

}  // namespace ravd::hostd
