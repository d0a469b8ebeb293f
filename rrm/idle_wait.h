// The agent's rest between two steps.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/unique_fd.h"

namespace ravd {

// Ends as soon as there is something to look at: a message in a queue of the worker, hostapd's pid file that comes or
// goes, a notification file. Where files cannot be watched they are looked at every 100 ms instead. Only on the
// worker's thread.
class idle_wait {
  public:
    // `event_fd` is the worker's event descriptor, which wake() adds to.
    explicit idle_wait(int event_fd);

    // Waits at most `longest_ms`, and takes what called. Ends as well when `driver_fd` is readable, which is left to be
    // read; -1 is none.
    void rest(int longest_ms, int driver_fd = -1);

  private:
    struct watched_directory {
        std::string path;
        const char* start;  // of the names that matter in it
        std::uint32_t events;
        int watch = -1;
    };

    bool watch_directories();
    enum class news { none, other, ours };
    news take_file_events();
    bool is_ours(int watch, const char* file) const;

    const int event_fd_;
    unique_fd files_;   // inotify
    unique_fd either_;  // readable when a file event or the event descriptor is
    std::array<watched_directory, 2> directories_;
};

}  // namespace ravd
