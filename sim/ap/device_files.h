// Files that a device would show, as plain files below the simulation's directory; and the driver's neighbour files,
// which are named pipes, so that no line the daemon writes is lost.
#pragma once

#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "sim/ap/access_point.h"
#include "sim/ap/event_log.h"
#include "sim/common/event_loop.h"

namespace ravd::sim {

class device_files {
  public:
    device_files(event_loop& loop, const event_log& log, access_point& ap, std::string directory);
    ~device_files();
    device_files(const device_files&) = delete;
    device_files& operator=(const device_files&) = delete;

    // Makes the directories and all files, which go with this object. False with the reason.
    bool create(std::string& reason);
    // Interface state and what else follows from the access point's state.
    void refresh() const;

    // hostapd's pid file.
    void write_pid() const;
    void remove_pid() const;
    // Raises a notification: the detail first, then "/tmp/.corvane_notify", which the daemon looks for.
    void notify(const char* detail) const;
    // The agent's mark that it is subscribed.
    bool agent_connected() const;

  private:
    void remove_leftovers(const radio_state& radio) const;
    bool make_directory(const std::string& device_path, std::string& reason) const;
    bool write(const std::string& device_path, const std::string& text) const;
    bool open_neighbour_file(const radio_state& radio, vap_state& vap, bool custom, std::string& reason);
    void read_neighbours(int fd, const radio_state& radio, vap_state& vap, bool custom) const;

    event_loop& loop_;
    const event_log& log_;
    access_point& ap_;
    std::string directory_;
    bool made_ = false;  // the files are ours to remove
    std::vector<unique_fd> pipes_;
};

// Paths of the device.
std::string neighbour_path(const radio_state& radio, const vap_state& vap, bool custom);

}  // namespace ravd::sim
